#include "field/source/gauss_functions.hpp"

#include <cmath>

#include "common/console.hpp"
#include "common/constants.hpp"

namespace tessaron {

namespace {

constexpr int m = GaussTables::m;
constexpr double near_g2 = -0.28860783245076599;  // half of Euler's constant
constexpr double near_g3 = 0.21139216754923401;
constexpr double near_limit = 0.001, near_limit_g1 = 0.0001, middle = 3, far = 6;

double log_term(double u) { return std::log(1.4142135623730951 / u); }

/// (E1(v) + ln(v) + Euler's constant) / 2, by its series, for v up to about 5.
double g2_without_logarithm(double v) {
  double sum = 0, term = 1;
  for (int n = 1; n <= 80; ++n) {
    term *= -v / n;
    sum -= term / n;
  }
  return sum / 2;
}

/// E1(v) by its continued fraction, for v above 1. Source: Press et al., Numerical Recipes, 2nd ed.,
/// sec. 6.3.
double exponential_integral(double v) {
  double b = v + 1, c = 1e300, d = 1 / b, h = d;
  for (int i = 1; i <= 200; ++i) {
    const double an = -static_cast<double>(i) * i;
    b += 2;
    d = 1 / (an * d + b);
    c = b + an / c;
    h *= c * d;
  }
  return h * std::exp(-v);
}

double g1_closed(double u) { return -std::expm1(-u * u / 2); }

/// The six functions that are expanded. Between 0.001 and 3 the logarithm is left out.
double g2_low(double u) { return g2_without_logarithm(u * u / 2); }
double g2_high(double u) { return exponential_integral(u * u / 2) / 2; }
double g3_low(double u) { return g2_low(u) + g1_closed(u) / (u * u); }
double g3_high(double u) { return g2_high(u) + g1_closed(u) / (u * u); }

/// Chebyshev coefficients of f on [a, b]. Source: Press et al., Numerical Recipes, 2nd ed., sec. 5.8.
void chebft(double a, double b, double* c, double (*f)(double)) {
  for (int j = 0; j < m; ++j) {
    double sum = 0;
    for (int k = 0; k < m; ++k) {
      const double y = std::cos(pi * (k + 0.5) / m);
      sum += f(0.5 * (b - a) * y + 0.5 * (b + a)) * std::cos(pi * j * (k + 0.5) / m);
    }
    c[j] = 2.0 / m * sum;
  }
}

GaussTables make_tables() {
  GaussTables t;
  chebft(0, middle, t.g1_low, g1_closed);
  chebft(middle, far, t.g1_high, g1_closed);
  chebft(near_limit, middle, t.g2_low, g2_low);
  chebft(middle, far, t.g2_high, g2_high);
  chebft(near_limit, middle, t.g3_low, g3_low);
  chebft(middle, far, t.g3_high, g3_high);
  return t;
}

const GaussTables tables = make_tables();

}  // namespace

const GaussTables& gauss_tables = tables;

double chebev(double a, double b, const double* c, int n, double x) {
  if ((x - a) * (x - b) > 0) pause_for_operator("x not in range in chebev");
  const double y = (2 * x - a - b) / (b - a);
  double d = 0, dd = 0;
  for (int j = n - 1; j >= 1; --j) {
    const double before = d;
    d = 2 * y * d + (c[j] - dd);
    dd = before;
  }
  return y * d - dd + 0.5 * c[0];
}

double fzg1(double u) {
  if (u <= 0) return 0;
  if (u <= near_limit_g1) return 0.5 * (u * u);
  if (u <= middle) return chebev(0, middle, tables.g1_low, m, u);
  if (u <= far) return chebev(middle, far, tables.g1_high, m, u);
  return 1;
}

double fzg2(double u) {
  if (u <= 0) return 0;
  if (u <= near_limit) return log_term(u) + near_g2;
  if (u <= middle) return log_term(u) + near_g2 + chebev(near_limit, middle, tables.g2_low, m, u);
  if (u <= far) return chebev(middle, far, tables.g2_high, m, u);
  return 0;
}

double fzg3(double u) {
  if (u <= 0) return 0;
  if (u <= near_limit) return log_term(u) + near_g3;
  if (u <= middle) return log_term(u) + near_g2 + chebev(near_limit, middle, tables.g3_low, m, u);
  if (u <= far) return chebev(middle, far, tables.g3_high, m, u);
  return 1 / (u * u);
}

GaussFunctions gauss_functions(double u) { return {fzg1(u), fzg2(u), fzg3(u)}; }

}  // namespace tessaron
