// The transverse models: special functions against their closed forms, averages against Gauss's law.

#include "field/source/pole_field.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "field/source/gauss_functions.hpp"

namespace tessaron {
namespace {

TEST(GaussFunctions, EqualTheirClosedFormsOverAllPieces) {
  for (double u = 2e-5; u < 20; u *= 1.01) {
    const double v = u * u / 2, g1 = -std::expm1(-v), g2 = -0.5 * std::expint(-v), g3 = g2 + g1 / (u * u);
    EXPECT_NEAR(fzg1(u), g1, u <= 6 ? 1e-10 : 2e-8) << u;  // exp(-18) is left out
    // The near forms leave out u^2 / 4 below 0.001; beyond 6 the exponential integral is below 4e-10.
    const double slack = u < 0.001 ? u * u : 4e-10;
    EXPECT_NEAR(fzg2(u), g2, slack) << u;
    EXPECT_NEAR(fzg3(u), g3, slack) << u;
  }
  EXPECT_EQ(fzg1(0), 0);
  EXPECT_EQ(fzg2(-1), 0);
  for (const double u : {1e-4, 0.001, 3.0, 6.0}) {  // the pieces join
    EXPECT_NEAR(fzg3(u), fzg3(std::nextafter(u, 10)), 3e-7) << u;
  }
}

PoleAverages ellipse(const Vec3& across, const Vec3& axis, double sigmax, double sigmin) {
  static AxisGrid grid;
  return ellipse_averages(across, axis, sigmax, sigmin, grid);
}

struct Charge {
  const char* name;
  double sy, sz;
  PoleAverages (*at)(const Vec3&);
};
const Charge charges[] = {{"round", 3e-5, 3e-5, [](const Vec3& d) { return round_averages(d, 3e-5); }},
                          {"wide", 5e-5, 3e-5,
                           [](const Vec3& d) {
                             return ellipse(d, {0, 1, 0}, 4e-5, 3e-5);
                           }},
                          {"tall", 2e-5, std::sqrt(2e-5 * 2e-5 + 8e-5 * 8e-5), [](const Vec3& d) {
                             return ellipse(d, {0, 0, 1}, 8e-5, 2e-5);
                           }}};

// G averages D/D^2 = grad ln|D|, H averages D ln|D|, P ln|D|: so G = grad P, div G is 2 pi times the charge's
// density, and div H = 2 P + 1.
TEST(PoleAverages, ObeyGaussLawInTwoDimensions) {
  for (const Charge& charge : charges) {
    for (const Vec3 d :
         {Vec3{0, 1e-5, 2e-5}, Vec3{0, -6e-5, 3e-5}, Vec3{0, 1e-4, -1.5e-4}, Vec3{0, 3e-6, 0}}) {
      const double h = 2e-7;
      const PoleAverages right = charge.at({0, d.y + h, d.z}), left = charge.at({0, d.y - h, d.z});
      const PoleAverages above = charge.at({0, d.y, d.z + h}), below = charge.at({0, d.y, d.z - h});
      const PoleAverages here = charge.at(d);
      const double density =
          std::exp(-0.5 * (d.y * d.y / (charge.sy * charge.sy) + d.z * d.z / (charge.sz * charge.sz))) /
          (charge.sy * charge.sz);
      const double size = 1 / (charge.sy * charge.sz);
      EXPECT_NEAR((right.g.y - left.g.y + above.g.z - below.g.z) / (2 * h), density, 2e-3 * size)
          << charge.name;
      EXPECT_NEAR((right.p - left.p) / (2 * h), here.g.y, 2e-3 / charge.sy) << charge.name;
      EXPECT_NEAR((above.p - below.p) / (2 * h), here.g.z, 2e-3 / charge.sy) << charge.name;
      EXPECT_NEAR((right.h.y - left.h.y + above.h.z - below.h.z) / (2 * h), 2 * here.p + 1, 2e-2)
          << charge.name;
    }
    const Vec3 far{0, 3e-3, -4e-3};
    const PoleAverages model = charge.at(far), line = line_averages(far);
    EXPECT_NEAR(model.g.y, line.g.y, 2e-3 * std::abs(line.g.y));
    EXPECT_NEAR(model.p, line.p, 2e-3);
    EXPECT_NEAR(model.h.z, line.h.z, 2e-3 * std::abs(line.h.z));
  }
}

TEST(PoleAverages, AStickEqualsAVeryFlatEllipseAndAShortStickALine) {
  for (const Vec3 d : {Vec3{0, 6e-5, 3e-5}, Vec3{0, -1e-4, 1e-5}, Vec3{0, 7e-5, -2e-4}}) {
    const PoleAverages stick = stick_averages(d, {1, 0, 0}, {0.3, 0, 2}, 5e-5);
    const PoleAverages flat = ellipse(d, {0, 0, 1}, 5e-5, 1e-6);
    EXPECT_NEAR(stick.g.y, flat.g.y, 2e-3 * norm(flat.g));
    EXPECT_NEAR(stick.g.z, flat.g.z, 2e-3 * norm(flat.g));
    EXPECT_NEAR(stick.p, flat.p, 1e-3);
    EXPECT_NEAR(norm(stick.h - flat.h), 0, 2e-3 * norm(flat.h));
    for (const double sigma : {0.0, 1e-9}) {
      const PoleAverages point = stick_averages(d, {1, 0, 0}, {0, 0, 1}, sigma), line = line_averages(d);
      EXPECT_NEAR(norm(point.g - line.g), 0, 1e-5 * norm(line.g));
      EXPECT_NEAR(point.p, line.p, 1e-5);
      EXPECT_NEAR(norm(point.h - line.h), 0, 1e-5 * norm(line.h));
    }
  }
}

TEST(PoleAverages, OnTheAxisOfARoundChargeTheLogarithmsCancel) {
  const PoleAverages axis = round_averages({0, 0, 0}, 3e-5);
  EXPECT_NEAR(axis.p, std::log(std::sqrt(2.0) * 3e-5) - 0.28860783245076599, 1e-12);
  EXPECT_EQ(norm(axis.g), 0);
  EXPECT_EQ(norm(axis.h), 0);
}

}  // namespace
}  // namespace tessaron
