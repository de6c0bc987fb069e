#pragma once
#include <array>

namespace tessaron {

/// Sums of Gaussians on an even grid without an exponential per grid point.
///
/// On a grid of step du the Gaussian at distance uc from the nearest grid point is, k points further,
///     exp(-(uc + k du)^2 / 2) = exp(-uc^2 / 2) exp(-uc du)^k exp(-(k du)^2 / 2).
/// The last factor is the same for every Gaussian and is held in a table; the powers are running factors.
/// With |uc| <= |du| / 2 these stay close to 1, so nothing is lost: the deviation from the exponential is
/// below 1e-14 of the Gaussian's peak.
class EvenGaussian {
 public:
  /// Fixes the grid step in units of the rms length; its sign counts. Steps outside 0.05 .. 1 are served by
  /// one exponential per point.
  void set_step(double du);

  /// row[k] += w exp(-(uc + k du)^2 / 2) for k = first .. last. Precondition: |uc| <= |du| / 2 but for
  /// rounding, and |k du| at most about 6.
  void add(double* row, double w, double uc, int first, int last) const;
  /// The same with its slope: row[k] += w (-u) exp(-u^2 / 2), u = uc + k du.
  void add_slope(double* row, double w, double uc, int first, int last) const;

 private:
  static constexpr int reach = 128;  ///< 6 / 0.05, and a few points more
  double du_ = 0;
  bool tabled_ = false;
  std::array<double, 2 * reach + 1> gauss_;  ///< exp(-(k du)^2 / 2), k = -reach .. reach
  std::array<double, 2 * reach + 1> place_;  ///< k du
};

}  // namespace tessaron
