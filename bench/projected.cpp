#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <random>

#include "beam/bunch_record_owner.hpp"
#include "beam/particles.hpp"
#include "forces/force_settings_owner.hpp"
#include "forces/force_work.hpp"
#include "forces/models.hpp"
#include "lattice/lattice_record_owner.hpp"
#include "main/quiet_console.hpp"
#include "tracking/steps.hpp"
#include "tracking/tracking_record_owner.hpp"

// One evaluation of the projected force for a Gaussian bunch of 300000 particles, 20 um long, 5 GeV, on the
// last arc of a chicane: arcs of 0.5 m with a radius of 10.35 m, straights of 5 m, 1 m and 5 m between them.

namespace tessaron {
namespace {

constexpr double radius = 10.35, arc_length = 0.5;
constexpr double bunch_length = 20e-6;

ForceWork work;

struct Scene {
  std::unique_ptr<ForceTable> forces = std::make_unique<ForceTable>();

  Scene(int particles, double sigma_long) {
    lay_out_chicane();
    std::mt19937_64 random(1);
    std::normal_distribution<double> normal;
    ptlcom_store.npart = particles;
    ptlcom_store.reference_momentum = 5e9 * mc_per_ev;
    for (int i = 1; i <= particles; ++i) {
      Particle& particle = ptlcom_store.particle[i];
      particle = {};
      const double u = i == 1 ? 0 : bunch_length * normal(random);
      particle.x = centre_x + u * direction_x, particle.y = centre_y + u * direction_y;
      particle.p = ptlcom.reference_momentum;
      particle.q = 1e-9 / particles;
      ptlcom_store.source[i] = ptlcom_store.test[i] = true;
      ptlcom_store.section[i] = latcom.nlat;
    }
    force_settings_store = {};
    force_settings_store.sigma_long = sigma_long;
  }

 private:
  double centre_x = 0, centre_y = 0, direction_x = 1, direction_y = 0;

  /// Boundaries and curvature table of the chicane; the bunch stands 10 cm ahead of its end.
  void lay_out_chicane() {
    const double lengths[] = {arc_length, 5, arc_length, 1, arc_length, 5, arc_length};
    const double radii[] = {radius, 0, -radius, 0, -radius, 0, radius};
    double x = 0, y = 0, angle = 0, s = 0;
    const auto boundary = [&](double r) {
      latcom_store.bnd[++latcom_store.nlat] = {
          x, y, std::cos(angle), std::sin(angle), std::cos(angle), std::sin(angle), s, r};
    };
    const auto go = [&](double l, double r) {
      const double turn = r == 0 ? 0 : -l / r, chord = r == 0 ? l : 2 * r * std::sin(l / (2 * r));
      x += chord * std::cos(angle + turn / 2), y += chord * std::sin(angle + turn / 2);
      angle += turn, s += l;
    };
    latcom_store.nlat = 0;
    boundary(0);
    for (int k = 0; k < 7; ++k) {
      latcom_store.curv[k + 1] = {s, radii[k]};
      if (k == 6) {
        go(lengths[k] - 0.1, radii[k]);
        centre_x = x, centre_y = y, direction_x = std::cos(angle), direction_y = std::sin(angle);
        go(0.1, radii[k]);
      } else {
        go(lengths[k], radii[k]);
      }
      boundary(radii[k]);
    }
    latcom_store.curv[8] = {s, 0};
    latcom_store.narc = 8;
  }
};

void evaluate(benchmark::State& state, Scene& scene) {
  for (auto _ : state) {
    if (force1(ptlcom.particle, ptlcom.section, work.projected, *scene.forces) != ok)
      state.SkipWithError("failed");
    benchmark::DoNotOptimize(scene.forces.get());
  }
  state.counters["particles/s"] =
      benchmark::Counter(ptlcom.npart, benchmark::Counter::kIsIterationInvariantRate);
}

/// What every evaluation asks for first: the rms sizes of the bunch.
void sizes(benchmark::State& state) {
  Scene scene(maxprt, bunch_length / 10);
  for (auto _ : state) benchmark::DoNotOptimize(beam_sizes(ptlcom.npart, ptlcom.particle, ptlcom.source));
  state.counters["particles/s"] =
      benchmark::Counter(ptlcom.npart, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(sizes)->Unit(benchmark::kMillisecond);

void one_evaluation(benchmark::State& state) {
  Scene scene(maxprt, bunch_length / 10);
  evaluate(state, scene);
}
BENCHMARK(one_evaluation)->Unit(benchmark::kMillisecond);

void with_15_image_pairs(benchmark::State& state) {
  Scene scene(maxprt, bunch_length / 10);
  force_settings_store.shield = 0.02;
  evaluate(state, scene);
}
BENCHMARK(with_15_image_pairs)->Unit(benchmark::kMillisecond);

void with_charge_smoothing(benchmark::State& state) {
  Scene scene(maxprt, bunch_length / 10);
  force_settings_store.par[1] = 1, force_settings_store.par[2] = 100;
  evaluate(state, scene);
}
BENCHMARK(with_charge_smoothing)->Unit(benchmark::kMillisecond);

/// Two particles so far apart that the grid has 49000 points.
void full_grid(benchmark::State& state) {
  Scene scene(2, bunch_length / 10);
  const double h = 0.2 * bunch_length / 10 * std::sqrt(0.5);
  ptlcom_store.particle[2].x = ptlcom.particle[1].x - 48949.6 * h;
  evaluate(state, scene);
  state.counters["grid points/s"] = benchmark::Counter(49000, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(full_grid)->Unit(benchmark::kMillisecond);

/// One step as a run does it: two pushes, two evaluations, the error. Of 1000 particles it is what a step
/// costs besides its particles. The steps are so short that the bunch stays where it is.
void one_step(benchmark::State& state) {
  Scene scene(static_cast<int>(state.range(0)), bunch_length / 10);
  force_settings_store.force_type = ForceType::projected;
  ptlcom_store.ctptcl = 0;
  forget_forces();
  const QuietConsole quiet;
  for (auto _ : state) benchmark::DoNotOptimize(trkadv(ptlcom.ctptcl + 1e-6));
  state.counters["particles/s"] =
      benchmark::Counter(ptlcom.npart, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(one_step)->Arg(1000)->Arg(maxprt)->Unit(benchmark::kMillisecond);

Csr1d record;

/// The kernel alone, on the grid that one evaluation of the bunch above asks for.
void kernel(benchmark::State& state) {
  Scene scene(1, bunch_length / 10);
  constexpr int n = 800;
  for (auto _ : state) {
    record.sigma = bunch_length / 10 * std::sqrt(0.5);
    record.gamma = 1e4;
    record.s_ref = latcom.curv[8].s - 0.1;
    record.s_hi = 5 * record.sigma, record.s_lo = record.s_hi - 0.2 * record.sigma * (n - 1);
    record.done = false, record.shield = 0, record.shield_max = 0.3;
    csr3(latcom.curv, latcom.narc - 1, record, n, work.projected.kernel);
    benchmark::DoNotOptimize(record.array[1]);
  }
  state.counters["grid points/s"] = benchmark::Counter(n, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(kernel)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tessaron
