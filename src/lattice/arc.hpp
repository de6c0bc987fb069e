#pragma once
#include <cstdint>

#include "lattice/lattice_record.hpp"

namespace tessaron {

/// The angle by which section i turns the design orbit [rad], 0 for a straight section and the open ends of
/// the lattice. Whatever the records say it lies in 0..2 pi: an arc has no more than one turn.
double section_turn(std::int32_t i);

/// An angle along an arc that is known up to full turns (-2 pi..2 pi), counted from one of the arc's ends to
/// the other, so that 0..`turn` lies on the arc: of its values the one that is nearest to the arc,
///     -(pi - turn/2) <= angle < turn + (pi - turn/2)
/// A place short of the arc's beginning is thereby told from one beyond its end.
double angle_on_arc(double angle, double turn);

/// A point of the plane as seen from a boundary.
struct Offset {
  double d;  ///< how far the boundary lies ahead of it, along the boundary's tangent [m]
  double u;  ///< how far it lies to the left of the tangent [m]
};
Offset offset(const Boundary& b, double x, double y);

/// The angle by which the orbit turns from a point beside section i, an arc, to one of the section's two
/// boundaries, b = i or i - 1, from where the point is seen [rad]; positive to the left. With w = u + r
///     |a| = atan2(d, w) in the orbit's sense, made an angle on the arc
/// so that a r > 0 where the boundary lies ahead. 0 in the centre of curvature.
double angle_to_boundary(std::int32_t b, std::int32_t i, const Offset& at);

}  // namespace tessaron
