#include "forces/projected/line_current.hpp"

#include <algorithm>
#include <cmath>

#include "forces/projected/even_gaussian.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

constexpr double sqrt_2pi = 2.5066282746310002;
constexpr double inverse_sqrt_2 = 0.70710678118654757;

}  // namespace

Status line_grid(double sig, double ctmin, double ctmax, LineGrid& grid) {
  grid.s1 = sig * inverse_sqrt_2;
  grid.h = 0.2 * grid.s1;
  grid.nr = 5.0 * grid.s1;
  grid.dr = grid.nr / grid.h;
  const double first = std::round((ctmin - grid.nr) / grid.h), last = std::round((ctmax + grid.nr) / grid.h);
  // Particle 1 has the offset 0, so that a grid of few points has small indices. Not a number fails as well.
  if (!(last - first + 1.0 <= nsamax && std::abs(first) <= nsamax)) {
    msgout("nsam.gt.nsamax");
    return failed;
  }
  grid.n1 = static_cast<int>(first);
  grid.n2 = static_cast<int>(last);
  grid.nsam = grid.n2 - grid.n1 + 1;
  grid.ctmin = grid.n1 * grid.h;
  grid.ctmax = grid.n2 * grid.h;
  return ok;
}

void line_current(const LineGrid& grid, int n, const FlagTable& source, const ForceTable& pad, Output curr) {
  std::fill_n(curr.cells, grid.nsam, 0.0);
  const double scale = speed_of_light / (sqrt_2pi * grid.s1);
  const double du = grid.h / grid.s1;
  EvenGaussian gaussian;
  gaussian.set_step(du);
  for (int i = 1; i <= n; ++i) {
    if (!source[i]) continue;
    const double pos = (pad[i].up - grid.ctmin) / grid.h + 1.0;
    if (!(pos >= 0.0 && pos <= grid.nsam + 1.0)) continue;  // not a number
    const int k1 = std::max(1, static_cast<int>(std::round(pos - grid.dr)));
    const int k2 = std::min(grid.nsam, static_cast<int>(std::round(pos + grid.dr)));
    const int c = static_cast<int>(pos + 0.5);
    gaussian.add(curr.cells - 1 + c, pad[i].across * scale, (c - pos) * du, k1 - c, k2 - c);
  }
}

}  // namespace tessaron
