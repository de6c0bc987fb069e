#include <algorithm>
#include <cmath>

#include "common/cores/lanes.hpp"
#include "common/table.hpp"
#include "field/source/gauss_functions.hpp"
#include "field/source/pole_field.hpp"

namespace tessaron {

namespace {

/// Steps of 0.2 sigmax over +-5 sigmax, and of 0.2 of the smaller size within 10 sigmin of the observer's
/// projection on the axis.
void lay_grid(double projection, double sigmax, double sigmin, AxisGrid& grid) {
  const double coarse = 0.2 * sigmax, fine = 0.2 * std::min(sigmax, sigmin), reach = 10 * sigmin;
  const double wa = -projection - reach, wb = reach - projection;  // the fine range
  const auto point_after = [&](double w) {
    double next;
    if (w <= wa + fine - coarse) {
      next = w + coarse;
    } else if (w <= wa) {
      next = wa + fine;
    } else if (w <= wb - fine) {
      next = w + fine;
    } else {
      next = w + coarse;
    }
    return next > w ? next : w + coarse;  // a step lost in rounding would never end
  };
  const double end = 5 * sigmax;
  grid.n = 0;
  for (double w = -end, before = w; grid.n < AxisGrid::capacity;) {
    const double after = point_after(w);
    grid.w[++grid.n] = w;
    grid.width[grid.n] = 0.5 * (after - before);
    if (!(w < end)) break;
    before = w;
    w = after;
  }
  int full = grid.n;
  while (full % lane_count != 0) {  // points without weight fill the last lanes up
    ++full;
    grid.w[full] = grid.w[grid.n];
    grid.width[full] = 0;
  }
  grid.n = full;
}

/// Sums over the grid, each term times its weight; the charge's points are D + w a.
struct AxisSums {
  double weight, g, g_w, h, h_w, p;  // of 1, g1/rho^2, w g1/rho^2, g3 + ln rho, w (g3 + ln rho), g2 + ln rho
};

/// g2 between 0.001 and 6, without its logarithm up to 3, by the expansions.
TESSARON_LANES_INLINE Lanes g2_expansion(const Lanes& u, const LaneBits& low) {
  const Lanes scaled = low ? (2.0 * u - 3.001) * (1 / 2.999) : (2.0 * u - 9.0) * (1.0 / 3);
  const Lanes y = scaled > 1.0 ? lanes_of(1.0) : scaled < -1.0 ? lanes_of(-1.0) : scaled, two_y = 2.0 * y;
  Lanes d{}, dd{};
  const auto coefficient = [&](int j) {
    return low ? lanes_of(gauss_tables.g2_low[j]) : lanes_of(gauss_tables.g2_high[j]);
  };
  for (int j = GaussTables::m - 1; j >= 1; --j) {
    const Lanes before = d;
    d = two_y * d + (coefficient(j) - dd);
    dd = before;
  }
  return y * d + (0.5 * coefficient(0) - dd);
}

/// The three functions by one exponential and one expansion: g1 is a closed form, and g3 = g2 + g1 / u^2.
TESSARON_CLONES void sum_over_axis(const double* w, const double* width, int n, double along, double beside2,
                                   double sigmax, double sigmin, AxisSums& out) {
  const double inv_sigmin = 1 / sigmin, inv_sigmax = 1 / sigmax;
  const double inner = std::log(1.4142135623730951 * sigmin) - 0.28860783245076599;  // ln rho cancels there
  Lanes weights{}, g{}, g_w{}, h{}, h_w{}, p{};
  for (int i = 0; i < n; i += lane_count) {
    const Lanes at = lanes_at(w + i), q = at * inv_sigmax;
    const Lanes weight = lanes_at(width + i) * exp_of_negative(-0.5 * (q * q));
    const Lanes x = along + at, rho = sqrt_of(beside2 + x * x) + 1e-200;
    const Lanes u = rho * inv_sigmin, v = 0.5 * (u * u);
    const LaneBits low = u <= 3.0, nearest = u <= 0.001, far = u > 6.0;

    // g1 / v, which tends to 1; there by its series.
    const Lanes series = 1.0 - v * (0.5 - v * (1.0 / 6 - v * (1.0 / 24 - v * (1.0 / 120))));
    const Lanes outer = far ? 1.0 / v : (1.0 - exp_of_negative(-v)) / v;
    const Lanes ratio = v < 0.02 ? series : outer;

    const Lanes expanded = (nearest | far) ? lanes_of(0) : g2_expansion(u, low);
    const bool all_low = (low[0] & low[1] & low[2] & low[3]) != 0;
    const Lanes logarithm = all_low ? lanes_of(inner) : low ? lanes_of(inner) : log_of(rho);
    const Lanes potential = logarithm + expanded;
    const Lanes first_moment = potential + (nearest ? lanes_of(0.5) : 0.5 * ratio);

    const Lanes wg = weight * ratio, wh = weight * first_moment;
    weights += weight;
    g += wg;
    g_w += wg * at;
    h += wh;
    h_w += wh * at;
    p += weight * potential;
  }
  const double per_area = 0.5 * inv_sigmin * inv_sigmin;  // g1 / rho^2 = (g1 / v) / (2 sigmin^2)
  out = {sum_of(weights), per_area * sum_of(g), per_area * sum_of(g_w), sum_of(h), sum_of(h_w), sum_of(p)};
}

}  // namespace

PoleAverages ellipse_averages(const Vec3& across, const Vec3& axis, double sigmax, double sigmin,
                              AxisGrid& grid) {
  const double along = dot(across, axis);
  const Vec3 beside = across - along * axis;
  lay_grid(along, sigmax, sigmin, grid);
  AxisSums sum;
  sum_over_axis(grid.w.run(1, grid.n).data(), grid.width.run(1, grid.n).data(), grid.n, along,
                dot(beside, beside), sigmax, sigmin, sum);
  return {(across * sum.g + axis * sum.g_w) / sum.weight, (across * sum.h + axis * sum.h_w) / sum.weight,
          sum.p / sum.weight};
}

}  // namespace tessaron
