#pragma once
#include "field/path/path_query.hpp"
#include "field/vec3.hpp"

namespace tessaron {

/// The point of the path closest to an observer. Owner: `fclini`, `fobset`.
struct ClosestRecord {
  Vec3 r0;           ///< observer [m]
  double s_c = 0;    ///< closest point [m]
  double d = 0;      ///< distance of r0 from the path there [m]
  PathPoint path{};  ///< the path there
};

/// Finds the point of the path between s_low and s_high that lies closest to r0, to the tolerance tau times
/// the distance. The path begins its way along x at the source, so the search starts from the observer's own
/// x: close by for all that is near the bunch, and the same whatever was looked for before.
void fclini(const PathRecord& path, const Vec3& r0, double s_low, double s_high, double tau,
            ClosestRecord& closest);

/// Moves the observer and keeps the closest point; the distance follows.
void fobset(const Vec3& r, ClosestRecord& closest);

}  // namespace tessaron
