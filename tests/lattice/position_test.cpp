#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "lattice/deck_lattice.hpp"

using namespace tessaron;
using test::filled;
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

// One lattice, a dipole with turned faces, a drift and a dipole the other way, told in relative lengths, in
// lines in the plane, and mixed: boundaries agree to rounding.
TEST(Position, EveryFormTellsTheSameLattice) {
  ASSERT_EQ(read_lattice("{ dipole { position { delta_s=0.7 delta_psi=-5 } properties { r=3 } "
                         "position { delta_s=0.9 delta_psi=8 } }\n"
                         "dipole { position { delta_s=1.3 delta_psi=-12 } properties { r=-2 } "
                         "position { delta_s=0.8 delta_psi=4 } }\n dipole { position { delta_s=0.6 } } }"),
            ok);
  const Table<Boundary, maxlat> told = latcom.bnd;
  ASSERT_EQ(latcom.nlat, 5);

  for (int form = 0; form < 4; ++form) {
    SCOPED_TRACE(form);
    const bool arcs_by_line = form == 0 || form == 2, straights_by_line = form == 1 || form == 2;
    std::string deck = "{ ";
    for (int i = 1; i <= 5; ++i) {
      const Boundary& b = told[i];
      const double psi = std::atan2(b.ny, b.nx), rho = b.x * b.nx + b.y * b.ny;
      const double length = i == 1 ? b.s : b.s - told[i - 1].s;
      if (i % 2 == 1) {
        deck += "dipole { ";
      } else {
        deck += filled("properties { r=% } ", {b.r});
      }
      const bool by_line = b.r != 0 ? arcs_by_line : straights_by_line;
      deck += by_line ? filled("position { rho=% psi=% } ", {rho, psi / degree})
                      : filled("position { delta_s=% psi=% } ", {length, psi / degree});
      if (i % 2 == 0 || i == 5) deck += "}\n";
    }
    ASSERT_EQ(read_lattice(deck + " }"), ok);
    for (int i = 1; i <= 5; ++i) {
      const Boundary& b = told[i];
      expect_boundary(latcom.bnd[i], {b.x, b.y, b.tx, b.ty, b.nx, b.ny, b.s, b.r}, 2e-14);
    }
  }
}

TEST(Position, KeepsMarkersAndDutyFlags) {
  ASSERT_EQ(
      read_lattice(
          "{ dipole { position { delta_s=1 marker=in } properties { } position { delta_s=1 duty=no } }\n"
          "quadrupole { position { delta_s=1 duty=maybe } }\n"
          "thin_quadrupole { position { delta_s=1 } properties { effective_length=1 quadrupole_k=1 } }\n"
          "discrete_free { position { delta_s=1 duty=yes marker=out } properties { type=5 integer=0 "
          "real=0 } } }"),
      ok);
  const bool duty[] = {true, false, false, false, true};
  const char* marker[] = {"in", "undefined", "undefined", "undefined", "out"};
  for (int i = 1; i <= 5; ++i) {
    EXPECT_EQ(latcom.duty[i], duty[i - 1]) << i;
    EXPECT_TRUE(latcom.marker[i] == marker[i - 1]) << i;
  }
}
