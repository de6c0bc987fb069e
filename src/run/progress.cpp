#include "run/progress.hpp"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "common/console.hpp"
#include "common/cores/chunks.hpp"

namespace tessaron {

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds shortest_interval{250};

struct {
  bool on_terminal = false;
  bool shown = false;
  double start = 0, end = 0;
  Clock::time_point began, last;
} progress;

void put(const char* text, std::size_t size) {
  if (::write(STDERR_FILENO, text, size) < 0) return;  // nobody to tell
}

/// "1h02m", "3m05s" or "12s".
void put_duration(std::array<char, 24>& out, double seconds) {
  const long s = std::isfinite(seconds) ? std::lround(std::clamp(seconds, 0.0, 3.6e8)) : 0;
  if (s >= 3600) {
    std::snprintf(out.data(), out.size(), "%ldh%02ldm", s / 3600, s / 60 % 60);
  } else if (s >= 60) {
    std::snprintf(out.data(), out.size(), "%ldm%02lds", s / 60, s % 60);
  } else {
    std::snprintf(out.data(), out.size(), "%lds", s);
  }
}

}  // namespace

void progress_start(double start, double end) {
  progress.on_terminal = ::isatty(STDERR_FILENO) == 1;
  progress.start = start;
  progress.end = end;
  progress.began = progress.last = Clock::now();
  // Console lines on the same terminal must not run into the progress line.
  if (progress.on_terminal && ::isatty(STDOUT_FILENO) == 1) set_line_hook(progress_wipe);
}

void progress_step(double ct) {
  if (!progress.on_terminal) return;
  const Clock::time_point now = Clock::now();
  if (now - progress.last < shortest_interval) return;
  progress.last = now;
  const double share = std::clamp((ct - progress.start) / (progress.end - progress.start), 0.0, 1.0);
  const double spent = std::chrono::duration<double>(now - progress.began).count();
  std::array<char, 24> left{"?"};
  if (share > 0) put_duration(left, spent * (1 - share) / share);
  std::array<char, 24> team{};
  if (thread_count() > 1) std::snprintf(team.data(), team.size(), ", %d threads", thread_count());
  std::array<char, 160> line;
  // Carriage return, the text, and from there on the line is cleared.
  const int n =
      std::snprintf(line.data(), line.size(), "\rct = %.4f of %.4f m, %.0f %% done, %s left%s\033[K", ct,
                    progress.end, 100 * share, left.data(), team.data());
  put(line.data(), std::min(static_cast<std::size_t>(std::max(n, 0)), line.size() - 1));
  progress.shown = true;
}

void progress_wipe() {
  if (!progress.shown) return;
  progress.shown = false;
  put("\r\033[K", 4);
}

}  // namespace tessaron
