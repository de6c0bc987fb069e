#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "lattice/deck_lattice.hpp"

using namespace tessaron;
using test::read_lattice;

namespace {

constexpr double degree = pi / 180;

struct Place {
  double x, y, tx, ty, nx, ny, s, r;
};

void expect_boundary(const Boundary& b, const Place& place, double tolerance) {
  EXPECT_NEAR(std::hypot(b.x - place.x, b.y - place.y), 0, tolerance);
  EXPECT_NEAR(std::hypot(b.tx - place.tx, b.ty - place.ty), 0, tolerance);
  EXPECT_NEAR(std::hypot(b.nx - place.nx, b.ny - place.ny), 0, tolerance);
  EXPECT_NEAR(b.s, place.s, tolerance);
  EXPECT_EQ(b.r, place.r);
}

struct Case {
  const char* positions;  ///< position, or position and properties and position
  Place place;
};
const double h = std::sqrt(0.5), c60 = 0.5, s60 = std::sqrt(0.75);
const Case cases[] = {
    // the first boundary lies on the x axis
    {"position { delta_s=0.5 }", {0.5, 0, 1, 0, 1, 0, 0.5, 0}},
    {"position { rho=1 delta_psi=60 }", {2, 0, 1, 0, c60, s60, 2, 0}},
    {"position { rho=1 psi=60 delta_psi=10 }", {2, 0, 1, 0, c60, s60, 2, 0}},
    {"position { rho=1 psi=60 delta_s=3 }", {3, 0, 1, 0, c60, s60, 3, 0}},
    // arcs behind the origin: a positive radius turns clockwise
    {"position { delta_s=0 } properties { r=1 } position { delta_s=1.5707963267948966 }",
     {1, -1, 0, -1, 0, -1, pi / 2, 1}},
    {"position { delta_s=0 } properties { r=-1 } position { delta_s=1.5707963267948966 delta_psi=-45 }",
     {1, 1, 0, 1, h, h, pi / 2, -1}},
    {"position { delta_s=0 } properties { r=-1 } position { delta_s=1.5707963267948966 psi=180 }",
     {1, 1, 0, 1, -1, 0, pi / 2, -1}},
    // the line x = 1/2 cuts the unit circle about (0, 1) at 30 and at 150 degrees of bend, from the origin
    {"position { delta_s=0 } properties { r=-1 } position { rho=0.5 psi=0 }",
     {0.5, 1 - s60, s60, 0.5, 1, 0, pi / 6, -1}},
    {"position { delta_s=0 } properties { r=1 } position { rho=0.5 psi=0 }",
     {0.5, s60 - 1, s60, -0.5, 1, 0, pi / 6, 1}},
    // x = -1/2: at 210 and 330 degrees
    {"position { delta_s=0 } properties { r=-1 } position { rho=-0.5 psi=0 }",
     {-0.5, 1 + s60, -s60, -0.5, 1, 0, 7 * pi / 6, -1}},
    // straight behind a straight: along the tangent to the line, whatever the normal's sign
    {"position { delta_s=1 } properties { } position { rho=-2 psi=225 }", {2 / h, 0, 1, 0, -h, -h, 2 / h, 0}},
    {"position { delta_s=1 } properties { } position { rho=2 delta_psi=-45 }",
     {2 / h, 0, 1, 0, h, -h, 2 / h, 0}},
    {"position { delta_s=1 } properties { } position { rho=9 delta_s=0.25 }", {1.25, 0, 1, 0, 1, 0, 1.25, 0}},
    // an arc with only one of rho and psi is told by its length
    {"position { delta_s=0 } properties { r=1 } position { rho=7 delta_s=1.5707963267948966 }",
     {1, -1, 0, -1, 0, -1, pi / 2, 1}},
};

}  // namespace

TEST(Position, PutsBoundariesWhereTheirKeysSay) {
  for (const Case& c : cases) {
    SCOPED_TRACE(c.positions);
    ASSERT_EQ(read_lattice(std::string("{ dipole { ") + c.positions + " } }"), ok);
    expect_boundary(latcom.bnd[latcom.nlat], c.place, 1e-14);
  }
}
