#pragma once
#include <cmath>
#include <complex>

#include "common/numbers/integer_power.hpp"
#include "lattice/magnet_field.hpp"
#include "motion/pusher.hpp"
#include "motion/runge_kutta.hpp"

namespace tessaron::pusher {

/// What the equations of motion read, set up once for each segment of a particle: the self force at two
/// times, and the field of the section with the parts that do not change on the way.
struct RhsCommon {
  double ta = 0, tb = 1;   ///< times of the self force
  Force fa, fb;            ///< self force at these times
  double K = 0;            ///< bending strength of the section
  double rho_p = 0;        ///< local radius in a bending section, gamma beta cos theta / K [m]; 0 otherwise
  std::int32_t order = 1;  ///< azimuthal order
  double x0 = 0, y0 = 0, z0 = 0;
  double cos_Theta = 1, sin_Theta = 0;  ///< direction of the multipole axis
  std::complex<double> gradient;        ///< G/(n-1)! exp(-i n alpha)
};

/// Sines and cosines of a velocity's angles.
struct Direction {
  double cphi, sphi, ctheta, stheta;
};
inline Direction direction(const Coordinates& y) {
  return {std::cos(y.phi), std::sin(y.phi), std::cos(y.theta), std::sin(y.theta)};
}

/// beta and 1/gamma of a momentum p = gamma beta.
struct Speed {
  double beta, gamma_inverse;
};
inline Speed speed(double p) {
  const double gamma_inverse = 1 / std::sqrt(p * p + 1);
  return {p * gamma_inverse, gamma_inverse};
}

/// The common record of a segment in a section without self force; `rho_p` is left 0.
RhsCommon rhs_common(const SectionField& field, const ForceInterval* force);

/// Self force at time t, linear between the two given times.
inline Force force_at(const RhsCommon& c, double t) {
  const double w = (c.tb - t) / (c.tb - c.ta), v = 1 - w;
  return {c.fa.along * w + c.fb.along * v, c.fa.across * w + c.fb.across * v, c.fa.up * w + c.fb.up * v};
}

/// Which components of the self force a particle feels on a segment.
enum class ForceKind { none, along, all };

/// A turning rate: force over momentum. A particle at rest, or one that moves straight up, does not turn.
inline double turn(double force, double momentum) { return momentum == 0 ? 0 : force / momentum; }

/// Rates in the plane frame:
///     x' = beta cos theta cos phi      y' = beta cos theta sin phi     z' = beta sin theta     p' = f1
/// and for a drift or dipole
///     phi' = f2/(p cos theta) - K/gamma     theta' = f3/p
/// or, for a multipole of order n, with X to the left of its axis, Z above it, d = Theta - phi and
/// W = (X + iZ)^(n-1) G/(n-1)! exp(-i n alpha),
///     phi'   = f2/(p cos theta) - (Re W cos theta + Im W sin d sin theta)/(gamma cos theta)
///     theta' = f3/p + Im W cos d/gamma.
template <ForceKind kind>
inline Coordinates plane_rates(const RhsCommon& c, double t, const Coordinates& y, const Direction& u,
                               const Speed& v) {
  Coordinates rate;
  rate.x = v.beta * u.ctheta * u.cphi;
  rate.y = v.beta * u.ctheta * u.sphi;
  rate.z = v.beta * u.stheta;
  Force f;
  if constexpr (kind != ForceKind::none) f = force_at(c, t);
  rate.p = f.along;
  rate.phi = kind == ForceKind::all ? turn(f.across, y.p * u.ctheta) : 0;
  rate.theta = kind == ForceKind::all ? turn(f.up, y.p) : 0;

  if (c.order < 2) {
    rate.phi -= c.K * v.gamma_inverse;
    return rate;
  }
  const double X = (y.y - c.y0) * c.cos_Theta - (y.x - c.x0) * c.sin_Theta, Z = y.z - c.z0;
  const std::complex<double> power =
      c.order == 2 ? std::complex<double>(X, Z) : integer_power({X, Z}, c.order - 1);
  const double Wr = power.real() * c.gradient.real() - power.imag() * c.gradient.imag();
  const double Wi = power.real() * c.gradient.imag() + power.imag() * c.gradient.real();
  const double sin_d = c.sin_Theta * u.cphi - c.cos_Theta * u.sphi;
  const double cos_d = c.cos_Theta * u.cphi + c.sin_Theta * u.sphi;
  rate.phi -= (Wr + Wi * sin_d * turn(u.stheta, u.ctheta)) * v.gamma_inverse;
  rate.theta += Wi * cos_d * v.gamma_inverse;
  return rate;
}

/// Rates on an arc. x and y are the deviation from the circle of radius rho_p, in a frame that turns with the
/// particle's direction, so both stay 0 on a clean circle:
///     x' = beta cos theta + (rho_p + y) phi'     y' = -x phi'
/// z', p', phi', theta' as in the plane frame of a dipole.
template <ForceKind kind>
inline Coordinates arc_rates(const RhsCommon& c, double t, const Coordinates& y, double ctheta, double stheta,
                             const Speed& v) {
  Coordinates rate;
  Force f;
  if constexpr (kind != ForceKind::none) f = force_at(c, t);
  rate.phi = (kind == ForceKind::all ? turn(f.across, y.p * ctheta) : 0) - c.K * v.gamma_inverse;
  rate.theta = kind == ForceKind::all ? turn(f.up, y.p) : 0;
  rate.x = v.beta * ctheta + (c.rho_p + y.y) * rate.phi;
  rate.y = -y.x * rate.phi;
  rate.z = v.beta * stheta;
  rate.p = f.along;
  return rate;
}

/// The two forms of the equations of motion, told plainly.
inline Coordinates rhs_plane(const RhsCommon& c, double t, const Coordinates& y) {
  return plane_rates<ForceKind::all>(c, t, y, direction(y), speed(y.p));
}
inline Coordinates rhs_arc(const RhsCommon& c, double t, const Coordinates& y) {
  return arc_rates<ForceKind::all>(c, t, y, std::cos(y.theta), std::sin(y.theta), speed(y.p));
}

}  // namespace tessaron::pusher
