#include "common/cores/chunks.hpp"
#include "driver/driver.hpp"

int main(int argc, char** argv) {
  int status = 0;
  tessaron::with_threads([&] { status = tessaron::run_process(argc, argv); });
  return status;
}
