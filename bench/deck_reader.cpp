#include <benchmark/benchmark.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

#include "common/freeform.hpp"
#include "run/deck.hpp"
#include "run/files/file_table.hpp"

/// The way of a particle file through the deck reader: 300000 records of seven numbers.
namespace {

using namespace tessaron;

constexpr int records = 300000, numbers = 7;

void write_particle_file(const char* name) {
  std::mt19937 generator(1);
  std::normal_distribution<> normal;
  std::ofstream out(name);
  for (int i = 0; i < records; ++i) {
    std::array<char, 24> field;
    for (int k = 0; k < numbers; ++k) {
      put_scientific(field.data(), 22, 14, normal(generator) * (k < 3 ? 1e-4 : 1e5));
      out.write(field.data(), 22) << ' ';
    }
    out << '\n';
  }
}

class Folder {
 public:
  Folder() {
    std::filesystem::create_directories(path_);
    std::filesystem::current_path(path_);
    write_particle_file("particles");
  }
  ~Folder() { std::filesystem::remove_all(path_); }

 private:
  std::filesystem::path path_ = std::filesystem::temp_directory_path() / "tessaron_bench_deck";
};

void start_reading() {
  static const Folder folder;
  if (fiinit("particles") != ok || rdinit() != ok) std::abort();
}

void stop_reading(benchmark::State& state) {
  if (close_all_files() != ok) std::abort();
  state.SetItemsProcessed(state.iterations() * records * numbers);
}

/// Tokens alone.
void scan(benchmark::State& state) {
  for (auto _ : state) {
    start_reading();
    for (Text<80> token; getcmd(token) == ok && !(token == "exit");) {
      for (int k = 1; k < numbers; ++k) benchmark::DoNotOptimize(getags(token));
    }
  }
  stop_reading(state);
}
BENCHMARK(scan)->Unit(benchmark::kMillisecond);

/// Tokens and their conversion to reals, as a particle array is read.
void scan_and_convert(benchmark::State& state) {
  for (auto _ : state) {
    start_reading();
    double sum = 0, value = 0;
    for (Text<80> token; getcmd(token) == ok && !(token == "exit");) {
      for (int k = 0; k < numbers; ++k) {
        if (k > 0 && getags(token) != ok) std::abort();
        if (read_real(token.view(), value) != ok) std::abort();
        sum += value;
      }
    }
    benchmark::DoNotOptimize(sum);
  }
  stop_reading(state);
}
BENCHMARK(scan_and_convert)->Unit(benchmark::kMillisecond);

}  // namespace
