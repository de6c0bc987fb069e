#pragma once
#include "common/cores/lanes.hpp"
#include "common/table.hpp"
#include "field/integral/expansion.hpp"
#include "field/settings.hpp"
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

/// Points along the long axis of an ellipse, and the trapezoid width of each of them.
struct AxisGrid {
  static constexpr int capacity = 4096;  // 50 coarse steps and, at a ratio of 10 of the axes, 1000 fine ones
  int n = 0;
  Table<double, capacity + lane_count> w, width;
};
/// A round Gaussian of rms sigmin, spread along `axis` with rms sigmax. Works on the grid.
PoleAverages ellipse_averages(const Vec3& across, const Vec3& axis, double sigmax, double sigmin,
                              AxisGrid& grid);

/// The field of the transverse model's near part, by the expansion around the closest point: what takes the
/// place of the core that `fzpole` leaves out when `extract` is set. Fills all slots; works on the grid.
void fzSP(const SubBunchShape& shape, const ExpansionRecord& expansion, AxisGrid& grid, Slots& result);

/// The four integrals of the stick over w(x), the Gaussian as 100 straight pieces, with X = a + x.
struct StickIntegrals {
  double ib;  ///< of w b / (X^2 + b^2)
  double ix;  ///< of w X / (X^2 + b^2)
  double j0;  ///< of w ln(X^2 + b^2)
  double j1;  ///< of w X ln(X^2 + b^2)
};
StickIntegrals fzSP1i(double a, double b, double sigma);

}  // namespace tessaron
