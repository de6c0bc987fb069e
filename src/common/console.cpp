#include "common/console.hpp"

#include <cstdio>
#include <cstdlib>

namespace tessaron {

namespace {
bool silent = false;
void (*stop_hook)() = nullptr;
}  // namespace

void console_line(std::string_view text) {
  if (silent) return;
  std::fputc(' ', stdout);
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fputc('\n', stdout);
}

void console_silence() { silent = true; }

void console_flush() { std::fflush(stdout); }

void pause_for_operator(std::string_view message) {
  if (silent) return;
  console_line(message);
  console_flush();
  for (int c = std::getchar(); c != '\n' && c != EOF; c = std::getchar()) {
  }
}

void fatal_stop(std::string_view line) {
  if (!line.empty()) console_line(line);
  console_flush();
  if (stop_hook != nullptr) stop_hook();
  std::exit(0);
}

void set_stop_hook(void (*hook)()) { stop_hook = hook; }

}  // namespace tessaron
