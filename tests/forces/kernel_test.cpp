#include "forces/projected/kernel/kernel.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "forces/kernel_reference.hpp"
#include "forces/projected/kernel/kernel_walk.hpp"
#include "forces/projected/spline.hpp"

namespace tessaron {
namespace {

using reference::m_of;
using reference::Orbit;
using reference::table_of;

constexpr double four_pi_eps0 = 1.1126500560536184e-10;
Csr1d record, other_record;
KernelWork work;

/// The record of a kernel on the offsets from..to in units of sigma.
void ask(Csr1d& to_fill, double sigma, double gamma, double s_ref, double from, double to, double shield = 0,
         double shield_max = 0.3) {
  to_fill.sigma = sigma, to_fill.gamma = gamma, to_fill.s_ref = s_ref;
  to_fill.s_lo = from * sigma, to_fill.s_hi = to * sigma;
  to_fill.done = false;
  to_fill.shield = shield, to_fill.shield_max = shield_max;
}

double largest(const Csr1d& of, int n) {
  double most = 0;
  for (int i = 1; i <= n; ++i) most = std::max(most, std::abs(of.array[i]));
  return most;
}

/// The kernel deep in an arc of radius R, in units of 1/(4 pi eps0) R^(-2/3) sigma^(-4/3).
struct SteadyState {
  double mean, largest_loss, at_loss, largest_gain, at_gain;
};
SteadyState steady_state(double R, double sigma, double gamma, double shield = 0, double shield_max = 0.3) {
  CurvatureTable curv{};
  const double length = 2.4 * R;
  curv[1] = {0, R}, curv[2] = {length, 0};
  constexpr int n = 161;
  ask(record, sigma, gamma, length, -8, 8, shield, shield_max);
  csr2(curv, 1, record, n, work);
  const double unit = 1 / (four_pi_eps0 * std::pow(R, 2.0 / 3) * std::pow(sigma, 4.0 / 3));
  SteadyState result{0, 0, 0, 0, 0};
  for (int i = 1; i <= n; ++i) {
    const double s = -8 + (i - 1) * 0.1, k = record.array[i] / unit;
    result.mean += 0.1 * k * std::exp(-s * s / 2) / std::sqrt(2 * pi);
    if (k < result.largest_loss) result.largest_loss = k, result.at_loss = s;
    if (k > result.largest_gain) result.largest_gain = k, result.at_gain = s;
  }
  return result;
}

// Deep in an arc a Gaussian bunch loses, per metre and per Q/(4 pi eps0) R^(-2/3) sigma^(-4/3), on average
// 3^(1/6) Gamma(2/3)^2 / (2 pi) = 0.350472; the extremes of the wake are those of
// -2/(3^(1/3) sqrt(2 pi)) Int_0^inf u^(-1/3) d/dv exp(-(v - u)^2/2) du (Derbenev et al. 1995). Offsets are
// those of the bunch's centre from the observer: a loss behind the centre stands at a positive offset.
TEST(Csr, DeepInAnArcTheKernelIsTheSteadyStateWake) {
  const double mean = -std::pow(3.0, 1.0 / 6) * std::pow(std::tgamma(2.0 / 3), 2) / (2 * pi);
  EXPECT_NEAR(mean, -0.350472, 1e-6);
  for (const double R : {1.0, 10.0})
    for (const double sigma : {1e-5, 1e-4})
      for (const double gamma : {1600.0, 1e5}) {
        const SteadyState found = steady_state(R, sigma, gamma);
        EXPECT_NEAR(found.mean / mean, 1.0, 1.2e-3) << R << " " << sigma << " " << gamma;
        EXPECT_NEAR(found.largest_loss, -0.6167, 4.5e-3);
        EXPECT_NEAR(found.at_loss, 0.38, 0.051);  // grid of 0.1
        EXPECT_NEAR(found.largest_gain, 0.1810, 2.2e-3);
        EXPECT_NEAR(found.at_gain, -2.095, 0.051);
      }
}

const Orbit bend = reference::orbit_of({{0.5, 10}});
const Orbit chicane =
    reference::orbit_of({{0.5, 10}, {5, 0}, {0.5, -10}, {1, 0}, {0.5, -10}, {5, 0}, {0.5, 10}});

// Where the deviation at the fixed step of 0.2 sigma comes from: next to the observer on its own arc the
// nodes are even in p^3, and the first interval, (4.8 R^2 sigma)^(1/3) long, does not resolve the cone of
// 1/gamma, in which the field function turns from 2/3 to 1 of its far value. It falls as soon as the interval
// gets shorter than R / gamma. Where the observer's circle is not met, what is left is the error of Simpson's
// rule and the cut of the Gaussians at 5 sigma (4e-6).
TEST(Csr, TheWalkIsTheRetardedIntegralEverywhereOnAnOrbit) {
  struct Place {
    const char* name;
    const Orbit& orbit;
    double s_ref, gamma, sigma, h;
    double from, to;         ///< offsets in sigma
    double held, converged;  ///< deviation with the step of the program and with a step 20 times finer
  };
  const Place places[] = {
      {"shortly behind the entrance", bend, 0.1, 1000, 20e-6, 0, -8, 4, 3e-3, 2e-4},
      {"low energy, behind the entrance", bend, 0.4, 200, 20e-6, 0, -8, 4, 5e-3, 1e-4},
      {"drift behind the arc, a long bunch", bend, 0.8, 1000, 20e-6, 0, -200, 4, 1e-3, 2e-5},
      {"second arc", chicane, 5.8, 1000, 20e-6, 0, -8, 4, 3e-3, 2e-4},
      {"third arc, a longer range", chicane, 7.2, 1000, 20e-6, 0, -30, 4, 3e-3, 2e-4},
      {"fourth arc", chicane, 12.9, 1000, 20e-6, 0, -8, 4, 3e-3, 2e-4},
      {"on the first line again", chicane, 14.0, 1000, 20e-6, 0, -8, 4, 1e-3, 2e-5},
      {"on the first line again, low energy", chicane, 14.0, 30, 200e-6, 0, -125, -85, 1e-3, 5e-5},
      {"behind the entrance, image", bend, 0.3, 1000, 20e-6, 0.005, -8, 4, 5e-5, 1e-5},
      {"second arc, image", chicane, 5.8, 1000, 20e-6, 0.02, -8, 4, 5e-5, 1e-5},
      {"drift behind, image", chicane, 14.0, 1000, 20e-6, 0.01, -8, 60, 1e-3, 2e-5},
  };
  constexpr int n = 41;
  for (const Place& p : places) {
    SCOPED_TRACE(p.name);
    for (const double step : {0.2, 0.01}) {
      ask(record, p.sigma, p.gamma, p.s_ref, p.from, p.to);
      csrpth(table_of(p.orbit), m_of(p.orbit), record, n, p.h, step);
      double worst = 0;
      for (int i = 1; i <= n; i += 4) {
        const double s = (p.from + (i - 1) * (p.to - p.from) / (n - 1)) * p.sigma;
        const double exact = reference::kernel(p.orbit, p.s_ref, p.gamma, p.sigma, s, p.h);
        worst = std::max(worst, std::abs(record.array[i] - exact));
      }
      EXPECT_LT(worst, (step > 0.1 ? p.held : p.converged) * largest(record, n));
    }
  }
}

/// What two planes leave of the power of a Gaussian bunch on a circle. The power of the harmonic k between
/// planes at the distance h is a sum over the vertical modes p = 1, 3, 5 .. (Schwinger; Nodvick and Saxon,
/// Phys. Rev. 96 (1954) 180), J_n'^2 + (alpha/gamma)^2 J_n^2 with alpha = pi p / h; for large n = kR it turns
/// into
///     G(u) = Ai'(u)^2 + u Ai(u)^2,   u = (p a)^2,   a = pi R^(1/3) / (2^(1/3) k^(2/3) h),
/// and the share of the free power, proportional to k^(1/3), is 2 a Sum_p G / Int_0^inf G(q^2) dq.
double plates_share(double R, double sigma, double h) {
  const auto G = [](double q) {  // u = q^2
    if (q > 8) return 0.0;
    const double u = std::max(q * q, 1e-12), zeta = 2.0 / 3 * u * std::sqrt(u);
    const double airy = std::sqrt(u / 3) / pi * std::cyl_bessel_k(1.0 / 3, zeta);
    const double slope = -u / (pi * std::sqrt(3.0)) * std::cyl_bessel_k(2.0 / 3, zeta);
    return slope * slope + u * airy * airy;
  };
  double whole = 0;
  constexpr double dq = 1e-3;
  for (double q = dq / 2; q < 8; q += dq) whole += G(q) * dq;
  double power = 0, free = 0;
  constexpr double dx = 0.02;
  for (double x = dx / 2; x < 5; x += dx) {  // x = k sigma
    const double weight = std::cbrt(x) * std::exp(-x * x);
    const double a = pi * std::cbrt(R / 2) / (std::pow(x / sigma, 2.0 / 3) * h);
    double modes = 0;
    for (int p = 1; p * a < 8; p += 2) modes += G(p * a);
    power += weight * 2 * a * modes / whole, free += weight;
  }
  return power / free;
}

// The sum of images with its cosine fade stands for the planes as long as the field of the last images is
// slow against the bunch: shield_max much larger than (R sigma^2)^(1/3), 5 to 10 mm here.
TEST(Csr, PlanesReduceTheSteadyStateLossAsTheTheoryOfParallelPlatesSays) {
  for (const double sigma : {1e-4, 3e-4})
    for (const double h : {0.004, 0.006, 0.008, 0.012, 0.02, 0.04}) {
      const double theory = plates_share(10, sigma, h);
      const double found = steady_state(10, sigma, 1e4, h, 0.3).mean / steady_state(10, sigma, 1e4).mean;
      EXPECT_NEAR(found, theory, 0.004) << sigma << " " << h;
    }
}

// A spline of step q sigma through a Gaussian's slope is off by 5/384 q^4 of its fourth derivative.
TEST(Csr, AFineGridIsSampledCoarselyWithinTheErrorOfItsSpline) {
  constexpr int n = 601;  // a step of 0.05 sigma
  ask(record, 2e-5, 1000, 12.9, -25, 5);
  csr3(table_of(chicane), m_of(chicane), record, n, work);
  ask(other_record, 2e-5, 1000, 12.9, -25, 5);
  csr2(table_of(chicane), m_of(chicane), other_record, n, work);
  double worst = 0;
  for (int i = 1; i <= n; ++i) worst = std::max(worst, std::abs(record.array[i] - other_record.array[i]));
  EXPECT_LT(worst, 5.0 / 384 * std::pow(0.2, 4) * 15 * largest(other_record, n));
  EXPECT_GT(worst, 0);
  record.array[1] = 1;
  csr3(table_of(chicane), m_of(chicane), record, n, work);  // done: nothing to do
  EXPECT_EQ(record.array[1], 1);
}

TEST(Spline, IsExactForALineHoldsItsEndsAndFollowsASine) {
  const std::vector<double> line{1, 3, 5, 7};
  std::vector<double> y2(4), ratio(21);
  splcof(line, y2, ratio);
  const double values[][2] = {{2.25, 3.5}, {0.9, 1}, {4, 7}, {1e30, 7}};
  for (const auto& [x, y] : values) EXPECT_DOUBLE_EQ(splval(line, y2, x), y);
  std::vector<double> sine;  // without curvature at its ends
  for (int k = 0; k <= 20; ++k) sine.push_back(std::sin(k * pi / 20));
  y2.resize(sine.size());
  splcof(sine, y2, ratio);
  for (double x = 1; x < 21; x += 0.1)
    EXPECT_NEAR(splval(sine, y2, x), std::sin((x - 1) * pi / 20), 5.0 / 384 * std::pow(pi / 20, 4));
}

}  // namespace
}  // namespace tessaron
