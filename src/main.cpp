#include "common/console.hpp"
#include "run/pg.hpp"
#include "run/tessar.hpp"

int main(int argc, char** argv) {
  using namespace tessaron;
  pgstart(&argc, &argv);
  if (pgflags().master) {
    tessar();
  } else {
    console_silence();
    pgworker();
  }
  pgend();
  return 0;
}
