#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "common/constants.hpp"
#include "forces/projected/convolution.hpp"
#include "forces/projected/current/charge_smoothing.hpp"
#include "forces/projected/current/even_gaussian.hpp"
#include "forces/projected/current/line_current.hpp"
#include "forces/projected/current/line_moments.hpp"

namespace tessaron {
namespace {

// Charges of many sizes, ten and more to a grid point: the reference is one Gaussian after the other, from
// nint(pos - dr) to nint(pos + dr). The bound is far below the 4e-6 of a single charge that show a cut one
// step off. Every tenth charge stands on a grid point or, to a rounding, on the border of two cells.
TEST(LineCurrent, IsTheSumOfTheCutGaussians) {
  constexpr int n = 8192;
  constexpr double sig = 1e-5, h = 0.2 * sig * 0.70710678118654757, length = 300 * h;
  const auto moments = std::make_unique<LineMoments>();
  std::mt19937 random(11);
  std::uniform_real_distribution<double> uniform(0, 1);
  for (const double front : {-0.3 * length, 0.9 * length}) {
    std::vector<double> place, charge;
    for (int i = 0; i < n; ++i) {
      const double z = front + length * uniform(random), half = 0.5 * h * std::round(2 * z / h);
      place.push_back(i % 10 != 0 ? z : i % 20 == 0 ? half : std::nextafter(half, 1.0));
      charge.push_back(uniform(random));
    }
    LineGrid grid{};
    ASSERT_EQ(line_grid(sig, front, front + length, grid), ok);
    place[5] = std::nan(""), place[6] = 10, place[7] = -10;  // these count for nothing
    std::vector<double> curr(static_cast<std::size_t>(grid.nsam)), expected(curr.size());
    line_current(grid, {n, place.data(), charge.data()}, *moments, {curr.data(), grid.n1, grid.n2});

    const double peak = speed_of_light / (2.5066282746310002 * grid.s1);
    for (int i = 0; i < n; ++i) {
      const double pos = (place[static_cast<std::size_t>(i)] - grid.ctmin) / grid.h + 1;
      for (int k = 1; k <= grid.nsam; ++k)
        if (k >= std::round(pos - grid.dr) && k <= std::round(pos + grid.dr))
          expected[static_cast<std::size_t>(k - 1)] +=
              peak * charge[static_cast<std::size_t>(i)] * std::exp(-0.02 * (pos - k) * (pos - k));
    }
    for (std::size_t k = 0; k < curr.size(); ++k) EXPECT_NEAR(curr[k] / peak, expected[k] / peak, 2e-10) << k;
  }
}

// Short series of any ranges and strides, and long ones, which go through a transform above 1500 points: that
// of the force on a grid; results that need a cycle of 4097 for the sake of the last and of the first; more
// than exist. The reference is the sum over the indices at which both series exist, to a few roundings of the
// root sums of squares of both.
TEST(Convol, IsTheSumWrittenOut) {
  const auto work = std::make_unique<ConvolutionWork>();
  std::mt19937 random(7);
  std::normal_distribution<double> normal;
  std::uniform_int_distribution<int> from(-60, 40), length(0, 120);
  std::vector<std::array<int, 7>> cases{{-2999, 25, -40, 2960, -40, 2960, 1},
                                        {0, 2559, 0, 2559, 2000, 4096, 1},
                                        {0, 2559, 0, 2559, 1022, 3000, 1},
                                        {5, 2004, -7, 1492, -100, 6000, 1}};
  for (int repeat = 0; repeat < 300; ++repeat) {
    const int a = from(random), b = from(random), c = from(random);
    cases.push_back({a, a + length(random), b, b + length(random), c, c + length(random),
                     repeat % 3 == 0 ? 1 + repeat % 5 : 1});
  }
  for (const auto& [a1, a2, b1, b2, c1, c2, stride] : cases) {
    std::vector<double> a(static_cast<std::size_t>(a2 - a1 + 1)), b(static_cast<std::size_t>(b2 - b1 + 1));
    std::vector<double> c(static_cast<std::size_t>(c2 - c1 + 1), 99.0);
    for (double& value : a) value = normal(random);
    for (double& value : b) value = normal(random);
    convol({a.data(), a1, a2}, {b.data(), b1, b2}, {c.data(), c1, c2}, stride, 0.5, *work);
    const double bound = 2e-15 * 0.5 * std::sqrt(static_cast<double>(a.size() * b.size())) + 1e-14;
    double worst = 0;
    for (int m = c1; m <= c2; ++m) {
      double sum = 0;
      for (int j = std::max(b1, m * stride - a2); j <= std::min(b2, m * stride - a1); ++j)
        sum += a[static_cast<std::size_t>(m * stride - j - a1)] * b[static_cast<std::size_t>(j - b1)];
      worst = std::max(worst, std::abs(c[static_cast<std::size_t>(m - c1)] - 0.5 * sum));
    }
    EXPECT_LT(worst, bound) << a2 << " " << b2;
  }
}

struct Charge {
  double along;  ///< place of the particle
  double across, up;
};
std::vector<Charge> smoothed(const std::vector<double>& z, double par1, double par2, double odd_charge = 1) {
  std::vector<double> charge(z.size(), 1.0), place(z.size());
  charge[2] = odd_charge;
  static SmoothingWork work;
  (void)chgsmt(par1, par2, z, charge, place, work);
  std::vector<Charge> result;
  for (std::size_t i = 0; i < z.size(); ++i) result.push_back({z[i], charge[i], place[i]});
  return result;
}

// x_j = j^2, j = 1..9, par2 = 4: about j = 5 the half-widths are 1.6 (1.25 - 1.25^2/4) = 1.375 and
// 3 (2/3 - 1/9) = 5/3; the means over 3 and 5 neighbours are 77/3 and 27, so that A = 0.625 77/3 + 0.375 27 =
// 26 + 1/6 and 77/9 + 18 = 26 + 5/9; 2/3 of the one and 1/3 of the other: 26 + 8/27. With par2 = 1.6 only the
// half-width 1.2 reaches beyond a neighbour, far from the ends: about 121, 0.8 2/3 + 0.2 2 = 14/15; a third.
TEST(Chgsmt, TakesTheMeanOfNeighboursInTheSortedBunch) {
  const auto f = smoothed({81, 4, 77, 9, 16, 25, 36, 49, 64, 1}, 1, 4, 0);
  EXPECT_NEAR(f[4].up, 26 + 8.0 / 27, 1e-13);
  EXPECT_EQ(f[0].up, 1);  // the ends stay
  EXPECT_EQ(f[8].up, 81);
  EXPECT_EQ(f[0].along, 81);  // places of the particles stay
  EXPECT_EQ(f[9].up, 1);      // an empty slot stands at the bunch's end
  EXPECT_EQ(f[9].across, 0);
  std::vector<double> squares, even;
  for (int j = 1; j <= 21; ++j) squares.push_back(j * j);
  EXPECT_NEAR(smoothed(squares, 1, 1.6)[10].up - 121, 14.0 / 45, 1e-12);
  for (int j = 0; j < 1000; ++j) even.push_back((j * 37 % 1000) * 1e-6);
  const auto same = smoothed(even, 1, 60);
  for (std::size_t j = 0; j < 1000; ++j) EXPECT_NEAR(same[j].up, static_cast<double>(j) * 1e-6, 1e-14);
}

TEST(Chgsmt, RunsOnlyWhenAskedForAndForEqualCharges) {
  const double runs[][3] = {{1, 4, 1}, {-1, 4, 1}, {1, 1e300, 1}},
               stays[][3] = {{0.4, 4, 1}, {1, 1.4, 1}, {1, 4, 1.5}};
  for (int k = 0; k < 3; ++k) {
    EXPECT_EQ(smoothed({81, 4, 9, 16, 25, 1}, runs[k][0], runs[k][1], runs[k][2])[0].up, 1) << k;
    EXPECT_EQ(smoothed({81, 4, 9, 16, 25, 1}, stays[k][0], stays[k][1], stays[k][2])[0].up, 0) << k;
  }
}

}  // namespace
}  // namespace tessaron
