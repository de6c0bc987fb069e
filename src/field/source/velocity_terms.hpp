#pragma once

namespace tessaron {

/// What the speeds of source and test particle make of the force:
///     B1 = beta0 - beta_s,   B2 = 1 - beta0 beta_s
struct VelocityTerms {
  double b1, b2;
};

/// From 20 on, gamma gives them by an expansion in 1/gamma^2 that keeps the small difference of two numbers
/// near 1.
inline VelocityTerms velocity_terms(double gamma_s, double beta_s, double gamma0, double beta0) {
  if (gamma_s < 20 || gamma0 < 20) return {beta0 - beta_s, 1 - beta0 * beta_s};
  const double v = 1 / (gamma_s * gamma_s), w = 1 / (gamma0 * gamma0);
  return {(v - w) / 2 + (v * v - w * w) / 8, (v + w) / 2 + (v - w) * (v - w) / 8};
}

}  // namespace tessaron
