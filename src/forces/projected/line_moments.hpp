#pragma once
#include <cmath>

#include "forces/projected/line_current.hpp"

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
/// decides to which cell a charge belongs, and so where it is cut, the charge is `near_border`: it has to be
/// added by itself.
///
/// Source: Greengard, Strain, SIAM J. Sci. Stat. Comput. 12 (1991) 79.
struct CellPlace {
  int half;          ///< half cell: 2 (k - 1) and 2 (k - 1) + 1 belong to grid point number k = 1..nsam
  double t;          ///< distance from its centre in steps of the grid, -1/4 .. 1/4
  bool near_border;  ///< next to the border of two cells, off the grid, or not a number
};

/// The place of a charge on the grid.
inline CellPlace cell_place(const LineGrid& grid, double coordinate) {
  constexpr double border = 0.5 - 1e-9;  // coordinates have 1e-11 steps of rounding on the longest grid
  const double pos = (coordinate - grid.ctmin) / grid.h + 1.0;
  const bool on = pos >= 1.0 && pos <= grid.nsam;
  const double safe = on ? pos : 1.0;
  const int k = static_cast<int>(safe + 0.5), half = static_cast<int>(2.0 * safe - 1.0);
  return {half, safe - (0.5 * half + 0.75), !on || std::abs(safe - k) > border};
}

/// Whether the moments of n charges take less time than their Gaussians one after the other.
constexpr bool moments_pay(int n, int nsam) { return n >= 4 * nsam; }

/// Adds to the grid, scaled, the Gaussians of all charges that are not near the border of two cells.
/// Precondition: moments_pay. Works on several cores.
/// \return whether there are charges near a border: the caller adds them
[[nodiscard]] bool add_by_moments(const LineGrid& grid, const LineCharges& charges, double scale,
                                  Output curr);

}  // namespace tessaron
