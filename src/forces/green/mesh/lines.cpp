#include "forces/green/mesh/lines.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tessaron {

namespace {

constexpr double growth_ratio = 1.5;

/// Sum of k + 1 steps that begin with h0 and grow by `ratio`.
double growing_length(double k, double h0, double ratio) {
  return (std::pow(ratio, k + 1) - 1) * h0 / (ratio - 1);
}

/// Neighbouring lines that zones of almost no distance lay on top of each other become one.
void drop_double_lines(GreenLines& lines) {
  int kept = 1;
  for (int i = 2; i <= lines.n; ++i) {
    if (lines.x[i] > lines.x[kept]) lines.x[++kept] = lines.x[i];
  }
  lines.n = kept;
}

/// Zones that overlap become one. Only start and end count then.
GreenZones merged(const GreenZones& zones, double fine) {
  GreenZones joined;
  for (int j = 1; j <= zones.n; ++j) {
    const GreenZone& zone = zones.zone[j];
    if (joined.n > 0 && zone.from <= joined.zone[joined.n].to) {
      joined.zone[joined.n].to = std::max(joined.zone[joined.n].to, zone.to);
    } else {
      joined.zone[++joined.n] = zone;
    }
  }
  GreenZones result;
  for (int j = 1; j <= joined.n; ++j) {
    const GreenZone& zone = joined.zone[j];
    if (result.n > 0 && zone.to - result.zone[result.n].from <= fine) {
      result.zone[result.n].to = zone.to;
    } else {
      result.zone[++result.n] = zone;
    }
  }
  return result;
}

}  // namespace

MeshSteps mesh_steps(double sigma_long, bool shielded) {
  return {0.2 * sigma_long, 5 * sigma_long, (shielded ? 0.5 : 5) * sigma_long};
}

void polygon_range(const Polygon& polygon, double& xmin, double& xmax) {
  xmin = xmax = polygon[1].x;
  for (int j = 2; j <= maxcorner; ++j) {
    xmin = std::min(xmin, polygon[j].x);
    xmax = std::max(xmax, polygon[j].x);
  }
}

bool gmshst_even(double target, double h, GreenLines& lines) {
  const double x0 = lines.last();
  if (!(target > x0)) return true;
  const double n = std::trunc((target - x0) / h + 1);
  if (!(n <= maxgreline - lines.n)) return false;
  for (double i = 1; i < n; ++i) {
    if (!lines.add(x0 + (target - x0) * (i / n))) return false;
  }
  return lines.add(target);
}

bool gmshst(double target, double h0, double h1, double ratio, FineEnd fine, GreenLines& lines) {
  const double x0 = lines.last();
  if (!(target > x0)) return true;
  const bool both = fine == FineEnd::both;
  const double L = both ? (target - x0) / 2 : target - x0;
  double k = std::trunc(std::log(h1 / h0) / std::log(ratio));
  double S = growing_length(k, h0, ratio);
  double first, limit;
  if (L < S) {  // no room for all growing steps: fewer of them
    k = std::trunc(std::log(L / h0 * (ratio - 1) + 1) / std::log(ratio));
    S = growing_length(k, h0, ratio);
    first = h0 * L / S;
    limit = std::numeric_limits<double>::infinity();
  } else {
    const double m = std::trunc((L - S) / h1 + 1);
    const double S2 = m * h1 + S;
    first = h0 * L / S2;
    limit = h1 * L / S2;
    k += m;
  }
  if (!((both ? 2 : 1) * k + 2 <= maxgreline - lines.n)) return false;

  const int steps = static_cast<int>(k);
  if (fine != FineEnd::right) {
    double x = x0, h = first;
    for (int i = 1; i <= steps; ++i, h = std::min(h * ratio, limit)) lines.x[++lines.n] = x += h;
  }
  if (both) lines.x[++lines.n] = x0 + L;
  if (fine != FineEnd::left) {
    double x = target, h = first;
    for (int i = steps; i >= 1; --i, h = std::min(h * ratio, limit)) lines.x[lines.n + i] = x -= h;
    lines.n += steps;
  }
  return lines.add(target);
}

bool gmshx(double xmin, double xmax, const MeshSteps& steps, const GreenZones& zones, GreenLines& lines) {
  if (!std::isfinite(xmax - xmin)) return false;
  GreenZones dense = merged(zones, steps.fine);
  lines.n = 0;
  if (!lines.add(xmin)) return false;
  bool fits = true;
  if (dense.n == 0) {
    fits = gmshst_even(xmax, steps.cap, lines);
  } else {
    GreenZone &first = dense.zone[1], &last = dense.zone[dense.n];
    if (first.from - xmin <= steps.fine) first.from = xmin;
    if (xmax - last.to <= steps.fine) last.to = xmax;
    const double h0 = 1.5 * steps.fine;
    if (xmin < first.from) fits = gmshst(first.from, h0, steps.cap, growth_ratio, FineEnd::right, lines);
    for (int j = 1; j <= dense.n && fits; ++j) {
      if (j > 1) fits = gmshst(dense.zone[j].from, h0, steps.cap, growth_ratio, FineEnd::both, lines);
      fits = fits && gmshst_even(dense.zone[j].to, steps.fine, lines);
    }
    if (last.to < xmax) fits = fits && gmshst(xmax, h0, steps.cap, growth_ratio, FineEnd::left, lines);
  }
  if (fits) drop_double_lines(lines);
  return fits;
}

}  // namespace tessaron
