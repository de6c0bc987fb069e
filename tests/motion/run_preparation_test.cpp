#include "motion/run_preparation.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "beam/bunch_record_owner.hpp"
#include "common/undefined.hpp"
#include "lattice/deck_lattice.hpp"

using namespace tessaron;
using test::console_of;
using test::filled;
using test::read_lattice;

namespace {

constexpr double p0 = 1000;
const double beta = p0 / std::sqrt(p0 * p0 + 1);

class Preparation : public testing::Test {
 protected:
  void SetUp() override {
    ptlcom_store.reference_momentum = p0;
    ptlcom_store.ctptcl = 0.5;
    place({{-1, 0}});
  }
  /// A bunch of particles at these places, not yet in sections.
  void place(std::vector<std::array<double, 2>> places) {
    ptlcom_store.npart = static_cast<std::int32_t>(places.size());
    for (int j = 1; j <= ptlcom.npart; ++j) {
      const auto& q = places[static_cast<std::size_t>(j - 1)];
      ptlcom_store.particle[j] = {q[0], q[1], 0, p0, 0, 0, 1e-15};
    }
    ptlcom_store.sections_valid = false;
  }
};

}  // namespace

TEST_F(Preparation, PlacesParticlesBeforeTheFirstBoundaryAheadOfThem) {
  ASSERT_EQ(
      read_lattice("{ dipole { position { delta_s=1 } } dipole { position { delta_s=1 delta_psi=45 } } }"),
      ok);
  place({{0.5, 0}, {1, 0}, {1.5, 0}, {1.5, 2}, {2, 0}, {2, -1}, {9, 0}});
  ASSERT_EQ(inila2(), ok);
  const std::int32_t sections[] = {1, 2, 2, 3, 3, 2, 3};  // on a boundary counts as behind it
  for (int j = 1; j <= 7; ++j) EXPECT_EQ(ptlcom.section[j], sections[j - 1]) << j;

  // Tracking moves the sections on; they stay while bunch and lattice do.
  const auto prepared_from_1 = [] {
    ptlcom_store.section[4] = 1;
    EXPECT_EQ(inila2(), ok);
    return ptlcom.section[4];
  };
  EXPECT_EQ(prepared_from_1(), 1);
  ptlcom_store.sections_valid = false;
  EXPECT_EQ(prepared_from_1(), 3);
  ASSERT_EQ(read_lattice("{ dipole { position { delta_s=1 } } dipole { position { delta_s=1 } } }"), ok);
  EXPECT_EQ(prepared_from_1(), 2);
}

TEST_F(Preparation, RefusesAnArcOfAWholeTurn) {
  for (const double degrees : {359.9, 360.0, 400.0}) {
    ASSERT_EQ(read_lattice(filled("{ dipole { position { delta_s=0 } properties { r=3 } "
                                  "position { delta_s=% marker=round } } }",
                                  {3 * radians(degrees)})),
              ok);
    const auto told = console_of([degrees] { EXPECT_EQ(inila2(), degrees < 360 ? ok : failed); });
    EXPECT_EQ(test::joined(told),
              degrees < 360 ? "" : " error in inila2: arc of 360 degrees or more, fb= 2  marker= round");
  }
}

TEST_F(Preparation, ListsEachChangeOfRadius) {
  struct Case {
    std::vector<double> radii;  ///< of sections 2, 3, ...
    std::vector<int> listed;    ///< boundaries of the arc list
  };
  for (const Case& c : {Case{{}, {1}},
                        {{0, 0, 0}, {1}},
                        {{5}, {1, 2}},
                        {{0, 5, 0, 0}, {2, 3}},
                        {{5, 0, 5}, {1, 2, 3, 4}},
                        {{5, 5, 5}, {1, 2, 4}},
                        {{0, 5, -5, 0, 7}, {2, 3, 4, 5, 6}},
                        {{0, 5, 5, 5, 0, 0, 6, 6}, {2, 3, 5, 7, 9}}}) {
    // Told section by section: a dipole block would begin with a straight one.
    ASSERT_EQ(latini(), ok);
    ASSERT_EQ(position(0, {undefined_real, undefined_real, 0, undefined_real, "", false}), ok);
    for (const double r : c.radii) {
      ASSERT_EQ(position(r, {undefined_real, undefined_real, 0.1, undefined_real, "", false}), ok);
    }
    SCOPED_TRACE(testing::PrintToString(c.radii));
    ASSERT_EQ(inila2(), ok);
    ASSERT_EQ(latcom.narc, static_cast<int>(c.listed.size()));
    int k = 0;
    for (const int i : c.listed) {
      const double behind = i < latcom.nlat ? latcom.bnd[i + 1].r : 0;
      ++k;
      EXPECT_TRUE(latcom.arc[k].s == latcom.bnd[i].s && latcom.arc[k].r == latcom.bnd[i].r) << k;
      EXPECT_TRUE(latcom.curv[k].s == latcom.bnd[i].s && latcom.curv[k].r == behind) << k;
    }
  }
}

// Times run with the design orbit's length, from wherever the particle stands.
TEST_F(Preparation, FindsWhenTheReferenceParticleMeetsTheBoundaries) {
  ASSERT_EQ(
      read_lattice(
          "{ dipole { position { delta_s=1 delta_psi=20 } properties { r=3 } position { delta_s=0.7 } }\n"
          "quadrupole { position { delta_s=0.5 } properties { strength=2 } position { delta_s=0.5 } }\n"
          "dipole { position { delta_s=0.4 delta_psi=-10 } properties { r=-2 } position { delta_s=1 } } }"),
      ok);
  ASSERT_EQ(inila2(), ok);
  for (int i = 1; i <= 6; ++i) EXPECT_NEAR(latcom.tbnd[i], 0.5 + (latcom.bnd[i].s + 1) / beta, 1e-14) << i;

  // From the straight sections, forward and backward: the rows are those of the pass from the start.
  BoundaryPoints all, again;
  fbpts(ptlcom.particle[1], 1, 0.5, all);
  for (const int i : {2, 4, 6}) {
    const BoundaryPoint& from = all[i];
    const double x = from.x + 0.01 * std::cos(from.phi), y = from.y + 0.01 * std::sin(from.phi);
    fbpts({x, y, 0, p0, from.phi, 0, 1e-15}, i + 1, from.ct + 0.01 / beta, again);
    for (int j = 1; j <= 6; ++j) {
      const Boundary& b = latcom.bnd[j];
      EXPECT_EQ(all[j].local_radius, b.r);
      EXPECT_NEAR(std::hypot(all[j].x - b.x, all[j].y - b.y), 0, 1e-14);
      EXPECT_NEAR(std::hypot(again[j].x - b.x, again[j].y - b.y), 0, 1e-14);
      EXPECT_NEAR(again[j].ct, all[j].ct, 1e-14);
      EXPECT_NEAR(again[j].phi, all[j].phi, 1e-14);
    }
  }
}
