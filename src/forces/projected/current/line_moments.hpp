#pragma once
#include <cmath>

#include "common/cores/lanes.hpp"
#include "common/table.hpp"
#include "forces/projected/current/line_current.hpp"

namespace tessaron {

/// Sums of many equal Gaussians on the line grid: a fast Gauss transform.
///
/// A charge w at the distance t from a centre makes, at the distance u from that centre and in units of the
/// rms length, the Gaussian
///     w exp(-(u - t)^2 / 2) = exp(-u^2 / 2)  Sum_n  w t^n / n!  He_n(u),
/// He_n the Hermite polynomials. So all that the grid needs to know of the charges near a centre are their
/// moments, the sums of w t^n. A cell is what lies nearer to one grid point than to any other; each half of
/// it has a centre of its own. With |t| <= 0.05 eight moments leave less than 0.05^8 He_8(0) / 8! = 1e-13 of
/// a Gaussian's peak.
///
/// A Gaussian is cut 5 rms lengths, a whole number of steps, ahead of its cell and behind it. So all charges
/// of a cell are cut at the same points, and the cut is that of each Gaussian by itself. Where rounding
/// decides to which cell a charge belongs, and so where it is cut, the charge is near the border: it has to
/// be added by itself. `cell_border`, in steps of the grid, leaves more than the rounding of coordinates on
/// the longest grid, 1e-11.
///
/// Source: Greengard, Strain, SIAM J. Sci. Stat. Comput. 12 (1991) 79.
inline constexpr double cell_border = 0.5 - 1e-9;

/// The moments of the charges, one grid of nsam cells behind the other: each some charges', and in the end
/// the first one all charges'.
struct LineMoments {
  static constexpr int orders = 2 * lane_count;  ///< moments of a half cell
  static constexpr int per_cell = 2 * orders;    ///< of both halves
  alignas(64) Table<double, nsamax * per_cell> cells;
};

/// Whether a charge stands next to the border of two cells, off the grid, or is not a number.
inline bool near_border(const LineGrid& grid, double coordinate) {
  const double pos = (coordinate - grid.ctmin) / grid.h + 1.0;
  return !(pos >= 1.0 && pos <= grid.nsam && std::abs(pos - std::round(pos)) <= cell_border);
}

/// Whether the moments of n charges take less time than their Gaussians one after the other.
constexpr bool moments_pay(int n, int nsam) { return n >= 4 * nsam; }

/// Adds to the grid, scaled, the Gaussians of all charges that are not near the border of two cells.
/// Precondition: moments_pay. Works on several cores.
/// \return whether there are charges near a border: the caller adds them
[[nodiscard]] bool add_by_moments(const LineGrid& grid, const LineCharges& charges, double scale,
                                  LineMoments& moments, Output curr);

}  // namespace tessaron
