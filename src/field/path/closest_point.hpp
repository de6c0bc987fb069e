#pragma once
#include "field/path/path_query.hpp"
#include "field/vec3.hpp"

namespace tessaron {

/// A path point and the speed there in units of c.
struct PathSample {
  PathPoint point{};
  double beta = 0;
};

/// The path at s. `level` says how much of it is wanted: 3 (t and gamma), 7, 15 or 31 (everything). The last
/// answer is remembered.
const PathSample& pthval(double s, int level);
/// Forgets it: a new path may have been built.
void pcclr();

/// By which formulas the library reads the path: those of the curve's stretches, or the interval coefficients
/// (the slow way, for comparison).
enum class PathQuery { stretches, coefficients };
void use_path_query(PathQuery query);
extern const PathQuery& path_query;
PlanePoint plane_point_by_coefficients(double s);

/// The path in its plane, by the chosen formulas; `stretch` is the one that holds s.
inline PlanePoint plane_point(const PathStretch& stretch, double s) {
  return path_query == PathQuery::stretches ? path_point(stretch, s) : plane_point_by_coefficients(s);
}
inline PlanePoint plane_point(double s) {
  const PathRecord& path = pthcom;
  return plane_point(path.stretch[path_stretch(path, s)], s);
}

/// The point of the path closest to the observer. Owner: `fclini`, `fobset`.
struct ClosestRecord {
  Vec3 r0;          ///< observer [m]
  double tau = 0;   ///< tolerance of s, relative to the distance
  double s_c = 0;   ///< closest point [m]
  double d = 0;     ///< distance of r0 from the path there [m]
  PathSample path;  ///< the path there
};
extern const ClosestRecord& closest;

/// Finds the point of the path between s_low and s_high that lies closest to r0, to the tolerance tau times
/// the distance. The search starts from the answer before.
void fclini(const Vec3& r0, double s_low, double s_high, double tau);

/// Moves the observer and keeps the closest point; the distance follows.
void fobset(const Vec3& r);

}  // namespace tessaron
