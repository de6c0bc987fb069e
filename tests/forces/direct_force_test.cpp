#include "forces/models_fixture.hpp"
#include "run/file_table.hpp"

namespace tessaron {
namespace {

using enum ForceType;

struct DirectForce : test::Models {
  void cloud(int n) {
    for (int i = 0; i < n; ++i) add(5e-5 * normal(), 3e-5 * normal(), 0, 1e-12 * (1 + 0.3 * normal()));
  }
};

// All particles on parallel straight paths with one speed: what one does to another comes back reversed.
TEST_F(DirectForce, ActionEqualsReactionOnStraightPathsInOnePlane) {
  cloud(12);
  const auto f = forces(csr_p_to_p);
  double along = 0, across = 0, scale = 0;
  for (std::int32_t i = 1; i <= 12; ++i) {
    const double q = ptlcom.particle[i].q;
    const Force& on = f[static_cast<std::size_t>(i - 1)];
    along += q * on.along;
    across += q * on.across;
    scale += q * (std::abs(on.along) + std::abs(on.across));
    EXPECT_EQ(on.up, 0);
  }
  EXPECT_GT(scale, 0);
  EXPECT_LT(std::abs(along), 1e-3 * scale);  // the field's own accuracy
  EXPECT_LT(std::abs(across), 1e-3 * scale);
  for (std::int32_t i = 1; i <= 12; ++i)
    ptlcom_store.particle[i].z = 1e-3 * i, ptlcom_store.particle[i].theta = 0.1;
  EXPECT_EQ(deviation(f, forces(csr_p_to_p)), 0) << "height does not count";
}

TEST_F(DirectForce, DoesNotDependOnTheFrame) {
  cloud(8);
  for (std::int32_t i = 1; i <= 8; ++i) ptlcom_store.particle[i].phi = 1e-3 * normal();
  const auto before = forces(csr_p_to_p);
  move(2.5, 3, -7);
  EXPECT_LT(deviation(before, forces(csr_p_to_p, 11)), 1e-6 * size(before));
}

TEST_F(DirectForce, IsTheSumOverSourcesOnEachTarget) {
  cloud(6);
  add(1e-5, 2e-5, 1e-3, 0);  // feels the others, and makes nothing
  ptlcom_store.test[2] = false;
  const auto all = forces(csr_p_to_p);
  std::vector<Force> sum(7);
  for (std::int32_t only = 1; only <= 7; ++only) {
    for (std::int32_t i = 1; i <= 7; ++i) ptlcom_store.source[i] = i == only && only != 7;
    const auto f = forces(csr_p_to_p);
    for (std::size_t i = 0; i < 7; ++i) sum[i].along += f[i].along, sum[i].across += f[i].across;
    EXPECT_EQ(size(f) == 0, only == 7);
  }
  EXPECT_LT(deviation(all, sum), 1e-12 * size(all));
  EXPECT_EQ(all[1].along, 0);
  EXPECT_EQ(all[1].across, 0);
  EXPECT_NE(all[6].across, 0);
}

// A free particle beside a bunch of one sub-bunch, far outside of it: the field of a moving point charge,
// E = q gamma d / (4 pi eps0 (gamma^2 u^2 + v^2)^(3/2)), times 1 - beta^2 = 1 / gamma^2 across the motion.
TEST_F(DirectForce, OfADistantChargeIsThatOfAPoint) {
  const double q = 1e-10, u = 2e-5, v = 0.03, gamma = std::sqrt(p0 * p0 + 1);
  sizes(1e-7);
  add(0, 0, 0, q);
  add(u, v, 0, 0);
  const double denominator = std::pow(gamma * gamma * u * u + v * v, 1.5);
  const double E = q * gamma * 8.9875517873681764e9 / denominator * mc_per_ev;
  const auto f = forces(csr_p_to_p);
  EXPECT_NEAR(f[1].along / (E * u), 1, 2e-3);
  EXPECT_NEAR(f[1].across / (E * v / (gamma * gamma)), 1, 2e-3);
}

TEST_F(DirectForce, TellsItsProgress) {
  for (const int n : {899, 900}) {
    ptlcom_store.npart = 0;
    for (int i = 0; i < n; ++i) add(0, 0, 0, 0);
    forces(csr_p_to_p);
    ASSERT_EQ(log.size(), n == 899 ? 2u : 10u);
    EXPECT_EQ(log[0], "  isrc       = 1  npart = " + std::to_string(n));
    EXPECT_EQ(log[1],
              "  isrc       = " + std::string(n == 899 ? "899" : "100") + "  npart = " + std::to_string(n));
  }
}

TEST_F(DirectForce, WritesItsDiagnosticFile) {
  const test::WorkingFolder folder;
  ASSERT_EQ(fiinit("tessar.in"), ok);
  cloud(3);
  ptlcom_store.test[3] = false;
  force_settings_store.force_test = true;
  force_settings_store.shape_code = Shape::ellipsoid;
  const auto f = forces(csr_p_to_p);
  ASSERT_EQ(log.size(), 6u);
  EXPECT_EQ(log[2].substr(0, 10), "  ctsig = ");  // sigma_long / beta, 1 / beta = sqrt(1 + 1 / p^2)
  EXPECT_NEAR(std::stod(log[2].substr(10)), 2e-5 * (1 + 0.5e-6), 1e-16);
  EXPECT_EQ(log[3], "  sigmar= 2e-05");
  EXPECT_EQ(log[4], "  sigmaz= 2e-05");
  EXPECT_EQ(log[5], "");
  const auto lines = folder.lines("fc2.dat");
  ASSERT_EQ(lines.size(), 3u);
  for (const auto& line : lines) {
    ASSERT_EQ(line.size(), 56u);
    EXPECT_EQ(line[42], ' ');
  }
  EXPECT_EQ(lines[0].substr(0, 28), "  0.000000E+00  0.000000E+00");
  EXPECT_EQ(lines[2].substr(28), "  0.000000E+00  0.000000E+00");
  EXPECT_NEAR(std::stod(lines[1].substr(14, 14)) / (ptlcom.particle[2].y - ptlcom.particle[1].y), 1, 1e-5);
  EXPECT_NEAR(std::stod(lines[1].substr(42, 14)) / f[1].across, 1, 1e-5);

  force_settings_store.shape_code = Shape::sphere;
  forces(csr_p_to_p);
  EXPECT_EQ(log.size(), 4u);

  std::filesystem::remove(folder.path("fc2.dat"));
  folder.make_folder("fc2.dat");
  static ForceTable table;
  Status status = ok;
  log = test::console_of([&] { status = force2(ptlcom.particle, ptlcom.section, 0, team, table); });
  EXPECT_NE(status, ok);
  EXPECT_EQ(log.back(), " error in force2");
  (void)close_all_files();
}

}  // namespace
}  // namespace tessaron
