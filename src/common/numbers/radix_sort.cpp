#include "common/numbers/radix_sort.hpp"

#include <bit>
#include <cstdint>
#include <utility>

#include "common/cores/chunks.hpp"
#include "common/table.hpp"

namespace tessaron {

namespace {

constexpr int digit_bits = 8, passes = 8;
constexpr int digits = 1 << digit_bits;
constexpr int most_parts = 16;

/// The bits of a real as a number that rises with it: those of negative reals are turned over, the sign of
/// the others is.
std::uint64_t rank(double value) {
  const auto bits = std::bit_cast<std::uint64_t>(value);
  const std::uint64_t negative = 0 - (bits >> 63);
  return bits ^ (negative | std::uint64_t{1} << 63);
}

int digit(double value, int pass) {
  return static_cast<int>(rank(value) >> (pass * digit_bits)) & (digits - 1);
}

using Counts = Table<std::uint32_t, digits, 0>;

/// Where in the result the values of each chunk with each digit begin: after all that are smaller, and after
/// the same ones of earlier chunks.
void accumulate(Table<Counts, most_parts>& counts, int parts) {
  std::uint32_t sum = 0;
  for (int d = 0; d < digits; ++d)
    for (int c = 1; c <= parts; ++c) {
      const std::uint32_t here = counts[c][d];
      counts[c][d] = sum;
      sum += here;
    }
}

}  // namespace

void radix_sort(std::span<double> values, std::span<double> scratch) {
  const Chunks chunks = Chunks::of(static_cast<int>(values.size()), 16384, most_parts);
  Table<Counts, most_parts> counts;
  double *from = values.data(), *to = scratch.data();
  for (int pass = 0; pass < passes; ++pass) {
    over_chunks(chunks, [&](const Chunk& chunk) {
      Counts& own = counts[chunk.number];
      own.fill(0);
      for (int i = chunk.first; i <= chunk.last; ++i) ++own[digit(from[i - 1], pass)];
    });
    accumulate(counts, chunks.count);
    over_chunks(chunks, [&](const Chunk& chunk) {
      Counts& next = counts[chunk.number];
      for (int i = chunk.first; i <= chunk.last; ++i) to[next[digit(from[i - 1], pass)]++] = from[i - 1];
    });
    std::swap(from, to);
  }
}

}  // namespace tessaron
