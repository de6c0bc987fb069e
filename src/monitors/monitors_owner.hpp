#pragma once
#include "monitors/monitors.hpp"

namespace tessaron {

/// The online monitors as their writers see them: block reader, `monchk`, hooks.
extern MonitorTable montab_store;

}  // namespace tessaron
