#include <algorithm>
#include <cmath>

#include "forces/green/mesh/lines.hpp"

namespace tessaron {

namespace {

/// What of a wavefront lies over the polygon.
struct WavefrontCut {
  bool crosses = false;     ///< the circle meets an edge
  double from = 0, to = 0;  ///< range of a of the crossings [m]
  double w = 0;             ///< least change in b along the circle for a change of `fine` in a [m]

  void add(double a, double width) {
    if (!crosses) from = to = a, w = width;
    crosses = true;
    extend(a);
    w = std::min(w, width);
  }
  void extend(double a) {
    from = std::min(from, a);
    to = std::max(to, a);
  }
};

/// The circle of radius r around (x, y).
struct Wavefront {
  double x, y, r;

  /// Change in b along the circle at (px, py) for a change of `fine` in a away from the centre:
  ///     sqrt(dy^2 + (|dx| + fine)^2 - dx^2) - |dy|
  double width(double px, double py, double fine) const {
    const double dy = std::abs(py - y), growth = (2 * std::abs(px - x) + fine) * fine;
    return growth / (std::sqrt(dy * dy + growth) + dy);
  }

  /// Adds its crossings with the edge from p to q: roots u in 0..1 of |p + u (q - p) - centre|^2 = r^2.
  void cross_edge(const PlanePoint& p, const PlanePoint& q, double fine, WavefrontCut& cut) const {
    const double ex = q.x - p.x, ey = q.y - p.y, cx = p.x - x, cy = p.y - y;
    const double distance = std::hypot(cx, cy);
    const double A = ex * ex + ey * ey, B = cx * ex + cy * ey, C = (distance - r) * (distance + r);
    const double discriminant = B * B - A * C;
    if (!(A > 0) || !(discriminant >= 0)) return;
    const double Q = -(B + std::copysign(std::sqrt(discriminant), B));
    const auto add_root = [&](double u) {
      if (!(u >= 0 && u <= 1)) return;
      const double px = p.x + u * ex, py = p.y + u * ey;
      cut.add(px, width(px, py, fine));
    };
    add_root(Q / A);
    if (Q != 0) add_root(C / Q);
  }
};

/// Corners may fall together: an edge as long as rounding has no side.
bool inside(const Polygon& polygon, double xmin, double xmax, double px, double py) {
  if (!(px > xmin && px < xmax)) return false;
  for (int j = 1; j <= maxcorner; ++j) {
    const PlanePoint &p = polygon[j], &q = polygon[j == maxcorner ? 1 : j + 1];
    const double dx = px - p.x, dy = py - p.y;
    const double rounding = 1e-15 * (std::abs(p.x * dy) + std::abs(p.y * dx));
    if ((q.x - p.x) * dy - (q.y - p.y) * dx < -rounding) return false;
  }
  return true;
}

/// The part of a wavefront over the polygon; false if there is none.
bool cut_wavefront(const Polygon& polygon, double xmin, double xmax, const Wavefront& front, double fine,
                   WavefrontCut& cut) {
  for (int j = 1; j <= maxcorner; ++j) {
    front.cross_edge(polygon[j], polygon[j == maxcorner ? 1 : j + 1], fine, cut);
  }
  // The circle's two ends in a count where they lie over the polygon.
  for (const double end : {front.x - front.r, front.x + front.r}) {
    if (!inside(polygon, xmin, xmax, end, front.y)) continue;
    if (cut.crosses)
      cut.extend(end);
    else
      cut.add(end, fine);
  }
  return cut.crosses;
}

}  // namespace

void green_zones(const Polygon& relpoly, const PathArcs& arcs, int narcs, const MeshSteps& steps,
                 GreenZones& zones) {
  double xmin, xmax;
  polygon_range(relpoly, xmin, xmax);
  const auto clip = [&](double v) { return std::max(xmin, std::min(xmax, v)); };
  zones.n = 0;
  if (clip(-steps.wide) < clip(steps.wide)) {
    zones.zone[++zones.n] = {clip(-steps.wide), clip(steps.wide), steps.cap};
  }
  for (int i = 1; i <= narcs && arcs[i].ct < 0; ++i) {
    const Wavefront front{arcs[i].x, arcs[i].y, -arcs[i].ct};
    WavefrontCut cut;
    if (!cut_wavefront(relpoly, xmin, xmax, front, steps.fine, cut)) continue;
    const double step = std::max(steps.fine, std::min(steps.cap, cut.w));
    zones.zone[++zones.n] = {clip(cut.from - steps.wide), clip(cut.to + steps.wide), step};
  }
  // Few zones: insertion keeps their order where starts are equal.
  for (int j = 2; j <= zones.n; ++j) {
    for (int i = j; i > 1 && zones.zone[i].from < zones.zone[i - 1].from; --i) {
      std::swap(zones.zone[i], zones.zone[i - 1]);
    }
  }
}

}  // namespace tessaron
