#pragma once
#include "common/console.hpp"

namespace tessaron::pusher {

/// The six coordinates that the pusher integrates over c t, and their rates.
struct Coordinates {
  double x, y, z;     ///< [m]
  double p;           ///< gamma beta
  double phi, theta;  ///< horizontal and vertical angle of the velocity [rad]
};

/// y + h rate.
inline Coordinates ahead(const Coordinates& y, double h, const Coordinates& rate) {
  return {y.x + h * rate.x, y.y + h * rate.y,     y.z + h * rate.z,
          y.p + h * rate.p, y.phi + h * rate.phi, y.theta + h * rate.theta};
}

/// The classical fourth-order step of size h from t, in place. `k1` are the rates at (t, y); `rhs(t, y)`
/// gives the others: twice at t + h/2, once at t + h.
///     y + h/6 (k1 + 2 k2 + 2 k3 + k4)
template <class Rhs>
inline void rk4(Coordinates& y, const Coordinates& k1, double t, double h, Rhs& rhs) {
  const double middle = t + 0.5 * h;
  const Coordinates k2 = rhs(middle, ahead(y, 0.5 * h, k1));
  const Coordinates k3 = rhs(middle, ahead(y, 0.5 * h, k2));
  const Coordinates k4 = rhs(t + h, ahead(y, h, k3));
  const Coordinates sum = ahead(ahead(ahead(k1, 2, k2), 2, k3), 1, k4);
  y = ahead(y, h / 6, sum);
}

/// `nstep` steps of `rk4` from t1 to t2, in place. A step that does not change t is told on the console and
/// waits for the operator.
template <class Rhs>
inline void rkdumb(Coordinates& y, double t1, double t2, int nstep, Rhs& rhs) {
  const double h = (t2 - t1) / nstep;
  double t = t1;
  for (int step = 1; step <= nstep; ++step) {
    const Coordinates rate = rhs(t, y);
    rk4(y, rate, t, h, rhs);
    if (t + h == t) pause_for_operator("stepsize not significant in rkdumb");
    t += h;
  }
}

}  // namespace tessaron::pusher
