#include "field/source/error_function.hpp"

#include <cmath>

#include "common/console.hpp"

namespace tessaron {

namespace {

constexpr int itmax = 100;
constexpr float eps = 3e-7f;

/// ln Gamma(x) for x > 0, by Lanczos' series.
double gammln(double x) {
  constexpr double c[] = {76.18009173, -86.50532033, 24.01409822, -1.231739516, 0.00120858003, -5.36382e-06};
  double sum = 1;
  for (int j = 1; j <= 6; ++j) sum += c[j - 1] / (x - 1 + j);
  return (x - 0.5) * std::log(x + 4.5) - (x + 4.5) + std::log(2.50662827465 * sum);
}

float prefactor(float a, float x) {
  return static_cast<float>(std::exp(-x + a * std::log(x) - static_cast<float>(gammln(a))));
}

/// P(a, x) by its series.
float gammp2(float a, float x) {
  if (x == 0) return 0;
  float ap = a, term = 1 / a, sum = term;
  for (int n = 1; n <= itmax; ++n) {
    ap += 1;
    term *= x / ap;
    sum += term;
    if (std::abs(term) < std::abs(sum) * eps) return sum * prefactor(a, x);
  }
  console_line("error in fld_math/gammp2: a too large, itmax too small");
  return sum * prefactor(a, x);
}

/// 1 - P(a, x) by its continued fraction: the recurrence of numerators and denominators, renormalised by
/// `fac`.
float gammp3(float a, float x) {
  float g_old = 0, a0 = 1, a1 = x, b0 = 0, b1 = 1, fac = 1, g = 0;
  for (int i = 1; i <= itmax; ++i) {
    const float n = static_cast<float>(i);
    a0 = (a1 + a0 * (n - a)) * fac;
    b0 = (b1 + b0 * (n - a)) * fac;
    a1 = x * a0 + n * fac * a1;
    b1 = x * b0 + n * fac * b1;
    if (a1 == 0) continue;
    fac = 1 / a1;
    g = b1 * fac;
    if (std::abs((g - g_old) / g) < eps) return prefactor(a, x) * g;
    g_old = g;
  }
  console_line("error in fld_math/gammp3: a too large, itmax too small");
  return prefactor(a, x) * g;
}

}  // namespace

float gammp(float a, float x) {
  if (x < 0 || a <= 0) fatal_stop("error in fld_math/gammp");
  return x < a + 1 ? gammp2(a, x) : 1 - gammp3(a, x);
}

float erff(float x) {
  // Beyond 10 the rest is below 1e-44; the fraction's terms would leave the range of a float further out.
  const float magnitude = std::abs(x) > 10 ? 1 : gammp(0.5f, x * x);
  return x < 0 ? -magnitude : magnitude;
}

}  // namespace tessaron
