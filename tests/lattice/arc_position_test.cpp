#include "lattice/arc_position.hpp"

#include <gtest/gtest.h>

#include <limits>

#include "support/hand_lattice.hpp"

namespace tessaron::test {
namespace {

// The point is put beside a known place of the orbit; its projection has to be that place, from whatever
// section the walk begins.
TEST(ArcPosition, FindsThePlaceAPointWasPutBeside) {
  for (const double r : {5.0, -5.0, 10.3, -0.8}) {
    const HandLattice orbit(r);
    for (double s = -1; s < orbit.end() + 2; s += 0.0837) {
      for (const double u : {0.0, 1e-6, -0.05, 0.2}) {
        const HandLattice::Place at = orbit.beside(s, u);
        for (int section = 1; section <= 5; ++section) {
          const ArcPosition found = arc_position(at.x, at.y, section);
          EXPECT_NEAR(found.s, s, 1e-14 * orbit.end()) << "r " << r << " u " << u << " section " << section;
          EXPECT_NEAR(found.u, u, 1e-14);
          EXPECT_NEAR(found.tx, std::cos(at.heading), 1e-14);
          EXPECT_NEAR(found.ty, std::sin(at.heading), 1e-14);
        }
      }
    }
  }
}

// The same in arcs up to nearly a whole turn, in the section that the point is in.
TEST(ArcPosition, FindsThePlaceInArcsOfAnyTurn) {
  for (const double turn : {1.5, 2.6, pi, 3.5, 4.7, 5.8, 6.2}) {
    for (const double r : {2.0, -0.8}) {
      const HandLattice orbit(r, turn);
      for (double s = 0; s < orbit.end() + 1; s += 0.0837) {
        int section = 1;
        while (section <= latcom.nlat && s > latcom.bnd[section].s) ++section;
        for (const double u : {0.0, -0.05, 0.2}) {
          const HandLattice::Place at = orbit.beside(s, u);
          const ArcPosition found = arc_position(at.x, at.y, section);
          EXPECT_NEAR(found.s, s, 2e-14 * orbit.end()) << "r " << r << " turn " << turn << " u " << u;
          EXPECT_NEAR(found.u, u, 2e-14);
          EXPECT_NEAR(found.tx, std::cos(at.heading), 2e-14);
          EXPECT_NEAR(found.ty, std::sin(at.heading), 2e-14);
        }
      }
    }
  }
}

TEST(ArcPosition, WithoutBoundariesTheOrbitIsTheXAxis) {
  latcom_store = {};
  const ArcPosition found = arc_position(3, -0.5, 1);
  EXPECT_EQ(found.s, 3);
  EXPECT_EQ(found.u, -0.5);
  EXPECT_EQ(found.tx, 1);
  EXPECT_EQ(found.ty, 0);
}

TEST(ArcPosition, AnyPointAndSectionComeToAnEnd) {
  const HandLattice orbit(5);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const std::int32_t section : {std::numeric_limits<std::int32_t>::min(), 0, 4, 1000}) {
    const ArcPosition inside = arc_position(orbit.at(3).x, orbit.at(3).y, section);
    EXPECT_NEAR(inside.s, 3, 1e-13);
    (void)arc_position(nan, 0, section);
    (void)arc_position(1e308, -1e308, section);
  }
  // The centre of the first arc is (0, -r): every place of the arc is as near, and rounding decides.
  for (double r = -10; r <= 10; r += 0.5) {
    if (r == 0) continue;
    const HandLattice arcs(r);
    const ArcPosition centre = arc_position(0, -r, 2);
    EXPECT_TRUE(std::isfinite(centre.s)) << r;
    EXPECT_NEAR(std::abs(centre.u), std::abs(r), 1e-12);
  }
}

}  // namespace
}  // namespace tessaron::test
