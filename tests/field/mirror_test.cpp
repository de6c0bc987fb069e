// Mirror charges: what sees only the straight entrance by the shortcut and by full evaluation, taper and
// signs.

#include "field/images/mirror.hpp"

#include <gtest/gtest.h>

#include "common/constants.hpp"
#include "field/integral/quadrature.hpp"
#include "field/path/closest_point.hpp"
#include "field/settings.hpp"
#include "field/source/profile.hpp"
#include "field/source_field.hpp"
#include "testpaths.hpp"

namespace tessaron::test {
namespace {

constexpr double c = speed_of_light, sigma = 1e-4;

void expect_same(const Slots& got, const Slots& want, double tolerance) {
  const double b = norm(want.cb), phi = std::abs(want.phi);
  EXPECT_NEAR(norm(got.force - want.force), 0, tolerance * norm(want.force));
  EXPECT_NEAR(norm(got.cb - want.cb), 0, tolerance * b);
  EXPECT_NEAR(got.phi, want.phi, tolerance * phi);
  EXPECT_NEAR(norm(got.a - want.a), 0, tolerance * norm(want.a));
  EXPECT_NEAR(got.phi_t, want.phi_t, tolerance * phi * c / sigma);
  EXPECT_NEAR(norm(got.a_t - want.a_t), 0, tolerance * phi / sigma);
}

/// A field of all slots at (x, y, 0) moved to the height z, with the full mesh of an image.
Slots full_image(double x, double y, double z, double gamma, const Vec3& e) {
  Slots image;
  fobset({x, y, z});
  fzint(0, {x, y, z}, gamma, e, image, true);
  return image;
}

TEST(MirrorCharge, TheShortcutOfTheEntranceEqualsTheFullEvaluation) {
  use_summation(Summation::batched, 4);
  for (const double gamma : {20.0, 1000.0}) {
    // 1 cm into an arc: an image 4 cm up is seen where the path was straight.
    const Orbit orbit(-0.01, {{1, 0.4}, {1, 0}});
    use_orbit(orbit, gamma);
    use_source(sigma, gamma);
    use_round(3e-5);
    const double x = 0.7e-4, y = -0.3e-4;
    field(x, y, 0, gamma);
    const Vec3 e = vec3(closest.path.point.e);
    Slots rest, sum;
    const int n0 = 2, last = 5;
    const double hc = 0.02, hmax = 0.09;
    for (int n = n0; n <= last; ++n) {
      const Slots full = full_image(x, y, -n * hc, gamma, e), other = full_image(x, y, n * hc, gamma, e);
      Slots shortcut;
      fimlin(0, {x, y, -n * hc}, gamma, e, shortcut, -0.01);
      SCOPED_TRACE(testing::Message() << "image " << n << " gamma " << gamma);
      expect_same(shortcut, full, 5e-3);  // Boole's rule on panels of two sigma
      const double w = (n % 2 == 0 ? 1 : -1) * std::cos(n * hc / hmax * pi / 2);
      sum += w * full;
      sum += w * other;
    }
    fimsum(0, {x, y, 0}, gamma, e, rest, -0.01, n0, last, hc, hmax);
    expect_same(rest, sum, 5e-3);
    EXPECT_EQ(rest.force.z, 0);
    // The whole sum: the first image may see the arc, the others do not.
    finit("hc", hc);
    finit("hmax", hmax);
    const FieldResult all = field(x, y, 0, gamma);
    finit("hc", 0);
    const FieldResult alone = field(x, y, 0, gamma);
    const double w1 = -std::cos(hc / hmax * pi / 2);
    sum += 2 * w1 * full_image(x, y, hc, gamma, e);
    const double beta = beta_of(gamma);
    EXPECT_NEAR(all.phi - alone.phi, sum.phi, 5e-4 * std::abs(sum.phi));
    EXPECT_NEAR(all.cb[2] - alone.cb[2], sum.cb.z, 1e-3 * std::abs(sum.cb.z));
    EXPECT_NEAR(all.force[0] - alone.force[0], sum.force.x - beta * e.y * sum.cb.z,
                2e-3 * std::abs(sum.force.x));
  }
  use_summation(Summation::batched);
}

TEST(MirrorCharge, AnObserverAboveThePlaneSeesBothImagesOfAPair) {
  const double gamma = 100, z = 3e-4;
  use_orbit(Orbit(-0.01, {{1, 0.4}}), gamma);
  use_source(sigma, gamma);
  field(0, 0, z, gamma);
  const Vec3 e = vec3(closest.path.point.e);
  Slots pair, lower, upper;
  fimsum(0, {0, 0, z}, gamma, e, pair, -0.01, 3, 3, 0.02, 0.5);
  fimlin(0, {0, 0, z - 0.06}, gamma, e, lower, -0.01);
  fimlin(0, {0, 0, z + 0.06}, gamma, e, upper, -0.01);
  lower += upper;
  expect_same(pair, -std::cos(0.06 / 0.5 * pi / 2) * lower, 1e-9);
  EXPECT_NE(pair.force.z, 0);
  finit("hc", 0.02);
  const FieldResult above = field(0, 0, z, gamma), below = field(0, 0, -z, gamma);
  finit("zsymmetry", 0);
  EXPECT_NEAR(above.force[2], -below.force[2], 1e-9 * std::abs(above.force[2]));
  EXPECT_NEAR(above.force[0], below.force[0], 1e-9 * std::abs(above.force[0]));
  const FieldResult both_sides = field(1e-4, 2e-5, 0, gamma);
  finit("zsymmetry", 1);
  const FieldResult one_side = field(1e-4, 2e-5, 0, gamma);
  EXPECT_NEAR(both_sides.force[0], one_side.force[0], 1e-9 * std::abs(one_side.force[0]));
  EXPECT_NEAR(both_sides.a_t[1], one_side.a_t[1], 1e-9 * std::abs(one_side.a_t[1]));
}

// A profile that is cut at 202 rms lengths has its charge across the end of the first block of nodes; one cut
// at 8 lies in a single block, on the same nodes.
TEST(MirrorCharge, TheSumOverTheBunchGoesOnFromBlockToBlock) {
  const double gamma = 20;
  use_orbit(Orbit(-0.01, {{1, 0.4}}), gamma);
  use_source(sigma, gamma);
  Slots value[2];
  for (const int k : {0, 1}) {
    finit("xnsigt", k == 0 ? 8 : 202);
    field(0, 0, 0, gamma);
    fimsum(0, {0, 0, 0}, gamma, vec3(closest.path.point.e), value[k], -0.01, 3, 4, 0.02, 0.5);
  }
  EXPECT_GT(norm(value[0].cb), 0);
  expect_same(value[1], value[0], 1e-9);
}

TEST(MirrorCharge, WithoutSpacingOrReachThereIsNone) {
  const double gamma = 100;
  use_orbit(Orbit(-0.01, {{1, 0.4}}), gamma);
  use_source(sigma, gamma);
  const double alone = field(1e-4, 2e-5, 0, gamma).force[0];
  finit("hc", 0.02);
  finit("hmax", 0.02);
  EXPECT_EQ(field(1e-4, 2e-5, 0, gamma).force[0], alone);
  finit("hmax", 0.021);
  EXPECT_NE(field(1e-4, 2e-5, 0, gamma).force[0], alone);
}

}  // namespace
}  // namespace tessaron::test
