#include <array>
#include <cmath>
#include <random>

#include "support/beam_fixture.hpp"

namespace tessaron::test {
namespace {

constexpr int n = 50;

/// A bunch that flies along (phi, theta): rms 1 mm, 1 mrad and 1 percent about its reference particle.
void make_bunch(double phi, double theta) {
  std::mt19937 random(12345);
  std::normal_distribution<double> normal;
  ptlcom_store.npart = n;
  for (int i = 1; i <= n; ++i) {
    const double size = i == 1 ? 0 : 1e-3;
    ptlcom_store.particle[i] = {3.7 + size * normal(random),       -1.3 + size * normal(random),
                                0.2 + size * normal(random),       9784.75 * (1 + 10 * size * normal(random)),
                                phi + size * normal(random),       theta + size * normal(random),
                                i % 7 == 0 ? 0.0 : 1e-12 / (i + 2)};
    ptlcom_store.section[i] = 1;
    ptlcom_store.source[i] = ptlcom_store.particle[i].q != 0;
    ptlcom_store.test[i] = true;
  }
  ptlcom_store.particle[3].q = 1e-120;  // 0.10000000000000-119 in a file
}

/// Place [3.7 m], momentum in components [that of particle 1] and charge [1e-12 C].
std::array<double, 7> state(const Particle& a) {
  const double p = a.p / 9784.75, h = p * std::cos(a.theta);
  return {a.x / 3.7, a.y, a.z, h * std::cos(a.phi), h * std::sin(a.phi), p * std::sin(a.theta), a.q / 1e-12};
}

class RoundTrip : public Beam {
 protected:
  double worst_deviation(const std::string& format, double degrees, double phi, double theta) const {
    make_bunch(phi, theta);
    ptlcom_store.ctptcl = 12.345678;
    ptlcom_store.reference_point_x = 0.4;
    ptlcom_store.reference_point_y = -2.1;
    ptlcom_store.reference_point_phi = radians(degrees);
    static ParticleTable written;
    written = ptlcom.particle;
    EXPECT_EQ(monwrt("bunch.dat", format == "fmt1" ? 1 : 2), ok);
    EXPECT_EQ(read_particles("{ reference_point_x = 0.4 reference_point_y = -2.1 reference_point_phi = " +
                             std::to_string(degrees) + " format = " + format +
                             " array = #file { name = bunch.dat } }"),
              ok);
    EXPECT_EQ(ptlcom.npart, n);
    EXPECT_EQ(ptlcom.ctptcl, 12.345678);
    double worst = 0;
    for (int i = 1; i <= n; ++i) {
      const auto a = state(written[i]), b = state(ptlcom.particle[i]);
      for (std::size_t k = 0; k < a.size(); ++k) worst = std::max(worst, std::abs(a[k] - b[k]));
      EXPECT_EQ(ptlcom.source[i], i % 7 != 0);
    }
    return worst;
  }
};

// A file has 14 digits: half a unit of the last one is 5e-14 of the smallest mantissa.
TEST_F(RoundTrip, WritingThenReadingIsTheIdentityForAllFramesAndDirections) {
  for (const char* format : {"fmt1", "fmt2"}) {
    for (const double degrees : {0.0, 30.0, 90.0, 137.0, 180.0, -75.0, 360.0, 725.0}) {
      for (const double phi : {0.0, 0.3, 1.5, 3.1, -2.0}) {
        for (const double theta : {0.0, 0.4, -1.2, 1.57, -1.57}) {
          EXPECT_LT(worst_deviation(format, degrees, phi, theta), 1e-13)
              << format << " frame " << degrees << " direction " << phi << ", " << theta;
        }
      }
    }
  }
}

}  // namespace
}  // namespace tessaron::test
