// The program with room for few rows of the Green's function, so that a small mesh needs several blocks.

#include "driver/driver.hpp"
#include "forces/green/evaluation.hpp"

int main(int argc, char** argv) {
  tessaron::green_set_capacity(1500);
  return tessaron::run_process(argc, argv);
}
