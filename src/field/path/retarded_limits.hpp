#pragma once
#include "field/path/path_record.hpp"
#include "field/vec3.hpp"

namespace tessaron {

/// The stretch s1..s2 of the path from which a signal of the bunch reaches the observer at the observation
/// time: from the part dt ahead of the centre to the part dt behind it. Owner: `f12ini`.
struct LimitRecord {
  Vec3 r0;                ///< observer [m]
  double t0 = 0;          ///< observation time [s]
  double dt = 0;          ///< half width in time [s]
  double s1 = 0, s2 = 0;  ///< the stretch [m]
};

/// Finds s1 and s2 between s_a and s_b, or on the straight extension of the path before s_a, to the accuracy
/// acc [m].
void f12ini(const PathRecord& path, double t0, const Vec3& r0, double s_a, double s_b, double dt, double acc,
            LimitRecord& limits);

}  // namespace tessaron
