#pragma once
#include <cmath>

#include "field/path/path_query.hpp"
#include "field/vec3.hpp"

namespace tessaron {

/// How an observer is seen from a point of the path.
struct Sighting {
  double distance2 = 0;  ///< R^2 [m^2]
  double distance = 0;   ///< R [m]
  double along = 0;      ///< e . R, the part of the way to it along the path's tangent [m]
};

/// Looks at one observer from one point of the path after the other. The observer's place in the frame of a
/// stretch is kept while the points stay on it; there, with theta = kappa (s - s0) and the observer at (a,
/// b),
///     R = (a - sin(theta) / kappa, b - (1 - cos(theta)) / kappa, z),   e = (cos(theta), sin(theta), 0)
class Sight {
 public:
  Sight(const PathRecord& path, const Vec3& observer)
      : path_(path), r0_(observer), z2_(observer.z * observer.z + 1e-300) {}

  /// The stretch that holds the point which was looked from last.
  const PathStretch& stretch() const { return *stretch_; }

  Sighting from(double s) {
    if (!(start_ < s && s < end_)) find_stretch(s);
    const double u = s - base_, theta = kappa_ * u, q = theta * theta;
    if (!(q <= small_angle * small_angle)) return from_far_turn(s);
    const SmallArc arc = q <= smaller_angle * smaller_angle ? smaller_arc(q) : small_arc(q);
    const double rest = q * arc.sine_rest;
    return seen((a_ - u) - u * rest, b_ - (u * theta) * arc.versine, 1 - q * arc.versine,
                theta + theta * rest);
  }

 private:
  Sighting seen(double x, double y, double ex, double ey) const {
    const double distance2 = x * x + (y * y + z2_);
    return {distance2, std::sqrt(distance2), ex * x + ey * y};
  }
  void find_stretch(double s);
  Sighting from_far_turn(double s) const;

  const PathRecord& path_;
  Vec3 r0_;
  double z2_;
  const PathStretch* stretch_ = nullptr;
  double start_ = 0, end_ = 0;  // of the stretch in hand; none at first
  double base_ = 0, kappa_ = 0;
  double a_ = 0, b_ = 0;
};

}  // namespace tessaron
