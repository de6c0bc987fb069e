// On a straight path in uniform motion the field is that of a charge at rest, seen from a moving frame.

#include <gtest/gtest.h>

#include "testpaths.hpp"

namespace tessaron::test {
namespace {

constexpr double c = 299792458.0, sigma = 1e-4;

/// All slots for a charge of 1 C, a Gaussian with the rms sizes (sigma, sy, sz) in the laboratory, that moves
/// along x and passes the origin at t = 0; test particle of the same velocity. In the rest frame, with s_i
/// the sizes there,
///     phi = k / sqrt(pi) int_0^inf prod_i exp(-x_i^2 / (2 s_i^2 + q)) / sqrt(2 s_i^2 + q) dq.
/// Source: Kellogg, Foundations of Potential Theory, ch. VII.
FieldResult coulomb(double gamma, double sy, double sz, double x, double y, double z) {
  const double beta = beta_of(gamma), xr = gamma * x, two_sx2 = 2 * gamma * gamma * sigma * sigma;
  double phi = 0, ex = 0, ey = 0, ez = 0;
  const double step = 0.02;
  for (double v = -50; v < 30; v += step) {  // q = exp(v): the trapezoidal rule converges exponentially
    const double q = std::exp(v), gx = two_sx2 + q, gy = 2 * sy * sy + q, gz = 2 * sz * sz + q;
    const double w = step * q * std::exp(-xr * xr / gx - y * y / gy - z * z / gz) / std::sqrt(gx * gy * gz);
    phi += w;
    ex += w * 2 * xr / gx;
    ey += w * 2 * y / gy;
    ez += w * 2 * z / gz;
  }
  const double k = 8987551787.3665428 / std::sqrt(3.14159265358979323846);
  FieldResult f{};
  const double e_y = k * gamma * ey, e_z = k * gamma * ez;
  f.force[0] = k * ex, f.force[1] = e_y / (gamma * gamma), f.force[2] = e_z / (gamma * gamma);
  f.cb[1] = -beta * e_z, f.cb[2] = beta * e_y;
  f.phi = k * gamma * phi;
  f.a[0] = beta * f.phi / c;
  f.phi_t = beta * c * gamma * k * gamma * ex;  // d phi/dt = -v d phi/dx
  f.a_t[0] = beta * f.phi_t / c;
  return f;
}

struct Model {
  const char* name;
  void (*choose)();
  double sy, sz;
  double tolerance;  // of its own averages: none, 100 straight pieces, a closed form, a sum over a grid
};
const Model models[] = {{"line", [] {}, 0, 0, 2e-6},
                        {"stick", [] { finit(source, "sigmaz", 3e-5); }, 0, 3e-5, 2e-3},
                        {"round", [] { use_round(3e-5); }, 3e-5, 3e-5, 2e-6},
                        {"wide", [] { use_ellipse(8e-5, 2e-5); }, 8e-5, 2e-5, 2e-3},
                        {"tall", [] { use_ellipse(1e-5, 8e-5); }, 1e-5, 8e-5, 2e-3}};

void expect_close(const double* got, const double* want, int n, double scale, double tolerance,
                  const char* what) {
  for (int i = 0; i < n; ++i) EXPECT_NEAR(got[i], want[i], tolerance * scale) << what << i;
}

TEST(StraightPath, GivesTheCoulombFieldOfEveryTransverseModelInAllSlots) {
  // Off the axis by less and more than the charge's size, and far; beyond 1 m of the path's nodes as well.
  const double places[][3] = {{0, 2e-5, 0},       {1e-4, -5e-5, 3e-5}, {-2e-4, 1e-6, -1e-4},
                              {3e-4, 4e-4, 1e-3}, {-1e-4, 3e-3, 0},    {2e-4, 1e-5, 1e-5}};
  use_summation(Summation::batched, 8);
  for (const double gamma : {20.0, 200.0, 5000.0}) {
    use_orbit(Orbit(-2, {{3, 0}}), gamma);
    for (const Model& model : models) {
      use_source(sigma, gamma, 1e-7);
      finit(source, "xnsigt", 7);  // the parabola that closes the profile is then below 1e-9
      model.choose();
      for (const auto& r : places) {
        const FieldResult got = field(r[0], r[1], r[2], gamma),
                          want = coulomb(gamma, model.sy, model.sz, r[0], r[1], r[2]);
        SCOPED_TRACE(testing::Message()
                     << model.name << " gamma " << gamma << " at " << r[0] << " " << r[1] << " " << r[2]);
        // The transverse model replaces the core of the field only; what it leaves is of the order of the
        // squared ratio of the sizes in the rest frame.
        const double ratio = std::max(model.sy, model.sz) / (gamma * sigma),
                     tolerance = model.tolerance + 3 * ratio * ratio;
        const double e = std::hypot(want.cb[1], want.cb[2]);
        expect_close(got.force, want.force, 3, std::abs(want.force[0]) + e / gamma / gamma, tolerance, "F");
        expect_close(got.cb, want.cb, 3, e, tolerance, "cB");
        expect_close(&got.phi, &want.phi, 1, want.phi, tolerance, "phi");
        expect_close(got.a, want.a, 3, want.a[0], tolerance, "A");
        expect_close(&got.phi_t, &want.phi_t, 1, want.phi * c / sigma, tolerance, "phi_t");
        expect_close(got.a_t, want.a_t, 3, want.phi / sigma, tolerance, "A_t");
      }
    }
  }
  use_summation(Summation::batched);
}

}  // namespace
}  // namespace tessaron::test
