#include "forces/green/mesh/mesh.hpp"

#include <unistd.h>

#include "forces/green/mesh/lookup.hpp"
#include "forces/green/mesh/patch.hpp"
#include "forces/green/mesh/rows.hpp"
#include "forces/green/sources.hpp"
#include "forces/green_fixture.hpp"

namespace tessaron {
namespace {

using test::Random;

int calls = 0;
// Bilinear interpolation reproduces a plane.
const struct Plane final : GreenField {
  void at(double a, double b, GreenRow& f) const override {
    f = {1 + 2 * a - 3 * b, 4 * b - a, 0.5 + a + b}, ++calls;
  }
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

// 20 sigma_rad hold exactly 100 steps, so that the fine stretch has 101 intervals. The quotient of the two
// lengths comes out just below 100 for some sizes.
TEST(GreenMesh, KeepsTheSpacingOfRows) {
  std::vector<Case> all(std::begin(cases), std::end(cases));
  for (const double sigma_rad : {0.4, 0.43, 0.82, 1.1, 1.55})
    all.push_back({0, 0, 40, 38, 0, sigma_rad, false});
  for (const Case& c : all) {
    lay(c);
    const GreenMesh& m = mesh;
    const double R = 10 * c.sigma_rad;
    std::int64_t before = 0;
    for (int i = 1; i <= m.nxg; ++i) {
      GreenStretches s;
      green_stretches(m, i, s);
      ASSERT_EQ(s.jb[0], before + 1);
      ASSERT_EQ(s.jb[3], m.line[i].gend);
      ASSERT_GE(s.jb[3] - s.jb[0], 1);
      EXPECT_EQ(green_row_place(s, s.jb[0]), m.line[i].ylo);
      EXPECT_NEAR(green_row_place(s, s.jb[3]), m.line[i].yhi, 1e-13);
      for (std::int64_t j = s.jb[0]; j < s.jb[3]; ++j) {
        const double b = green_row_place(s, j), step = green_row_place(s, j + 1) - b;
        const bool fine = m.is_inner(i) && b > -R && b + step < R;
        ASSERT_GT(step, 0);
        ASSERT_LE(step, (fine ? 0.2 * c.sigma_rad : 5) + 1e-12);
      }
      if (c.ry == 38 && m.is_inner(i)) {
        ASSERT_EQ(s.jb[2] - s.jb[1], 101) << c.sigma_rad;
      }
      before = m.line[i].gend;
    }
    EXPECT_EQ(m.ngreen, before);
    EXPECT_LE(m.iline2 - m.iline1 + 1, 53);
  }
}

TEST(GreenMesh, FindsTheStripOfEveryPlace) {
  for (const Case& c : cases) {
    lay(c);
    const GreenMesh& m = mesh;
    int k;
    for (int i = 1; i <= m.nxg; ++i) {
      const double x = m.line[i].x, below = std::nextafter(x, -1e300);
      ASSERT_TRUE(fmesh2(mesh, x, k));
      EXPECT_EQ(k, std::min(i, m.nxg - 1));
      ASSERT_EQ(fmesh2(mesh, below, k), i > 1);
      EXPECT_EQ(k, std::max(i - 1, 1));
    }
    EXPECT_FALSE(fmesh2(mesh, std::nextafter(m.line[m.nxg].x, 1e300), k));
    EXPECT_FALSE(fmesh2(mesh, std::nan(""), k));
  }
}

TEST(GreenMesh, ComputesARowWhenItIsFirstNeededAndNeverAgain) {
  lay(cases[0]);
  GreenRow first, again;
  calls = 0;
  gmesh2(mesh, plane, 7.3, 2.1, first);
  EXPECT_EQ(calls, 4);
  gmesh2(mesh, plane, 7.3, 2.1, again);
  EXPECT_EQ(calls, 4);
  EXPECT_EQ(first.f1, again.f1);
}

TEST(GreenMesh, MarksTheRowsThatLookupsCompute) {
  const auto flags = [] { return std::vector<bool>(&mesh.gflag[1], &mesh.gflag[1] + mesh.nblock); };
  for (const Case& c : cases) {
    const auto list = places(c, 300);
    lay(c);
    for (const PlanePoint& p : list) EXPECT_EQ(gmesh1(mesh, p.x, p.y), Cover::inside);
    const std::vector<bool> marked = flags();
    lay(c);
    GreenRow f;
    for (const PlanePoint& p : list) gmesh2(mesh, plane, p.x, p.y, f);
    EXPECT_EQ(marked, flags());
  }
}

TEST(GreenMesh, TellsHowAPlaceBeyondItLies) {
  lay(cases[0]);
  GreenRow f;
  for (const double x : {41.0, -41.0, std::nan("")})
    EXPECT_EQ(gmesh2(mesh, plane, x, 0, f), Cover::beyond_mesh);
  EXPECT_EQ(gmesh2(mesh, plane, 0, 31, f), Cover::beside_lines);
  EXPECT_EQ(gmesh2(mesh, plane, 39, 29, f), Cover::beside_lines);
  EXPECT_EQ(gmesh2(mesh, plane, 0, std::nan(""), f), Cover::beside_lines);
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

TEST(GreenMeshDeath, APlaceBetweenNoTwoLinesStopsTheRun) {
  const auto search_damaged_mesh = [] {
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    lay(cases[0]);
    mesh.line[2].x = std::nan("");
    int k;
    (void)fmesh2(mesh, mesh.line[1].x, k);
  };
  EXPECT_EXIT(search_damaged_mesh(), testing::ExitedWithCode(0), " fmesh2: there is something wrong\n");
}

}  // namespace
}  // namespace tessaron
