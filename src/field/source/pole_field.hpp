#pragma once
#include "field/slots.hpp"

namespace tessaron {

/// The transverse model of the source near its closest point: averages over the charge, as seen from D, the
/// vector across the path to the observer.
struct PoleAverages {
  Vec3 g;        ///< of D / D^2 [1/m]
  Vec3 h;        ///< of D ln|D| [m]
  double p = 0;  ///< of ln|D|, lengths in metres
};

/// A line: no average at all.
PoleAverages line_averages(const Vec3& across);
/// A stick along `direction`, a Gaussian of rms sigma cut at 5 sigma, for a path along e.
PoleAverages stick_averages(const Vec3& across, const Vec3& e, const Vec3& direction, double sigma);
/// A round Gaussian of rms sigma.
PoleAverages round_averages(const Vec3& across, double sigma);
/// A round Gaussian of rms sigmin, spread along `axis` with rms sigmax.
PoleAverages ellipse_averages(const Vec3& across, const Vec3& axis, double sigmax, double sigmin);

/// The field of the transverse model's near part, by the present expansion and shape: what takes the place
/// of the core that `fzpole` leaves out when `extract` is set. Fills all slots.
void fzSP(Slots& result);

/// The four integrals of the stick over w(x), the Gaussian as 100 straight pieces, with X = a + x.
struct StickIntegrals {
  double ib;  ///< of w b / (X^2 + b^2)
  double ix;  ///< of w X / (X^2 + b^2)
  double j0;  ///< of w ln(X^2 + b^2)
  double j1;  ///< of w X ln(X^2 + b^2)
};
StickIntegrals fzSP1i(double a, double b, double sigma);

}  // namespace tessaron
