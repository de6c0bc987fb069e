#pragma once
#include "field/path/closest_point.hpp"
#include "field/path/retarded_limits.hpp"
#include "field/slots.hpp"
#include "field/source_record.hpp"
#include "field/vec3.hpp"

namespace tessaron {

/// The field of the line charge around the closest point of its path, expanded in y = s - s_c, with
/// rho = sqrt(y^2 + d^2). The quadrature subtracts the expansion from the integrand between s_p and s_e;
/// `fzpole` adds its integral in closed form. Owner: `ziini`.
struct ExpansionRecord {
  // the observation event and the test particle
  double t0 = 0;
  Vec3 r0;
  double gamma0 = 0, u0 = 0;  ///< u0 = 1 / gamma0^2
  double beta0 = 0;
  Vec3 e0;
  double sigmat = 0;  ///< rms of the profile [s]
  ForceFlags flags;

  double eps = 0;     ///< below this, differences of coordinates are rounding noise [m]
  bool pole = false;  ///< the closest point lies inside s1..s2
  bool near = false;  ///< the near interval n1..n2 is replaced by a closed form
  double s_c = 0, d = 0, s_p = 0, s_e = 0, n1 = 0, n2 = 0;

  Vec3 e;           ///< tangent at s_c
  Vec3 across;      ///< D, the part of r0 - r(s_c) across the path
  Vec3 kappa;       ///< the part of de/ds across the path
  Vec3 c0, c1, c2;  ///< e(s) x R is about C0 + C1 y + C2 y^2
  Vec3 k1, k2;      ///< (e0 - e(s)) x (e(s) x R) is about K1 y + K2 y^2 for e0 = e

  // the retarded densities around s_c; all 0 without the pole flag
  double a0 = 0, a1 = 0, a2 = 0, b1 = 0, b2 = 0, p0 = 0, p1 = 0, p2 = 0;
  // the densities at s_c at the observation time, where the core is extracted
  double l0 = 0, l_t = 0, l_tt = 0, l_ttt = 0, l_s = 0, l_stt = 0;

  Vec3 rp(double y) const { return across - e * y - kappa * (0.5 * y * y); }  ///< source to observer
  Vec3 cp(double y) const { return c0 + c1 * y + c2 * (y * y); }
  Vec3 kp(double y) const { return k1 * y + k2 * (y * y); }
  double nh(double y) const { return a0 + a1 * y; }                         ///< -(lambda + R lambda_t / c)
  double lh(double y, double rho) const { return a0 + b1 * y + b2 * rho; }  ///< -lambda
  double mh(double y, double rho) const { return p0 + p1 * y + p2 * rho; }  ///< -lambda_t
};

/// Sets the expansion up for an observer and a test particle of Lorentz factor gamma0 and direction e0, from
/// the retarded limits and the closest point.
void ziini(const FieldSource& source, const ForceFlags& flags, const ClosestRecord& closest,
           const LimitRecord& limits, double gamma0, const Vec3& e0, ExpansionRecord& expansion);

/// Adds the closed terms: the integral of what the integrand subtracts, without its singular core when
/// `flags.extract` is set, and the near interval that is not integrated.
void fzpole(const ExpansionRecord& expansion, Slots& result);

}  // namespace tessaron
