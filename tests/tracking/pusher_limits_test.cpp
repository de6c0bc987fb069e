#include "tracking/pusher.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "beam/ptlcom_owner.hpp"
#include "lattice/deck_lattice.hpp"
#include "lattice/field.hpp"
#include "tracking/runge_kutta.hpp"

using namespace tessaron;
using test::console_of;
using test::filled;
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
  void SetUp() override { ptlcom_store.reference_momentum = p0; }
  /// One segment with the members as its arguments.
  void step(double t_end, const ForceInterval* force = nullptr) {
    lattice_step(particle, section, crossing, t, t_end, force);
  }
  bool finite() const {
    const Particle& s = particle;
    return std::isfinite(s.x + s.y + s.z + s.p + s.phi + s.theta);
  }

  Particle particle{0.5, 0, 0, p0, 0, 0, 1e-15};
  std::int32_t section = 2;
  bool crossing = false;
  double t = 0;
};

/// A bunch of a few particles that `track_all` moves.
struct Bunch {
  std::unique_ptr<ParticleTable> particles = std::make_unique<ParticleTable>();
  std::unique_ptr<SectionTable> sections = std::make_unique<SectionTable>();
  std::unique_ptr<ForceTable> fa = std::make_unique<ForceTable>(), fb = std::make_unique<ForceTable>();
  void track(int n, double t0, double t1) {
    track_all(n, *particles, *sections, t0, t1, t0, t1, fa.get(), fb.get());
  }
};

}  // namespace

TEST_F(Pusher, DoesNothingWithoutTime) {
  ASSERT_EQ(read_lattice(drifts), ok);
  Bunch bunch;
  (*bunch.particles)[1] = particle;
  (*bunch.sections)[1] = 2;
  for (const double t1 : {0.3, 0.2, std::numeric_limits<double>::quiet_NaN()}) bunch.track(1, 0.3, t1);
  EXPECT_EQ((*bunch.particles)[1].x, 0.5);
  EXPECT_EQ((*bunch.sections)[1], 2);
}

// One boundary after the other, in the same call, and out of the lattice.
TEST_F(Pusher, TracksThroughSeveralSections) {
  ASSERT_EQ(read_lattice(drifts), ok);
  Bunch bunch;
  for (int j = 1; j <= 3; ++j) (*bunch.particles)[j] = {-0.5, 0.1 * j, 0, p0, 0, 0, 1e-15};
  for (int j = 1; j <= 3; ++j) (*bunch.sections)[j] = 1;
  (*bunch.fa)[3] = (*bunch.fb)[3] = {100, 0, 0};
  bunch.track(3, 0, 4);
  EXPECT_NEAR((*bunch.particles)[1].x, -0.5 + 4 * beta, 1e-14);
  EXPECT_EQ((*bunch.particles)[2].y, 0.2);
  EXPECT_NEAR((*bunch.particles)[3].p, p0 + 400, 1e-11);
  for (int j = 1; j <= 3; ++j) EXPECT_EQ((*bunch.sections)[j], 4);
}

TEST_F(Pusher, RunsAlongABoundaryToTheEndOfTheStep) {
  ASSERT_EQ(read_lattice(drifts), ok);
  for (const double phi : {pi / 2, -pi / 2, 1.5 * pi, -1.5 * pi, pi}) {
    SCOPED_TRACE(phi);
    particle = {0.5, 0, 0, p0, phi, 0, 1e-15};
    t = 0;
    step(7);
    EXPECT_EQ(t, 7);
    EXPECT_EQ(section, 2);
    EXPECT_FALSE(crossing);
    EXPECT_NEAR(std::hypot(particle.x - 0.5, particle.y), 7 * beta, 1e-12);
  }
}

