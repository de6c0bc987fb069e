// The reference path: its query against an orbit laid out by hand, its two ways, its frame and its arcs.

#include "field/path/path.hpp"

#include <gtest/gtest.h>

#include "testpaths.hpp"

namespace tessaron::test {
namespace {

constexpr double c = 299792458.0;

// Nearly flat, gently and strongly bent, a half turn, an S; the reference particle before, in and behind.
const struct {
  const char* name;
  double first;
  std::vector<Section> sections;
} orbits[] = {{"arc", -3, {{1, 0}, {3, 0.5}, {1, 0}}}, {"behind all", -3, {{1, 0.3}, {1, -0.3}}},
              {"before all", 0.5, {{1, 0.3}, {1, 0}}}, {"equal arcs", -1.5, {{1, 0.2}, {1, 0.2}, {1, -0.4}}},
              {"flat", -1, {{2, 1e-9}, {1, 0}}},       {"strong", -0.4, {{0.5, 4}, {0.3, 0}, {0.5, -4}}},
              {"half turn", -1, {{pi / 2, 2}, {1, 0}}}};

TEST(PathQuery, FollowsTheOrbitByBothWays) {
  const double gamma = 50, beta = beta_of(gamma);
  for (const auto& o : orbits) {
    const Orbit orbit(o.first, o.sections);
    use_orbit(orbit, gamma);
    for (double s = -6; s < 6; s += 0.0137) {
      const Orbit::Pose want = orbit.at(s);
      PathPoint fast, slow;
      pathfn(source.path, s, fast);
      pathfn_by_coefficients(source.path, s, slow);
      if (source.path.forward == -1) slow = fast;  // opposite end tangents span no plane
      for (const PathPoint& p : {fast, slow}) {
        SCOPED_TRACE(testing::Message() << o.name << " s " << s);
        EXPECT_NEAR(p.r[0], want.x, 1e-13);
        EXPECT_NEAR(p.r[1], want.y, 1e-13);
        EXPECT_NEAR(p.e[0], std::cos(want.phi), 1e-14);
        EXPECT_NEAR(p.e[1], std::sin(want.phi), 1e-14);
        EXPECT_DOUBLE_EQ(p.t, s / (beta * c));
        EXPECT_EQ(p.gamma, source.path.gam);
        EXPECT_EQ(p.r[2] + p.e[2] + p.e_prime[2], 0);
        const double h = 1e-7, before = orbit.at(s - h).phi, behind = orbit.at(s + h).phi;
        if (std::abs(behind - 2 * want.phi + before) < 1e-12) {  // no node in between
          EXPECT_NEAR(p.e[0] * p.e_prime[1] - p.e[1] * p.e_prime[0], (behind - before) / (2 * h), 1e-8);
        }
      }
    }
  }
}

TEST(PathQuery, RunsThroughTheReferenceParticleAndIsExactlyStraightWhereItIs) {
  use_orbit(Orbit(-3, {{1, 0}, {3, 0.5}, {1, 0}}), 50);
  PathPoint p;
  pathfn(source.path, 0, p);
  EXPECT_EQ(p.r[0], 0);
  EXPECT_EQ(p.r[1], 0);
  EXPECT_EQ(p.e[0], 1);
  for (const double s : {-1e9, -3.0, -2.5, 1.5, 2.5, 1e9}) {
    pathfn(source.path, s, p);
    EXPECT_EQ(p.e_prime[0], 0) << s;
    EXPECT_EQ(p.e_prime[1], 0) << s;
  }
  // An inner node belongs to the segment that starts there.
  pathfn(source.path, source.path.snode[2], p);
  EXPECT_NE(p.e_prime[1], 0);
}

TEST(Setpth, AParticleOnABoundaryAddsNoNodeAndOneWithoutBoundariesHasAStraightPath) {
  use_orbit(Orbit(-1, {{1, 0.3}, {1, 0}}), 50);
  EXPECT_EQ(source.path.nnode, 3);
  EXPECT_EQ(source.path.knode, 2);
  use_orbit(Orbit(-1 - 1e-8, {{1, 0.3}, {1, 0}}), 50);
  EXPECT_EQ(source.path.nnode, 4);
  EXPECT_EQ(source.path.knode, 3);
  EXPECT_DOUBLE_EQ(source.settings.slow, source.path.snode[1] - 1);
  EXPECT_DOUBLE_EQ(source.settings.shigh, 1);
  EXPECT_NEAR(source.settings.sstpma, 1, 1e-12);
  EXPECT_NEAR(source.settings.rintma, 1, 1e-12);
  for (const int boundaries : {0, 1}) {
    const BoundaryPoints rows;  // one at the particle's own place, time and direction
    build_path({0, 0, 0, 100, 0, 0, 1}, rows, boundaries, 0, source);
    EXPECT_EQ(source.path.nnode, 1);
    finit(source, "rintmi", 1e-3);
    EXPECT_GT(source.settings.rintma, source.settings.rintmi);
    EXPECT_GT(source.settings.shigh, source.settings.slow);
    EXPECT_GT(source.settings.sstpma, 0);
    PathPoint p;
    pathfn(source.path, -2.5, p);
    EXPECT_EQ(p.r[0], -2.5);
  }
}

TEST(Setpth, NodesInOnePlaceOrWithoutAPlaceLeaveAPathThatCanBeAsked) {
  BoundaryPoints rows;
  for (const double ct : {0.0, std::nan(""), HUGE_VAL}) {
    for (int i = 1; i <= 3; ++i) rows[i].ct = ct;
    build_path({0, 0, 0, 100, 0, 0, 1}, rows, 3, 0, source);
    for (int k = 1; k <= 100; ++k) {
      EXPECT_GE(source.path.bucket[k], 1);
      EXPECT_LE(source.path.bucket[k], source.path.nnode);
    }
  }
  for (int i = 1; i <= 3; ++i) rows[i].ct = 0;
  build_path({0, 0, 0, 100, 0, 0, 1}, rows, 3, 0, source);
  PathPoint p;
  for (const double s : {-1.0, 0.0, 1.0}) {
    pathfn(source.path, s, p);
    EXPECT_EQ(p.r[0], s);
  }
}

TEST(Pthfrm, AndPthlabAreInverse) {
  BoundaryPoints rows;
  build_path({3, -2, 0.1, 100, 2.1, 0.2, 1}, rows, 0, 7, source);
  double r[3], n[3], t;
  pthfrm(source.path, 3.5, -1.2, 0.4, 2.4, 0.3, 8, r, n, t);
  EXPECT_DOUBLE_EQ(r[2], 0.4);
  EXPECT_NEAR(t, 1 / c, 1e-22);
  EXPECT_NEAR(n[0], std::cos(0.3) * std::cos(0.3), 1e-15);
  EXPECT_NEAR(n[2], std::sin(0.3), 1e-15);
  pthlab(source.path, r);
  EXPECT_NEAR(r[0], 0.5, 1e-15);
  EXPECT_NEAR(r[1], 0.8, 1e-15);
  pthfrm(source.path, 3, -2, 0, 2.1 + 1e-3, 0, 7, r, n, t);
  EXPECT_EQ(r[0], 0);
  EXPECT_EQ(n[2], 0);
  EXPECT_NEAR(n[1], std::sin(1e-3), 1e-15);
}

TEST(Patharcs, ListsTheChangesOfCurvature) {
  const double gamma = 50, beta = beta_of(gamma);
  PathArcs rows;
  int count = -1;
  // Straight, two equal arcs (the second of the other hand: rows know no sign), straight.
  use_orbit(Orbit(-3, {{1, 0}, {1, 0.5}, {0.5, -0.5}, {2, 0}}), gamma);
  patharcs(source.path, rows, count);
  ASSERT_EQ(count, 3);
  EXPECT_NEAR(rows[1].ct, -13 / beta, 1e-12);
  EXPECT_EQ(rows[1].kappa, 0);
  EXPECT_NEAR(rows[2].ct, -2 / beta, 1e-12);
  EXPECT_NEAR(rows[2].kappa, 0.5, 1e-12);
  EXPECT_NEAR(rows[3].ct, -0.5 / beta, 1e-12);
  EXPECT_EQ(rows[3].kappa, 0);
  // An arc up to the last node.
  use_orbit(Orbit(-3, {{1, 0}, {1, 0.5}}), gamma);
  patharcs(source.path, rows, count);
  EXPECT_EQ(count, 3);
  use_orbit(Orbit(-3, {{1, 0}, {5, 0}}), gamma);
  patharcs(source.path, rows, count);
  EXPECT_EQ(count, 1);
  use_orbit(Orbit(0.5, {{1, 0}}), gamma);
  patharcs(source.path, rows, count);
  EXPECT_EQ(count, 0);
}

}  // namespace
}  // namespace tessaron::test
