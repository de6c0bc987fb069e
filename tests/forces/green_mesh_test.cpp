#include "forces/green/mesh/mesh.hpp"

#include "forces/green/mesh/lookup.hpp"
#include "forces/green/mesh/patch.hpp"
#include "forces/green/mesh/rows.hpp"
#include "forces/green/sources.hpp"
#include "forces/green_fixture.hpp"

namespace tessaron {
namespace {

using test::Random;

// Bilinear interpolation reproduces a plane.
const struct Plane final : GreenField {
  void at(double a, double b, GreenRow& f) const override { f = {1 + 2 * a - 3 * b, 4 * b - a, 0.5 + a + b}; }
} plane;
/// A polygon around an ellipse, with sharp ends where ry is small.
Polygon around(double x0, double y0, double rx, double ry) {
  Polygon polygon;
  bounda(
      [&](double th) {
        const double c = std::cos(th), s = std::sin(th);
        return x0 * c + y0 * s + std::hypot(rx * c, ry * s);
      },
      0, polygon);
  return polygon;
}

struct Case {
  double x0, y0, rx, ry;  // polygon
  double front;           // radius of a wavefront from (-front, 0), 0 for none
  double sigma_rad;
  bool shielded;
};
// sigma_long is 1: the inner range is -5 .. 5, the fine rows reach to 10 sigma_rad.
const Case cases[] = {
    {0, 0, 40, 30, 0, 1, false},   {0, 0, 40, 30, 100, 1, false},  {0, 0, 40, 5, 0, 1, true},
    {60, 0, 50, 20, 0, 1, false},  {-60, 0, 50, 20, 0, 1, false},  {0, 25, 40, 20, 0, 1, false},
    {0, -25, 40, 20, 0, 1, false}, {0, 0, 40, 0.01, 0, 1, false},  {0, 0, 0.01, 30, 0, 1, false},
    {0, 0, 3, 3, 0, 0.3, false},   {3, 2, 1e-6, 1e-6, 0, 1, true}, {0, 0, 60, 40, 50, 0.5, true},
};
PathArcs arcs;
constinit GreenMesh mesh{};

bool lay(const Case& c, std::int32_t capacity = maxgre) {
  arcs[1] = {-c.front, -c.front, 0, 0};
  return gmesh0(
      {around(c.x0, c.y0, c.rx, c.ry), arcs, c.front > 0 ? 1 : 0, 1, c.sigma_rad, c.shielded, capacity},
      mesh);
}

/// Places inside the polygon, away from its edge.
std::vector<PlanePoint> places(const Case& c, int n) {
  Random random;
  std::vector<PlanePoint> list;
  while (static_cast<int>(list.size()) < n) {
    const double u = random.uniform(-1, 1), v = random.uniform(-1, 1);
    if (u * u + v * v < 0.99) list.push_back({c.x0 + u * c.rx, c.y0 + v * c.ry});
  }
  return list;
}

TEST(GreenMesh, ReproducesAPlaneEverywhereInThePolygon) {
  for (const Case& c : cases) {
    ASSERT_FALSE(lay(c));
    for (const PlanePoint& p : places(c, 500)) {
      GreenRow f, exact;
      ASSERT_EQ(gmesh2(mesh, plane, p.x, p.y, f), Cover::inside) << c.x0 << " " << p.x << " " << p.y;
      plane.at(p.x, p.y, exact);
      ASSERT_NEAR(f.f1, exact.f1, 1e-10);
      ASSERT_NEAR(f.f2, exact.f2, 1e-10);
      ASSERT_NEAR(f.bz, exact.bz, 1e-10);
    }
  }
}

// One source at (1, 2) with the angle phi, a plane field E + beta n x cB of it: the sums are the field of a
// test particle with the direction and speed of reference, in reference axes. The field is linear, so the
// mesh has it exactly.
TEST(SourceTerm, TurnsTheFieldAndCorrectsItsVelocityTerm) {
  const double phi = 0.3, ref_phi = -0.2, beta = 0.8, q = 3;
  lay(cases[0]);
  GreenSourceTile source{};
  source.add(1, 2, phi, q, ref_phi, beta);
  const auto field = [&] { return green_tile_field(source, mesh, plane, true, 4.5, 1.25, MissingRow::want); };
  EXPECT_FALSE(has_field(field()));
  green_fill_wanted(mesh, plane);
  const GreenRow sum = field();

  const double a = std::cos(phi) * 3.5 - std::sin(phi) * 0.75,
               b = -std::cos(phi) * 0.75 - std::sin(phi) * 3.5;
  GreenRow f;
  plane.at(a, b, f);
  // electric field in lab axes: n x (0, 0, B) = (ny, -nx) B is taken off along the source's direction
  const double ex = std::cos(phi) * f.f1 - std::sin(phi) * f.f2 - beta * std::sin(phi) * f.bz;
  const double ey = std::sin(phi) * f.f1 + std::cos(phi) * f.f2 + beta * std::cos(phi) * f.bz;
  const double fx = ex + beta * std::sin(ref_phi) * f.bz, fy = ey - beta * std::cos(ref_phi) * f.bz;
  EXPECT_NEAR(sum.f1, q * (std::cos(ref_phi) * fx + std::sin(ref_phi) * fy), 1e-11);
  EXPECT_NEAR(sum.f2, q * (std::cos(ref_phi) * fy - std::sin(ref_phi) * fx), 1e-11);
  EXPECT_NEAR(sum.bz, q * f.bz, 1e-11);
}

TEST(GreenMeshDeath, AMeshThatDoesNotFitStopsTheRun) {
  const auto clean_end = testing::ExitedWithCode(0);
  EXPECT_EXIT(lay({0, 0, 4, 30, 0, 1, false}, 100), clean_end, "");  // no two lines fit
  EXPECT_EXIT(lay({0, 0, 1e6, 1, 0, 1, true}), clean_end, "");       // too many lines
  EXPECT_EXIT(lay({0, 0, 4, 1e300, 0, 1, true}), clean_end, "");     // too many rows on a line
  EXPECT_EXIT(lay({std::nan(""), 0, 4, 1, 0, 1, true}), clean_end, "");
}

}  // namespace
}  // namespace tessaron
