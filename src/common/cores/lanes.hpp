#pragma once
#include <cmath>
#include <cstdint>

#include "common/cores/clones.hpp"

// Four reals at a time, and the functions of them that the field integral needs, to the accuracy of the
// library's own. Only for sources that are compiled for several instruction sets at once; everything here is
// inlined into them. No fused operation is used, so all of them give the same digits.

#pragma GCC diagnostic ignored "-Wpsabi"  // no lane type crosses a call

namespace tessaron {

inline constexpr int lane_count = 4;
using Lanes = double __attribute__((vector_size(8 * lane_count)));
using LaneBits = std::int64_t __attribute__((vector_size(8 * lane_count)));

#define TESSARON_LANES_INLINE [[gnu::always_inline]] inline

TESSARON_LANES_INLINE Lanes lanes_of(double value) { return Lanes{value, value, value, value}; }
TESSARON_LANES_INLINE Lanes lanes_at(const double* p) {
  Lanes v;
  __builtin_memcpy(&v, p, sizeof v);
  return v;
}
TESSARON_LANES_INLINE void put_lanes(const Lanes& v, double* p) { __builtin_memcpy(p, &v, sizeof v); }
inline constexpr Lanes first_numbers{0, 1, 2, 3};
TESSARON_LANES_INLINE double sum_of(const Lanes& v) { return (v[0] + v[1]) + (v[2] + v[3]); }

TESSARON_LANES_INLINE Lanes sqrt_of(const Lanes& v) {
  return Lanes{__builtin_sqrt(v[0]), __builtin_sqrt(v[1]), __builtin_sqrt(v[2]), __builtin_sqrt(v[3])};
}
TESSARON_LANES_INLINE Lanes abs_of(const Lanes& v) {
  return reinterpret_cast<Lanes>(reinterpret_cast<LaneBits>(v) & INT64_MAX);
}

/// exp(x) for x <= 0; below -700 it is 0. exp(n ln 2 + r) = 2^n exp(r), |r| <= ln(2) / 2.
TESSARON_LANES_INLINE Lanes exp_of_negative(const Lanes& x) {
  constexpr double shifter = 6755399441055744.0;  // 1.5 * 2^52: a sum with it rounds to an integer
  constexpr double ln2_high = 0x1.62e42fefa0000p-1, ln2_low = 0x1.cf79abc9e3b3ap-40;
  const Lanes reach = x > -700.0 ? x : lanes_of(-700.0);
  const Lanes shifted = reach * 1.4426950408889634 + shifter;
  const Lanes n = shifted - shifter;
  const Lanes r = (reach - n * ln2_high) - n * ln2_low;
  const Lanes r2 = r * r, r4 = r2 * r2;
  const Lanes low = (0.5 + r * (1.0 / 6)) + r2 * (1.0 / 24 + r * (1.0 / 120));
  const Lanes middle = (1.0 / 720 + r * (1.0 / 5040)) + r2 * (1.0 / 40320 + r * (1.0 / 362880));
  const Lanes high = (1.0 / 3628800 + r * (1.0 / 39916800)) + r2 * (1.0 / 479001600 + r * (1.0 / 6227020800));
  const Lanes p = 1.0 + (r + r2 * (low + r4 * (middle + r4 * high)));
  // The low bits of `shifted` hold n; moved into the exponent of p they multiply it by 2^n.
  const Lanes scaled =
      reinterpret_cast<Lanes>(reinterpret_cast<LaneBits>(p) + (reinterpret_cast<LaneBits>(shifted) << 52));
  return x > -700.0 ? scaled : lanes_of(0.0);
}

/// ln(x) for a normal x > 0. x = 2^n m, m from sqrt(1/2) to sqrt(2), and ln m = 2 artanh((m - 1) / (m + 1)).
TESSARON_LANES_INLINE Lanes log_of(const Lanes& x) {
  constexpr std::int64_t sqrt_half = 0x3fe6a09e667f3bcd;
  constexpr double ln2_high = 0x1.62e42fefa0000p-1, ln2_low = 0x1.cf79abc9e3b3ap-40;
  // The bits above those of sqrt(1/2), cut to whole exponents, are n; a real with these as its low bits is n.
  const LaneBits bits = reinterpret_cast<LaneBits>(x);
  const LaneBits n_bits = (bits - sqrt_half) >> 52;
  const Lanes m = reinterpret_cast<Lanes>(bits - (n_bits << 52));
  constexpr double shifter = 6755399441055744.0;  // 1.5 * 2^52
  const Lanes n = reinterpret_cast<Lanes>(n_bits + reinterpret_cast<LaneBits>(lanes_of(shifter))) - shifter;
  const Lanes f = (m - 1.0) / (m + 1.0), q = f * f, q2 = q * q, q4 = q2 * q2;
  const Lanes low = (1.0 / 3 + q * (1.0 / 5)) + q2 * (1.0 / 7 + q * (1.0 / 9));
  const Lanes high = (1.0 / 11 + q * (1.0 / 13)) + q2 * (1.0 / 15 + q * (1.0 / 17)) + q4 * (1.0 / 19);
  return n * ln2_high + (n * ln2_low + 2.0 * (f + f * (q * (low + q4 * high))));
}

}  // namespace tessaron
