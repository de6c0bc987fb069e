#include "motion/pusher_fast.hpp"

namespace tessaron::pusher {

namespace {

/// No force, no field: the rates are constant and any number of steps is one.
void drift(double t1, double t2, Coordinates& y, const Direction& u) {
  const double path = speed(y.p).beta * (t2 - t1);
  y.x += path * u.ctheta * u.cphi;
  y.y += path * u.ctheta * u.sphi;
  y.z += path * u.stheta;
}

/// A force along the motion in a drift: the direction is constant and p depends on time alone, so a
/// Runge-Kutta step is a sum of speeds.
void drift_along(const RhsCommon& c, double t1, double t2, int nstep, Coordinates& y, const Direction& u) {
  const double h = (t2 - t1) / nstep;
  double t = t1, sum = 0;
  for (int step = 1; step <= nstep; ++step) {
    const double f1 = force_at(c, t).along, f2 = force_at(c, t + 0.5 * h).along,
                 f4 = force_at(c, t + h).along;
    sum += speed(y.p).beta + 2 * speed(y.p + 0.5 * h * f1).beta + 2 * speed(y.p + 0.5 * h * f2).beta +
           speed(y.p + h * f2).beta;
    y.p += h / 6 * (f1 + 4 * f2 + f4);
    t += h;
  }
  const double path = h / 6 * sum;
  y.x += path * u.ctheta * u.cphi;
  y.y += path * u.ctheta * u.sphi;
  y.z += path * u.stheta;
}

/// The steps with sines and cosines from small differences, and one speed for the segment without force.
template <ForceKind kind>
void turning_plane(const RhsCommon& c, double t1, double t2, int nstep, Coordinates& y, Direction& u) {
  TurningAngle phi(y.phi, u.cphi, u.sphi), theta(y.theta, u.ctheta, u.stheta);
  const Speed start = speed(y.p);
  auto rhs = [&](double t, const Coordinates& at) {
    Direction d;
    phi.at(at.phi, d.cphi, d.sphi);
    theta.at(at.theta, d.ctheta, d.stheta);
    return plane_rates<kind>(c, t, at, d, kind == ForceKind::none ? start : speed(at.p));
  };
  rkdumb(y, t1, t2, nstep, rhs);
  phi.at(y.phi, u.cphi, u.sphi);
  theta.at(y.theta, u.ctheta, u.stheta);
}

/// No force on an arc: a clean circle, the deviations stay 0.
void arc(const RhsCommon& c, double t1, double t2, Coordinates& y, const Direction& u) {
  const Speed v = speed(y.p);
  y.z += v.beta * u.stheta * (t2 - t1);
  y.phi -= c.K * v.gamma_inverse * (t2 - t1);
}

/// A force along the motion leaves the elevation alone.
void arc_along(const RhsCommon& c, double t1, double t2, int nstep, Coordinates& y, const Direction& u) {
  auto rhs = [&](double t, const Coordinates& at) {
    return arc_rates<ForceKind::along>(c, t, at, u.ctheta, u.stheta, speed(at.p));
  };
  rkdumb(y, t1, t2, nstep, rhs);
}

void arc_all(const RhsCommon& c, double t1, double t2, int nstep, Coordinates& y, Direction& u) {
  TurningAngle theta(y.theta, u.ctheta, u.stheta);
  auto rhs = [&](double t, const Coordinates& at) {
    double ctheta, stheta;
    theta.at(at.theta, ctheta, stheta);
    return arc_rates<ForceKind::all>(c, t, at, ctheta, stheta, speed(at.p));
  };
  rkdumb(y, t1, t2, nstep, rhs);
  theta.at(y.theta, u.ctheta, u.stheta);
}

}  // namespace

void fast_plane(const RhsCommon& c, ForceKind kind, double t1, double t2, int nstep, Coordinates& y,
                Direction& u) {
  const bool field_free = c.order < 2 || c.gradient == std::complex<double>(0, 0);
  switch (kind) {
    case ForceKind::none:
      return field_free ? drift(t1, t2, y, u) : turning_plane<ForceKind::none>(c, t1, t2, nstep, y, u);
    case ForceKind::along:
      return field_free ? drift_along(c, t1, t2, nstep, y, u)
                        : turning_plane<ForceKind::along>(c, t1, t2, nstep, y, u);
    case ForceKind::all:
      return turning_plane<ForceKind::all>(c, t1, t2, nstep, y, u);
  }
}

void fast_arc(const RhsCommon& c, ForceKind kind, double t1, double t2, int nstep, Coordinates& y,
              Direction& u) {
  switch (kind) {
    case ForceKind::none:
      return arc(c, t1, t2, y, u);
    case ForceKind::along:
      return arc_along(c, t1, t2, nstep, y, u);
    case ForceKind::all:
      return arc_all(c, t1, t2, nstep, y, u);
  }
}

}  // namespace tessaron::pusher
