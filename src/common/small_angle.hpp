#pragma once

namespace tessaron {

inline constexpr double small_angle = 0.8;

/// sin and cos by their Taylor series, to rounding for |x| <= small_angle: of one real, or of several at
/// once. The terms are added in pairs, which leaves a processor more to do at the same time than a nested
/// sum.
template <class Real>
[[gnu::always_inline]] inline void small_sin_cos(const Real& x, Real& sine, Real& cosine) {
  const Real q = x * x, q2 = q * q, q4 = q2 * q2;
  const Real s_low = (q * (1.0 / 120) - 1.0 / 6) + q2 * (q * (1.0 / 362880) - 1.0 / 5040);
  const Real s_high =
      (q * (1.0 / 6227020800) - 1.0 / 39916800) + q2 * (q * (1.0 / 355687428096000) - 1.0 / 1307674368000);
  sine = x + x * (q * (s_low + q4 * s_high));
  const Real c_low = (1.0 / 24 - q * (1.0 / 720)) + q2 * (1.0 / 40320 - q * (1.0 / 3628800));
  const Real c_high = (1.0 / 479001600 - q * (1.0 / 87178291200)) +
                      q2 * (1.0 / 20922789888000 - q * (1.0 / 6402373705728000));
  cosine = 1.0 - (0.5 * q - q2 * (c_low + q4 * c_high));
}

}  // namespace tessaron
