#include "lattice/arc.hpp"

#include <cmath>

namespace tessaron {

namespace {

/// The angle to the boundary within half a turn to both sides of it.
double angle_within_half_turn(const Offset& at, double r) {
  const double w = at.u + r;
  if (w * r > 0) return at.d == 0 ? 0.0 : std::atan(at.d / w);
  if (w == 0 && at.d == 0) return 0;
  return r > 0 ? std::atan2(at.d, w) : -std::atan2(at.d, -w);
}

}  // namespace

double section_turn(std::int32_t i) {
  if (i < 2 || i > latcom.nlat || latcom.bnd[i].r == 0) return 0;
  const double turn = std::abs((latcom.bnd[i].s - latcom.bnd[i - 1].s) / latcom.bnd[i].r);
  return turn < two_pi ? turn : two_pi;
}

double angle_on_arc(double angle, double turn) {
  const double margin = pi - 0.5 * turn;
  if (angle < -margin) return angle + two_pi;
  return angle < turn + margin ? angle : angle - two_pi;
}

Offset offset(const Boundary& b, double x, double y) {
  return {(b.x - x) * b.tx + (b.y - y) * b.ty, b.ty * (b.x - x) - b.tx * (b.y - y)};
}

double angle_to_boundary(std::int32_t b, std::int32_t i, const Offset& at) {
  const double r = latcom.bnd[i].r;
  // Counted from the point to the arc's end, or from the arc's start to the point.
  const double sense = (r > 0) == (b == i) ? 1 : -1;
  return sense * angle_on_arc(sense * angle_within_half_turn(at, r), section_turn(i));
}

}  // namespace tessaron
