#pragma once
#include <cstdint>

namespace tessaron {

/// Where a point of the orbit plane stands along the design orbit.
struct ArcPosition {
  double s;       ///< path length of the nearest point of the orbit [m]
  double tx, ty;  ///< unit tangent of the orbit there
  double u;       ///< distance from the orbit [m], positive to the left of the direction of motion
};

/// Projects the point (x, y) on the design orbit, near a section whose number is known.
///
/// The boundaries are walked from the one that ends `section` (or the last one) towards the point, up to the
/// pair that has the point between them: of a straight section a boundary lies ahead if d > 0, of an arc by
/// the angle a to it. With d the distance of the last boundary looked at along its tangent, u the distance of
/// the point across it, r the radius of the section of the boundary ahead:
///     straight:  s = s_b - d
///     arc:       w = u + r,  a = atan2(d, w) in the orbit's sense (`angle_to_boundary`),  s = s_b - r a,
///                the tangent of b turned by a,  u = w / cos a - r
/// Before the first boundary and behind the last one the orbit goes on straight. Without boundaries it is the
/// x axis. In the centre of an arc, where every s is as near, the boundary itself is taken.
///
/// In an arc of half a turn and more the place depends on `section`: behind its end a point may lie beside
/// the arc as well.
///
/// A walk never turns round before it ends, so it ends for any point and any section number.
ArcPosition arc_position(double x, double y, std::int32_t section);

}  // namespace tessaron
