#include "lattice/arc_position.hpp"

#include <algorithm>
#include <cmath>

#include "lattice/lattice_record.hpp"

namespace tessaron {

ArcPosition arc_position(double x, double y, std::int32_t section) {
  const std::int32_t last = latcom.nlat;
  if (last < 1) return {x, 1.0, 0.0, y};

  std::int32_t ahead = 0, behind = 0;  // 0: not met yet
  std::int32_t seen = 0;               // the boundary looked at last, and its d
  double d = 0;
  for (std::int32_t b = std::clamp(section, 1, last); b >= 1 && b <= last && (ahead == 0 || behind == 0);) {
    const Boundary& boundary = latcom.bnd[b];
    d = (boundary.x - x) * boundary.tx + (boundary.y - y) * boundary.ty;
    seen = b;
    if (d <= 0) {
      behind = b++;
    } else {
      ahead = b--;
    }
  }

  const Boundary& b = latcom.bnd[seen];
  const double u = b.ty * (b.x - x) - b.tx * (b.y - y);
  if (ahead == 1 || behind == last) return {b.s - d, b.tx, b.ty, u};

  const double r = latcom.bnd[ahead].r;
  if (r == 0) return {b.s - d, latcom.bnd[behind].tx, latcom.bnd[behind].ty, u};

  const double w = u + r;
  const double a = d == 0 ? 0.0 : std::atan(d / w);
  const double cos_a = std::cos(a), sin_a = std::sin(a);
  return {b.s - r * a, b.tx * cos_a - b.ty * sin_a, b.ty * cos_a + b.tx * sin_a, w / cos_a - r};
}

}  // namespace tessaron