TEST_F(Pusher, LeavesAParticleInItsSectionIfTheBoundaryIsNeverReached) {
  for (const char* magnet : {"r=0", "r=1"}) {
    ASSERT_EQ(read_lattice(filled("{ dipole { position { delta_s=0 } properties {", {}) + magnet +
                           "} position { delta_s=1 psi=0 } } }"),
              ok);
    for (const double limit : {no_limit, -no_limit}) {
      SCOPED_TRACE(std::string(magnet) + (limit > 0 ? " forward" : " backward"));
      // The circle lies far from the boundaries; a straight way runs along them.
      particle = {-50, 3, 0, p0, pi / 2, 0, 1e-15};
      t = 0;
      section = 2;
      step(limit);
      EXPECT_EQ(section, 2);
      EXPECT_FALSE(crossing);
      EXPECT_EQ(t, limit);
      EXPECT_EQ(particle.x, -50);
    }
    particle.x = 50;
    double arrival = -1;
    EXPECT_FALSE(track_to_boundary(particle, 2, 0, 2, arrival));
    EXPECT_EQ(arrival, -1);
  }
}

TEST_F(Pusher, CarriesAParticleBackToTheBoundaryBehindWhichItStands) {
  ASSERT_EQ(read_lattice(drifts), ok);
  particle.x = 1.25;
  step(1);
  EXPECT_TRUE(crossing);
  EXPECT_EQ(section, 3);
  EXPECT_NEAR(particle.x, 1, 1e-15);
  EXPECT_NEAR(t, -0.25 / beta, 1e-15);
}

// The limit falls on the crossing: a way left of no more than rounding is not gone.
TEST_F(Pusher, StaysInTheSectionUnlessTheBoundaryComesFirst) {
  ASSERT_EQ(read_lattice(drifts), ok);
  step(0.5 / beta - 1e-12);
  EXPECT_EQ(section, 2);
  step(0.5 / beta + 1e-12);
  EXPECT_EQ(section, 3);
  EXPECT_TRUE(crossing);
}

TEST_F(Pusher, MovesByTheBoundaryCorrectionAloneBelowTheResolutionOfTime) {
  ASSERT_EQ(read_lattice(drifts), ok);
  t = 1e6;  // resolved to 1e-10
  particle.x = 1 - 1e-12;
  step(2e6);
  EXPECT_EQ(section, 3);
  EXPECT_EQ(particle.x, 1);
  EXPECT_EQ(t, 1e6);
}

TEST_F(Pusher, ReachesTheExitOfAnArcOnWhichItStandsWithoutGoingRound) {
  ASSERT_EQ(read_lattice("{ dipole { position { delta_s=0.5 } properties { r=3 } position { delta_s=2 } } }"),
            ok);
  const Boundary& b = latcom.bnd[2];
  for (int i = -4; i <= 4; ++i) {  // in units of the last place, before and behind
    particle = {b.x, b.y + i * 2e-16, 0, p0, std::atan2(b.ty, b.tx), 0, 1e-15};
    section = 2;
    t = 10;
    step(no_limit);
    EXPECT_EQ(section, 3);
    EXPECT_NEAR(t, 10, 1e-14);
  }
}

// Entry and exit kick of a dipole, undone by the pass backward; none at z = 0 and none without the flag.
TEST_F(Pusher, KicksAtTheEdgesOfABendOnly) {
  ASSERT_EQ(read_lattice("{ dipole { position { delta_s=0 delta_psi=20 } properties { r=4 } "
                         "position { delta_s=1 } } }"),
            ok);
  const double K = p0 / 4, kick = K * 1e-3 * std::tan(-radians(20)) / p0;
  for (const bool flag : {false, true}) {
    particle = {0, 0, 1e-3, p0, 0, 0, 1e-15};
    section = 2;
    crossing = flag;
    t = 0;
    step(1e-9);
    EXPECT_NEAR(particle.theta, flag ? -kick : 0, 1e-18);
  }
  section = 2;
  crossing = false;
  step(-1);
  EXPECT_EQ(section, 1);
  EXPECT_NEAR(particle.theta, 0, 1e-15);

  particle = {-0.1, 0, 0, p0, 0, 0, 1e-15};
  section = 1;
  t = 0;
  crossing = false;
  step(10);
  step(10);
  EXPECT_EQ(section, 3);
  EXPECT_EQ(particle.theta, 0);
}

