#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string_view>

#include "common/console.hpp"
#include "common/end_request.hpp"
#include "driver/driver.hpp"
#include "driver/group_transfer.hpp"
#include "group/process_group.hpp"
#include "run/diagnosis.hpp"

namespace tessaron {

namespace {

/// Opens /dev/null on every standard descriptor that is closed: a data file would take its number, and get
/// what is meant for the console.
void fill_standard_streams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(stream, F_GETFD) >= 0 || errno != EBADF) continue;
    if (::open("/dev/null", O_RDWR) < 0) return;  // takes the lowest number, this one
  }
}

constexpr std::string_view version_text = "tessaron " TESSARON_VERSION "\n";
constexpr std::string_view help_text =
    "Tessaron follows a bunch of macro-particles through a magnet lattice and computes the\n"
    "force of the bunch on itself, above all coherent synchrotron radiation.\n"
    "\n"
    "usage: tessaron              reads the deck tessar.in in the working directory and carries it out\n"
    "       tessaron --help       tells this\n"
    "       tessaron --version    tells the release\n"
    "\n"
    "The results go to the files that the deck names, and over what they held before.\n";

void answer(std::string_view text) {
  if (::write(STDOUT_FILENO, text.data(), text.size()) < 0) return;  // nobody to tell
}

/// Answers a command line with arguments, which starts no run. \return the exit status
int answer_arguments(int argc, char** argv) {
  constexpr int wrong_use = 2;
  for (int k = 1; k < argc; ++k) {
    const std::string_view word = argv[k];
    if (word == "--help" || word == "--version") continue;
    if (pgflags().master) tell_argument_refused(word);
    return wrong_use;
  }
  if (pgflags().master) answer(argv[1] == std::string_view("--help") ? help_text : version_text);
  return 0;
}

}  // namespace

int run_process(int argc, char** argv) {
  fill_standard_streams();
  // A console that goes away and a file that grows over a limit are failed writes, not the end of a run.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  pgstart(&argc, &argv);
  catch_end_signals();
  int exit_status = 0;
  if (argc > 1) {
    exit_status = answer_arguments(argc, argv);
  } else if (pgflags().master) {
    tessar();
  } else {
    console_silence();
    pgworker();
  }
  pgend();
  return exit_status;
}

}  // namespace tessaron
