#include "forces/green/mesh/lines.hpp"

#include "forces/green_fixture.hpp"

namespace tessaron {
namespace {

using test::Random;

GreenLines lines;
PathArcs arcs;

void start(double x0) {
  lines.n = 0;
  ASSERT_TRUE(lines.add(x0));
}
double step(int i) { return lines.x[i + 1] - lines.x[i]; }

Polygon box(double xmin, double xmax, double ymin, double ymax) {
  Polygon polygon;
  bounda(
      [&](double th) {
        return std::max(xmin * std::cos(th), xmax * std::cos(th)) +
               std::max(ymin * std::sin(th), ymax * std::sin(th));
      },
      0, polygon);
  return polygon;
}

// L = 6, h0 = 1, h1 = 2, ratio 1.5: one step grows before the limit, k = trunc(log 2 / log 1.5) = 1, so the
// growing ones have S = 1 + 1.5; m = trunc(3.5 / 2 + 1) = 2 full steps; all are scaled by 6 / (4 + 2.5).
// L = 2 < S = 2.5 from both ends: two steps 1 and 1.5 scaled by 2 / 2.5.
TEST(GradedSteps, GrowToTheLimitAndAreScaledToFit) {
  struct Case {
    double to;
    FineEnd fine;
    double steps[4];
  };
  const double scale = 6 / 6.5;
  for (const Case& c : {Case{16, FineEnd::left, {scale, 1.5 * scale, 2 * scale, 2 * scale}},
                        Case{14, FineEnd::both, {0.8, 1.2, 1.2, 0.8}}}) {
    start(10);
    ASSERT_TRUE(gmshst(c.to, 1, 2, 1.5, c.fine, lines));
    ASSERT_EQ(lines.n, 5);
    for (int i = 1; i <= 4; ++i) EXPECT_NEAR(step(i), c.steps[i - 1], 1e-14) << i;
  }
}

TEST(Zones, WithoutCurvatureInThePastThereIsOnlyTheOneAroundTheSubBunch) {
  arcs[1] = {0.5, 0.5, 0, 0.1};
  GreenZones zones;
  for (const bool shielded : {false, true}) {
    green_zones(box(-100, 40, -3, 3), arcs, 1, mesh_steps(1, shielded), zones);
    ASSERT_EQ(zones.n, 1);
    EXPECT_EQ(zones.zone[1].from, -5);
    EXPECT_EQ(zones.zone[1].to, 5);
    EXPECT_EQ(zones.zone[1].step, shielded ? 0.5 : 5);
  }
  green_zones(box(6, 40, -3, 3), arcs, 1, mesh_steps(1, false), zones);
  EXPECT_EQ(zones.n, 0);
}

// Any point of a wavefront over the polygon lies in a zone; sampled on circles that pass near the polygon.
TEST(Zones, HoldAllOfEachWavefrontOverThePolygon) {
  Random random;
  for (int sweep = 0; sweep < 400; ++sweep) {
    const double sigma = random.log_uniform(1e-6, 1e-4), size = sigma * random.log_uniform(10, 1000);
    const double xmin = -size * random.uniform(0.1, 1), xmax = size * random.uniform(0.1, 1);
    const double ymin = -size * random.uniform(0.01, 1), ymax = size * random.uniform(0.01, 1);
    const double r = size * random.log_uniform(0.1, 1e5), angle = random.uniform(-pi, pi);
    const double x0 = size * random.uniform(-0.5, 0.5), y0 = size * random.uniform(-0.5, 0.5);
    arcs[1] = {-r, x0 - r * std::cos(angle), y0 - r * std::sin(angle), 0};
    arcs[2] = {0, 0, 0, 0};
    const MeshSteps steps = mesh_steps(sigma, false);
    GreenZones zones;
    green_zones(box(xmin, xmax, ymin, ymax), arcs, 2, steps, zones);
    const double edge = 1e-6 * size;
    for (int k = 0; k < 200; ++k) {
      const double turn = std::min(1.0, 2 * size / r) * random.uniform(-3, 3);
      const double x = arcs[1].x + r * std::cos(angle + turn), y = arcs[1].y + r * std::sin(angle + turn);
      if (x < xmin + edge || x > xmax - edge || y < ymin + edge || y > ymax - edge) continue;
      bool held = false;
      for (int j = 1; j <= zones.n; ++j) held = held || (zones.zone[j].from <= x && x <= zones.zone[j].to);
      ASSERT_TRUE(held) << sweep;
    }
    for (int j = 1; j <= zones.n; ++j) {
      ASSERT_GE(zones.zone[j].step, steps.fine);
      ASSERT_LE(zones.zone[j].step, steps.cap);
      ASSERT_LE(zones.zone[std::max(j - 1, 1)].from, zones.zone[j].from);
    }
  }
}

// The circle of radius 5 about (-4, 0) meets the box -2 .. 2 by -3 .. 3 in its upper and lower edge, at
// (0, +-3), and has its right end (1, 0) inside. A change of a by fine = 0.2 there, dx = 4, dy = 3:
// w = sqrt(9 + 4.2^2 - 16) - 3 = sqrt(10.64) - 3.
TEST(Zones, TakeTheStepInBFromTheSlopeOfTheWavefront) {
  arcs[1] = {-5, -4, 0, 0};
  GreenZones zones;
  green_zones(box(-2, 2, -3, 3), arcs, 1, {0.2, 0.5, 5}, zones);
  ASSERT_EQ(zones.n, 2);  // the sub-bunch's own from -0.5 to 0.5
  EXPECT_NEAR(zones.zone[1].from, -0.5, 1e-6);
  EXPECT_NEAR(std::max(zones.zone[1].to, zones.zone[2].to), 1.5, 1e-6);
  EXPECT_NEAR(std::min(zones.zone[1].step, zones.zone[2].step), std::sqrt(10.64) - 3, 1e-6);
}

// Ahead of the first zone and behind the last one steps begin with 1.5 of the fine step, h0 = 0.3: seven that
// grow by 1.5 up to 5, with S = 0.6 (1.5^7 - 1), and trunc((20 - S) / 5 + 1) = 3 of 5, all scaled to fit 20.
TEST(Lines, BeginWithOneAndAHalfFineStepsBesideAZone) {
  GreenZones zones;
  zones.zone[++zones.n] = {0, 1, 0.2};
  ASSERT_TRUE(gmshx(-20, 21, mesh_steps(1, false), zones, lines));
  const double scale = 20 / (0.6 * (std::pow(1.5, 7) - 1) + 3 * 5.0);
  ASSERT_EQ(lines.n, 1 + 10 + 6 + 10);
  for (int k = 0; k < 10; ++k) {
    const double length = scale * std::min(0.3 * std::pow(1.5, k), 5.0);
    EXPECT_NEAR(step(10 - k), length, 1e-13) << k;
    EXPECT_NEAR(step(17 + k), length, 1e-13) << k;
  }
}

}  // namespace
}  // namespace tessaron
