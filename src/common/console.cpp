#include "common/console.hpp"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>

#include "common/cores/chunks.hpp"
#include "common/end_request.hpp"

namespace tessaron {

namespace {

bool silent = false;
void (*line_hook)() = nullptr;
void (*stop_hook)(std::string_view line) = nullptr;

/// Waits until a standard stream can be read or written; false if that does not come soon and the run has
/// been asked to end.
bool wait_for(int stream, short event) {
  constexpr int second = 1000, soon = 200;  // ms
  for (;;) {
    pollfd waiting{stream, event, 0};
    const bool last = end_requested();
    if (::poll(&waiting, 1, last ? soon : second) > 0) return true;
    if (last) return false;
  }
}

/// A console that cannot be written (closed, full) does not stop a run.
void put(const char* text, std::size_t size) {
  while (size > 0 && wait_for(STDOUT_FILENO, POLLOUT)) {
    const ssize_t n = ::write(STDOUT_FILENO, text, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;
    text += n;
    size -= static_cast<std::size_t>(n);
  }
}

}  // namespace

void console_line(std::string_view text) {
  if (silent) return;
  await_turn();
  if (line_hook != nullptr) line_hook();
  // One write for a whole line, so that lines stay whole and in order whatever else writes there.
  std::array<char, 1024> line;
  char* end = line.data();
  if (!text.empty()) *end++ = ' ';
  end = std::copy_n(text.data(), std::min(text.size(), line.size() - 2), end);
  *end++ = '\n';
  put(line.data(), static_cast<std::size_t>(end - line.data()));
}

void console_silence() { silent = true; }

void pause_for_operator(std::string_view message) {
  if (silent || end_requested()) return;
  console_line(message);
  char c = 0;
  ssize_t n = 1;
  while (c != '\n' && n != 0 && wait_for(STDIN_FILENO, POLLIN)) {
    n = ::read(STDIN_FILENO, &c, 1);
    if (n < 0 && errno != EINTR) return;
  }
}

void fatal_stop(std::string_view line) {
  await_turn();
  if (!line.empty()) console_line(line);
  if (stop_hook != nullptr) stop_hook(line);
  std::exit(0);
}

void set_line_hook(void (*hook)()) { line_hook = hook; }

void set_stop_hook(void (*hook)(std::string_view line)) { stop_hook = hook; }

}  // namespace tessaron
