#include <csignal>

#include "common/console.hpp"
#include "run/pg.hpp"
#include "run/tessar.hpp"

namespace tessaron {

void run_process(int* argc, char*** argv) {
  // A console that goes away and a file that grows over a limit are failed writes, not the end of a run.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  pgstart(argc, argv);
  if (pgflags().master) {
    tessar();
  } else {
    console_silence();
    pgworker();
  }
  pgend();
}

}  // namespace tessaron
