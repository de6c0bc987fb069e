#include "beam/bunch_record_owner.hpp"
#include "forces/force_dispatch.hpp"
#include "group/process_group.hpp"

namespace tessaron {

namespace {
/// A worker's share of the forces; the master holds the sum.
ForceTable worker_forces;
}  // namespace

void pgworker() {
  for (;;) {
    Text<80> command;
    pgrecv(command);
    if (command == "tracker") {
      pgsetup();
    } else if (command == "parallel forces") {
      ForceType type = ForceType::none;
      // The master meets a failed evaluation itself and tells of it; a worker waits for the next command.
      (void)frcims(type, ptlcom_store.particle, ptlcom_store.section, ptlcom_store.ctptcl, worker_forces);
    } else if (command == "stopp") {
      return;
    }
  }
}

}  // namespace tessaron
