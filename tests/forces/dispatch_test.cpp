#include <gtest/gtest.h>

#include "beam/bunch_record_owner.hpp"
#include "beam/particles.hpp"
#include "forces/force_dispatch.hpp"
#include "forces/force_settings_owner.hpp"

namespace tessaron::test {
namespace {

using enum ForceType;

/// Two particles at plus and minus (3, 4, 5) um about their centre: rms 3, 4 and 5 um, along, across and up.
struct Dispatch : ::testing::Test {
  void SetUp() override {
    ASSERT_EQ(ptlini(), ok);
    ptlcom_store.npart = 2;
    for (const int i : {1, 2}) {
      const double sign = i == 1 ? 1 : -1;
      ptlcom_store.particle[i] = {sign * 3e-6, sign * 4e-6, sign * 5e-6, 100, 0, 0, 1e-12};
      ptlcom_store.source[i] = ptlcom_store.test[i] = true;
    }
    s = {};
    s.shape_code = Shape::ellipsoid;
    s.sigma_long = 1e-3, s.sigma_rad = 2e-3, s.sigma_vert = 3e-3;
  }
  void expect_sizes(double length, double radial, double vertical, ForceType type = csr_p_to_p,
                    double ct = 0) {
    ASSERT_EQ(frcsub(type, ptlcom.particle, ct), ok);
    EXPECT_NEAR(s.sigma_long, length, 1e-15) << ct;
    EXPECT_NEAR(s.sigma_rad, radial, 1e-15) << ct;
    EXPECT_NEAR(s.sigma_vert, vertical, 1e-15) << ct;
  }
  void table(std::initializer_list<SubbunchRow> rows) {
    s.subbunch_rows = 0;
    for (const SubbunchRow& row : rows) subbunch_table_store[++s.subbunch_rows] = row;
  }
  ForceSettings& s = force_settings_store;
};

TEST_F(Dispatch, SizesAreFixedOrFollowTheBunchAndASphereHasOne) {
  expect_sizes(1e-3, 2e-3, 3e-3, csr_g_to_p);
  s.long_relative = true, s.relative_long = 0.5;
  expect_sizes(1.5e-6, 2e-3, 3e-3, projected);
  s.vert_relative = s.rad_follows_long = true, s.relative_vert = 2;
  expect_sizes(1.5e-6, 2e-3, 3e-3, projected);  // sets the length alone
  expect_sizes(1.5e-6, 1.5e-6, 10e-6, csr_p_to_m);
  SetUp();
  s.shape_code = Shape::sphere;
  expect_sizes(1e-3, 1e-3, 1e-3);
}

TEST_F(Dispatch, TheTableIsLinearBetweenItsRows) {
  s.vert_from_file = true;
  table({{0, -1, -1, 5}});
  expect_sizes(1e-3, 2e-3, 5);  // columns that are not asked for are left alone
  s.long_from_file = s.rad_from_file = true;
  table({{1, 1, 10, 5}, {3, 2, 20, 5}, {3, 4, 40, 5}, {5, 8, 80, 5}});
  const double lengths[][2] = {{0, 1}, {1, 1}, {1.5, 1.25}, {3, 2}, {4, 6}, {5, 8}, {9, 8}};
  for (const auto& [ct, length] : lengths) expect_sizes(length, 10 * length, 5, csr_p_to_p, ct);
  table({{2, 7, 70, 5}});
  for (const double ct : {-1.0, 2.0, 3.0}) expect_sizes(7, 70, 5, csr_p_to_p, ct);
}

}  // namespace
}  // namespace tessaron::test
