#include "forces/projected/current/charge_smoothing.hpp"

#include <algorithm>
#include <cmath>

#include "common/cores/chunks.hpp"
#include "common/numbers/radix_sort.hpp"

namespace tessaron {

namespace {

constexpr int fewest_in_chunk = 4096;

/// Copies the coordinates of the m charges that are not 0; false if the charges differ.
bool collect(std::span<const double> z, std::span<const double> charge, Table<double, maxprt>& collected,
             int& m, double& common) {
  m = 0;
  for (std::size_t i = 0; i < z.size(); ++i) {
    if (charge[i] == 0) continue;
    if (m == 0) common = charge[i];
    if (charge[i] != common) return false;
    collected[++m] = z[i];
  }
  return m > 0;
}

/// A(j, w): the mean over j-half .. j+half, interpolated between two whole numbers of neighbours.
class MovingAverage {
 public:
  MovingAverage(const SmoothingWork& bunch, int m, double w)
      : bunch_(bunch), m_(m), w_(w), middle_first_(m + 1), middle_last_(0) {
    if (!(w > 1.0 && 4.0 * w < m)) return;
    middle_first_ = static_cast<int>(4.0 * w) + 3;
    middle_last_ = m - static_cast<int>(4.0 * w) - 2;
  }

  /// The averages j = first..last.
  void fill(int first, int last, double* average) const {
    int j = first;
    for (; j <= std::min(last, middle_first_ - 1); ++j) *average++ = at(j);
    if (j <= middle_last_) {
      const Mean mean(bunch_.running_sum, w_);
      for (; j <= std::min(last, middle_last_); ++j) *average++ = mean(j);
    }
    for (; j <= last; ++j) *average++ = at(j);
  }

 private:
  /// Sums over the 2 k + 1 and the 2 k + 3 neighbours of a place.
  struct Mean {
    const Table<double, maxprt + 1>& running_sum;
    int k;
    double t, narrow, wide;
    Mean(const Table<double, maxprt + 1>& sums, double half)
        : running_sum(sums),
          k(static_cast<int>(half)),
          t(k + 1 - half),
          narrow(2.0 * k + 1.0),
          wide(2.0 * k + 3.0) {}
    double operator()(int j) const {
      const double* S = &running_sum[j];
      return t * (S[k + 1] - S[-k]) / narrow + (1.0 - t) * (S[k + 2] - S[-k - 1]) / wide;
    }
  };

  double at(int j) const {
    const double half = std::min(taper(j - 1) * w_, taper(m_ - j) * w_);
    return half > 1.0 ? Mean(bunch_.running_sum, half)(j) : bunch_.sorted[j];
  }
  /// The share of w at a place with that many neighbours on one side: 1 in the bunch's middle, 0 at its ends.
  double taper(double neighbours) const {
    const double a = neighbours / (2.0 * w_);
    return a > 2.0 ? 1.0 : a - 0.25 * a * a;
  }

  const SmoothingWork& bunch_;
  int m_;
  double w_;
  int middle_first_, middle_last_;  ///< places where nothing is tapered
};

}  // namespace

bool chgsmt(double par1, double par2, std::span<const double> z, std::span<double> charge,
            std::span<double> place, SmoothingWork& work) {
  if (std::round(par1) == 0 || !(std::round(par2) >= 2)) return false;
  int m = 0;
  double common = 0;
  auto& [sorted, running_sum] = work;
  if (!collect(z, charge, sorted, m, common)) return false;

  radix_sort(sorted.run(1, m), running_sum.run(1, m));
  running_sum[1] = 0;
  for (int j = 1; j <= m; ++j) running_sum[j + 1] = running_sum[j] + sorted[j];

  const MovingAverage narrow(work, m, 0.4 * par2), wide(work, m, 0.75 * par2);
  over_chunks(Chunks::of(m, fewest_in_chunk), [&](const Chunk& chunk) {
    constexpr int block = 256;
    for (int first = chunk.first; first <= chunk.last; first += block) {
      const int last = std::min(first + block - 1, chunk.last);
      double a[block], b[block];
      narrow.fill(first, last, a);
      wide.fill(first, last, b);
      double* const out = place.data() + first - 1;
      for (int k = 0; k <= last - first; ++k)
        out[k] = 0.66666666666666663 * a[k] + 0.33333333333333331 * b[k];
    }
  });
  const auto empty = static_cast<std::size_t>(m);
  std::ranges::fill(charge.first(empty), common);
  std::ranges::fill(charge.subspan(empty), 0.0);
  std::ranges::fill(place.subspan(empty), sorted[1]);
  return true;
}

}  // namespace tessaron
