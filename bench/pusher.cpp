// The pusher: particles times Runge-Kutta steps per second over 0.1 m, one section far from its boundaries,
// and the time for a full bunch of 300000 particles (the rate "bunches").
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>

#include "beam/bunch_record_owner.hpp"
#include "lattice/lattice_record_owner.hpp"
#include "motion/pusher.hpp"

namespace tessaron {
namespace {

enum class Kind { drift, dipole, quadrupole };
enum class SelfForce { none, along, all };

constexpr int fits_the_caches = 20000;
constexpr double length = 0.1;

void one_section(Kind kind) {
  latcom_store = LatticeRecord{};
  latcom_store.nlat = 2;
  const double r = kind == Kind::dipole ? 10.3462283687 : 0;
  latcom_store.bnd[1] = {-1, 0, 1, 0, 1, 0, -1, 0};
  latcom_store.bnd[2] = {4, 0, 1, 0, 1, 0, 4, r};
  if (kind == Kind::quadrupole) {
    latcom_store.elem[2] = {ElementClass::field, 1, 1, 4};
    latcom_store.ipool[1] = 2;
    latcom_store.rpool[3] = 1.0;
  }
}

/// Steps of one particle by the pusher's step rule.
int steps(Kind kind) { return kind == Kind::drift ? 3 : kind == Kind::dipole ? 1 : 5; }

void push(benchmark::State& state, Kind kind, SelfForce self_force, int bunch = fits_the_caches) {
  auto particles = std::make_unique<ParticleTable>();
  auto sections = std::make_unique<SectionTable>();
  auto fa = std::make_unique<ForceTable>(), fb = std::make_unique<ForceTable>();
  ptlcom_store.reference_momentum = 1e4;
  one_section(kind);
  for (int j = 1; j <= bunch; ++j) {
    const double v = std::sin(j), w = std::cos(3 * j);
    (*particles)[j] = {1e-4 * v, 1e-4 * w, 1e-4 * v * w, 1e4 * (1 + 1e-3 * w), 1e-5 * v, 1e-5 * w, 1e-15};
    (*sections)[j] = 2;
    const double turn = self_force == SelfForce::all ? 0.01 * v : 0;
    (*fa)[j] = {v, turn, turn};
    (*fb)[j] = {w, -turn, turn};
  }
  const bool with_force = self_force != SelfForce::none;
  auto work = std::make_unique<ParticleTable>();
  auto work_sections = std::make_unique<SectionTable>();
  const PushForce force{with_force ? fa.get() : nullptr, with_force ? fb.get() : nullptr, 0, length};
  for (auto _ : state) {
    track_all(bunch, *particles, *sections, *work, *work_sections, 0, length, force);
    benchmark::DoNotOptimize((*work)[1]);
  }
  using benchmark::Counter;
  const double done = static_cast<double>(state.iterations()) * bunch;
  state.counters["particle_steps"] = Counter(done * steps(kind), Counter::kIsRate);
  state.counters["s_per_full_bunch"] = Counter(done / maxprt, Counter::kIsRate | Counter::kInvert);
}

BENCHMARK_CAPTURE(push, drift, Kind::drift, SelfForce::none);
BENCHMARK_CAPTURE(push, drift_force_along, Kind::drift, SelfForce::along);
BENCHMARK_CAPTURE(push, drift_force_all, Kind::drift, SelfForce::all);
BENCHMARK_CAPTURE(push, dipole, Kind::dipole, SelfForce::none);
BENCHMARK_CAPTURE(push, dipole_force_along, Kind::dipole, SelfForce::along);
BENCHMARK_CAPTURE(push, dipole_force_all, Kind::dipole, SelfForce::all);
BENCHMARK_CAPTURE(push, quadrupole, Kind::quadrupole, SelfForce::none);
BENCHMARK_CAPTURE(push, quadrupole_force_along, Kind::quadrupole, SelfForce::along);
BENCHMARK_CAPTURE(push, quadrupole_force_all, Kind::quadrupole, SelfForce::all);
BENCHMARK_CAPTURE(push, full_bunch_drift_force_along, Kind::drift, SelfForce::along, maxprt);
BENCHMARK_CAPTURE(push, full_bunch_dipole_force_along, Kind::dipole, SelfForce::along, maxprt);

}  // namespace
}  // namespace tessaron
