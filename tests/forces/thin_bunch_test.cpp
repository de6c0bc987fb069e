#include "forces/models_fixture.hpp"

namespace tessaron {
namespace {

/// The direct model beside the projected force, of a bunch of one sub-bunch length.
struct ThinBunch : test::Models {
  static constexpr double sigma = 1e-4;
  const double characteristic = std::cbrt(sigma * sigma * R);

  /// Half of the charge on either side of the orbit, so that `width` is the bunch's rms width, and observers
  /// on the orbit, four to a sub-bunch length. All fly along the orbit: on circles if it is one.
  void bunch(double p, double width, bool bend = true) {
    bend ? arc(2.5, 1.5) : straight();
    sizes(sigma);
    ptlcom_store.npart = 0;
    ptlcom_store.reference_momentum = p;
    add(0, 0, 0, 0, p);
    add(0, width, 0, 5e-10, p);
    add(0, -width, 0, 5e-10, p);
    for (int i = -10; i <= 10; ++i) {
      const double s = i * sigma / 4, turn = s / R;
      bend ? add(R * std::sin(turn), R * (std::cos(turn) - 1), -turn, 0, p) : add(s, 0, 0, 0, p);
    }
  }
  /// Forces along, on the observers.
  static std::vector<double> along(const Force* f) {
    std::vector<double> values;
    for (int i = 0; i < 21; ++i) values.push_back(f[i].along);
    return values;
  }
  static std::vector<double> projected() {
    static ForceTable table;
    EXPECT_EQ(force1(ptlcom.particle, ptlcom.section, table), ok);
    return along(&table[4]);
  }
  std::vector<double> direct() { return along(&forces(ForceType::csr_p_to_p)[3]); }
  static double largest(const std::vector<double>& f) {
    double most = 0;
    for (const double value : f) most = std::max(most, std::abs(value));
    return most;
  }
  static std::vector<double> less(std::vector<double> a, const std::vector<double>& b) {
    for (std::size_t i = 0; i < a.size(); ++i) a[i] -= b[i];
    return a;
  }
};

// What its own head meets now, a bunch radiated L = (24 R^2 sigma)^(1/3) ago. If it is upright now it was
// tilted then, by the angle L / R. Over a width w that is nothing beside sigma if w is small beside
// (sigma^2 R)^(1/3), and the difference is of second order in w.
TEST_F(ThinBunch, FeelsTheProjectedForce) {
  double before = 0;
  for (const double width : {0.5, 0.25, 0.125}) {
    bunch(10000, width * characteristic);
    const auto expected = projected();
    const double now = largest(less(direct(), expected)) / largest(expected);
    EXPECT_LT(now, 0.6 * width * width) << width;
    if (before > 0) {
      EXPECT_NEAR(before / now, 4, 0.6) << width;
    }
    before = now;
  }
  bunch(10000, 0.01 * characteristic);
  const auto expected = projected();
  // the projected model's own accuracy at an observer in an arc
  EXPECT_LT(largest(less(direct(), expected)), 4e-3 * largest(expected));
}

// The projected force leaves out what the direct model gives on a straight line too: the field of uniform
// motion, which falls with the square of the energy.
TEST_F(ThinBunch, FeelsTheFieldOfUniformMotionAsWell) {
  for (const double p : {200.0, 500.0}) {
    bunch(p, 0.01 * characteristic, false);
    const auto uniform = direct();
    bunch(p, 0.01 * characteristic);
    const auto radiation = projected();
    const auto left_out = less(direct(), radiation);
    EXPECT_GT(largest(uniform), p < 300 ? 0.1 * largest(radiation) : 0.02 * largest(radiation));
    EXPECT_LT(largest(less(left_out, uniform)), 4e-3 * largest(radiation)) << p;
  }
}

}  // namespace
}  // namespace tessaron
