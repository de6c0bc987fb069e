#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "beam/bunch_record_owner.hpp"
#include "lattice/deck_lattice.hpp"
#include "motion/pusher.hpp"

using namespace tessaron;
using test::read_lattice;

namespace {

constexpr double p0 = 2000, no_limit = 1e300;
const double beta = p0 / std::sqrt(p0 * p0 + 1);

/// Two straight sections of 1 m, boundaries at x = 0, 1 and 2.
constexpr const char* drifts =
    "{ dipole { position { delta_s=0 } } dipole { position { delta_s=1 } } dipole { position { delta_s=1 } } "
    "}";

class Pusher : public testing::Test {
 protected:
  void SetUp() override {
    ptlcom_store.reference_momentum = p0;
    ASSERT_EQ(read_lattice(drifts), ok);
  }
  /// One segment of a particle; the other members get what comes of it.
  void step(const Particle& start, std::int32_t from, double t0, double t_end) {
    particle = start;
    section = from;
    crossing = false;
    t = t0;
    lattice_step(particle, section, crossing, t, t_end, nullptr);
  }
  static Particle at(double x, double y = 0, double phi = 0, double theta = 0) {
    return {x, y, 0, p0, phi, theta, 1e-15};
  }

  Particle particle;
  std::int32_t section;
  bool crossing;
  double t;
};

}  // namespace

// Boundaries at x = 0, 1 and 2; whatever happens, the way is as long as the time.
TEST_F(Pusher, CrossesABoundaryThatComesBeforeTheLimit) {
  struct Case {
    Particle start;
    double t0, t_end;
    int section;
    double t;
  };
  for (const Case& c : {Case{at(0.5), 0, 0.5 / beta - 1e-12, 2, 0.5 / beta - 1e-12},
                        Case{at(0.5), 0, 0.5 / beta + 1e-12, 3, 0.5 / beta},
                        Case{at(1.25), 0, 1, 3, -0.25 / beta},  // back to the boundary that it has passed
                        Case{at(1 - 1e-12), 1e6, 2e6, 3, 1e6},  // below the resolution of time, 1e-10
                        Case{at(0.5, 0, pi / 2), 0, 7, 2, 7},   // along the boundary, and away from it
                        Case{at(0.5, 0, -1.5 * pi), 0, 7, 2, 7}, Case{at(0.5, 0, pi), 0, 7, 2, 7},
                        Case{at(0.5, 0, 0, 2), 0, 7, 2, 7},  // turned over: it flies against phi
                        Case{at(0.5, 0, pi, 2), 0, 7, 3, -0.5 / (beta * std::cos(2))}}) {
    step(c.start, 2, c.t0, c.t_end);
    EXPECT_EQ(section, c.section);
    EXPECT_EQ(crossing, c.section == 3);
    EXPECT_NEAR(t, c.t, 1e-15);
    EXPECT_NEAR(std::hypot(particle.x - c.start.x, particle.y, particle.z), std::abs(t - c.t0) * beta, 2e-12);
    EXPECT_TRUE(!crossing || std::abs(particle.x - 1) < 1e-15);
  }
}

// The circle lies far from the boundaries; a straight way runs along them.
TEST_F(Pusher, LeavesAParticleWhereItIsIfTheBoundaryIsNeverReached) {
  for (const std::string r : {"0", "1"}) {
    ASSERT_EQ(read_lattice("{ dipole { position { delta_s=0 } properties { r=" + r +
                           " } position { delta_s=1 psi=0 } } }"),
              ok);
    for (const double limit : {no_limit, -no_limit}) {
      step(at(-50, 3, pi / 2), 2, 0, limit);
      EXPECT_TRUE(section == 2 && !crossing && t == limit && particle.x == -50);
    }
    double arrival = -1;
    EXPECT_FALSE(track_to_boundary(at(50, 3, pi / 2), 2, 0, 2, arrival));
    EXPECT_EQ(arrival, -1);
  }
}

TEST_F(Pusher, ReachesTheExitOfAnArcOnWhichItStandsWithoutGoingRound) {
  ASSERT_EQ(read_lattice("{ dipole { position { delta_s=0.5 } properties { r=3 } position { delta_s=2 } } }"),
            ok);
  const Boundary& b = latcom.bnd[2];
  for (int i = -4; i <= 4; ++i) {  // in units of the last place, before and behind
    step(at(b.x, b.y + i * 2e-16, std::atan2(b.ty, b.tx)), 2, 10, no_limit);
    EXPECT_EQ(section, 3);
    EXPECT_NEAR(t, 10, 1e-14);
  }
}
