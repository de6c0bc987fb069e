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
