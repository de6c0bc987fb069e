#pragma once
#include "monitors/monitors.hpp"

namespace tessaron {

/// The online monitors as their writers see them: block reader, preparation of a run, hooks.
extern MonitorTable montab_store;

}  // namespace tessaron
