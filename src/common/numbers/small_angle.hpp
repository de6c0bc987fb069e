#pragma once

namespace tessaron {

inline constexpr double small_angle = 0.8, smaller_angle = 0.2;

/// What an arc of the angle x is made of, for any x^2 = q.
template <class Real>
struct SmallArc {
  Real sine_rest;  ///< (sin(x) / x - 1) / x^2
  Real versine;    ///< (1 - cos(x)) / x^2
};

/// By the Taylor series, to rounding for |x| <= small_angle: of one real, or of several at once. The terms
/// are added in pairs, which leaves a processor more to do at the same time than a nested sum.
template <class Real>
[[gnu::always_inline]] inline SmallArc<Real> small_arc(const Real& q) {
  const Real q2 = q * q, q4 = q2 * q2;
  const Real s_low = (q * (1.0 / 120) - 1.0 / 6) + q2 * (q * (1.0 / 362880) - 1.0 / 5040);
  const Real s_high =
      (q * (1.0 / 6227020800) - 1.0 / 39916800) + q2 * (q * (1.0 / 355687428096000) - 1.0 / 1307674368000);
  const Real c_low = (1.0 / 24 - q * (1.0 / 720)) + q2 * (1.0 / 40320 - q * (1.0 / 3628800));
  const Real c_high = (1.0 / 479001600 - q * (1.0 / 87178291200)) +
                      q2 * (1.0 / 20922789888000 - q * (1.0 / 6402373705728000));
  return {s_low + q4 * s_high, 0.5 - q * (c_low + q4 * c_high)};
}

/// The same with the fewer terms that |x| <= smaller_angle needs.
template <class Real>
[[gnu::always_inline]] inline SmallArc<Real> smaller_arc(const Real& q) {
  const Real q2 = q * q;
  const Real s_high = (q * (1.0 / 362880) - 1.0 / 5040) - q2 * (1.0 / 39916800);
  const Real c_high = (1.0 / 40320 - q * (1.0 / 3628800)) + q2 * (1.0 / 479001600);
  return {(q * (1.0 / 120) - 1.0 / 6) + q2 * s_high, 0.5 - q * ((1.0 / 24 - q * (1.0 / 720)) + q2 * c_high)};
}

/// sin and cos of |x| <= small_angle.
template <class Real>
[[gnu::always_inline]] inline void small_sin_cos(const Real& x, Real& sine, Real& cosine) {
  const Real q = x * x;
  const SmallArc<Real> arc = small_arc(q);
  sine = x + (x * q) * arc.sine_rest;
  cosine = 1.0 - q * arc.versine;
}

}  // namespace tessaron
