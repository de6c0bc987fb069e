#include <algorithm>

#include "forces/models_fixture.hpp"

namespace tessaron {
namespace {

using enum ForceType;

struct GreensForce : test::Models {
  /// Particles in the middle of a long arc, on paths that are the mean one moved and turned: each on the
  /// circle through its own place, within +-length along it and +-width across.
  void arc_bunch(int n, double length, double width) {
    arc(1.5, 1.5);
    std::uniform_real_distribution<double> even(-1, 1);
    for (int i = 0; i < n; ++i) {
      const double turn = i == 0 ? 0 : length * even(engine) / R, r = R + (i == 0 ? 0 : width * even(engine));
      add(r * std::sin(turn), r * std::cos(turn) - R, -turn);
    }
  }
  /// Directions and momenta spread as well.
  void shake(double angle, double momentum) {
    for (std::int32_t i = 1; i <= ptlcom.npart; ++i) {
      ptlcom_store.particle[i].phi += angle * normal();
      ptlcom_store.particle[i].p *= 1 + momentum * normal();
    }
  }
};

// With no box worth its nodes each particle is a point of its own. Its force is computed for the reference
// motion and taken to its own; the direct model does without that detour.
TEST_F(GreensForce, PointByPointEqualsTheDirectModel) {
  arc_bunch(12, 1e-4, 5e-5);
  shake(1e-3, 1e-2);
  force_settings_store.sbox = force_settings_store.rbox = 1e-3;
  const auto direct = forces(csr_p_to_p);
  EXPECT_LT(deviation(direct, forces(csr_p_to_m)), 1e-6 * size(direct));
  EXPECT_EQ(log.at(0), "  boxes = 0  e_points= 0  p_points= 12");
}

// The limits are the interpolation on the mesh lines of 0.2 sigma_long, and that in the boxes.
TEST_F(GreensForce, OneFieldForAllEqualsTheDirectModelForMovedAndTurnedPaths) {
  arc_bunch(40, 1e-4, 5e-5);
  const auto direct = forces(csr_p_to_p);
  EXPECT_LT(deviation(direct, forces(csr_g_to_p)), 4e-3 * size(direct));
  for (const auto& line : log) EXPECT_EQ(line.find("boxes"), std::string::npos);
  arc_bunch(2000, 1e-4, 5e-5);
  const auto points = forces(csr_g_to_p, 1), mesh = forces(csr_g_to_m, 1);
  EXPECT_LT(deviation(points, mesh), 0.03 * size(points));
  EXPECT_GT(deviation(points, mesh), 0);
}

// The second evaluation at the same time uses the rows of the first; after it the rows are gone.
TEST_F(GreensForce, ReusedEqualsRebuilt) {
  arc_bunch(50, 1e-4, 5e-5);
  shake(1e-4, 1e-3);
  const std::string note = " using old green's function";
  const auto noted = [&] { return std::find(log.begin(), log.end(), note) != log.end(); };
  const auto first = forces(csr_g_to_m);
  EXPECT_FALSE(noted());
  EXPECT_EQ(deviation(first, forces(csr_g_to_m)), 0);
  EXPECT_TRUE(noted());
  forces(csr_g_to_m, 1e-9);
  EXPECT_FALSE(noted());
  forces(csr_g_to_m, 1e-9);
  forget_mesh();
  forces(csr_g_to_m, 1e-9);
  EXPECT_FALSE(noted());
  force_settings_store.use_old_mesh = false;
  EXPECT_EQ(deviation(first, forces(csr_g_to_m, 0)), 0);
  EXPECT_EQ(deviation(first, forces(csr_g_to_m, 0)), 0);
  EXPECT_FALSE(noted());
}

TEST_F(GreensForce, InBlocksEqualsInOne) {
  arc_bunch(60, 2e-4, 1e-4);
  shake(1e-3, 1e-3);
  const auto whole = forces(csr_g_to_m);
  ASSERT_FALSE(work.green.mesh.more());
  ASSERT_EQ(work.green.mesh.gfirst, 1);
  const auto rows = static_cast<std::int32_t>(work.green.mesh.ngreen);
  for (const int blocks : {2, 5, 20}) {
    forget_mesh();
    green_set_capacity(rows / blocks);
    EXPECT_LT(deviation(whole, forces(csr_g_to_m)), 1e-10 * size(whole)) << blocks;
    EXPECT_GT(work.green.mesh.gfirst, 1);
    forces(csr_g_to_m);  // such a mesh is not kept
    for (const auto& line : log) EXPECT_EQ(line.find("old"), std::string::npos);
  }
}

// An observer far ahead of or behind all sources: the inner range lies at the mesh's edge, or beyond it. Far
// ahead of the sub-bunch the lines are up to 5 sigma_long apart.
TEST_F(GreensForce, ReachesObserversFarFromAllSources) {
  for (const double far : {-3e-3, 3e-3}) {
    ptlcom_store.npart = 0;
    arc_bunch(5, 2e-5, 1e-5);
    for (int i = 1; i <= 5; ++i) ptlcom_store.test[i] = i == 1;
    add(far, 0, 0, 0);
    const auto direct = forces(csr_p_to_p);
    EXPECT_LT(deviation(direct, forces(csr_g_to_p, far)), 1e-2 * size(direct)) << far;
    ptlcom_store.test[1] = false;
    const auto alone = forces(csr_g_to_p, 2 * far);
    EXPECT_NEAR(alone[5].along, direct[5].along, 1e-2 * size(direct)) << far;
  }
}

// Weights: charge for place and momentum, none for the direction; all of it exact in these numbers.
TEST_F(GreensForce, MeanParticleIsWeightedByCharge) {
  arc(1, 1);
  add(1, 0, 0.2, 3, 1000);
  add(2, 4, -0.1, 1, 1400);
  add(9, 9, 1.0, 0, 9999);  // no source
  ptlcom_store.section[2] = 3;
  MeanSource mean = mean_source(ptlcom.particle, ptlcom.section);
  EXPECT_EQ(mean.particle.x, 1.25);
  EXPECT_EQ(mean.particle.y, 1);
  EXPECT_EQ(mean.particle.p, 1100);
  EXPECT_NEAR(mean.particle.phi, 0.05, 1e-15);
  EXPECT_EQ(mean.particle.q, 1);
  EXPECT_EQ(mean.section, 3);  // the mean lies behind both boundaries
  ptlcom_store.particle[2].x = -2;
  EXPECT_EQ(mean_source(ptlcom.particle, ptlcom.section).section, 2);
  ptlcom_store.particle[2].q = std::nextafter(-3, 0);  // they cancel, but for rounding
  EXPECT_NEAR(mean_source(ptlcom.particle, ptlcom.section).particle.x, -0.5, 1e-15);
}

}  // namespace
}  // namespace tessaron
