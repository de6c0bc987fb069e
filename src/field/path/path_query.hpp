#pragma once
#include <cmath>

#include "common/numbers/small_angle.hpp"
#include "field/path/path.hpp"
#include "field/path/path_record.hpp"

namespace tessaron {

/// The eight interval coefficients of a point s on a segment, the tangent turning at a constant rate:
///     r(s) = r(a) + c1 e(a) + c2 e(b) = r(b) + c3 e(a) + c4 e(b)
///     e(s) = c5 e(a) + c6 e(b),   de/ds = c7 e(a) + c8 e(b)
/// They lose their digits where the segment turns by nearly a multiple of pi and e(a), e(b) span no plane.
struct PathCoefficients {
  double c1, c2, c3, c4, c5, c6, c7, c8;
};
void pthcoef(double s, const PathSegment& seg, bool straight, bool flat, PathCoefficients& out);

/// The path query written with the interval coefficients. `pathfn` gives the same curve for less, and also
/// where a segment turns by pi.
void pathfn_by_coefficients(const PathRecord& path, double s, PathPoint& point);

/// A point of the path in its plane.
struct CurvePoint {
  double x, y;    ///< [m]
  double ex, ey;  ///< unit tangent
  double kappa;   ///< signed curvature: de/ds = kappa (-ey, ex)
};

inline int path_bucket(const PathRecord& path, double s) {
  return static_cast<int>((s - path.snode[1]) * path.bucket_scale);
}

/// The stretch that holds s: 0 ahead of the first node, nnode from the last node on, else the segment that
/// holds s or starts there. A NaN counts as ahead.
inline int path_stretch(const PathRecord& path, double s) {
  if (!(s > path.snode[1])) return 0;
  if (s >= path.snode[path.nnode]) return path.nnode;
  int i = path.bucket[path_bucket(path, s) + 1];
  while (s >= path.snode[i]) ++i;
  return i - 1;
}

/// The curve at s on a stretch: a chord that turns by half the angle of the arc.
///     r = r0 + (2 / kappa) sin(h) (cos(h) e0 + sin(h) n0),   h = kappa (s - s0) / 2
inline CurvePoint path_point(const PathStretch& p, double s) {
  const double u = s - p.s;
  if (p.kappa == 0) return {p.x + u * p.ex, p.y + u * p.ey, p.ex, p.ey, 0};
  const double h = 0.5 * (p.kappa * u);
  double sh, ch;
  if (std::abs(h) <= small_angle) {
    small_sin_cos(h, sh, ch);
  } else {
    sh = std::sin(h);
    ch = std::cos(h);
  }
  const double chord = p.two_by_kappa == 0 ? u : p.two_by_kappa * sh;
  const double along = chord * ch, across = chord * sh;
  const double c = 1 - 2 * (sh * sh), n = 2 * (sh * ch);
  return {p.x + (along * p.ex - across * p.ey), p.y + (along * p.ey + across * p.ex), c * p.ex - n * p.ey,
          c * p.ey + n * p.ex, p.kappa};
}

inline CurvePoint path_at(const PathRecord& path, double s) {
  return path_point(path.stretch[path_stretch(path, s)], s);
}

CurvePoint plane_point_by_coefficients(const PathRecord& path, double s);

/// The path in its plane, by the chosen formulas; `stretch` is the one that holds s.
inline CurvePoint plane_point(const PathRecord& path, const PathStretch& stretch, double s) {
  return path.query == PathQuery::stretches ? path_point(stretch, s) : plane_point_by_coefficients(path, s);
}
inline CurvePoint plane_point(const PathRecord& path, double s) {
  return plane_point(path, path.stretch[path_stretch(path, s)], s);
}
/// All of it at s, by the chosen formulas.
PathPoint pthval(const PathRecord& path, double s);

/// Whether the path is curved at s.
inline bool path_curved(const PathRecord& path, double s) {
  return path.stretch[path_stretch(path, s)].kappa != 0;
}

}  // namespace tessaron
