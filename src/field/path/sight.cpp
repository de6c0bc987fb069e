#include "field/path/sight.hpp"

namespace tessaron {

void Sight::find_stretch(double s) {
  const int m = path_stretch(path_, s);
  const PathStretch& p = path_.stretch[m];
  stretch_ = &p;
  start_ = m == 0 ? -HUGE_VAL : path_.snode[m];
  end_ = p.end;
  base_ = p.s;
  kappa_ = path_.query == PathQuery::stretches ? p.kappa : HUGE_VAL;  // an angle for `from_far_turn`
  const double x = r0_.x - p.x, y = r0_.y - p.y;
  a_ = p.ex * x + p.ey * y;
  b_ = p.ex * y - p.ey * x;
}

Sighting Sight::from_far_turn(double s) const {
  const CurvePoint p = plane_point(path_, *stretch_, s);
  return seen(r0_.x - p.x, r0_.y - p.y, p.ex, p.ey);
}

}  // namespace tessaron