TEST_F(Pusher, AppliesAMapOnceAtItsBoundaryGoingForward) {
  ASSERT_EQ(read_lattice("{ thin_quadrupole { position { delta_s=1 } properties { effective_length=0.5 "
                         "quadrupole_k=3 } } dipole { position { delta_s=1 } } }"),
            ok);
  Bunch bunch;
  (*bunch.particles)[1] = {0, 1e-6, 2e-6, p0, 0, 0, 1e-15};
  (*bunch.sections)[1] = 1;
  bunch.track(1, 0, 1.5);
  EXPECT_EQ((*bunch.sections)[1], 2);
  EXPECT_NEAR((*bunch.particles)[1].phi, -1.5e-6, 1e-15);
  EXPECT_NEAR((*bunch.particles)[1].theta, 3e-6, 1e-15);
  bunch.track(1, 1.5, 5);
  EXPECT_NEAR((*bunch.particles)[1].phi, -1.5e-6, 1e-15);

  particle = {0, 1e-6, 0, p0, 0, 0, 1e-15};
  double arrival = 0;
  EXPECT_TRUE(track_to_boundary(particle, 1, 0.25, 2, arrival));
  EXPECT_NEAR(arrival, 0.25 + 2 / beta, 1e-14);
}

TEST_F(Pusher, SearchesForwardOnly) {
  ASSERT_EQ(read_lattice(drifts), ok);
  double arrival = -1;
  EXPECT_FALSE(track_to_boundary(particle, 2, 0, 1, arrival));
  EXPECT_FALSE(track_to_boundary(particle, 4, 0, 3, arrival));
  for (const std::int32_t target : {0, -5, 4, 1000}) {
    EXPECT_FALSE(track_to_boundary(particle, 2, 0, target, arrival));
  }
  EXPECT_EQ(arrival, -1);
  EXPECT_TRUE(track_to_boundary(particle, 2, 3, 2, arrival));
  EXPECT_NEAR(arrival, 3 + 0.5 / beta, 1e-14);
  EXPECT_EQ(particle.x, 0.5);  // a copy was tracked
}

TEST_F(Pusher, ToleratesAnySectionIndexAndState) {
  ASSERT_EQ(read_lattice(
                "{ dipole { position { delta_s=0 delta_psi=5 } properties { r=2 } position { delta_s=1 } } "
                "multipole { position { delta_s=1 } properties { poles=12 strength=1e300 } "
                "position { delta_s=1 } } }"),
            ok);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const ForceInterval force{0, 1, {1, 2, 3}, {4, 5, 6}}, no_interval{1, 1, {1, 2, 3}, {4, 5, 6}};
  for (const std::int32_t index : {std::numeric_limits<std::int32_t>::min(), -1, 0, 1, 2, 3, 4, 5, 6,
                                   987654321, std::numeric_limits<std::int32_t>::max()}) {
    for (const double value : {0.0, nan, 1e300, 1e-300}) {
      for (const double limit : {0.01, -0.01, no_limit, -no_limit}) {
        for (const ForceInterval* f : {static_cast<const ForceInterval*>(nullptr), &force, &no_interval}) {
          if (index == 4 && f != nullptr) continue;  // a million steps each
          particle = {0.1, 0.1, value, value, 0.1, value, 1e-15};
          section = index;
          crossing = true;
          t = 0;
          step(limit, f);  // no crash, no hang
        }
      }
    }
  }
}

TEST_F(Pusher, KeepsAParticleAtRestOrMovingUpFinite) {
  ASSERT_EQ(read_lattice(
                "{ dipole { position { delta_s=0 delta_psi=5 } properties { r=2 } position { delta_s=1 } } "
                "quadrupole { position { delta_s=1 } properties { strength=1 } "
                "position { delta_s=1 } } }"),
            ok);
  const ForceInterval force{0, 1, {1, 2, 3}, {4, 5, 6}};
  for (const std::int32_t index : {1, 2, 3, 4, 5}) {
    for (const Particle& start :
         {Particle{0.1, 0.1, 0.1, 0, 0, 0, 1e-15}, Particle{0.1, 0.1, 0.1, p0, 0, pi / 2, 0}}) {
      for (const ForceInterval* f : {static_cast<const ForceInterval*>(nullptr), &force}) {
        particle = start;
        section = index;
        crossing = true;
        t = 0;
        step(0.01, f);
        EXPECT_TRUE(finite()) << index << " " << start.p;
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
  particle = {0, 0, 0, p0, 0, 0, 1e-15};
  step(0.01);
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
