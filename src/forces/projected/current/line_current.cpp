#include "forces/projected/current/line_current.hpp"

#include <algorithm>
#include <cmath>

#include "common/constants.hpp"
#include "forces/projected/current/even_gaussian.hpp"
#include "forces/projected/current/line_moments.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

constexpr double sqrt_2pi = 2.5066282746310002;
constexpr double inverse_sqrt_2 = 0.70710678118654757;

/// The line current while single Gaussians are added.
class GaussianRow {
 public:
  GaussianRow(const LineGrid& grid, Output curr) : grid_(grid), cells_(curr.cells), du_(grid.h / grid.s1) {
    gaussian_.set_step(du_);
  }
  /// A Gaussian of the height w; nothing if its place is off the grid or not a number.
  void add(double place, double w) const {
    const double pos = (place - grid_.ctmin) / grid_.h + 1.0;
    if (!(pos >= 0.0 && pos <= grid_.nsam + 1.0)) return;
    const int k1 = std::max(1, static_cast<int>(std::round(pos - grid_.dr)));
    const int k2 = std::min(grid_.nsam, static_cast<int>(std::round(pos + grid_.dr)));
    const int c = static_cast<int>(pos + 0.5);
    gaussian_.add(cells_ - 1 + c, w, (c - pos) * du_, k1 - c, k2 - c);
  }

 private:
  const LineGrid& grid_;
  double* cells_;
  double du_;
  EvenGaussian gaussian_;
};

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

void line_current(const LineGrid& grid, const LineCharges& charges, LineMoments& moments, Output curr) {
  std::fill_n(curr.cells, grid.nsam, 0.0);
  const double scale = speed_of_light / (sqrt_2pi * grid.s1);
  const auto [n, place, charge] = charges;
  const bool by_moments = moments_pay(n, grid.nsam);
  if (by_moments && !add_by_moments(grid, charges, scale, moments, curr)) return;
  const GaussianRow row(grid, curr);
  for (int i = 0; i < n; ++i)
    if (!by_moments || near_border(grid, place[i])) row.add(place[i], charge[i] * scale);
}

}  // namespace tessaron
