#include "lattice/arc_position.hpp"

#include <gtest/gtest.h>

#include "support/hand_lattice.hpp"

namespace tessaron::test {
namespace {

// The point is put beside a known place of the orbit; its projection has to be that place, from whatever
// section the walk begins, or from its own where the arcs turn far.
TEST(ArcPosition, FindsThePlaceAPointWasPutBeside) {
  for (const double turn : {0.4, 1.5, 2.6, pi, 3.5, 4.7, 5.8, 6.2}) {
    for (const double r : {5.0, -5.0, 10.3, -0.8}) {
      const HandLattice orbit(r, turn);
      const double rounding = 1e-14 * (2 + std::abs(r));
      for (double s = -1; s < orbit.end() + 2; s += 0.0837) {
        int own = 1;
        while (own <= latcom.nlat && s > latcom.bnd[own].s) ++own;
        for (const double u : {0.0, 1e-6, -0.05, 0.2}) {
          const HandLattice::Place at = orbit.beside(s, u);
          for (int section = 1; section <= 5; ++section) {
            if (turn > 1 && section != own) continue;
            const ArcPosition found = arc_position(at.x, at.y, section);
            EXPECT_NEAR(found.s, s, 2e-14 * orbit.end()) << "r " << r << " turn " << turn << " u " << u;
            EXPECT_NEAR(found.u, u, rounding) << "section " << section;
            EXPECT_NEAR(found.tx, std::cos(at.phi), 2e-14);
            EXPECT_NEAR(found.ty, std::sin(at.phi), 2e-14);
          }
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

}  // namespace
}  // namespace tessaron::test
