#pragma once
#include "common/cores/lanes.hpp"

namespace tessaron {

/// Sines and cosines of several angles at a time.
struct LaneAngles {
  Lanes sine, cosine;
};

inline constexpr double largest_lane_angle = 1e5;  ///< [rad]; the reduction holds all digits up to here

/// sin and cos of |x| <= largest_lane_angle, to about one unit of the last place. x is brought to |r| <= pi/4
/// by the nearest multiple n of pi/2, which is taken off in three parts of 33 bits and more, so that all
/// digits of r stay; then polynomials of the least largest error (those of the C library fdlibm, K. C. Ng,
/// Sun Microsystems 1993).
TESSARON_LANES_INLINE LaneAngles angles_of(const Lanes& x) {
  constexpr double shifter = 6755399441055744.0;  // 1.5 * 2^52: a sum with it rounds to an integer
  constexpr double two_over_pi = 6.36619772367581382433e-01;
  constexpr double part1 = 1.57079632673412561417e+00, part2 = 6.07710050630396597660e-11,
                   part3 = 2.02226624879595063154e-21;
  const Lanes shifted = x * two_over_pi + shifter, n = shifted - shifter;
  const Lanes r = ((x - n * part1) - n * part2) - n * part3, z = r * r;
  const Lanes s =
      r + (r * z) * (-1.66666666666666324348e-01 +
                     z * (8.33333333332248946124e-03 +
                          z * (-1.98412698298579493134e-04 +
                               z * (2.75573137070700676789e-06 +
                                    z * (-2.50507602534068634195e-08 + z * 1.58969099521155010221e-10)))));
  const Lanes tail =
      z * (4.16666666666666019037e-02 +
           z * (-1.38888888888741095749e-03 +
                z * (2.48015872894767294178e-05 +
                     z * (-2.75573143513906633035e-07 +
                          z * (2.08757232129817482790e-09 + z * -1.13596475577881948265e-11)))));
  const Lanes half = 0.5 * z, w = 1.0 - half;
  const Lanes c = w + (((1.0 - w) - half) + z * tail);

  const LaneBits quarter = reinterpret_cast<LaneBits>(shifted);  // its low bits hold n
  const LaneBits odd = -(quarter & 1), sine_sign = (quarter & 2) << 62,
                 cosine_sign = ((quarter + 1) & 2) << 62;
  const LaneBits sb = reinterpret_cast<LaneBits>(s), cb = reinterpret_cast<LaneBits>(c);
  return {reinterpret_cast<Lanes>(((sb & ~odd) | (cb & odd)) ^ sine_sign),
          reinterpret_cast<Lanes>(((cb & ~odd) | (sb & odd)) ^ cosine_sign)};
}

}  // namespace tessaron
