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

// A corner that a cut would meet exactly may be trimmed by 1e-8 of the polygon's size, and the sets are at
// most 3 m wide.
TEST(Polygon, HoldsAllPointsOfAnySet) {
  test::Random random;
  for (int sweep = 0; sweep < 300; ++sweep) {
    const std::vector<PlanePoint> points = cloud(random);
    const double margin = sweep % 3 == 0 ? 0 : 1e-7;
    Polygon polygon;
    bounda(suppts{points}, margin, polygon);
    for (const PlanePoint& p : points) ASSERT_LE(excess(polygon, p.x, p.y), -margin + 6e-8) << sweep;
  }
}

// The polygon is not just any hull: 20 tangents of a unit circle enclose 20 tan(pi/20) = 3.168 at best. The
// start square's corners all have the cross product 4. Its first corner (1, -1) is cut first, which leaves 4
// at (-1, 1) alone; then (1, 1) and (-1, -1) tie with 2.
TEST(Polygon, CutsTheSharpestCornerAndLiesCloseAroundACircle) {
  std::vector<double> asked;
  Polygon polygon;
  bounda([&](double th) { return asked.push_back(th), 1.0; }, 0, polygon);
  ASSERT_EQ(asked.size(), 20u);
  const double expected[] = {0, pi / 2, pi, 3 * pi / 2, -pi / 4, 3 * pi / 4, pi / 4, -3 * pi / 4};
  for (std::size_t i = 0; i < 8; ++i) EXPECT_NEAR(asked[i], expected[i], 1e-12) << i;
  double area = 0;
  for (int j = 1; j <= maxcorner; ++j) {
    const PlanePoint &p = polygon[j], &q = polygon[j % maxcorner + 1];
    area += (p.x * q.y - p.y * q.x) / 2;
  }
  EXPECT_GE(area, pi);
  EXPECT_LE(area, 3.21);
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

// What is no number makes corners that mean nothing, but the polygon gets done.
TEST(Polygon, IsCompletedForNumbersThatAreNone) {
  for (const double bad : {std::nan(""), 1e308, -1e308}) {
    int asked = 0;
    Polygon polygon;
    bounda([&](double th) { return ++asked, th < 1 ? bad : 1.0; }, 0, polygon);
    EXPECT_EQ(asked, maxcorner);
  }
}

}  // namespace
}  // namespace tessaron
