#include <benchmark/benchmark.h>

#include <string>

#include "common/cores/chunks.hpp"

/// Runs the benchmarks of a program with the threads that the program itself would have: OMP_NUM_THREADS of
/// them.
int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  tessaron::with_threads([] {
    benchmark::AddCustomContext("threads", std::to_string(tessaron::thread_count()));
    benchmark::RunSpecifiedBenchmarks();
  });
  return 0;
}
