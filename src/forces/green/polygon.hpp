#pragma once
#include <span>

#include "common/constants.hpp"
#include "common/table.hpp"

namespace tessaron {

/// Convex polygons around a set of points, built from the set's support function alone:
///     support(th) = max over the set of  x cos th + y sin th
/// The Green's function models ask with them where a field is going to be needed before they tabulate it.

struct PlanePoint {
  double x, y;  ///< [m]
};

/// Corners 1..20, counter-clockwise. Corners may fall together.
inline constexpr int maxcorner = 20;
using Polygon = Table<PlanePoint, maxcorner>;

/// A rectangle along the axes whose sharpest corners are cut off one by one, each with the support line that
/// is parallel to the line between the corner's neighbours.
class PolygonBuilder {
 public:
  /// Starts with the support in the directions 0, pi/2, pi, 3 pi/2.
  PolygonBuilder(double right, double top, double left, double bottom);
  bool complete() const { return n_ == maxcorner; }
  /// The direction [rad] in which the next cut needs the support.
  double next_direction();
  /// Makes the cut at distance h from the origin, in the direction asked for last.
  void cut(double h);
  const Polygon& polygon() const { return corner_; }

 private:
  const PlanePoint& before(int j) const { return corner_[j == 1 ? n_ : j - 1]; }
  const PlanePoint& behind(int j) const { return corner_[j == n_ ? 1 : j + 1]; }
  int sharpest() const;

  Polygon corner_;
  int n_ = 4;
  int cut_corner_ = 1;
};

/// Builds the polygon of 20 corners around the set with this support function, `margin` [m] away from it.
/// A corner of the set that the cuts would meet exactly may stand out by 1e-8 of the polygon's size.
template <class Support>
void bounda(const Support& support, double margin, Polygon& polygon) {
  const double right = support(0) + margin, top = support(1.5707963267948966) + margin;
  const double left = support(3.141592653589793) + margin, bottom = support(4.71238898038469) + margin;
  PolygonBuilder builder(right, top, left, bottom);
  while (!builder.complete()) builder.cut(support(builder.next_direction()) + margin);
  polygon = builder.polygon();
}

/// Support of a set of points.
struct suppts {
  std::span<const PlanePoint> points;
  double operator()(double th) const;
};

/// A source with its direction.
struct TurnedSource {
  double x, y;  ///< place in the frame of the corners [m]
  double c, s;  ///< cosine and sine of its angle
};

/// Support of all positions that an observer within the corners has relative to a source, in axes along and
/// across that source's direction:
///     max over i and corners v of  (v - r_i) . e(th + phi_i)
struct suprel {
  std::span<const TurnedSource> sources;
  const Polygon& corners;
  double operator()(double th) const;
};

}  // namespace tessaron
