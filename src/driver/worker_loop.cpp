#include "beam/bunch_record.hpp"
#include "driver/group_transfer.hpp"
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
      // The master meets a failed evaluation itself and tells of it; a worker waits for the next command.
      pgbunch();
      (void)frcims(ForceType::none, ptlcom.particle, ptlcom.section, 0, worker_forces);
    } else if (command == "stopp") {
      return;
    }
  }
}

}  // namespace tessaron
