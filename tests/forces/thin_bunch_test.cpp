#include "forces/models_fixture.hpp"

namespace tessaron {
namespace {

/// The direct model beside the projected force, of a bunch of one sub-bunch length.
struct ThinBunch : test::Models {
  static constexpr double sigma = 1e-4, p = 1e4;
  const double characteristic = std::cbrt(sigma * sigma * R);

  /// The largest difference of the forces along on observers on the orbit, four to a sub-bunch length, in
  /// units of the largest force. Half of the charge is on either side of the orbit, so that `width` is the
  /// bunch's rms width; all fly on circles along it.
  double mismatch(double width) {
    arc(2.5, 1.5);
    sizes(sigma);
    ptlcom_store.npart = 0;
    ptlcom_store.reference_momentum = p;
    for (const double side : {0.0, 1.0, -1.0}) add(0, side * width, 0, std::abs(side) * 5e-10, p);
    for (int i = -10; i <= 10; ++i) {
      const double turn = i * sigma / 4 / R;
      add(R * std::sin(turn), R * (std::cos(turn) - 1), -turn, 0, p);
    }
    static ForceTable projected;
    EXPECT_EQ(force1(ptlcom.particle, ptlcom.section, projected), ok);
    const auto direct = forces(ForceType::csr_p_to_p);
    double most = 0, largest = 0;
    for (int i = 4; i <= ptlcom.npart; ++i) {
      largest = std::max(largest, std::abs(projected[i].along));
      most = std::max(most, std::abs(direct[static_cast<std::size_t>(i - 1)].along - projected[i].along));
    }
    return most / largest;
  }
};

// What its own head meets now, a bunch radiated L = (24 R^2 sigma)^(1/3) ago. If it is upright now it was
// tilted then, by the angle L / R. Over a width w that is nothing beside sigma if w is small beside
// (sigma^2 R)^(1/3), and the difference is of second order in w.
TEST_F(ThinBunch, FeelsTheProjectedForce) {
  double before = 0;
  for (const double width : {0.5, 0.25, 0.125}) {
    const double now = mismatch(width * characteristic);
    EXPECT_LT(now, 0.6 * width * width) << width;
    if (before > 0) {
      EXPECT_NEAR(before / now, 4, 0.6) << width;
    }
    before = now;
  }
  EXPECT_LT(mismatch(0.01 * characteristic), 4e-3);  // the projected model's own accuracy in an arc
}

}  // namespace
}  // namespace tessaron
