// Rates of reading and writing a full bunch, in particles per second.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "beam/bunch_record_owner.hpp"
#include "beam/particles.hpp"
#include "common/console.hpp"
#include "monitors/monitors.hpp"
#include "run/deck.hpp"
#include "run/files/file_table.hpp"

namespace tessaron {
namespace {

void open_deck(const std::string& deck) {
  (void)close_all_files();
  std::ofstream("tessar.in") << deck;
  if (fiinit("tessar.in") != ok || rdinit() != ok) std::abort();
}

/// A folder of its own to work in, and a silent console.
class Workplace {
 public:
  Workplace() : home_(std::filesystem::current_path()) {
    std::string pattern = (std::filesystem::temp_directory_path() / "beam_io_XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    folder_ = pattern;
    std::filesystem::current_path(folder_);
    console_silence();
    open_deck("");
  }
  ~Workplace() {
    (void)close_all_files();
    std::filesystem::current_path(home_);
    std::filesystem::remove_all(folder_);
  }

 private:
  std::filesystem::path home_, folder_;
};

void make_full_bunch() {
  std::mt19937 random(1);
  std::normal_distribution<double> normal;
  (void)ptlini();
  ptlcom_store.npart = maxprt;
  for (int i = 1; i <= maxprt; ++i) {
    ptlcom_store.particle[i] = {1e-3 * normal(random), 1e-4 * normal(random),
                                1e-4 * normal(random), 9784 * (1 + 1e-3 * normal(random)),
                                1e-4 * normal(random), 1e-4 * normal(random),
                                1e-9 / maxprt};
    ptlcom_store.section[i] = 1;
    ptlcom_store.source[i] = ptlcom_store.test[i] = true;
  }
}

void write_bunch(benchmark::State& state) {
  const Workplace workplace;
  make_full_bunch();
  for (auto _ : state) {
    if (monwrt("bunch.dat", static_cast<std::int32_t>(state.range(0))) != ok)
      state.SkipWithError("write failed");
  }
  state.SetItemsProcessed(state.iterations() * maxprt);
}
BENCHMARK(write_bunch)->ArgName("fmt")->DenseRange(0, 3)->Unit(benchmark::kMillisecond);

void read_bunch(benchmark::State& state) {
  const Workplace workplace;
  make_full_bunch();
  if (monwrt("bunch.dat", static_cast<std::int32_t>(state.range(0))) != ok) std::abort();
  for (auto _ : state) {
    open_deck("{ format = fmt" + std::to_string(state.range(0)) + " array = #file { name = bunch.dat } }");
    if (ptlblk() != ok) state.SkipWithError("read failed");
  }
  state.SetItemsProcessed(state.iterations() * maxprt);
}
BENCHMARK(read_bunch)->ArgName("fmt")->DenseRange(1, 2)->Unit(benchmark::kMillisecond);

void measure_bunch(benchmark::State& state) {
  make_full_bunch();
  for (auto _ : state) benchmark::DoNotOptimize(beam_sizes(maxprt, ptlcom.particle, ptlcom.source));
  state.SetItemsProcessed(state.iterations() * maxprt);
}
BENCHMARK(measure_bunch)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tessaron
