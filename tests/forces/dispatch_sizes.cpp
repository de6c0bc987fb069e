#include <gtest/gtest.h>

#include <cmath>

#include "beam/particles.hpp"
#include "beam/ptlcom_owner.hpp"
#include "forces/force_settings_owner.hpp"
#include "forces/forcei.hpp"
#include "support/capture.hpp"

namespace tessaron::test {
namespace {

using Lines = std::vector<std::string>;

/// Two particles at plus and minus (3, 4, 5) um about their centre: rms 3, 4 and 5 um, along, across and up.
struct Dispatch : ::testing::Test {
  void SetUp() override {
    ASSERT_EQ(ptlini(), ok);
    ASSERT_EQ(frcinit(), ok);
    ptlcom_store.npart = 2;
    for (const int i : {1, 2}) {
      const double sign = i == 1 ? 1 : -1;
      ptlcom_store.particle[i] = {sign * 3e-6, sign * 4e-6, sign * 5e-6, 100, 0, 0, 1e-12};
      ptlcom_store.source[i] = ptlcom_store.test[i] = true;
    }
    s = ForceSettings{};
    s.sigma_long = 1e-3;
    s.sigma_rad = 2e-3;
    s.sigma_vert = 3e-3;
  }
  Status size(ForceType type, double ct = 0) {
    Status status = failed;
    log = console_of([&] { status = frcsub(type, ptlcom.particle, ct); });
    return status;
  }
  void expect_sizes(double length, double radial, double vertical) {
    EXPECT_NEAR(s.sigma_long, length, 1e-15);
    EXPECT_NEAR(s.sigma_rad, radial, 1e-15);
    EXPECT_NEAR(s.sigma_vert, vertical, 1e-15);
  }
  static void table(std::initializer_list<SubbunchRow> rows) {
    force_settings_store.subbunch_rows = 0;
    for (const SubbunchRow& row : rows) {
      subbunch_table_store[++force_settings_store.subbunch_rows] = row;
    }
  }
  ForceSettings& s = force_settings_store;
  Lines log;
};

TEST_F(Dispatch, FixedSizesStayAndASphereHasOne) {
  ASSERT_EQ(size(ForceType::csr_p_to_p), ok);
  expect_sizes(1e-3, 1e-3, 1e-3);
  SetUp();
  s.shape_code = Shape::ellipsoid;
  ASSERT_EQ(size(ForceType::csr_g_to_p), ok);
  expect_sizes(1e-3, 2e-3, 3e-3);
}

TEST_F(Dispatch, RelativeSizesFollowTheBunch) {
  s.shape_code = Shape::ellipsoid;
  s.long_relative = s.vert_relative = s.rad_follows_long = true;
  s.relative_long = 0.5;
  s.relative_vert = 2;
  ASSERT_EQ(size(ForceType::csr_p_to_m), ok);
  expect_sizes(1.5e-6, 1.5e-6, 10e-6);
}

TEST_F(Dispatch, TheProjectedModelSetsTheLengthAlone) {
  s.shape_code = Shape::ellipsoid;
  s.long_relative = true;
  s.relative_long = 1;
  s.sigma_rad = 0;
  ASSERT_EQ(size(ForceType::projected), ok);
  expect_sizes(3e-6, 0, 3e-3);
}

TEST_F(Dispatch, TheTableIsLinearBetweenItsRows) {
  s.shape_code = Shape::ellipsoid;
  s.long_from_file = s.rad_from_file = s.vert_from_file = true;
  table({{1, 1, 10, 5}, {3, 2, 20, 5}, {3, 4, 40, 5}, {5, 8, 80, 5}});
  struct Case {
    double ct, length;
  };
  for (const Case c :
       {Case{0, 1}, Case{1, 1}, Case{1.5, 1.25}, Case{3, 2}, Case{4, 6}, Case{5, 8}, Case{9, 8}}) {
    ASSERT_EQ(size(ForceType::csr_p_to_p, c.ct), ok);
    expect_sizes(c.length, 10 * c.length, 5);
  }
  table({{2, 7, 70, 5}});
  for (const double ct : {-1.0, 2.0, 3.0}) {
    ASSERT_EQ(size(ForceType::csr_p_to_p, ct), ok);
    EXPECT_EQ(s.sigma_long, 7);
  }
}

TEST_F(Dispatch, AColumnThatIsNotAskedForIsLeftAlone) {
  s.shape_code = Shape::ellipsoid;
  s.vert_from_file = true;
  table({{0, -1, -1, 0.5}});
  ASSERT_EQ(size(ForceType::csr_p_to_p), ok);
  expect_sizes(1e-3, 2e-3, 0.5);
}

TEST_F(Dispatch, ASizeOfZeroFailsAndStoresNothing) {
  s.long_relative = true;
  s.relative_long = 1;
  ptlcom_store.npart = 1;
  static ForceTable forces;
  forces[1] = {1, 2, 3};
  for (const ForceType type : {ForceType::projected, ForceType::csr_p_to_p, ForceType::csr_g_to_m}) {
    Status status = ok;
    log = console_of([&] { status = forcei(type, ptlcom.particle, ptlcom.section, 0, forces); });
    EXPECT_NE(status, ok);
    EXPECT_EQ(log, (Lines{" error in frcsub (sub-bunch dimensions)", " error in forcei"}));
  }
  expect_sizes(1e-3, 2e-3, 3e-3);
  EXPECT_EQ(forces[1].up, 3) << "no model was run";
  EXPECT_EQ(s.force_calls[1], 1);
  EXPECT_EQ(s.force_calls[2], 1);
  EXPECT_EQ(s.force_calls[4], 0);
  EXPECT_EQ(s.force_calls[5], 1);
}

TEST_F(Dispatch, NoForceIsATableOfZerosAndNoCall) {
  static ForceTable forces;
  forces[1] = forces[2] = forces[3] = {1, 2, 3};
  EXPECT_EQ(forcei(ForceType::none, ptlcom.particle, ptlcom.section, 0, forces), ok);
  for (const int i : {1, 2}) EXPECT_EQ(forces[i].along, 0);
  EXPECT_EQ(forces[3].along, 1) << "behind the last particle";
  for (int code = 1; code <= 5; ++code) EXPECT_EQ(s.force_calls[code], 0);
}

}  // namespace
}  // namespace tessaron::test
