#include "lattice/arc_position.hpp"

#include <algorithm>
#include <cmath>

#include "lattice/arc.hpp"

namespace tessaron {

namespace {

/// Whether boundary b, one of the two of section i, lies ahead of a point of that section.
bool lies_ahead(std::int32_t b, std::int32_t i, const Offset& at) {
  if (section_turn(i) == 0) return at.d > 0;
  return angle_to_boundary(b, i, at) * latcom.bnd[i].r > 0;
}

}  // namespace

ArcPosition arc_position(double x, double y, std::int32_t section) {
  const std::int32_t last = latcom.nlat;
  if (last < 1) return {x, 1.0, 0.0, y};

  std::int32_t ahead = 0, behind = 0;  // 0: not met yet
  std::int32_t seen = 0;               // the boundary looked at last, from where it is
  Offset at{};
  std::int32_t from = std::clamp(section, 1, last + 1);
  for (std::int32_t b = std::min(from, last); b >= 1 && b <= last && (ahead == 0 || behind == 0);) {
    at = offset(latcom.bnd[b], x, y);
    seen = b;
    if (lies_ahead(b, from, at)) {
      from = ahead = b--;
    } else {
      behind = b++;
      from = b;
    }
  }

  const Boundary& b = latcom.bnd[seen];
  if (ahead == 1 || behind == last) return {b.s - at.d, b.tx, b.ty, at.u};

  const double r = latcom.bnd[ahead].r;
  if (r == 0) return {b.s - at.d, latcom.bnd[behind].tx, latcom.bnd[behind].ty, at.u};

  const double w = at.u + r;
  const double a = angle_to_boundary(seen, ahead, at);
  const double cos_a = std::cos(a), sin_a = std::sin(a);
  // Around 90 degrees w and cos a vanish both.
  const double radius =
      std::abs(w) > 0.1 * std::abs(at.d) ? w / cos_a : std::copysign(std::hypot(at.d, w), r);
  return {b.s - r * a, b.tx * cos_a - b.ty * sin_a, b.ty * cos_a + b.tx * sin_a, radius - r};
}

}  // namespace tessaron
