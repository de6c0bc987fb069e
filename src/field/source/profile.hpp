#pragma once
#include <cmath>

#include "field/path/path_record.hpp"

namespace tessaron {

/// The longitudinal charge profile of the source, a Gaussian in time that a parabola takes to zero, with its
/// slope, at |tau| = xnsigt sigmat:
///     f(tau) = a exp(-tau^2 / (2 sigmat^2)) - b + d tau^2      for |tau| < xnsigt sigmat, else 0
/// tau is the time behind the centre at a fixed place. With xnsigt <= 0 it is the plain Gaussian. The line
/// density at path coordinate s is lambda(s, t) = f(t - t(s)) / beta(s), and its integral over s the charge.
/// Owner: `lamini`.
struct ProfileRecord {
  double q = 0;       ///< total charge [C]
  double sigmat = 0;  ///< rms duration of the Gaussian [s]
  double xnsigt = 0;  ///< half length in units of sigmat; <= 0: not cut off
  double a = 0;       ///< [C/m]
  double b = 0;       ///< [C/m]
  double d = 0;       ///< [C/(m s^2)]

  double t_length() const { return xnsigt * sigmat; }  ///< half length [s]
  bool outside(double tau) const { return xnsigt > 0 && std::abs(tau) >= xnsigt * sigmat; }
};

/// Sets the profile up for a charge q [C]. sigmat = 0 stops the program. Arguments that did not change cost
/// nothing.
void lamini(double q, double sigmat, double xnsigt, ProfileRecord& profile);

/// Line density on a path and its derivative with respect to t at fixed s.
struct Density {
  double lambda = 0;    ///< [C/m]
  double lambda_t = 0;  ///< [C/(m s)]
};
Density lamget(const ProfileRecord& profile, const PathRecord& path, double s, double t);

/// Line density and the derivatives that the expansion at the closest point needs.
struct DensityDerivatives {
  double lambda = 0, lambda_t = 0, lambda_tt = 0, lambda_ttt = 0;
  double lambda_s = 0, lambda_st = 0, lambda_stt = 0;
};
DensityDerivatives lamder(const ProfileRecord& profile, const PathRecord& path, double s, double t);

}  // namespace tessaron
