#include "beam/particles.hpp"

#include <cmath>

#include "common/constants.hpp"
#include "support/beam_fixture.hpp"

namespace tessaron::test {
namespace {

using Particles = Beam;

constexpr double p_unit = mc_squared / electron_charge;  // momentum of one m c [eV/c]

const Particle& particle(int i) { return ptlcom.particle[i]; }
void expect_place(int i, double x, double y, double z) {
  EXPECT_NEAR(std::hypot(particle(i).x - x, particle(i).y - y, particle(i).z - z), 0, 1e-15) << i;
}

// The file frame's x axis points along -y of the lab, its origin lies at (1, 0): a place one metre along x
// from there is one metre along -y from the lab's origin, and a flight along x goes along -y.
TEST_F(Particles, ReferencePointTurnsTheFileFrameIntoTheLab) {
  ASSERT_EQ(read_particles("{ reference_point_phi = 90, reference_point_x = 1; format = fmt1 array =\n"
                           "0.25 any words are ignored in here\n"
                           "2 0 0.5  5109737.048 0 0 1e-12   0.1 0.2 0.3 0 5109737.048 0 0 }"),
            ok);
  EXPECT_EQ(ptlcom.ctptcl, 0.25);
  expect_place(1, 0, -1, 0.5);
  EXPECT_NEAR(particle(1).phi, -pi / 2, 1e-15);
  EXPECT_NEAR(particle(1).p, 5109737.048 / p_unit, 1e-9);
  expect_place(2, 0.2, -1.1, 0.8);
  EXPECT_NEAR(particle(2).phi, -pi / 4, 1e-15);  // along file x + y, turned by -90 degrees
  EXPECT_NEAR(particle(2).p, std::sqrt(2.0) * particle(1).p, 1e-13);
  EXPECT_TRUE(ptlcom.source[1] && ptlcom.test[1] && ptlcom.test[2]);
  EXPECT_FALSE(ptlcom.source[2]);
}

// With the momentum along -y of the lab, a difference (a, b, c) means a along -y, b to the left, which is +x,
// c upwards.
TEST_F(Particles, Fmt2DifferencesAreAlongTheMomentumInTheLab) {
  ASSERT_EQ(read_particles("{ reference_point_phi = 90 format = fmt2 array = 0 0 0 0 0 0 0\n"
                           "0 0 0 1e6 0 0 1e-12   0.1 0.2 0.3  0 5e5 5e5 1e-12 }"),
            ok);
  expect_place(2, 0.2, -0.1, 0.3);
  EXPECT_NEAR(particle(2).phi, std::atan2(-1.0, 0.5), 1e-15);
  EXPECT_NEAR(particle(2).theta, std::asin(0.5 / std::sqrt(1.5)), 1e-15);
}

TEST_F(Particles, UmbraHasItsBeamAlongZAndItsHeightAlongY) {
  ASSERT_EQ(read_particles("{ format = umbra array =\n"
                           "1 2 3  0 0 4e6  10 -0.5 1 3\n"
                           "0.1 0.2 0.3  3e6 12e6 0  99 -1 2 5\n"
                           "0 0 0  0 0 0  0 -2 3 1   0 0 0 0 0 0  0 0 4 3 }"),
            ok);
  EXPECT_NEAR(ptlcom.ctptcl, 2.99792458, 1e-15);
  expect_place(1, 3, 1, 2);
  expect_place(2, 3.3, 1.1, 2.2);
  EXPECT_NEAR(particle(2).p * p_unit, 13e6, 1e-8);  // (4, 3, 12) in lab axes
  EXPECT_NEAR(particle(2).phi, std::atan2(3.0, 4.0), 1e-15);
  EXPECT_NEAR(particle(2).theta, std::asin(12.0 / 13.0), 1e-15);
  // Only a charge with status 3 or 5 is a source; the others keep theirs.
  EXPECT_TRUE(ptlcom.source[1] && ptlcom.source[2]);
  EXPECT_FALSE(ptlcom.source[3] || ptlcom.source[4]);
  EXPECT_TRUE(ptlcom.test[3] && ptlcom.test[4]);
  EXPECT_NEAR(ptlcom.total_charge, 1.5e-9, 1e-24);
  EXPECT_EQ(ptlcom.charge_sign, -1);
  EXPECT_NEAR(particle(3).q, 2e-9, 1e-24);
  EXPECT_FALSE(std::signbit(particle(4).q));
}

TEST_F(Particles, TheReferenceMomentumComesFromTheReferenceTheAverageOrTheDeck) {
  const std::string array = "array = 0 0 0 0 0 0 0  0 0 0 1e6 0 0 1e-12  0 0 0 2e6 0 0 0  0 0 0 -3e6 0 0 0 }";
  ASSERT_EQ(read_particles("{" + array), ok);
  EXPECT_EQ(ptlcom.reference_momentum, particle(1).p);
  ASSERT_EQ(read_particles("{ reference_momentum = average " + array), ok);
  EXPECT_NEAR(ptlcom.reference_momentum, 2e6 / p_unit, 1e-14);  // of magnitudes 1, 3 and 2 MeV/c
  ASSERT_EQ(read_particles("{ reference_momentum = 5e6 " + array), ok);
  EXPECT_EQ(ptlcom.reference_momentum, 5e6 * 1.60203e-19 / 8.1859520434528078e-14);
}

// Two charges q1, q2 at a distance d: the variance along d is q1 q2 / (q1 + q2)^2 d^2.
TEST_F(Particles, BeamSizesOfTwoChargesFollowTheirDistance) {
  const double phi = 0.7, along = 3e-5, across = -2e-6, up = 1e-6;
  const double c = std::cos(phi), s = std::sin(phi);
  ptlcom_store.particle[1] = {1, 2, 3, 100, phi, 0.1, 1e-12};
  ptlcom_store.particle[2] = {
      1 + c * along - s * across, 2 + s * along + c * across, 3 + up, 100, 0, 0, 3e-12};
  ptlcom_store.particle[3] = {50, 60, 70, 100, 0, 0, 1};
  ptlcom_store.source[1] = ptlcom_store.source[2] = true;
  ptlcom_store.source[3] = false;
  const BeamSizes sizes = beam_sizes(3, ptlcom.particle, ptlcom.source);
  const double factor = std::sqrt(3.0) / 4;
  EXPECT_NEAR(sizes.rms_long, factor * along, 1e-15);
  EXPECT_NEAR(sizes.rms_rad, factor * -across, 1e-15);
  EXPECT_NEAR(sizes.rms_vert, factor * up, 1e-15);
}

}  // namespace
}  // namespace tessaron::test
