#include "forces/models_fixture.hpp"

namespace tessaron {
namespace {

using enum ForceType;

struct DirectForce : test::Models {
  void cloud(int n) {
    for (int i = 0; i < n; ++i) add(5e-5 * normal(), 3e-5 * normal(), 0, 1e-12 * (1 + 0.3 * normal()));
  }
};

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

}  // namespace
}  // namespace tessaron
