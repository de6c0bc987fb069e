#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "forces/chgsmt.hpp"
#include "forces/convol.hpp"
#include "forces/even_gaussian.hpp"
#include "forces/line_current.hpp"

namespace tessaron {
namespace {

TEST(EvenGaussian, AgreesWithTheExponential) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> uniform(-0.5, 0.5);
  double row[401], slope[401];
  for (const double du : {0.2, -0.2, 0.05, 0.199, 1.0, -0.01, 3.0}) {
    EvenGaussian gaussian;
    gaussian.set_step(du);
    const int reach = static_cast<int>(5.2 / std::abs(du)) + 1;
    for (int repeat = 0; repeat < 20; ++repeat) {
      const double uc = uniform(random) * std::abs(du);
      const int first = repeat == 0 ? 3 : -std::min(reach, 180), last = std::min(reach, 190) - repeat;
      std::fill_n(row, 401, 0.0), std::fill_n(slope, 401, 0.0);
      gaussian.add(row + 200, 2.5, uc, first, last);
      gaussian.add_slope(slope + 200, 2.5, uc, first, last);
      for (int k = -200; k <= 200; ++k) {
        const double u = uc + k * du, inside = k >= first && k <= last ? 2.5 : 0;
        EXPECT_NEAR(row[k + 200], inside * std::exp(-u * u / 2), 5e-14 * 2.5);
        EXPECT_NEAR(slope[k + 200], -inside * u * std::exp(-u * u / 2), 5e-14 * 2.5);
      }
    }
  }
}

TEST(LineCurrent, AgreesWithOneExponentialPerParticleAndPoint) {
  LineGrid grid{};
  ASSERT_EQ(line_grid(1e-4, -3e-4, 8e-4, grid), ok);
  auto pad = std::make_unique<ForceTable>();
  auto source = std::make_unique<FlagTable>();
  std::mt19937 random(4);
  std::uniform_real_distribution<double> place(-3e-4, 8e-4);
  constexpr int n = 500;
  for (int i = 1; i <= n; ++i) (*pad)[i] = {0, 1e-12 * (1 + i % 3), place(random)}, (*source)[i] = i % 7 != 0;
  (*pad)[1].up = -3e-4, (*pad)[2].up = 8e-4;
  std::vector<double> curr(static_cast<std::size_t>(grid.nsam)), plain(curr.size());
  line_current(grid, n, *source, *pad, {curr.data(), grid.n1, grid.n2});
  for (int i = 1; i <= n; ++i) {
    if (!(*source)[i]) continue;
    const double pos = ((*pad)[i].up - grid.ctmin) / grid.h + 1;
    const double w = (*pad)[i].across * speed_of_light / (2.5066282746310002 * grid.s1);
    for (int k = std::max(1, static_cast<int>(std::lround(pos - grid.dr)));
         k <= std::min(grid.nsam, static_cast<int>(std::lround(pos + grid.dr))); ++k) {
      const double d = (pos - k) * grid.h / grid.s1;
      plain[static_cast<std::size_t>(k - 1)] += w * std::exp(-d * d / 2);
    }
  }
  const double largest = *std::max_element(plain.begin(), plain.end());
  for (std::size_t k = 0; k < curr.size(); ++k) EXPECT_NEAR(curr[k], plain[k], 1e-13 * largest);
}

TEST(Convol, RunsOverTheIndicesAtWhichBothSeriesExist) {
  std::mt19937 random(5);
  std::uniform_real_distribution<double> uniform(-1, 1);
  std::uniform_int_distribution<int> from(-60, 40), length(0, 120);
  for (int repeat = 0; repeat < 300; ++repeat) {
    const int stride = repeat % 3 == 0 ? 1 + repeat % 5 : 1;
    const int a1 = from(random), a2 = a1 + length(random), b1 = from(random), b2 = b1 + length(random);
    const int c1 = from(random), c2 = c1 + length(random);
    std::vector<double> a(static_cast<std::size_t>(a2 - a1 + 1)), b(static_cast<std::size_t>(b2 - b1 + 1));
    std::vector<double> c(static_cast<std::size_t>(c2 - c1 + 1), 99.0);
    for (double& value : a) value = uniform(random);
    for (double& value : b) value = uniform(random);
    convol({a.data(), a1, a2}, {b.data(), b1, b2}, {c.data(), c1, c2}, stride, 0.5);
    for (int m = c1; m <= c2; ++m) {
      double sum = 0;
      for (int j = b1; j <= b2; ++j)
        if (m * stride - j >= a1 && m * stride - j <= a2)
          sum += a[static_cast<std::size_t>(m * stride - j - a1)] * b[static_cast<std::size_t>(j - b1)];
      EXPECT_NEAR(c[static_cast<std::size_t>(m - c1)], 0.5 * sum, 1e-14);
    }
  }
}

struct Chgsmt : ::testing::Test {
  std::unique_ptr<ForceTable> pad = std::make_unique<ForceTable>();
  void slots(const std::vector<double>& z, double charge = 1) {
    for (std::size_t i = 0; i < z.size(); ++i) (*pad)[static_cast<int>(i) + 1] = {z[i], charge, z[i]};
  }
};

// x_j = j^2, j = 1..9, par2 = 4: about j = 5 the half-widths are 1.6 (1.25 - 1.25^2/4) = 1.375 and
// 3 (2/3 - 1/9) = 5/3; the means over 3 and 5 neighbours are 77/3 and 27, so that
// A = 0.625 77/3 + 0.375 27 = 26 + 1/6 and 77/9 + 18 = 26 + 5/9; 2/3 of the one and 1/3 of the other: 26 +
// 8/27.
TEST_F(Chgsmt, TakesTheMeanOfNeighboursInTheSortedBunch) {
  slots({81, 4, 9, 16, 25, 36, 49, 64, 1, 77});
  (*pad)[10].across = 0;
  chgsmt(10, 1, 4, *pad);
  EXPECT_NEAR((*pad)[5].up, 26 + 8.0 / 27, 1e-13);
  EXPECT_EQ((*pad)[1].up, 1);  // the ends stay
  EXPECT_EQ((*pad)[9].up, 81);
  EXPECT_EQ((*pad)[1].along, 81);  // places of the particles stay
  EXPECT_EQ((*pad)[10].up, 1);     // an empty slot stands at the bunch's end
  EXPECT_EQ((*pad)[10].across, 0);
}

TEST_F(Chgsmt, RunsOnlyWhenAskedForAndForEqualCharges) {
  struct Case {
    double par1, par2, odd_charge;
    bool runs;
  };
  for (const Case& c : {Case{1, 4, 1, true}, Case{0.4, 4, 1, false}, Case{-1, 4, 1, true},
                        Case{1, 1.4, 1, false}, Case{1, 1e300, 1, true}, Case{1, 4, 1.5, false}}) {
    slots({81, 4, 9, 16, 25, 36, 49, 64, 1});
    (*pad)[3].across = c.odd_charge;
    chgsmt(9, c.par1, c.par2, *pad);
    EXPECT_EQ((*pad)[1].up != 81, c.runs) << c.par1 << " " << c.par2;
  }
  // par2 = 1.6 runs with its widths 0.64 and 1.2: 1.2 reaches beyond one neighbour far from the ends.
  std::vector<double> z;
  for (int j = 1; j <= 21; ++j) z.push_back(j * j);
  slots(z);
  chgsmt(21, 1, 1.6, *pad);
  // half = 1.2: A = 0.8 (121 + 2/3) + 0.2 (121 + 2) - 121 = 14/15; a third of it
  EXPECT_NEAR((*pad)[11].up - 121, 14.0 / 45, 1e-12);
}

TEST_F(Chgsmt, MovesNothingOnAnEvenGridAndKeepsTheCharge) {
  std::vector<double> z;
  for (int j = 0; j < 1000; ++j) z.push_back((j * 37 % 1000) * 1e-6);
  slots(z, 1e-12);
  chgsmt(1000, 1, 60, *pad);
  double charge = 0;
  for (int j = 1; j <= 1000; ++j) {
    EXPECT_NEAR((*pad)[j].up, (j - 1) * 1e-6, 1e-14);
    charge += (*pad)[j].across;
  }
  EXPECT_NEAR(charge, 1e-9, 1e-20);
}

// The noise of the line current of 30000 particles against the Gaussian they are drawn from, in the inner
// four rms; the mean over some 200 neighbours is longer than a particle's own Gaussian of 0.02 rms holds
// there (about 240 in the middle, fewer outside).
TEST_F(Chgsmt, LowersTheNoiseOfARandomBunch) {
  constexpr int n = 30000;
  std::mt19937_64 random(7);
  std::normal_distribution<double> gaussian;
  std::vector<double> z;
  for (int i = 0; i < n; ++i) z.push_back(gaussian(random));
  auto source = std::make_unique<FlagTable>();
  source->fill(true);
  const auto noise = [&](double par2) {
    slots(z, 1.0 / n);
    chgsmt(n, 1, par2, *pad);
    LineGrid grid{};
    EXPECT_EQ(line_grid(0.01 * std::sqrt(2.0), -5, 5, grid), ok);
    std::vector<double> curr(static_cast<std::size_t>(grid.nsam));
    line_current(grid, n, *source, *pad, {curr.data(), grid.n1, grid.n2});
    double sum = 0, points = 0;
    for (int k = grid.n1; k <= grid.n2; ++k) {
      if (std::abs(k * grid.h) > 2) continue;
      const double off = curr[static_cast<std::size_t>(k - grid.n1)] / speed_of_light -
                         std::exp(-0.5 * std::pow(k * grid.h, 2)) / std::sqrt(2 * pi);
      sum += off * off, ++points;
    }
    return std::sqrt(sum / points);
  };
  const double plain = noise(0), smoothed = noise(400), more = noise(1600);
  // Shot noise of Gaussians of rms s1: sqrt(lambda / (2 sqrt(pi) s1 n)), about 0.017 for lambda = 0.24.
  EXPECT_NEAR(plain, 0.0168, 0.002);
  EXPECT_LT(smoothed, 0.75 * plain);
  EXPECT_LT(more, 0.5 * plain);
}

}  // namespace
}  // namespace tessaron
