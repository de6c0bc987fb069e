#include "run/progress.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <string>
#include <thread>

using namespace tessaron;

namespace {

/// Standard error goes to a terminal of the test's own as long as this lives.
class Terminal {
 public:
  Terminal() : before_(::dup(STDERR_FILENO)) {
    int slave = -1;
    if (::openpty(&master_, &slave, nullptr, nullptr, nullptr) != 0) return;
    ::dup2(slave, STDERR_FILENO);
    ::close(slave);
    ::fcntl(master_, F_SETFL, O_NONBLOCK);
  }
  ~Terminal() {
    ::dup2(before_, STDERR_FILENO);
    ::close(before_);
    ::close(master_);
  }
  bool works() const { return master_ >= 0; }
  std::string shown() const {
    std::array<char, 4096> bytes;
    const ssize_t n = ::read(master_, bytes.data(), bytes.size());
    return n > 0 ? std::string(bytes.data(), static_cast<std::size_t>(n)) : "";
  }

 private:
  int before_, master_ = -1;
};

TEST(Progress, TellsHowFarATrackingRunIsOnATerminal) {
  const Terminal terminal;
  if (!terminal.works()) GTEST_SKIP() << "no terminal to be had here";
  progress_start(1, 5);
  progress_step(1.1);
  EXPECT_EQ(terminal.shown(), "");  // nothing in the first moments
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  progress_step(2);  // a quarter of the way
  const std::string line = terminal.shown();
  EXPECT_EQ(line.find("\rct = 2.0000 of 5.0000 m, 25 % done, "), 0u) << line;
  EXPECT_NE(line.find("s left\033[K"), std::string::npos) << line;
  progress_step(2.1);
  EXPECT_EQ(terminal.shown(), "");  // not more than a few times a second
  progress_wipe();
  EXPECT_EQ(terminal.shown(), "\r\033[K");
  progress_wipe();
  EXPECT_EQ(terminal.shown(), "");  // nothing left to wipe
}

TEST(Progress, WritesNothingToAFile) {
  testing::internal::CaptureStderr();
  progress_start(0, 1);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  progress_step(0.5);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
