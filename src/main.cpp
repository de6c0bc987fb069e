#include "run/tessar.hpp"

int main(int argc, char** argv) {
  tessaron::run_process(&argc, &argv);
  return 0;
}
