#include "forces/green/polygon.hpp"

#include "forces/green_fixture.hpp"

namespace tessaron {
namespace {

/// How far a point stands out of the polygon [m], as its projections on many directions tell: corners may
/// fall together, so that edges have no direction of their own.
double excess(const Polygon& polygon, double x, double y) {
  double most = -1e300;
  for (int k = 0; k < 256; ++k) {
    const double c = std::cos(k * two_pi / 256), s = std::sin(k * two_pi / 256);
    double reach = -1e300;
    for (int j = 1; j <= maxcorner; ++j) reach = std::max(reach, polygon[j].x * c + polygon[j].y * s);
    most = std::max(most, x * c + y * s - reach);
  }
  return most;
}

/// Sets of all shapes: one point, a line, a stretched and tilted cloud.
std::vector<PlanePoint> cloud(test::Random& random) {
  const auto n = static_cast<int>(random.log_uniform(1, 400));
  const double wx = random.log_uniform(1e-6, 1),
               wy = random.uniform(0, 1) < 0.3 ? 0 : random.log_uniform(1e-6, 1);
  const double angle = random.uniform(-3, 3), x0 = random.uniform(-1, 1), y0 = random.uniform(-1, 1);
  std::vector<PlanePoint> points;
  for (int i = 0; i < n; ++i) {
    const double u = wx * random.uniform(-1, 1), v = wy * random.uniform(-1, 1);
    points.push_back(
        {x0 + u * std::cos(angle) - v * std::sin(angle), y0 + u * std::sin(angle) + v * std::cos(angle)});
  }
  return points;
}

TEST(RelativePositions, AreHeldForEverySourceAndPoint) {
  test::Random random;
  for (int sweep = 0; sweep < 12; ++sweep) {
    const std::vector<PlanePoint> points = cloud(random);
    std::vector<TurnedSource> sources;
    const double spread = sweep % 2 == 0 ? 3 : 1e-3;
    for (const PlanePoint& p : cloud(random)) {
      const double phi = random.uniform(-spread, spread);
      sources.push_back({p.x, p.y, std::cos(phi), std::sin(phi)});
    }
    Polygon meshpoly, relpoly;
    bounda(suppts{points}, 1e-6, meshpoly);
    bounda(suprel{sources, meshpoly}, 0, relpoly);
    for (const TurnedSource& s : sources) {
      for (const PlanePoint& p : points) {
        const double a = (p.x - s.x) * s.c + (p.y - s.y) * s.s, b = (p.y - s.y) * s.c - (p.x - s.x) * s.s;
        ASSERT_LE(excess(relpoly, a, b), 0) << sweep;
      }
    }
  }
}

}  // namespace
}  // namespace tessaron
