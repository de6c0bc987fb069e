// Mirror charges: what sees only the straight entrance by the shortcut and by full evaluation, taper and
// signs.

#include "field/images/mirror.hpp"

#include <gtest/gtest.h>

#include "common/constants.hpp"
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
  fobset({x, y, z}, work.closest);
  fzint(source, work, 0, {x, y, z}, gamma, e, true, image);
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
    const Vec3 e = vec3(work.closest.path.e);
    Slots rest, sum;
    const int n0 = 2, last = 5;
    const double hc = 0.02, hmax = 0.09;
    for (int n = n0; n <= last; ++n) {
      const Slots full = full_image(x, y, -n * hc, gamma, e), other = full_image(x, y, n * hc, gamma, e);
      Slots shortcut;
      fimlin(source, 0, {x, y, -n * hc}, e, -0.01, work.entrance, shortcut);
      SCOPED_TRACE(testing::Message() << "image " << n << " gamma " << gamma);
      expect_same(shortcut, full, 5e-3);  // Boole's rule on panels of two sigma
      const double w = (n % 2 == 0 ? 1 : -1) * std::cos(n * hc / hmax * pi / 2);
      sum += w * full;
      sum += w * other;
    }
    fimsum(source, 0, {x, y, 0}, e, -0.01, n0, last, {hc, hmax}, work.entrance, rest);
    expect_same(rest, sum, 5e-3);
    EXPECT_EQ(rest.force.z, 0);
    // The whole sum: the first image may see the arc, the others do not.
    finit(source, "hc", hc);
    finit(source, "hmax", hmax);
    const FieldResult all = field(x, y, 0, gamma);
    finit(source, "hc", 0);
    const FieldResult alone = field(x, y, 0, gamma);
    const double w1 = -std::cos(hc / hmax * pi / 2);
    sum += 2 * w1 * full_image(x, y, hc, gamma, e);
    const double beta = beta_of(gamma);
    EXPECT_NEAR(all.phi - alone.phi, sum.phi, 5e-4 * std::abs(sum.phi));
    EXPECT_NEAR(all.phi_t - alone.phi_t, sum.phi_t, 5e-4 * std::abs(sum.phi) * c / sigma);
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
  const Vec3 e = vec3(work.closest.path.e);
  Slots pair, lower, upper;
  fimsum(source, 0, {0, 0, z}, e, -0.01, 3, 3, {0.02, 0.5}, work.entrance, pair);
  fimlin(source, 0, {0, 0, z - 0.06}, e, -0.01, work.entrance, lower);
  fimlin(source, 0, {0, 0, z + 0.06}, e, -0.01, work.entrance, upper);
  lower += upper;
  expect_same(pair, -std::cos(0.06 / 0.5 * pi / 2) * lower, 1e-9);
  EXPECT_NE(pair.force.z, 0);
  finit(source, "hc", 0.02);
  const FieldResult above = field(0, 0, z, gamma), below = field(0, 0, -z, gamma);
  finit(source, "zsymmetry", 0);
  EXPECT_NEAR(above.force[2], -below.force[2], 1e-9 * std::abs(above.force[2]));
  EXPECT_NEAR(above.force[0], below.force[0], 1e-9 * std::abs(above.force[0]));
  const FieldResult both_sides = field(1e-4, 2e-5, 0, gamma);
  finit(source, "zsymmetry", 1);
  const FieldResult one_side = field(1e-4, 2e-5, 0, gamma);
  EXPECT_NEAR(both_sides.force[0], one_side.force[0], 1e-9 * std::abs(one_side.force[0]));
  EXPECT_NEAR(both_sides.a_t[1], one_side.a_t[1], 1e-9 * std::abs(one_side.a_t[1]));
}

}  // namespace
}  // namespace tessaron::test
