// The field library against itself: two routes to one number, Maxwell's relations, the two ways of summation.

#include <gtest/gtest.h>

#include "common/constants.hpp"
#include "testpaths.hpp"

namespace tessaron::test {
namespace {

constexpr double c = speed_of_light, sigma = 1e-4;

const Orbit& arc() {
  static const Orbit orbit(-0.8, {{1.2, 0.5}, {1, 0}});
  return orbit;
}

// `extract` leaves the core of the pole out of the closed terms, and the line's averages are that core: their
// sum is the plain line field, in each of its rows. The row for small d is an expansion in d / (c sigmat).
TEST(Extract, PlusTheLineCoreEqualsThePlainLineField) {
  for (const double gamma : {5.0, 500.0}) {
    use_orbit(arc(), gamma);
    use_source(sigma, gamma);
    for (const double d : {1e-9, 1e-7, 9.9e-7, 1.01e-6, 1e-5, 1e-4, 1e-3}) {
      field(0.7e-4, -d, 0, gamma);  // leaves limits and closest point behind
      const Vec3 e0 = vec3(work.closest.path.e);
      Slots plain, split, core;
      ziini(source, {}, work.closest, work.limits, gamma, e0, work.expansion);
      fzpole(work.expansion, plain);
      ziini(source, {false, false, true}, work.closest, work.limits, gamma, e0, work.expansion);
      fzpole(work.expansion, split);
      fzSP(source.shape, work.expansion, work.axis, core);  // the method is 0: a line
      split += core;
      const double ratio = d / sigma, tolerance = d < 1e-6 ? 1e-12 + ratio * ratio * ratio : 1e-12;
      SCOPED_TRACE(testing::Message() << "gamma " << gamma << " d " << d);
      EXPECT_NEAR(norm(split.cb - plain.cb), 0, tolerance * norm(plain.cb) + 1e-6);
      EXPECT_NEAR(norm(split.force - plain.force), 0,
                  tolerance * (norm(plain.force) + norm(plain.cb)) + 1e-6);
      EXPECT_NEAR(split.phi, plain.phi, (1e-12 + ratio * ratio) * std::abs(plain.phi));
      EXPECT_NEAR(split.phi_t, plain.phi_t, (1e-12 + ratio) * std::abs(plain.phi) * c / sigma);
    }
  }
}

// The search for the closest point begins where the last one ended: behind a long arc on another pass, where
// the distance has a minimum of its own.
TEST(ClosestPoint, OfAnObserverInTheBunchIsAtTheSourceWhereverTheObserverBeforeItStood) {
  for (const double turn : {pi, 4.7, 6.2}) {
    const Orbit orbit(-turn - 1.5, {{turn, 1}, {3, 0}});
    use_orbit(orbit, 1000);
    use_source(sigma, 1000);
    use_round(sigma);
    const FieldResult alone = field(2e-4, 1e-4, 0, 1000);
    for (double s = -turn - 2; s < 0; s += 0.1) {
      const Orbit::Pose stray = orbit.at(s);
      field(stray.x - 0.4 * std::sin(stray.phi), stray.y + 0.4 * std::cos(stray.phi), 0, 1000);
      const FieldResult after = field(2e-4, 1e-4, 0, 1000);
      ASSERT_NEAR(work.closest.s_c, 2e-4, 1e-7) << turn << " " << s;
      EXPECT_NEAR(after.force[0], alone.force[0], 1e-6 * std::abs(alone.force[0]));
    }
  }
}

// The charge ahead of an observer who stands at its centre on a straight reaches to where c t = s (1 + beta)
// / beta. Newton's steps hit such a limit exactly as often as not.
TEST(RetardedLimits, AreMetToRoundingFromTheSourceOnAStraight) {
  use_orbit(Orbit(-1, {{2, 0}}), 500);
  for (int i = 0; i < 100; ++i) {
    const double rms = 1e-5 * (1 + 0.37 * i);
    use_source(rms, 500);
    use_round(1e-4);
    field(0, 0, 0, 500);
    ASSERT_NEAR(work.limits.s2, 5.1 * rms / (1 + beta_of(500)), 1e-9 * rms) << i;
  }
}

// c B = c curl A,  div A + (1/c^2) d phi/dt = 0,  the slots of the time derivatives,  and the force as
// E + beta n x (c B) with E = -grad phi - dA/dt: by central differences of the library's own slots.
TEST(Maxwell, TheSlotsBelongToOneField) {
  use_summation(Summation::batched, 16);
  const double gamma = 40, h = 3e-6;
  use_orbit(arc(), gamma);
  const double places[][3] = {{1e-4, 2e-4, 0}, {-2e-4, -1e-4, 1e-4}, {3e-4, 5e-4, -4e-4}, {0, 8e-5, 2e-5}};
  for (const double size : {0.0, 2e-5}) {
    use_source(sigma, gamma, 1e-7, 1e-10);
    if (size > 0) use_round(size);
    for (const auto& p : places) {
      const auto at = [&](int axis, double steps) {
        double q[4] = {p[0], p[1], p[2], 0};
        q[axis] += steps * h;
        return field(q[0], q[1], q[2], gamma, 1e-3, q[3]);
      };
      FieldResult d[4];  // derivatives of all slots along x, y, z, ct, to the fourth order of h
      for (int axis = 0; axis < 4; ++axis) {
        const FieldResult near[2] = {at(axis, -1), at(axis, 1)}, far[2] = {at(axis, -2), at(axis, 2)};
        const auto slope = [&](auto slot) {
          slot(d[axis]) = (8 * (slot(near[1]) - slot(near[0])) - (slot(far[1]) - slot(far[0]))) / (12 * h);
        };
        slope([](auto& f) -> auto& { return f.phi; });
        for (int i = 0; i < 3; ++i) slope([i](auto& f) -> auto& { return f.a[i]; });
      }
      const FieldResult f = at(0, 0);
      // The round model replaces the core of the pole by the lowest orders of an expansion.
      const double b = std::hypot(f.cb[0], f.cb[1], f.cb[2]), tolerance = size > 0 ? 1e-3 : 2e-6;
      SCOPED_TRACE(testing::Message() << "size " << size << " at " << p[0] << " " << p[1] << " " << p[2]);
      EXPECT_NEAR(f.cb[0], c * (d[1].a[2] - d[2].a[1]), tolerance * b);
      EXPECT_NEAR(f.cb[1], c * (d[2].a[0] - d[0].a[2]), tolerance * b);
      EXPECT_NEAR(f.cb[2], c * (d[0].a[1] - d[1].a[0]), tolerance * b);
      EXPECT_NEAR(c * (d[0].a[0] + d[1].a[1]), -f.phi_t / c, tolerance * b);
      EXPECT_NEAR(d[3].phi, f.phi_t / c, tolerance * b);
      EXPECT_NEAR(c * d[3].a[0], f.a_t[0], tolerance * b);
      const double beta = beta_of(gamma), n[2] = {beta * std::cos(1e-3), beta * std::sin(1e-3)};
      EXPECT_NEAR(f.force[0], -d[0].phi - f.a_t[0] + n[1] * f.cb[2], tolerance * b);
      EXPECT_NEAR(f.force[1], -d[1].phi - f.a_t[1] - n[0] * f.cb[2], tolerance * b);
      EXPECT_NEAR(f.force[2], -d[2].phi + n[0] * f.cb[1] - n[1] * f.cb[0], tolerance * b);
    }
  }
  use_summation(Summation::batched);
}

// The subtraction ends with the mesh: a node that rounding carried across would count without it.
TEST(Summation, KeepsAllNodesInTheRangeOfSubtraction) {
  use_orbit(arc(), 1000);
  use_source(1e-6, 1000);
  for (int i = 0; i < 2000; ++i) {
    field((i % 100 - 50) * 1e-7, (i % 37 - 18) * 4e-7, 0, 1000);
    const double last = work.nodes.s[work.nodes.n];
    ASSERT_TRUE(!work.expansion.pole || last <= work.expansion.s_e) << i << " " << last;
  }
}

TEST(Summation, BothWaysUseTheSameMeshAndAgreeToRounding) {
  // Several arcs, one that turns far, and corners inside the range; observers in and out of the plane.
  const Orbit bends[] = {arc(), Orbit(-0.5, {{0.2, 0.4}, {0.2, -0.7}, {0.3, 0}}), Orbit(-3, {{4, 0.6}}),
                         Orbit(-0.1, {{1, 3}})};
  for (const double gamma : {10.0, 200.0, 10000.0}) {
    for (const Orbit& orbit : bends) {
      use_orbit(orbit, gamma);
      use_source(sigma, gamma);
      for (const int method : {0, 2}) {
        finit(source, "method", method);
        if (method == 2) use_round(3e-5);
        for (const char* flag : {"", "notalman", "nogamma2"}) {
          if (*flag != 0) finit(source, flag, 1);
          for (const double z : {0.0, 1e-4}) {
            const auto sum = [&](Summation way) {
              use_summation(way);
              field(0, 1e-3, 0, gamma);  // so that the search for the closest point starts alike
              return field(0.8e-4, -0.4e-4, z, gamma, 1e-3);
            };
            const FieldResult plain = sum(Summation::plain);
            static MeshRecord plain_mesh;
            plain_mesh = work.mesh;
            const FieldResult fast = sum(Summation::batched);
            ASSERT_EQ(work.mesh.ipnt, plain_mesh.ipnt);
            for (int i = 1; i <= work.mesh.ipnt; ++i) ASSERT_EQ(work.mesh.point[i], plain_mesh.point[i]);
            const double f = std::hypot(plain.force[0], plain.force[1]),
                         b = std::hypot(plain.cb[1], plain.cb[2]);
            for (int i = 0; i < 3; ++i) {
              EXPECT_NEAR(fast.force[i], plain.force[i], 1e-9 * f + 1e-13 * b);
              EXPECT_NEAR(fast.cb[i], plain.cb[i], 1e-11 * b);
              EXPECT_NEAR(fast.a[i], plain.a[i], 1e-7 * plain.phi / c);
              EXPECT_NEAR(fast.a_t[i], plain.a_t[i], 1e-7 * plain.phi / sigma);
            }
            EXPECT_NEAR(fast.phi, plain.phi, 1e-7 * plain.phi);
            EXPECT_NEAR(fast.phi_t, plain.phi_t, 1e-7 * plain.phi * c / sigma);
            finit(source, "nopotential", 1);
            const FieldResult force_only = sum(Summation::batched);
            finit(source, "nopotential", 0);
            for (int i = 0; i < 3; ++i) {
              EXPECT_EQ(force_only.force[i], fast.force[i]);
              EXPECT_EQ(force_only.cb[i], fast.cb[i]);
            }
            EXPECT_EQ(force_only.phi, 0);
            // The path by its interval coefficients: another rounding, and the same field.
            source.path.query = PathQuery::coefficients;
            const FieldResult slow = sum(Summation::plain);
            source.path.query = PathQuery::stretches;
            EXPECT_NEAR(slow.force[0], plain.force[0], 1e-7 * f);
            EXPECT_NEAR(slow.cb[2], plain.cb[2], 1e-8 * b);
          }
          if (*flag != 0) finit(source, flag, 0);
        }
      }
    }
  }
  use_summation(Summation::batched);
}

}  // namespace
}  // namespace tessaron::test
