// What a field evaluation costs: one source and one observer, by transverse model, path and energy, and where
// the time goes. The rate is that of pairs, each with all 14 slots.

#include <benchmark/benchmark.h>

#include <cmath>

#include "common/constants.hpp"
#include "field/ffield.hpp"
#include "field/integral/quadrature.hpp"
#include "field/observer_work.hpp"
#include "field/path/path_build.hpp"
#include "field/source_record.hpp"

namespace {

using namespace tessaron;

constexpr double sigma = 1e-4;
FieldSource source;
ObserverWork work;

/// A path of a straight entrance, an arc in which the source stands, and a straight exit.
void lay_path(double gamma, double kappa) {
  static BoundaryPoints rows;
  const double beta = std::sqrt(1 - 1 / (gamma * gamma));
  const double bounds[] = {-3, -2, 1, 2}, bends[] = {-2, -2, 1, 1};
  for (int i = 0; i < 4; ++i) {
    const double phi = kappa * bends[i], arc = bends[i], beyond = bounds[i] - arc;
    const double x = kappa == 0 ? arc : std::sin(phi) / kappa,
                 y = kappa == 0 ? 0 : (1 - std::cos(phi)) / kappa;
    rows[i + 1] = {x + beyond * std::cos(phi), y + beyond * std::sin(phi), 0, 0, phi, 0, bounds[i] / beta};
  }
  build_path({0, 0, 0, gamma * beta, 0, 0, 1}, rows, 4, 0, source);
}

/// The settings of the direct force, for the shape code of the `forces` block.
void set_up(double gamma, double kappa, int shape, double shield) {
  finit(source, "q0", 1);
  finit(source, "xnsigt", 5);
  finit(source, "relacc", 1e-4);
  finit(source, "zsymmetry", 1);
  finit(source, "1dmirror", 1);
  finit(source, "hc", shield);
  finit(source, "hmax", 0.3);
  finit(source, "rintmi", 1e-6);
  finit(source, "method", shape);
  finit(source, "sigmat", sigma / (speed_of_light * std::sqrt(1 - 1 / (gamma * gamma))));
  if (shape == 2) finit(source, "sigmaz", 5e-5);
  if (shape == 3) {
    finit(source, "sigmar", 1e-4);
    finit(source, "sigmaz", 3e-5);
  }
  lay_path(gamma, kappa);
  finit(source, "check", 0);
}

/// Observer number i of a walk through the bunch.
Vec3 observer(int i) { return {(i % 141) * 2e-6 - 1.4e-4, (i * 7 % 37) * 3e-6 - 5e-5, 0}; }

void evaluate(benchmark::State& state) {
  const double n[3] = {1, 0, 0};
  int i = 0;
  for (auto _ : state) {
    const Vec3 at = observer(++i);
    const double r[3] = {at.x, at.y, at.z};
    FieldResult result = ffield(source, work, 0, r, source.path.gam, n);
    benchmark::DoNotOptimize(result);
  }
  state.SetItemsProcessed(state.iterations());
}

void Arc(benchmark::State& state) {
  set_up(static_cast<double>(state.range(0)), 0.5, static_cast<int>(state.range(1)), 0);
  evaluate(state);
}
BENCHMARK(Arc)
    ->Unit(benchmark::kMicrosecond)
    ->ArgNames({"gamma", "shape"})
    ->ArgsProduct({{200, 2000, 10000}, {0, 2, 3}});

void Straight(benchmark::State& state) {
  set_up(1000, 0, 2, 0);
  evaluate(state);
}
BENCHMARK(Straight)->Unit(benchmark::kMicrosecond);

/// The way of comparison: node by node.
void PlainSummation(benchmark::State& state) {
  set_up(1000, 0.5, 2, 0);
  source.settings.summation = Summation::plain;
  evaluate(state);
  source.settings.summation = Summation::batched;
}
BENCHMARK(PlainSummation)->Unit(benchmark::kMicrosecond);

/// Mirror charges: on a path that is straight all images but a few are cheap.
void Mirrors(benchmark::State& state) {
  set_up(1000, 1e-3 * static_cast<double>(state.range(0)), 2, 1e-3 * static_cast<double>(state.range(1)));
  evaluate(state);
}
BENCHMARK(Mirrors)
    ->Unit(benchmark::kMicrosecond)
    ->ArgNames({"kappa_mm", "gap_mm"})
    ->ArgsProduct({{0, 500}, {30, 10}});

/// The path of one source, once its particle has been tracked through the boundaries.
void SetPath(benchmark::State& state) {
  set_up(1000, 0.5, 2, 0);
  for (auto _ : state) lay_path(1000, 0.5);
}
BENCHMARK(SetPath)->Unit(benchmark::kMicrosecond);

/// The parts of an evaluation, each with all parts before it.
void Parts(benchmark::State& state) {
  set_up(1000, 0.5, 2, 0);
  const FieldSettings& set = source.settings;
  const int parts = static_cast<int>(state.range(0));
  int i = 0;
  Slots sum;
  for (auto _ : state) {
    const Vec3 r = observer(++i);
    fclini(source.path, r, set.slow, set.shigh, set.relacc * 1e-12, work.closest);
    if (parts > 1) {
      f12ini(source.path, 0, r, set.slow - set.rintma, set.shigh + 5 * sigma, 5.1 * set.sigmat,
             14989622.9 * set.sigmat, work.limits);
    }
    if (parts > 2) {
      ziini(source, {false, false, true}, work.closest, work.limits, source.path.gam, {1, 0, 0},
            work.expansion);
    }
    if (parts > 3) fzpole(work.expansion, sum), fzSP(source.shape, work.expansion, work.axis, sum);
    if (parts > 4) zipnts(source, work.limits, work.expansion, work.mesh);
    if (parts > 5) wint1(source, work.expansion, work.mesh, work.nodes, sum);
    benchmark::DoNotOptimize(sum);
  }
  static const char* const labels[] = {
      "closest point", "+ retarded limits", "+ expansion", "+ closed terms, pole", "+ mesh", "+ quadrature"};
  state.SetLabel(labels[parts - 1]);
}
BENCHMARK(Parts)->Unit(benchmark::kMicrosecond)->DenseRange(1, 6);

}  // namespace
