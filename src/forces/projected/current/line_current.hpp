#pragma once
#include "common/status.hpp"
#include "forces/projected/convolution.hpp"

namespace tessaron {

inline constexpr int nsamax = 50000;  ///< capacity of each work array of the projected force

/// The even grid of the projected force. Grid point k = n1..n2 lies at the offset k h [m of c t] from
/// particle 1, positive towards the tail.
struct LineGrid {
  double s1;            ///< rms length of one particle in the line current [m]; the kernel has the other s1
  double h;             ///< step, a fifth of s1 [m]
  double nr;            ///< where a particle's Gaussian is cut: 5 s1 [m]
  double dr;            ///< the same in steps
  int n1, n2, nsam;     ///< first and last point, number of points
  double ctmin, ctmax;  ///< their places [m]
};

/// Lays the grid over the offsets ctmin..ctmax for particles of the rms length sig; fails where it would take
/// more than `nsamax` points.
[[nodiscard]] Status line_grid(double sig, double ctmin, double ctmax, LineGrid& grid);

/// The charges that make the line current. Two plain arrays, since each pass reads them from end to end.
struct LineCharges {
  int n;
  const double* place;   ///< coordinates [m of c t]
  const double* charge;  ///< [C], 0 for what does not count
};

struct LineMoments;
/// The line current [A] on the grid: each charge adds a Gaussian of rms length s1, cut at 5 s1. With
///     pos = (place - ctmin) / h + 1
/// it touches the grid points number nint(pos - dr) .. nint(pos + dr). Where there are more charges than grid
/// points, all of it is summed by moments; the result is that of the single Gaussians but for rounding.
/// \param moments  room for them
/// \param curr     grid points n1..n2
void line_current(const LineGrid& grid, const LineCharges& charges, LineMoments& moments, Output curr);

}  // namespace tessaron
