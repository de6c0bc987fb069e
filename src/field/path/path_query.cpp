#include "field/path/path_query.hpp"

#include "common/console.hpp"

namespace tessaron {

namespace {

[[noreturn]] void lost_on_path() { fatal_stop("path: there is something wrong"); }

}  // namespace

void pthcoef(double s, const PathSegment& seg, bool straight, bool flat, PathCoefficients& out) {
  const double a = seg.start, b = seg.end, length = b - a, da = s - a, db = b - s;
  if (straight) {
    out = {s - a, 0, 0, s - b, 1, 0, 0, 0};
    return;
  }
  if (flat) {
    out = {(length - da / 2) * da / length,
           da / 2 * da / length,
           -db * (db / 2) / length,
           (db / 2 - length) * db / length,
           1 - da / length,
           da / length,
           -1 / length,
           1 / length};
    return;
  }
  const double k = seg.kappa, inv_sin = seg.inv_sin, v = 2 * inv_sin / k;
  const double half_a = std::sin(k * da / 2), half_b = std::sin(k * db / 2);
  out.c1 = v * half_a * std::sin(k * (length - da / 2));
  out.c2 = v * (half_a * half_a);
  out.c3 = -v * (half_b * half_b);
  out.c4 = -v * half_b * std::sin(k * (length - db / 2));
  out.c5 = inv_sin * std::sin(k * db);
  out.c6 = inv_sin * std::sin(k * da);
  out.c7 = -k * inv_sin * std::cos(k * db);
  out.c8 = k * inv_sin * std::cos(k * da);
}

void pathfn(const PathRecord& path, double s, PathPoint& point) {
  const int m = path_stretch(path, s);
  const PathStretch& stretch = path.stretch[m];
  // An extension reaches to infinity; a segment must hold the point.
  if (m > 0 && m < path.nnode ? !(path.snode[m] <= s && s <= path.snode[m + 1]) : std::isnan(s))
    lost_on_path();
  const CurvePoint p = path_point(stretch, s);
  point = {s / path.vel, path.gam, {p.x, p.y, 0}, {p.ex, p.ey, 0}, {-p.kappa * p.ey, p.kappa * p.ex, 0}};
}

void pathfn_by_coefficients(const PathRecord& path, double s, PathPoint& point) {
  const int m = path_stretch(path, s), i = m + 1;
  const auto fill = [&](const PathVector& r, const PathVector& e, const PathVector& e_prime) {
    point = {s / path.vel, path.gam, {r.x, r.y, 0}, {e.x, e.y, 0}, {e_prime.x, e_prime.y, 0}};
  };
  const auto line_from = [&](int node, const PathVector& e) {
    const double u = s - path.snode[node];
    fill({path.r[node].x + u * e.x, path.r[node].y + u * e.y}, e, {0, 0});
  };
  if (m == 0) return line_from(1, path.e[1]);
  if (m == path.nnode) return line_from(m, path.e[m]);
  if (!(path.snode[m] <= s && s <= path.snode[i])) lost_on_path();
  if (path.straight[m]) return line_from(m < path.knode ? i : m, path.e[m]);

  PathCoefficients c;
  pthcoef(s, path.seg[m], path.straight[m], path.flat[m], c);
  const PathVector &ea = path.e[m], &eb = path.e[i];
  const auto sum = [&](double fa, double fb) {
    return PathVector{fa * ea.x + fb * eb.x, fa * ea.y + fb * eb.y};
  };
  const bool behind = m < path.knode;
  const PathVector& base = path.r[behind ? i : m];
  const PathVector chord = behind ? sum(c.c3, c.c4) : sum(c.c1, c.c2);
  fill({base.x + chord.x, base.y + chord.y}, sum(c.c5, c.c6), sum(c.c7, c.c8));
}

CurvePoint plane_point_by_coefficients(const PathRecord& path, double s) {
  PathPoint p;
  pathfn_by_coefficients(path, s, p);
  return {p.r[0], p.r[1], p.e[0], p.e[1], p.e[0] * p.e_prime[1] - p.e[1] * p.e_prime[0]};
}

PathPoint pthval(const PathRecord& path, double s) {
  PathPoint point;
  path.query == PathQuery::stretches ? pathfn(path, s, point) : pathfn_by_coefficients(path, s, point);
  return point;
}

}  // namespace tessaron
