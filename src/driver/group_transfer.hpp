#pragma once

namespace tessaron {

/// Both sides of a process group, before tracking starts: the master's records reach the workers.
void pgsetup();

/// The loop of a worker process: carries out the master's command strings until "stopp".
void pgworker();

}  // namespace tessaron
