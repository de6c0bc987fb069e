#include <cmath>

#include "beam_fixture.hpp"
#include "support/hand_lattice.hpp"

namespace tessaron::test {
namespace {

using Records = Beam;

/// Puts a particle beside the orbit, with angles against its tangent.
void put(int i, const HandLattice& orbit, double s, double u, double angle, double theta, double p) {
  const HandLattice::Place at = orbit.beside(s, u);
  ptlcom_store.particle[i] = {at.x, at.y, 1e-4 * i, p, at.heading + angle, theta, 1e-12 * i};
  ptlcom_store.section[i] = 2;
  ptlcom_store.source[i] = i != 2;
  ptlcom_store.test[i] = true;
}

// A flight at `angle` against the tangent and `theta` out of the plane has the slopes tan(angle) and
// tan(theta) / cos(angle).
TEST_F(Records, Fmt3HoldsTheCoordinatesAlongTheDesignOrbit) {
  for (const double r : {5.0, -5.0}) {
    const HandLattice orbit(r);
    ptlcom_store.npart = 3;
    ptlcom_store.reference_momentum = 100;
    ptlcom_store.ctptcl = 7;
    put(1, orbit, 3.0, 1e-3, 0, 0, 100);
    put(2, orbit, 3.2, -2e-3, 0.01, 0.02, 110);
    put(3, orbit, 5.5, 4e-3, -0.3, -0.2, 90);
    ASSERT_EQ(monwrt("orbit.dat", 3), ok);
    const std::vector<std::string> lines = folder.lines("orbit.dat");
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0].size(), 234u);
    EXPECT_EQ(lines[0].substr(230), " 0 0");
    const double gamma = std::sqrt(10001.0);
    EXPECT_NEAR(numbers(lines[0])[1], gamma, 1e-11);
    const double s[] = {3.0, 3.2, 5.5}, u[] = {1e-3, -2e-3, 4e-3}, angle[] = {0, 0.01, -0.3};
    const double theta[] = {0, 0.02, -0.2}, p[] = {100, 110, 90};
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(lines[i + 1].size(), 234u);
      const std::vector<double> v = numbers(lines[i + 1]);
      EXPECT_NEAR(v[0], u[i], 1e-14);
      EXPECT_NEAR(v[1], std::tan(angle[i]), 1e-14);
      EXPECT_NEAR(v[2], 1e-4 * static_cast<double>(i + 1), 1e-16);
      EXPECT_NEAR(v[3], std::tan(theta[i]) / std::cos(angle[i]), 1e-14);
      EXPECT_NEAR(v[4], s[i] - s[0], 1e-13);
      EXPECT_NEAR(v[5], std::sqrt(p[i] * p[i] + 1) / gamma - 1, 1e-14);
      EXPECT_NEAR(v[6], 1e-12 * static_cast<double>(i + 1), 1e-26);
      for (std::size_t k = 7; k < 10; ++k) EXPECT_EQ(v[k], 0);
      EXPECT_EQ(v[10], i != 1);
      EXPECT_EQ(v[11], 1);
    }
    EXPECT_EQ(numbers(lines[1])[4], 0);
  }
}

TEST_F(Records, Fmt3StaysFiniteAcrossTheOrbitAndStraightUp) {
  latcom_store = {};
  one_particle();
  ptlcom_store.npart = 3;
  ptlcom_store.particle[2] = {0, 0, 0, 100, std::acos(0.0), 0, 0};
  ptlcom_store.particle[3] = {0, 0, 0, 0, 0, std::acos(0.0), 0};
  ASSERT_EQ(monwrt("orbit.dat", 3), ok);
  for (const std::string& line : folder.lines("orbit.dat")) EXPECT_EQ(numbers(line).size(), 12u) << line;
}

TEST_F(Records, Fmt1HasAHeaderAndTheReferenceInTheFileFrame) {
  one_particle();
  ptlcom_store.particle[1] = {3, 4, 5, 100, 0, 0, 2.5e-12};
  ptlcom_store.ctptcl = 0.5;
  ASSERT_EQ(monwrt("bunch.dat", 1), ok);
  const std::vector<std::string> lines = folder.lines("bunch.dat");
  ASSERT_EQ(lines.size(), 2u);
  std::string zeros;
  for (int k = 0; k < 6; ++k) zeros += "   0.00000000000000E+00";
  EXPECT_EQ(lines[0], "   0.50000000000000E+00" + zeros);
  EXPECT_EQ(lines[1],
            "   0.30000000000000E+01   0.40000000000000E+01   0.50000000000000E+01"
            "   0.51097370482780E+08   0.00000000000000E+00   0.00000000000000E+00"
            "   0.25000000000000E-11");
}

TEST_F(Records, ASliceWithoutTheReferenceHoldsDifferencesAlone) {
  one_particle();
  ptlcom_store.npart = 3;
  ptlcom_store.particle[2] = {1, 2, 3, 100, 0, 0, 0};
  ptlcom_store.particle[3] = {4, 5, 6, 100, 0, 0, 0};
  int stream = 0;
  ASSERT_EQ(fiopno("slice.dat", stream), ok);
  ASSERT_EQ(monrec(stream, 2, 3, 1, true), ok);
  ASSERT_EQ(ficlos(stream), ok);
  const std::vector<std::string> lines = folder.lines("slice.dat");
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(numbers(lines[0]), (std::vector<double>{0, 1, 2, 3, 0, 0, 0, 0}));
  EXPECT_EQ(numbers(lines[1]), (std::vector<double>{0, 4, 5, 6, 0, 0, 0, 0}));
  EXPECT_NE(monrec(stream, 2, 3, 1, true), ok);  // closed by now
}

}  // namespace
}  // namespace tessaron::test
