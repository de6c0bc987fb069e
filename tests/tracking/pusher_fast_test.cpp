#include "tracking/pusher_fast.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

#include "beam/ptlcom_owner.hpp"
#include "common/undefined.hpp"
#include "lattice/latcom_owner.hpp"
#include "lattice/lattice.hpp"

using namespace tessaron;
using namespace tessaron::pusher;

namespace {

constexpr double p0 = 2000;

/// Cases of one kind, the same at every run.
class Sweep {
 public:
  double uniform(double low, double high) { return std::uniform_real_distribution<>(low, high)(engine_); }
  bool coin() { return uniform(0, 1) < 0.5; }

  /// Section 2 carries the magnet; its entry lies anywhere in the plane, in any direction.
  void make_section(std::int32_t order) {
    latcom_store = LatticeRecord{};
    ptlcom_store.reference_momentum = p0;
    const double a = uniform(-3.1, 3.1), psi = a + uniform(-0.4, 0.4);
    latcom_store.nlat = 1;
    latcom_store.bnd[1] = {uniform(-5, 5), uniform(-5, 5), std::cos(a), std::sin(a),
                           std::cos(psi),  std::sin(psi),  0,           0};
    const bool bend = order == 1 && coin();
    const double r = bend ? (coin() ? 1 : -1) * std::exp(uniform(-0.5, 3)) : 0;
    ASSERT_EQ(
        position(r, {undefined_real, undefined_real, uniform(0.05, 0.6), uniform(-0.4, 0.4), "", false}), ok);
    if (order < 2) return;
    latcom_store.elem[2] = {ElementClass::field, 1, 1, 4};
    latcom_store.ipool[1] = order;
    const double reals[] = {uniform(-1e-3, 1e-3), uniform(-1e-3, 1e-3), 3 * std::pow(8.0, order - 2),
                            uniform(-3, 3)};
    for (int k = 1; k <= 4; ++k) latcom_store.rpool[k] = reals[k - 1];
  }

  /// A particle in the section, some of them far from the axis or steep.
  Particle particle() {
    const Boundary& b = latcom.bnd[1];
    const double size = std::pow(10, uniform(-6, -1.3)), along = uniform(1e-3, 0.04);
    const double off = size * uniform(-1, 1), turn = size * uniform(-1, 1);
    return {b.x + along * b.tx - off * b.ty,
            b.y + along * b.ty + off * b.tx,
            size * uniform(-1, 1),
            p0 * uniform(0.7, 1.4),
            std::atan2(b.ty, b.tx) + turn,
            size * uniform(-1, 1),
            1e-15};
  }

  ForceInterval force(ForceKind kind) {
    ForceInterval f{-0.3, 0.9, {}, {}};
    if (kind == ForceKind::none) return f;
    f.fa.along = uniform(-50, 50);
    f.fb.along = uniform(-50, 50);
    if (kind == ForceKind::along) return f;
    f.fa.across = uniform(-50, 50);
    f.fb.up = uniform(-50, 50);
    return f;
  }

 private:
  std::mt19937_64 engine_{20060206};
};

void expect_equal_segments(const Particle& start, double t_end, bool crossing, const ForceInterval* force) {
  Particle a = start, b = start;
  std::int32_t section_a = 2, section_b = 2;
  bool crossing_a = crossing, crossing_b = crossing;
  double ta = 0.01, tb = 0.01;
  segment_step<Way::plain>(a, section_a, crossing_a, ta, t_end, force);
  segment_step<Way::fast>(b, section_b, crossing_b, tb, t_end, force);
  constexpr double tolerance = 1e-13;
  EXPECT_EQ(section_a, section_b);
  EXPECT_EQ(crossing_a, crossing_b);
  EXPECT_NEAR(ta, tb, tolerance);
  EXPECT_NEAR(a.x, b.x, tolerance * std::max(1.0, std::abs(a.x)));
  EXPECT_NEAR(a.y, b.y, tolerance * std::max(1.0, std::abs(a.y)));
  EXPECT_NEAR(a.z, b.z, tolerance);
  EXPECT_NEAR(a.p / b.p, 1, tolerance);
  EXPECT_NEAR(a.phi, b.phi, tolerance * std::max(1.0, std::abs(a.phi)));
  EXPECT_NEAR(a.theta, b.theta, tolerance);
  EXPECT_EQ(b.q, start.q);
}

}  // namespace

// Half of the segments end on a boundary, half of them run backward.
TEST(FastPusher, EqualsThePlainEquations) {
  Sweep sweep;
  int crossings = 0;
  for (int run = 0; run < 3000; ++run) {
    const auto kind = static_cast<ForceKind>(run % 3);
    sweep.make_section(1 + run / 3 % 4);
    const Particle start = sweep.particle();
    const double way = std::exp(sweep.uniform(-5, 0.2));
    const double t_end = 0.01 + (sweep.coin() ? way : -way);
    const ForceInterval force = sweep.force(kind);
    const bool crossing = sweep.coin();
    SCOPED_TRACE(run);
    expect_equal_segments(start, t_end, crossing, kind == ForceKind::none ? nullptr : &force);
    if (HasFailure()) return;

    Particle end = start;
    std::int32_t section = 2;
    bool crossed = false;
    double t = 0.01;
    lattice_step(end, section, crossed, t, t_end, &force);
    crossings += crossed;
  }
  EXPECT_GT(crossings, 1000);
  EXPECT_LT(crossings, 2500);
}

TEST(FastPusher, TurnsAnglesByTheAdditionTheorem) {
  for (const double base : {0.0, 0.3, -1.2, 3.14159, 100.0}) {
    TurningAngle angle(base, std::cos(base), std::sin(base));
    double c, s;
    for (double d = -0.2; d < 0.2; d += 0.0007) {
      angle.at(base + d, c, s);
      EXPECT_NEAR(c, std::cos(base + d), 4e-16);
      EXPECT_NEAR(s, std::sin(base + d), 4e-16);
    }
  }
}
