#pragma once
#include <fcntl.h>
#include <unistd.h>

namespace tessaron {

/// Keeps the console's lines away from the benchmarks' table for as long as it lives.
class QuietConsole {
 public:
  QuietConsole() : kept_(dup(1)) {
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, 1);
    close(nowhere);
  }
  ~QuietConsole() {
    dup2(kept_, 1);
    close(kept_);
  }
  QuietConsole(const QuietConsole&) = delete;
  QuietConsole& operator=(const QuietConsole&) = delete;

 private:
  int kept_;
};

}  // namespace tessaron
