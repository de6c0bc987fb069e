#include "field/source/pole_field.hpp"

#include <cmath>

#include "common/console.hpp"
#include "common/constants.hpp"
#include "field/integral/expansion.hpp"
#include "field/settings.hpp"
#include "field/source/gauss_functions.hpp"

namespace tessaron {

namespace {

constexpr double c = speed_of_light;
constexpr double tiny_radius = 1e-200;  // keeps the logarithm on the axis finite; it cancels against g2, g3
constexpr double sqrt_two_pi = 2.5066282746310002;

/// The round model at `across`, with the distance in units of its rms.
PoleAverages round_at(const Vec3& across, double rho, double u) {
  const GaussFunctions f = gauss_functions(u);
  const double ln_rho = std::log(rho);
  // g1 falls like u^2: divided twice, so that rho^2 does not leave the range of a real.
  return {across * (f.g1 / rho / rho), across * (f.g3 + ln_rho), f.g2 + ln_rho};
}

/// Antiderivatives at one node of what the stick's straight pieces need, with S = X^2 + b^2.
struct Antiderivatives {
  double b0, b1;      // of b / S, X b / S
  double x1, x0;      // of X^2 / S, X / S
  double l0, l1, l2;  // of ln S, X ln S, X^2 ln S
};

Antiderivatives antiderivatives(double x, double b) {
  const double s = x * x + b * b, ln_s = std::log(s), arc = std::atan(x / b), b_arc = b * arc;
  return {arc,
          0.5 * b * ln_s,
          x - b_arc,
          0.5 * ln_s,
          x * ln_s - 2 * x + 2 * b_arc,
          0.5 * (s * ln_s - s),
          x * x * x / 3 * ln_s - 2.0 / 3 * (x * x * x / 3 - b * b * x + b * b * b_arc)};
}

/// The direction in which an ellipse is long.
Vec3 long_axis(const Vec3& e, bool vertical) {
  if (vertical) return {0, 0, 1};
  const double length = std::sqrt(e.x * e.x + e.y * e.y);
  return {-e.y / length, e.x / length, 0};
}

PoleAverages averages(const SubBunchShape& shape, const ExpansionRecord& x, AxisGrid& grid) {
  switch (shape.method) {
    case Method::line:
      return line_averages(x.across);
    case Method::stick:
      return stick_averages(x.across, x.e, {shape.ex, shape.ey, shape.ez}, shape.sigmaz);
    case Method::round:
      return round_averages(x.across, shape.sigmaz);
    case Method::ellipse:
      if (shape.sigmax <= 0.1 * shape.sigmin) return round_averages(x.across, shape.sigmaz);
      return ellipse_averages(x.across, long_axis(x.e, shape.long_axis_vertical), shape.sigmax, shape.sigmin,
                              grid);
  }
  fatal_stop("error in fld_conv/fzSP: unknown method");
}

}  // namespace

PoleAverages line_averages(const Vec3& across) {
  const double rho = norm(across), ln_rho = std::log(rho);
  return {across * (1 / (rho * rho)), across * ln_rho, ln_rho};
}

PoleAverages round_averages(const Vec3& across, double sigma) {
  const double rho = norm(across) + tiny_radius;
  return round_at(across, rho, rho / sigma);
}

StickIntegrals fzSP1i(double a, double b, double sigma) {
  constexpr int pieces = 100;
  const double h = 10 * sigma / pieces;
  const auto weight = [&](double x) {
    const double ratio = x / sigma;
    return std::exp(-0.5 * (ratio * ratio)) / (sqrt_two_pi * sigma);
  };
  StickIntegrals sum{};
  double x = -5 * sigma, w = weight(x);
  Antiderivatives at = antiderivatives(a + x, b);
  for (int i = 1; i <= pieces; ++i) {
    const double x_next = -5 * sigma + i * h, w_next = weight(x_next);
    const Antiderivatives next = antiderivatives(a + x_next, b);
    // On the piece the weight is offset + slope X.
    const double slope = (w_next - w) / h, offset = w - slope * (a + x);
    sum.ib += offset * (next.b0 - at.b0) + slope * (next.b1 - at.b1);
    sum.ix += offset * (next.x0 - at.x0) + slope * (next.x1 - at.x1);
    sum.j0 += offset * (next.l0 - at.l0) + slope * (next.l1 - at.l1);
    sum.j1 += offset * (next.l1 - at.l1) + slope * (next.l2 - at.l2);
    x = x_next, w = w_next, at = next;
  }
  return sum;
}

PoleAverages stick_averages(const Vec3& across, const Vec3& e, const Vec3& direction, double sigma) {
  const Vec3 p = direction - e * dot(e, direction);
  const double length = norm(p);
  if (length == 0) fatal_stop("error in fld_z_in/fzSP1: ee-vect = e0-vect");
  const Vec3 along = p / length;
  const double a = dot(across, along);
  const Vec3 rest = across - along * a;
  const double b = norm(rest) + 1e-100;
  const Vec3 beside = rest / b;
  StickIntegrals i;
  if (sigma > 0) {
    i = fzSP1i(a, b, sigma);
  } else {
    const double s = a * a + b * b, ln_s = std::log(s);
    i = {b / s, a / s, ln_s, a * ln_s};
  }
  return {i.ib * beside + i.ix * along, 0.5 * (b * i.j0 * beside + i.j1 * along), 0.5 * i.j0};
}

void fzSP(const SubBunchShape& shape, const ExpansionRecord& x, AxisGrid& grid, Slots& result) {
  const PoleAverages m = averages(shape, x, grid);
  const double beta0 = x.beta0, beta2 = beta0 * beta0;
  result.cb = (2 * beta0) * (x.l0 * cross(x.e, m.g) - x.l_s * cross(x.kappa, m.h) +
                             (0.5 * x.l0 * m.p) * cross(x.kappa, x.e));
  const Vec3 v = x.l_s * x.e + x.l0 * x.kappa;
  result.force = (2 * beta2) * cross(x.kappa, cross(v, m.h));
  if (!x.flags.nogamma2) {
    result.force += (2 * x.u0) * (x.l0 * m.g + m.p * (x.l_s * x.e + (0.5 * x.l0) * x.kappa));
  }
  if (!x.flags.notalman) result.force += (2 * beta2 * x.l0 * m.p) * x.kappa;
  result.phi = -2 * x.l0 * m.p;
  result.a = x.e * (-(2 * beta0 / c) * x.l0 * m.p);
  result.phi_t = -2 * x.l_t * m.p;
  result.a_t = x.e * (-(2 * beta0 / c) * x.l_t * m.p);
}

}  // namespace tessaron
