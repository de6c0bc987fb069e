#pragma once
#include "forces/force_settings.hpp"

namespace tessaron {

/// The settings as their writers see them: block reader, force dispatch, and the driver's group
/// transfer.
extern ForceSettings force_settings_store;
extern Table<SubbunchRow, matist> subbunch_table_store;
extern Table<double, narcsr> wake_table_store;

}  // namespace tessaron
