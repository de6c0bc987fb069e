#include "forces/force_settings.hpp"

#include "forces/force_settings_owner.hpp"

namespace tessaron {

ForceSettings force_settings_store;
Table<SubbunchRow, matist> subbunch_table_store;
Table<double, narcsr> wake_table_store;

const ForceSettings& force_settings = force_settings_store;
const Table<SubbunchRow, matist>& subbunch_table = subbunch_table_store;
const Table<double, narcsr>& wake_table = wake_table_store;

Status frcinit() {
  force_settings_store = ForceSettings{};
  return ok;
}

}  // namespace tessaron
