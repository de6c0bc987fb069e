// The field library against a brute-force integral of the retarded fields, written apart from it.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <ostream>

#include "beam/bunch_record_owner.hpp"
#include "common/undefined.hpp"
#include "field/testpaths.hpp"
#include "lattice/lattice_definition.hpp"
#include "support/retarded_line.hpp"

namespace tessaron {
namespace {

constexpr double sigma = 1e-4;  // rms length of the charge [m]

/// A charge of 1 C on an arc of a signed radius (positive turns to decreasing angle; 0: a straight), `before`
/// metres behind the arc's entrance and `after` metres ahead of its exit (negative: on the drift behind it),
/// and an observer `ahead` of it along its direction, `left` across and `up`.
struct Case {
  const char* name;
  double gamma, radius, before, after;
  double ahead, left, up;
  double tolerance;  ///< of the force, in units of its own size
  double magnetic;   ///< of c B
};
std::ostream& operator<<(std::ostream& out, const Case& c) { return out << c.name; }

/// Builds the lattice and the path with the source at its origin, and sets the library up for a line charge.
void set_up(const Case& c, double relacc) {
  const double gamma = c.gamma, p = std::sqrt(gamma * gamma - 1);
  ptlcom_store.reference_momentum = p;
  const double arc = c.before + c.after;
  ASSERT_EQ(latini(), ok);
  ASSERT_EQ(position(0, {undefined_real, undefined_real, 1.0, undefined_real, "", false}), ok);
  ASSERT_EQ(position(c.radius, {undefined_real, undefined_real, arc, undefined_real, "", false}), ok);
  ASSERT_EQ(position(0, {undefined_real, undefined_real, 10.0, undefined_real, "", false}), ok);

  test::use_source(sigma, gamma, relacc, 1e-9);

  // The source stands on the design orbit, `before` metres behind the entrance, which lies at x = 1.
  const double on_arc = std::min(c.before, arc), turn = c.radius == 0 ? 0 : -on_arc / c.radius;
  const double x_arc = c.radius == 0 ? on_arc : c.radius * std::sin(on_arc / c.radius);
  const double y_arc = c.radius == 0 ? 0 : -c.radius * (1 - std::cos(on_arc / c.radius));
  const double behind = c.before - on_arc;
  const Particle particle{
      1 + x_arc + behind * std::cos(turn), y_arc + behind * std::sin(turn), 0, p, turn, 0, 1};
  setpth(particle, c.after >= 0 ? 2 : 3, latcom.nlat, 0.7, test::source);
  finit(test::source, "check", 0);
}

struct Comparison {
  double force, cb, phi, a, phi_t, a_t;  // deviations in units of each quantity's size
};

Comparison compare(const Case& c, double relacc = 1e-4) {
  set_up(c, relacc);
  // The same path in the frame of the source: x along its direction.
  const retarded::Real curvature = c.radius == 0 ? 0.0L : -1.0L / static_cast<retarded::Real>(c.radius);
  const retarded::Real gamma = c.gamma, beta = std::sqrt(1 - 1 / (gamma * gamma));
  retarded::Vec place{c.ahead, c.left, c.up};
  const retarded::LineCharge line({curvature, -static_cast<retarded::Real>(c.before), c.after}, gamma,
                                  sigma / (retarded::c * beta), 5);
  const retarded::Field want = line.at(0, place);
  // A test particle with the source's own energy whose direction differs a little from the path's.
  const double n[3] = {std::cos(0.002), std::sin(0.002), 0};
  const double r[3] = {c.ahead, c.left, c.up};
  const FieldResult got = ffield(test::source, test::work, 0, r, c.gamma, n);

  const retarded::Vec velocity{beta * n[0], beta * n[1], 0};
  const auto deviation = [](const double* value, const retarded::Vec& reference, retarded::Real size) {
    const retarded::Vec found{value[0], value[1], value[2]};
    return static_cast<double>(retarded::distance(found, reference) / size);
  };
  const auto relative = [](double value, retarded::Real reference, retarded::Real size) {
    return static_cast<double>(std::abs(value - reference) / size);
  };
  const retarded::Vec force = want.force(velocity);
  const retarded::Real phi = std::abs(want.phi), a = retarded::norm(want.a), rate = retarded::c / sigma;
  return {deviation(got.force, force, retarded::norm(force)),
          deviation(got.cb, want.cb, retarded::norm(want.cb)),
          relative(got.phi, want.phi, phi),
          deviation(got.a, want.a, a),
          relative(got.phi_t, want.phi_t, phi * rate),
          deviation(got.a_t, want.a_t, a * rate)};
}

class RetardedIntegral : public testing::TestWithParam<Case> {};

TEST_P(RetardedIntegral, EqualsTheLibraryInAllSlots) {
  const Case& c = GetParam();
  const Comparison deviation = compare(c);
  EXPECT_LT(deviation.force, c.tolerance);
  EXPECT_LT(deviation.cb, c.magnetic);
  EXPECT_LT(deviation.phi, 1e-4);
  EXPECT_LT(deviation.a, 1e-4);
  EXPECT_LT(deviation.phi_t, 1e-4);
  EXPECT_LT(deviation.a_t, 1e-4);
}

// The deviation is that of the one-pass mesh: it goes away when every stretch is divided and the near
// interval shrinks. What remains is the 4-byte error function in the profile's normalisation and the rounding
// of a force that is 1/gamma^2 of its electric part.
TEST_P(RetardedIntegral, IsApproachedAsTheMeshIsRefined) {
  test::use_summation(Summation::batched, 16);
  const Comparison deviation = compare(GetParam(), 1e-9);
  test::use_summation(Summation::batched);
  EXPECT_LT(deviation.force, 1e-7);
  EXPECT_LT(deviation.cb, 1e-7);
  EXPECT_LT(deviation.phi, 1e-7);
}

INSTANTIATE_TEST_SUITE_P(
    Places, RetardedIntegral,
    testing::Values(Case{"StraightAboveTheBunch", 100, 0, 0.8, 0.3, 0.5e-4, 1e-3, 0, 1e-4, 1e-4},
                    Case{"DeepInAnArc", 200, 10, 0.8, 0.3, 0.5e-4, 1e-4, 0, 5e-4, 1e-4},
                    Case{"DeepInAnArcTheOtherWay", 200, -10, 0.8, 0.3, 0.5e-4, 1e-4, 0, 5e-4, 1e-4},
                    Case{"AheadOfTheBunch", 1000, 10, 0.8, 0.3, 3e-4, 2e-4, 0, 4e-3, 5e-4},
                    Case{"BehindTheBunch", 1000, 10, 0.8, 0.3, -3e-4, -2e-4, 0, 5e-4, 5e-4},
                    Case{"NearThePath", 10000, 1.5, 0.4, 0.1, 0.2e-4, 1e-5, 0, 5e-4, 1e-4},
                    Case{"AboveThePlane", 500, 10, 0.8, 0.3, 0.5e-4, 0, 3e-4, 5e-4, 1e-4},
                    Case{"FarFromThePath", 500, 10, 0.8, 0.3, 1e-4, 5e-2, 0, 5e-4, 1e-4},
                    Case{"JustBehindTheEntrance", 1000, 10, 0.05, 0.5, 0.3e-4, 1e-4, 0, 4e-3, 1e-4},
                    Case{"DeepInAnArcOfALongTurn", 500, 1, 4, 0.3, 0.3e-4, 1e-4, 0, 4e-3, 1e-4},
                    Case{"ShortlyBehindAnArcOfALongTurn", 500, 1, 5.5, -0.1, 0.3e-4, 1e-4, 0, 4e-3, 1e-4},
                    Case{"OnTheDriftBehindTheArc", 1000, 10, 0.9, -0.4, 0.3e-4, 1e-4, 0, 4e-3, 1e-4}),
    [](const auto& place) { return std::string(place.param.name); });

}  // namespace
}  // namespace tessaron
