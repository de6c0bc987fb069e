#include <cmath>

#include "support/beam_fixture.hpp"
#include "support/hand_lattice.hpp"

namespace tessaron::test {
namespace {

using Records = Beam;

// Particles beside the orbit. A flight at `angle` against its tangent and `theta` out of the plane has the
// slopes tan(angle) and tan(theta) / cos(angle).
TEST_F(Records, Fmt3HoldsTheCoordinatesAlongTheDesignOrbit) {
  struct Place {
    double s, u, z, angle, theta, p, q;
  };
  const Place places[] = {{3.0, 1e-3, 1e-4, 0, 0, 100, 1e-12},
                          {3.2, -2e-3, 2e-4, 0.01, 0.02, 110, 0},
                          {5.5, 4e-3, 3e-4, -0.3, -0.2, 90, 3e-12}};
  for (const double r : {5.0, -5.0}) {
    const HandLattice orbit(r);
    ptlcom_store.npart = 0;
    ptlcom_store.reference_momentum = 100;
    for (const Place& c : places) {
      const HandLattice::Place at = orbit.beside(c.s, c.u);
      const int i = ++ptlcom_store.npart;
      ptlcom_store.particle[i] = {at.x, at.y, c.z, c.p, at.phi + c.angle, c.theta, c.q};
      ptlcom_store.section[i] = 2;
      ptlcom_store.source[i] = c.q != 0;
      ptlcom_store.test[i] = true;
    }
    ASSERT_EQ(monwrt("orbit.dat", 3), ok);
    const std::vector<std::string> lines = folder.lines("orbit.dat");
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0].substr(230), " 0 0");
    const double gamma = std::sqrt(10001.0);
    EXPECT_NEAR(numbers(lines[0])[1], gamma, 1e-11);
    std::size_t line = 0;
    for (const Place& c : places) {
      EXPECT_EQ(lines[++line].size(), 234u);
      const std::vector<double> got = numbers(lines[line]);
      const double expected[] = {c.u,
                                 std::tan(c.angle),
                                 c.z,
                                 std::tan(c.theta) / std::cos(c.angle),
                                 c.s - 3,
                                 std::sqrt(c.p * c.p + 1) / gamma - 1,
                                 c.q,
                                 0,
                                 0,
                                 0,
                                 1.0 * (c.q != 0),
                                 1};
      ASSERT_EQ(got.size(), std::size(expected));
      for (std::size_t k = 0; k < got.size(); ++k) EXPECT_NEAR(got[k], expected[k], k == 6 ? 1e-26 : 1e-13);
    }
  }
}

}  // namespace
}  // namespace tessaron::test
