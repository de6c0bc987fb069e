// The program with room for few rows of the Green's function, so that a small mesh needs several blocks.

#include "common/console.hpp"
#include "forces/force3_green.hpp"
#include "run/pg.hpp"
#include "run/tessar.hpp"

int main(int argc, char** argv) {
  using namespace tessaron;
  green_set_capacity(1500);
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
