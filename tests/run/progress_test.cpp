#include "run/progress.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

#ifdef _OPENMP
#include <omp.h>
#endif

#include "common/cores/chunks.hpp"

using namespace tessaron;

namespace {

// On a terminal of the test's own in the place of standard error.
TEST(Progress, TellsHowFarATrackingRunIsOnATerminal) {
  int master = -1, slave = -1;
  if (::openpty(&master, &slave, nullptr, nullptr, nullptr) != 0)
    GTEST_SKIP() << "no terminal to be had here";
  const int before = ::dup(STDERR_FILENO);
  ::dup2(slave, STDERR_FILENO);
  ::fcntl(master, F_SETFL, O_NONBLOCK);
  const auto shown = [&] {
    char bytes[4096];
    const ssize_t n = ::read(master, bytes, sizeof bytes);
    return std::string(bytes, n > 0 ? static_cast<std::size_t>(n) : 0);
  };
  progress_start(1, 5);
  progress_step(1.1);
  EXPECT_EQ(shown(), "");  // nothing in the first moments
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  progress_step(2);  // a quarter of the way
  const std::string line = shown();
  EXPECT_TRUE(line.starts_with("\rct = 2.0000 of 5.0000 m, 25 % done, ") && line.ends_with("s left\033[K"))
      << line;
  progress_step(2.1);
  EXPECT_EQ(shown(), "");  // not more than a few times a second
  progress_wipe();
  EXPECT_EQ(shown(), "\r\033[K");
  progress_wipe();
  EXPECT_EQ(shown(), "");  // nothing left to wipe
#ifdef _OPENMP
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  omp_set_num_threads(3);
  with_threads([] { progress_step(3); });
  EXPECT_TRUE(shown().ends_with("s left, 3 threads\033[K"));
  progress_wipe();
#endif
  ::dup2(before, STDERR_FILENO);
  for (const int descriptor : {before, slave, master}) ::close(descriptor);
}

}  // namespace
