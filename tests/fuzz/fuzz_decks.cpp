// A libFuzzer target: whole runs on decks and data files of any content, one after the other in one process.
//
// An input is a deck, with its files behind lines "%% NAME" (see deck_parts). A run reads and writes in a
// temporary folder of its own and nowhere else: names with a slash do not open. It ends by itself, at a fatal
// stop, or where it has written or computed enough; crashes, sanitizer reports and bad indices are what is
// looked for.

#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "driver/driver.hpp"
#include "run/files/file_table.hpp"
#include "support/damage.hpp"
#include "support/deck_parts.hpp"
#include "support/temp_folder.hpp"

namespace {

constexpr long most_lines = 4000;            ///< on the console: a few hundred steps
constexpr std::size_t most_bytes = 1 << 20;  ///< in files, then the disk is full
constexpr long most_seconds = 2;             ///< of computing

sigjmp_buf run_end;
volatile std::sig_atomic_t running = 0;
long lines = 0;
std::size_t bytes = 0;

[[noreturn]] void leave_run() { siglongjmp(run_end, 1); }

void time_is_up(int) {
  if (running != 0) leave_run();
}

void limit_time(long seconds) {
  itimerval timer{};
  timer.it_value.tv_sec = seconds;
  ::setitimer(ITIMER_VIRTUAL, &timer, nullptr);
}

/// Runs what lies in the working folder. The program allocates nothing, so that a run may be left anywhere.
void run() {
  lines = 0;
  bytes = 0;
  if (sigsetjmp(run_end, 1) == 0) {
    running = 1;
    limit_time(most_seconds);
    tessaron::tessar();
  }
  running = 0;
  limit_time(0);
  (void)tessaron::close_all_files();
}

}  // namespace

// The linker sends the calls of the program here (--wrap).
extern "C" {
void __real_exit(int status);
int __real_open(const char* path, int flags, ...);
ssize_t __real_write(int descriptor, const void* data, size_t size);

void __wrap_exit(int status) {
  if (running != 0) leave_run();  // a fatal stop
  __real_exit(status);
}

int __wrap_open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const unsigned mode = (flags & O_CREAT) != 0 ? va_arg(arguments, unsigned) : 0;
  va_end(arguments);
  if (running != 0 && std::strchr(path, '/') != nullptr) {
    errno = EACCES;
    return -1;
  }
  return __real_open(path, flags, mode);
}

ssize_t __wrap_write(int descriptor, const void* data, size_t size) {
  if (running == 0) return __real_write(descriptor, data, size);
  if (descriptor <= STDERR_FILENO) {
    if (++lines > most_lines) leave_run();
    return static_cast<ssize_t>(size);
  }
  bytes += size;
  if (bytes <= most_bytes) return __real_write(descriptor, data, size);
  errno = ENOSPC;
  return -1;
}

int LLVMFuzzerInitialize(int*, char***) {
  ::dup2(::open("/dev/null", O_RDONLY), STDIN_FILENO);  // nobody is there to enter a line
  std::signal(SIGVTALRM, time_is_up);
  return 0;
}

std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t most);

/// Half of the changes are made to words, so that most decks stay decks.
std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most, unsigned seed) {
  tessaron::test::Damage damage(seed);
  if (damage.below(2) == 0) return LLVMFuzzerMutate(data, size, most);
  std::string text(reinterpret_cast<const char*>(data), size);
  for (std::size_t n = 1 + damage.below(3); n > 0; --n) damage.apply(text);
  size = std::min(text.size(), most);
  std::memcpy(data, text.data(), size);
  return size;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const tessaron::test::WorkingFolder folder;
  for (const auto& [name, text] : tessaron::test::deck_parts({reinterpret_cast<const char*>(data), size}))
    folder.write(name, text);
  run();
  return 0;
}
}
