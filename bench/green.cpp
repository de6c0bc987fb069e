// Cost of the Green's function forces: one lookup in the double loop over sources and points, and whole
// evaluations of an arc bunch by number of particles.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "beam/ptlcom_owner.hpp"
#include "forces/force_settings_owner.hpp"
#include "forces/green_sources.hpp"
#include "forces/models.hpp"
#include "lattice/latcom_owner.hpp"

namespace tessaron {
namespace {

constexpr double sigma_long = 2e-5, rms_long = 1e-4, rms_rad = 3e-5, chirp = 1e-4;
ForceTable forces;

/// A bunch of n particles in the middle of a long arc of 10 m radius, p = 1000.
void make_bunch(std::int32_t n) {
  std::mt19937 random(4711);
  std::normal_distribution<double> normal;
  ptlcom_store.npart = n;
  for (std::int32_t i = 1; i <= n; ++i) {
    const double u = i == 1 ? 0 : rms_long * normal(random), v = i == 1 ? 0 : rms_rad * normal(random);
    const double angle = i == 1 ? 0 : chirp * normal(random);
    ptlcom_store.particle[i] = {u, v, 0, 1000 * (1 + angle), angle, 0, 1e-9 / n};
    ptlcom_store.source[i] = ptlcom_store.test[i] = true;
    ptlcom_store.section[i] = 2;
  }
}

/// An arc of 1 m from 0.5 m before the bunch on. A positive radius turns clockwise.
void make_lattice() {
  constexpr double R = 10, half = 0.05;
  LatticeRecord& l = latcom_store;
  l.nlat = 2;
  for (int i = 1; i <= 2; ++i) {
    const double angle = i == 1 ? -half : half;
    Boundary& b = l.bnd[i];
    b.x = R * std::sin(angle);
    b.y = -R * (1 - std::cos(angle));
    b.tx = b.nx = std::cos(angle);
    b.ty = b.ny = -std::sin(angle);
    b.s = R * (angle + half);
    b.r = i == 2 ? R : 0;
    l.elem[i] = {};
  }
  l.elem[3] = {};
  ptlcom_store.reference_momentum = 1000;
}

void settings(ForceType type) {
  ForceSettings& s = force_settings_store;
  s.force_type = type;
  s.shape_code = Shape::sphere;
  s.sigma_long = s.sigma_rad = s.sigma_vert = sigma_long;
  s.sbox = s.rbox = 0.5;
}

/// Some smooth field: here only the lookup counts.
void smooth_field(double a, double b, GreenRow& field) { field = {a, b, a * b}; }

void BM_lookup(benchmark::State& state) {
  const auto n = static_cast<std::int32_t>(state.range(0));
  make_bunch(n);
  // points: nodes of a mesh of half sub-bunch lengths, column by column
  std::vector<double> x, y;
  for (double u = -4 * rms_long; u < 4 * rms_long; u += sigma_long / 2) {
    for (double v = -4 * rms_rad; v < 4 * rms_rad; v += sigma_long / 2) x.push_back(u), y.push_back(v);
  }
  std::vector<GreenRow> sum(x.size());
  static Polygon relpoly;
  const double u = 12 * rms_long, v = 12 * rms_rad;
  bounda([&](double th) { return u * std::abs(std::cos(th)) + v * std::abs(std::sin(th)); }, 0, relpoly);
  static PathArcs arcs;
  gmesh0({relpoly, arcs, 0, sigma_long, sigma_long, false, smooth_field});
  for (auto _ : state) {
    for (std::int32_t i = 1; i <= n; ++i) {
      const Particle& p = ptlcom.particle[i];
      green_add_source(GreenSourceTerm(p.x, p.y, p.phi, p.q, 0, 1), true, {x, y, sum});
    }
    benchmark::DoNotOptimize(sum.data());
  }
  const double lookups = static_cast<double>(n) * static_cast<double>(x.size());
  state.counters["time/lookup"] = benchmark::Counter(
      lookups, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.counters["points"] = static_cast<double>(x.size());
}
BENCHMARK(BM_lookup)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

void BM_evaluation(benchmark::State& state, ForceType type) {
  make_lattice();
  make_bunch(static_cast<std::int32_t>(state.range(0)));
  settings(type);
  for (auto _ : state) {
    grnrst();
    if (force3(type, ptlcom.particle, ptlcom.section, ptlcom.ctptcl, forces) != ok)
      state.SkipWithError("failed");
  }
  state.counters["rows"] = static_cast<double>(green_mesh.ngreen);
}
BENCHMARK_CAPTURE(BM_evaluation, csr_g_to_m, ForceType::csr_g_to_m)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(300000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_evaluation, csr_g_to_p, ForceType::csr_g_to_p)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tessaron
