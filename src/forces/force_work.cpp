#include "forces/force_work_owner.hpp"

namespace tessaron {

constinit ForceWork force_work_store{};  // all zero: it takes no room in the program file

void grnrst() { force_work_store.green.kept = {}; }

bool green_kept() { return force_work_store.green.kept.ok; }

}  // namespace tessaron
