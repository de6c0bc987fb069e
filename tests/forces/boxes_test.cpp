#include "forces/green/boxes.hpp"

#include "forces/fields/field_settings.hpp"
#include "forces/models_fixture.hpp"

namespace tessaron {
namespace {

using test::Models;

struct Boxes : Models {
  static inline ObservationPoints points;
  static inline SortSpace sort;
  static inline BoxMesh mesh;
  static inline ForceTable table;
  static constexpr double sigma = 1e-5;

  Force at(std::int32_t i) const { return table[i]; }
  void build(bool to_mesh = true) {
    log = test::console_of([&] { frcbox(ptlcom.particle, sigma, sigma, to_mesh, sort, mesh, points); });
  }
  /// Gives each point a field that depends on its place, and takes it to the particles.
  template <class Field>
  void take(Field field, const ReferenceMotion& reference) {
    for (std::int32_t e = 1; e <= points.ne; ++e) points.sum[e] = field(points.lab[e].x, points.lab[e].y);
    frcint(ptlcom.particle, reference, mesh, points, table);
  }
  void cloud(int n, double length, double width, double angle) {
    for (int i = 0; i < n; ++i) add(length * normal(), width * normal(), 0);
    move(angle, 3, -2);
  }
};

// The sums are E + beta n x c B for the reference motion; the force is that for the particle's own.
TEST_F(Boxes, ForceIsThatOfTheParticlesOwnMotion) {
  for (int i = 0; i < 200; ++i) add(0, 0, 3 * normal(), 1e-12, std::exp(3 * normal()));
  build(false);
  ASSERT_EQ(points.ne, 200);
  const double ex = 2, ey = -3, bz = 1.7, phi = 0.4, beta = 0.95;
  const double fx = ex + beta * std::sin(phi) * bz, fy = ey - beta * std::cos(phi) * bz;
  const GreenRow sum{std::cos(phi) * fx + std::sin(phi) * fy, std::cos(phi) * fy - std::sin(phi) * fx, bz};
  take([&](double, double) { return sum; }, {phi, beta, 0});
  for (std::int32_t i = 1; i <= 200; ++i) {
    const Particle& p = ptlcom.particle[i];
    const double c = std::cos(p.phi), s = std::sin(p.phi), v = beta_of(p);
    const double gx = ex + v * s * bz, gy = ey - v * c * bz;
    ASSERT_NEAR(at(i).along, c * gx + s * gy, 1e-12);
    ASSERT_NEAR(at(i).across, c * gy - s * gx, 1e-12);
    ASSERT_EQ(at(i).up, 0);
  }
}

TEST_F(Boxes, TakeFourParticlesAndNoFewer) {
  for (const int n : {3, 4}) {
    ptlcom_store.npart = 0;
    add(0, 0, 0);
    for (int i = 0; i < n; ++i) add(1e-4 + 1e-7 * i, 0, 0);
    add(5e-5, 0, 0);
    ptlcom_store.test[n + 2] = false;  // neither counts in a box nor is a point
    build();
    EXPECT_EQ(log.at(0),
              n == 3 ? "  boxes = 0  e_points= 0  p_points= 4" : "  boxes = 1  e_points= 4  p_points= 1");
    take([](double, double) { return GreenRow{1, 2, 0}; }, {0, 1, 0});
    EXPECT_EQ(at(1).along, 1);
    EXPECT_NEAR(at(3).across, 2, 1e-14);
    EXPECT_EQ(at(n + 2).along, 0);
    EXPECT_EQ(at(n + 2).across, 0);
  }
}

}  // namespace
}  // namespace tessaron
