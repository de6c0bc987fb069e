#include "lattice/magnet_field.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "beam/bunch_record_owner.hpp"
#include "lattice/deck_lattice.hpp"

using namespace tessaron;
using test::console_of;
using test::read_lattice;
using Lines = std::vector<std::string>;

namespace {

constexpr double p0 = 500;

void expect_drift(const SectionField& field) {
  EXPECT_EQ(field.K, 0);
  EXPECT_EQ(field.order, 1);
  EXPECT_EQ(field.strength, 0);
}

}  // namespace

TEST(SectionField, IsThatOfTheSectionInFrontOfABoundary) {
  ptlcom_store.reference_momentum = p0;
  ASSERT_EQ(
      read_lattice(
          "{ dipole { position { delta_s=0 } properties { r=-2 } position { delta_s=1 } }\n"
          "thin_quadrupole { position { delta_s=1 } properties { effective_length=1 quadrupole_k=1 } }\n"
          "multipole { position { delta_s=1 } properties { poles=6 strength=4 alpha=30 "
          "horizontal_offset=0.1 vertical_offset=0.2 } position { delta_s=1 } } }"),
      ok);
  const Lines console = console_of([] {
    for (const std::int32_t open_end : {-100, 0, 1, 6, 1000000}) expect_drift(section_field(open_end, true));
    expect_drift(section_field(3, true));
    expect_drift(section_field(4, false));
    EXPECT_EQ(section_field(2, true).K, p0 / -2);
    EXPECT_EQ(section_field(2, false).order, 1);
  });
  EXPECT_TRUE(console.empty());

  for (const bool forward : {true, false}) {
    const SectionField field = section_field(5, forward);
    const Boundary& entry = latcom.bnd[forward ? 4 : 5];
    EXPECT_EQ((std::array{1.0 * field.order, field.K, field.G, field.strength, field.alpha, field.z0}),
              (std::array{3.0, 0.0, 4 * p0, 4.0, radians(30), 0.2}));
    // a positive offset lies to the left of the orbit, which the dipole has turned by half a radian
    EXPECT_NEAR(field.Theta, 0.5, 1e-15);
    EXPECT_NEAR(field.x0, entry.x - 0.1 * std::sin(0.5), 1e-15);
    EXPECT_NEAR(field.y0, entry.y + 0.1 * std::cos(0.5), 1e-15);
  }
}

// In the frame of the tangent the particle's offsets and slopes are multiplied by the matrix, column by
// column.
TEST(Map, ActsOnOffsetsAndSlopesAcrossTheTangent) {
  for (const double turn : {0.0, 0.8, -2.5}) {
    const double c = std::cos(turn), s = std::sin(turn);
    DiscreteMap map{{}, 2, -1, c, s};
    std::array<double, 16>& m = map.matrix;
    for (std::size_t k = 0; k < 16; ++k) m[k] = std::sin(1 + 2.5 * static_cast<double>(k));
    const double in[] = {2e-3, 0.03, -1e-3, -0.02}, along = 4e-3;
    Particle particle{2 + along * c - in[0] * s,
                      -1 + along * s + in[0] * c,
                      in[2],
                      p0,
                      turn + std::atan(in[1]),
                      std::atan(in[3] / std::hypot(1, in[1])),
                      1e-15};
    apply_map(particle, map);
    double out[4];
    for (std::size_t a = 0; a < 4; ++a) {
      out[a] = m[a] * in[0] + m[a + 4] * in[1] + m[a + 8] * in[2] + m[a + 12] * in[3];
    }
    EXPECT_NEAR(particle.x, 2 - out[0] * s, 1e-15);
    EXPECT_NEAR(particle.y, -1 + out[0] * c, 1e-15);
    EXPECT_NEAR(particle.z, out[2], 1e-16);
    EXPECT_NEAR(particle.phi, turn + std::atan(out[1]), 1e-15);
    EXPECT_NEAR(particle.theta, std::atan(out[3] / std::hypot(1, out[1])), 1e-15);
    EXPECT_EQ(particle.p, p0);
  }
}
