#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include "beam/bunch_record_owner.hpp"
#include "lattice/deck_lattice.hpp"
#include "motion/pusher.hpp"
#include "motion/runge_kutta.hpp"

using namespace tessaron;
using test::console_of;
using test::read_lattice;

namespace {

constexpr double p0 = 2000, no_limit = 1e300, not_a_number = std::numeric_limits<double>::quiet_NaN();
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
  void step(const Particle& start, std::int32_t from, double t0, double t_end, bool entering = false,
            const ForceInterval* force = nullptr) {
    particle = start;
    section = from;
    crossing = entering;
    t = t0;
    lattice_step(particle, section, crossing, t, t_end, force);
  }
  static Particle at(double x, double y = 0, double phi = 0, double theta = 0) {
    return {x, y, 0, p0, phi, theta, 1e-15};
  }

  Particle particle;
  std::int32_t section;
  bool crossing;
  double t;
};

ParticleTable particles;
SectionTable sections;
ForceTable fa, fb;
void track_bunch(int n, double t0, double t1) {
  track_all(n, particles, sections, particles, sections, t0, t1, {&fa, &fb, t0, t1});
}

}  // namespace

// One boundary after the other, in the same call, and out of the lattice.
TEST_F(Pusher, TracksABunchThroughSeveralSections) {
  for (int j = 1; j <= 3; ++j) particles[j] = at(-0.5, 0.1 * j);
  for (int j = 1; j <= 3; ++j) sections[j] = 1;
  fa[3] = fb[3] = {100, 0, 0};
  for (const double no_time : {0.0, -0.1, not_a_number}) track_bunch(3, 0, no_time);
  EXPECT_EQ(particles[1].x, -0.5);
  track_bunch(3, 0, 4);
  EXPECT_NEAR(particles[1].x, -0.5 + 4 * beta, 1e-14);
  EXPECT_EQ(particles[2].y, 0.2);
  EXPECT_NEAR(particles[3].p, p0 + 400, 1e-11);
  for (int j = 1; j <= 3; ++j) EXPECT_EQ(sections[j], 4);
}

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

TEST_F(Pusher, AppliesAMapOnceAtItsBoundary) {
  ASSERT_EQ(read_lattice("{ thin_quadrupole { position { delta_s=1 } properties { effective_length=0.5 "
                         "quadrupole_k=3 } } dipole { position { delta_s=1 } } }"),
            ok);
  particles[1] = {0, 1e-6, 2e-6, p0, 0, 0, 1e-15};
  sections[1] = 1;
  for (const double start : {0.0, 1.5}) {
    track_bunch(1, start, start + 1.5);
    EXPECT_NEAR(particles[1].phi, -1.5e-6, 1e-15);
    EXPECT_NEAR(particles[1].theta, 3e-6, 1e-15);
  }
  EXPECT_EQ(sections[1], 3);
}

TEST_F(Pusher, SearchesForwardOnly) {
  double arrival = -1;
  for (const std::int32_t target : {1, 0, -5, 4, 1000}) {
    EXPECT_FALSE(track_to_boundary(at(0.5), 2, 0, target, arrival));
  }
  EXPECT_EQ(arrival, -1);
  EXPECT_TRUE(track_to_boundary(at(0.5), 2, 3, 3, arrival));
  EXPECT_NEAR(arrival, 3 + 1.5 / beta, 1e-14);
}

// No crash, no hang; a particle at rest or one that moves straight up stays finite.
TEST_F(Pusher, ToleratesAnySectionIndexAndState) {
  ASSERT_EQ(read_lattice(
                "{ dipole { position { delta_s=0 delta_psi=5 } properties { r=2 } position { delta_s=1 } } "
                "multipole { position { delta_s=1 } properties { poles=12 strength=1e300 } "
                "position { delta_s=1 } } quadrupole { position { delta_s=1 } properties { strength=1 } "
                "position { delta_s=1 } } }"),
            ok);
  const ForceInterval force{0, 1, {1, 2, 3}, {4, 5, 6}}, no_interval{1, 1, {1, 2, 3}, {4, 5, 6}};
  constexpr auto lowest = std::numeric_limits<std::int32_t>::min();
  for (const std::int32_t index : {lowest, -1, 0, 1, 2, 3, 4, 5, 6, 7, 987654321, -1 - lowest}) {
    for (const ForceInterval* f : {static_cast<const ForceInterval*>(nullptr), &force, &no_interval}) {
      if (index == 4 && f != nullptr) continue;  // a million steps each
      for (const double value : {0.0, not_a_number, 1e300, 1e-300}) {
        for (const double limit : {0.01, -0.01, no_limit, -no_limit}) {
          step({0.1, 0.1, value, value, 0.1, value, 1e-15}, index, 0, limit, true, f);
        }
      }
      if (index == 4 || f == &no_interval) continue;
      for (const Particle& start : {Particle{0.1, 0.1, 0.1, 0, 0, 0, 0}, {0.1, 0.1, 0.1, p0, 0, pi / 2, 0}}) {
        step(start, index, 0, 0.01, true, f);
        const Particle& s = particle;
        EXPECT_TRUE(std::isfinite(s.x + s.y + s.z + s.p + s.phi + s.theta)) << index << " " << start.p;
        EXPECT_EQ(t, 0.01);
      }
    }
  }
}

// The step rule asks for 5e11 steps of this magnet; it gets a million.
TEST_F(Pusher, CapsTheNumberOfSteps) {
  ASSERT_EQ(read_lattice("{ quadrupole { position { delta_s=0 } properties { strength=1e12 } "
                         "position { delta_s=1 } } }"),
            ok);
  step(at(0), 2, 0, 0.01);
  EXPECT_EQ(t, 0.01);
  EXPECT_NEAR(particle.x, 0.01 * beta, 1e-12);
}

// At t = 1 a step of 1e-17 has no effect; each one waits for the operator, here for the end of the input.
TEST(RungeKutta, TellsOfStepsWithoutEffect) {
  ASSERT_NE(std::freopen("/dev/null", "r", stdin), nullptr);
  pusher::Coordinates y{0, 0, 0, p0, 0, 0};
  auto rhs = [](double, const pusher::Coordinates&) { return pusher::Coordinates{1, 0, 0, 0, 0, 0}; };
  const auto lines = console_of([&] { pusher::rkdumb(y, 1, 1 + 3e-16, 3, rhs); });
  EXPECT_EQ(lines, std::vector<std::string>(3, " stepsize not significant in rkdumb"));
  EXPECT_TRUE(console_of([&] { pusher::rkdumb(y, 0, 1e-17, 3, rhs); }).empty());
}
