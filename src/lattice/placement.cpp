#include "lattice/placement.hpp"

#include <algorithm>
#include <cmath>

#include "lattice/arc.hpp"

namespace tessaron {

namespace {

constexpr double quarter_turn = pi / 2;

/// (point of the boundary - point) . normal > 0.
bool on_near_side(const Boundary& b, double x, double y) { return (b.x - x) * b.nx + (b.y - y) * b.ny > 0; }

/// The turn of the orbit from a point beside section i, an arc, to the arc's end [rad].
double turn_left(std::int32_t i, double x, double y) {
  const Boundary& b = latcom.bnd[i];
  return std::copysign(1, b.r) * angle_to_boundary(i, i, offset(b, x, y));
}

/// How far a point lies off the line or circle on which the design orbit runs in section i.
double distance_to_orbit(std::int32_t i, double x, double y) {
  const Boundary& b = latcom.bnd[std::min(i, latcom.nlat)];
  const Offset at = offset(b, x, y);
  if (section_turn(i) == 0) return std::abs(at.u);
  return std::abs(std::hypot(at.d, at.u + b.r) - std::abs(b.r));
}

/// Whether a point lies between the faces of section i, an arc: a face counts within a quarter of a turn.
bool between_faces(std::int32_t i, double x, double y) {
  const double left = turn_left(i, x, y), passed = section_turn(i) - left;
  if (left < quarter_turn && !on_near_side(latcom.bnd[i], x, y)) return false;
  return passed >= quarter_turn || !on_near_side(latcom.bnd[i - 1], x, y);
}

}  // namespace

bool stands_before(double x, double y, std::int32_t i) {
  if (on_near_side(latcom.bnd[i], x, y)) return true;
  return section_turn(i) > quarter_turn && turn_left(i, x, y) > quarter_turn;
}

std::int32_t section_at(double x, double y) {
  std::int32_t section = 1;
  while (section <= latcom.nlat && !on_near_side(latcom.bnd[section], x, y)) ++section;
  for (std::int32_t i = 2; i <= latcom.nlat; ++i) {
    if (section_turn(i) <= quarter_turn || !between_faces(i, x, y)) continue;
    if (distance_to_orbit(i, x, y) < distance_to_orbit(section, x, y)) section = i;
  }
  return section;
}

}  // namespace tessaron
