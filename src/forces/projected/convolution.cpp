#include "forces/projected/convolution.hpp"

#include <algorithm>
#include <bit>
#include <span>

#include "common/cores/clones.hpp"

namespace tessaron {

namespace {

/// Fewer points, in either series or in the result, are summed faster than they are transformed.
constexpr int shortest_transformed = 1500;

template <class Real>
std::int64_t size_of(const Indexed<Real>& series) {
  return std::int64_t{series.hi} - series.lo + 1;
}

constexpr int tile = 16;  ///< results that are summed together, held in registers

/// sum[t] += Sum_j a[t - j] b[j], j = 0 .. n-1, for the tile t = 0 .. tile-1.
TESSARON_CLONES
void add_tile(const double* __restrict a, const double* __restrict b, std::int64_t n,
              double* __restrict sum) {
  double s[tile];
  for (int t = 0; t < tile; ++t) s[t] = sum[t];
  for (std::int64_t j = 0; j < n; ++j) {
    const double weight = b[j];
    const double* row = a - j;
    for (int t = 0; t < tile; ++t) s[t] += row[t] * weight;
  }
  for (int t = 0; t < tile; ++t) sum[t] = s[t];
}

/// The indices j at which a(place - j) and b(j) exist.
struct Overlap {
  std::int64_t from, to;
};
Overlap overlap(const Series& a, const Series& b, std::int64_t place) {
  return {std::max<std::int64_t>(place - a.hi, b.lo), std::min<std::int64_t>(place - a.lo, b.hi)};
}

double partial_sum(const Series& a, const Series& b, std::int64_t place, std::int64_t from, std::int64_t to) {
  double sum = 0;
  for (std::int64_t j = from; j <= to; ++j) sum += a.cells[place - j - a.lo] * b.cells[j - b.lo];
  return sum;
}

/// The results m .. m+tile-1 of a convolution of stride 1: what is common to all of them is summed together,
/// what is ahead of it and behind it by itself.
void convolve_tile(const Series& a, const Series& b, int m, double* c) {
  const Overlap first = overlap(a, b, m), last = overlap(a, b, std::int64_t{m} + tile - 1);
  const std::int64_t from = last.from, to = first.to;  // both limits rise with m
  if (from > to) {
    for (int t = 0; t < tile; ++t) {
      const Overlap range = overlap(a, b, std::int64_t{m} + t);
      c[t] = partial_sum(a, b, std::int64_t{m} + t, range.from, range.to);
    }
    return;
  }
  for (int t = 0; t < tile; ++t) {
    const std::int64_t place = std::int64_t{m} + t;
    c[t] = partial_sum(a, b, place, overlap(a, b, place).from, from - 1);
  }
  add_tile(a.cells + (m - from - a.lo), b.cells + (from - b.lo), to - from + 1, c);
  for (int t = 0; t < tile; ++t) {
    const std::int64_t place = std::int64_t{m} + t;
    c[t] += partial_sum(a, b, place, to + 1, overlap(a, b, place).to);
  }
}

}  // namespace

void convol_direct(Series a, Series b, Output c, std::int64_t stride, double factor) {
  std::int64_t m = c.lo;
  if (stride == 1) {
    for (; m + tile - 1 <= c.hi; m += tile) {
      double* results = c.cells + (m - c.lo);
      convolve_tile(a, b, static_cast<int>(m), results);
      for (int t = 0; t < tile; ++t) results[t] *= factor;
    }
  }
  for (; m <= c.hi; ++m) {
    const std::int64_t place = m * stride;
    const Overlap range = overlap(a, b, place);
    c.cells[m - c.lo] = factor * partial_sum(a, b, place, range.from, range.to);
  }
}

void convol(Series a, Series b, Output c, std::int64_t stride, double factor, ConvolutionWork& work) {
  // Results exist from `zero` to `end`, wanted are those from `first` to `last`. In a cycle of this length
  // the others may fall on each other, but not on these.
  const std::int64_t zero = std::int64_t{a.lo} + b.lo, end = std::int64_t{a.hi} + b.hi;
  const std::int64_t first = std::max<std::int64_t>(c.lo, zero), last = std::min<std::int64_t>(c.hi, end);
  const std::int64_t length = std::max({end - first + 1, last - zero + 1, size_of(a), size_of(b)});
  if (stride != 1 || std::min({size_of(a), size_of(b), last - first + 1}) < shortest_transformed ||
      length > longest_cycle)
    return convol_direct(a, b, c, stride, factor);

  const auto cycle = static_cast<int>(std::bit_ceil(static_cast<std::uint32_t>(length)));
  std::fill(c.cells, c.cells + size_of(c), 0.0);
  const std::span<double> wanted(c.cells + (first - c.lo), static_cast<std::size_t>(last - first + 1));
  cyclic_convolution(cycle, {a.cells, static_cast<std::size_t>(size_of(a))},
                     {b.cells, static_cast<std::size_t>(size_of(b))}, static_cast<int>(first - zero), wanted,
                     work);
  for (double& value : wanted) value *= factor;
}

}  // namespace tessaron
