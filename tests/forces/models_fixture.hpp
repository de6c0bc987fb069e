#pragma once
#include <cmath>
#include <memory>
#include <random>
#include <tuple>
#include <vector>

#include "beam/bunch_record_owner.hpp"
#include "forces/force_settings_owner.hpp"
#include "forces/force_work.hpp"
#include "forces/models.hpp"
#include "lattice/lattice_record_owner.hpp"
#include "support/capture.hpp"

namespace tessaron::test {

/// Evaluations of the sub-bunch models on bunches made by hand.
struct Models : ::testing::Test {
  static constexpr double p0 = 1000, R = 10;

  void SetUp() override {
    forget_mesh();
    green_set_capacity(maxgre);
    force_settings_store = ForceSettings{};
    ptlcom_store.npart = 0;
    ptlcom_store.reference_momentum = p0;
    straight();
    sizes(2e-5);
  }

  static void forget_mesh() { work.green.kept = {}; }

  /// No boundaries: the design orbit is the x axis.
  static void straight() {
    latcom_store.nlat = 0;
    latcom_store.narc = 1;
    latcom_store.curv[1] = {0, 0};
  }
  /// An arc of radius R through the lab's origin, along x there, from `behind` metres before it to `ahead`
  /// metres after it.
  static void arc(double behind, double ahead) {
    latcom_store.nlat = 2;
    for (int i = 1; i <= 2; ++i) {
      const double turn = (i == 1 ? -behind : ahead) / R, tx = std::cos(turn), ty = -std::sin(turn);
      latcom_store.bnd[i] = {R * std::sin(turn), R * (std::cos(turn) - 1), tx, ty, tx, ty, R * turn + behind,
                             i == 2 ? R : 0};
      latcom_store.elem[i] = latcom_store.elem[i + 1] = {};
    }
    latcom_store.narc = 2;
    latcom_store.curv[1] = {0, R};
    latcom_store.curv[2] = {behind + ahead, 0};
  }
  static void sizes(double sigma) {
    force_settings_store.shape_code = Shape::sphere;
    force_settings_store.sigma_long = force_settings_store.sigma_rad = force_settings_store.sigma_vert =
        sigma;
  }
  static void add(double x, double y, double phi, double q = 1e-12, double p = p0) {
    const std::int32_t i = ++ptlcom_store.npart;
    ptlcom_store.particle[i] = {x, y, 0, p, phi, 0, q};
    ptlcom_store.source[i] = q != 0;
    ptlcom_store.test[i] = true;
    ptlcom_store.section[i] = latcom_store.nlat == 0 ? 1 : 2;
  }
  /// Turns all particles about the lab's origin and shifts them.
  static void move(double angle, double dx, double dy) {
    for (std::int32_t i = 1; i <= ptlcom.npart; ++i) {
      Particle& p = ptlcom_store.particle[i];
      const double x = p.x, y = p.y, c = std::cos(angle), s = std::sin(angle);
      p.x = dx + c * x - s * y;
      p.y = dy + s * x + c * y;
      p.phi += angle;
    }
  }

  /// Turns the particles and the two boundaries about the lab's origin.
  static void turn(double angle) {
    move(angle, 0, 0);
    const double c = std::cos(angle), s = std::sin(angle);
    for (int i = 1; i <= 2; ++i) {
      Boundary& b = latcom_store.bnd[i];
      const auto turned = [&](double& x, double& y) {
        std::tie(x, y) = std::pair{c * x - s * y, s * x + c * y};
      };
      turned(b.x, b.y), turned(b.tx, b.ty), turned(b.nx, b.ny);
    }
  }

  /// One evaluation at c t = `ct`; what it writes to the console is in `log`.
  std::vector<Force> forces(ForceType type, double ct = 0) {
    static ForceTable table;
    log = console_of([&] {
      const Status status =
          type == ForceType::csr_p_to_p
              ? force2(ptlcom.particle, ptlcom.section, ct, work.fields, table)
              : force3(type, ptlcom.particle, ptlcom.section, ct, work.fields, work.green, table);
      EXPECT_EQ(status, ok);
    });
    const auto run = table.run(1, ptlcom.npart);
    return {run.begin(), run.end()};
  }
  /// Largest difference of two results, of either component [1/m].
  static double deviation(const std::vector<Force>& a, const std::vector<Force>& b) {
    double most = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
      most = std::max({most, std::abs(a[i].along - b[i].along), std::abs(a[i].across - b[i].across)});
    }
    return most;
  }
  static double size(const std::vector<Force>& a) { return deviation(a, std::vector<Force>(a.size())); }

  static inline ForceWork work;
  std::vector<std::string> log;
  std::mt19937 engine{99};
  double normal() { return std::normal_distribution<double>()(engine); }
};

}  // namespace tessaron::test
