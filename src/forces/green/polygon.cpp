#include "forces/green/polygon.hpp"

#include <array>
#include <cmath>
#include <limits>

namespace tessaron {

namespace {

constexpr double lowest = -std::numeric_limits<double>::infinity();

/// The larger of the two; `a` if `b` is no number.
double larger(double a, double b) { return b > a ? b : a; }

double cross(const PlanePoint& a, const PlanePoint& b, const PlanePoint& c) {
  return (b.x - a.x) * (c.y - b.y) - (b.y - a.y) * (c.x - b.x);
}

PlanePoint between(const PlanePoint& a, const PlanePoint& b, double t) {
  return {a.x * (1 - t) + b.x * t, a.y * (1 - t) + b.y * t};
}

}  // namespace

PolygonBuilder::PolygonBuilder(double right, double top, double left, double bottom) {
  corner_[1] = {right, -bottom};
  corner_[2] = {right, top};
  corner_[3] = {-left, top};
  corner_[4] = {-left, -bottom};
}

/// The corner with the largest cross product of the edges into it and out of it; the first one where several
/// tie, and where none is above 0.
int PolygonBuilder::sharpest() const {
  int best = 1;
  double largest = 0;
  for (int j = 1; j <= n_; ++j) {
    const double turn = cross(before(j), corner_[j], behind(j));
    if (turn > largest) {
      largest = turn;
      best = j;
    }
  }
  return best;
}

double PolygonBuilder::next_direction() {
  cut_corner_ = sharpest();
  const PlanePoint &a = before(cut_corner_), &c = behind(cut_corner_);
  return std::atan2(-(c.x - a.x), c.y - a.y);
}

void PolygonBuilder::cut(double h) {
  const int j = cut_corner_;
  const PlanePoint a = before(j), b = corner_[j], c = behind(j);
  const double length = std::hypot(a.x - c.x, a.y - c.y);
  const double nx = -(a.y - c.y) / length, ny = (a.x - c.x) / length;
  const double from = a.x * nx + a.y * ny, to = b.x * nx + b.y * ny;
  double t = (h - from) / (to - from);
  if (!(t >= 1e-8)) t = 1e-8;  // also where neighbours fall together and there is no direction
  if (t > 0.99999999) t = 0.99999999;
  for (int i = n_; i > j; --i) corner_[i + 1] = corner_[i];
  ++n_;
  corner_[j] = between(a, b, t);
  corner_[j + 1] = between(c, b, t);
}

double suppts::operator()(double th) const {
  const double c = std::cos(th), s = std::sin(th);
  double largest = lowest;
  for (const PlanePoint& p : points) largest = larger(largest, p.x * c + p.y * s);
  return largest;
}

double suprel::operator()(double th) const {
  const double c = std::cos(th), s = std::sin(th);
  const std::span<const PlanePoint> corner = corners.run(1, maxcorner);
  double largest = lowest;
  for (const TurnedSource& source : sources) {
    // e(th + phi_i); the corners' share of the projection in four chains that do not wait for each other
    const double ex = source.c * c - source.s * s, ey = source.s * c + source.c * s;
    std::array<double, 4> reach{lowest, lowest, lowest, lowest};
    for (std::size_t v = 0; v < maxcorner; v += 4) {
      for (std::size_t k = 0; k < 4; ++k) {
        reach[k] = larger(reach[k], corner[v + k].x * ex + corner[v + k].y * ey);
      }
    }
    const double corner_reach = larger(larger(reach[0], reach[1]), larger(reach[2], reach[3]));
    largest = larger(largest, corner_reach - (source.x * ex + source.y * ey));
  }
  return largest;
}

}  // namespace tessaron
