#include <algorithm>
#include <cmath>

#include "forces/projected/kernel/kernel_walk.hpp"

namespace tessaron {

CsrField csrker(const CsrPass& pass, const CsrSource& source, double D) {
  if (D <= 1e-100) return {0, 0, 0};
  const double beta = pass.beta, C = pass.C, h = pass.h;
  const double a = source.R0 / D, b = source.R1 / D;
  const double W = -(a * source.T0 + b * source.T1);
  const double E = 1.0 - beta * W;
  const double Q = source.P + beta * D;
  const double V = h > 0 ? E * C / std::sqrt(Q * Q + h * h * C) : -E * C / Q;
  const double Z = beta * (W - (1.0 - source.T0) * beta + a) - C;
  return {Z / D + V, Z + V * D, E};
}

void csradd(const CsrPass& pass, double w, double Q) {
  const double weight = w * pass.sigma;
  if (pass.n == 1) {
    const double u = (Q - pass.s_lo) / pass.sigma;
    pass.array[0] -= weight * u * std::exp(-0.5 * u * u);
    return;
  }
  const double du = -pass.ds / pass.sigma;
  const double u0 = (Q - pass.s_lo + pass.ds) / pass.sigma;  // at the index 0 that continues the grid
  const double from = std::trunc((5.0 - u0) / du), to = std::trunc((-5.0 - u0) / du) + 1.0;
  if (!(from <= pass.n && to >= 1.0)) return;  // off the grid, or not a number
  const int first = static_cast<int>(std::max(1.0, from));
  const int last = static_cast<int>(std::min(static_cast<double>(pass.n), to));

  const double centre = std::clamp(std::round(-u0 / du), -1e9, 1e9);  // the grid point next to Q
  const int c = static_cast<int>(centre);
  pass.gaussian.add_slope(pass.array - 1 + c, weight, u0 + centre * du, first - c, last - c);
}

}  // namespace tessaron
