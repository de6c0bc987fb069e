#include "driver/driver.hpp"

int main(int argc, char** argv) { return tessaron::run_process(argc, argv); }
