// Cost of the sub-bunch forces: one lookup in the double loop over sources and points, and whole evaluations
// of an arc bunch by number of particles, of the direct force too.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "beam/bunch_record_owner.hpp"
#include "forces/force_settings_owner.hpp"
#include "forces/force_work.hpp"
#include "forces/green/mesh/patch.hpp"
#include "forces/green/mesh/rows.hpp"
#include "forces/models.hpp"
#include "lattice/lattice_record_owner.hpp"
#include "main/quiet_console.hpp"

namespace tessaron {
namespace {

constexpr double sigma_long = 3e-5, rms_long = 1e-4, rms_rad = 3e-5, chirp = 1e-4;
ForceTable forces;
ForceWork work;

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

void settings(ForceType type, double box) {
  ForceSettings& s = force_settings_store;
  s.force_type = type;
  s.shape_code = Shape::sphere;
  s.sigma_long = s.sigma_rad = s.sigma_vert = sigma_long;
  s.sbox = s.rbox = box;
}

/// Some smooth field: here only the lookup counts.
const struct Smooth final : GreenField {
  void at(double a, double b, GreenRow& field) const override { field = {a, b, a * b}; }
} smooth;
constinit GreenMesh mesh{};

/// Nodes of a mesh of half sub-bunch lengths over the bunch, column by column.
struct Nodes {
  std::vector<double> x, y;
  std::vector<GreenRow> sum;
  Nodes() {
    for (double u = -4 * rms_long; u < 4 * rms_long; u += sigma_long / 2) {
      for (double v = -4 * rms_rad; v < 4 * rms_rad; v += sigma_long / 2) x.push_back(u), y.push_back(v);
    }
    sum.resize(x.size());
  }
};

/// A mesh for all positions of these nodes relative to the particles.
void lay_mesh() {
  static Polygon relpoly;
  static PathArcs arcs;
  const double u = 12 * rms_long, v = 12 * rms_rad;
  bounda([&](double th) { return u * std::abs(std::cos(th)) + v * std::abs(std::sin(th)); }, 0, relpoly);
  gmesh0({relpoly, arcs, 0, sigma_long, sigma_long, false}, mesh);
}

void count_pairs(benchmark::State& state, double sources, double points) {
  state.counters["points"] = points;
  state.counters["time/pair"] = benchmark::Counter(
      sources * points, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/// The particles as sources, in their order along the motion.
std::vector<GreenSourceTile> sorted_tiles(std::int32_t n) {
  std::vector<Particle> sorted(&ptlcom_store.particle[1], &ptlcom_store.particle[1] + n);
  std::sort(sorted.begin(), sorted.end(), [](const Particle& a, const Particle& b) { return a.x < b.x; });
  std::vector<GreenSourceTile> tiles;
  for (const Particle& p : sorted) {
    if (tiles.empty() || tiles.back().full()) tiles.push_back({});
    tiles.back().add(p.x, p.y, p.phi, p.q, 0, 1);
  }
  return tiles;
}

/// The double loop, all rows there after the first turn.
void BM_double_loop(benchmark::State& state) {
  const auto n = static_cast<std::int32_t>(state.range(0));
  make_bunch(n);
  lay_mesh();
  Nodes nodes;
  const std::vector<GreenSourceTile> tiles = sorted_tiles(n);
  for (auto _ : state) {
    for (const GreenSourceTile& tile : tiles) {
      for (std::size_t e = 0; e < nodes.x.size(); ++e) {
        const auto field = [&] {
          return green_tile_field(tile, mesh, smooth, true, nodes.x[e], nodes.y[e], MissingRow::want);
        };
        nodes.sum[e] = field();
        if (has_field(nodes.sum[e])) continue;
        green_fill_wanted(mesh, smooth);
        nodes.sum[e] = field();
      }
    }
    benchmark::DoNotOptimize(nodes.sum.data());
  }
  count_pairs(state, n, static_cast<double>(nodes.x.size()));
}
BENCHMARK(BM_double_loop)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

/// The same with one lookup at a time, for comparison.
void BM_single_lookups(benchmark::State& state) {
  make_bunch(1000);
  lay_mesh();
  Nodes nodes;
  for (auto _ : state) {
    for (std::int32_t i = 1; i <= 1000; ++i) {
      const Particle& p = ptlcom.particle[i];
      GreenSourceTile source{};
      source.add(p.x, p.y, p.phi, p.q, 0, 1);
      for (std::size_t e = 0; e < nodes.x.size(); ++e) {
        const double dx = nodes.x[e] - p.x, dy = nodes.y[e] - p.y;
        GreenRow f{};
        gmesh2(mesh, smooth, source.c[0] * dx + source.s[0] * dy, source.c[0] * dy - source.s[0] * dx, f);
        source.add_field(0, f, nodes.sum[e]);
      }
    }
    benchmark::DoNotOptimize(nodes.sum.data());
  }
  count_pairs(state, 1000, static_cast<double>(nodes.x.size()));
}
BENCHMARK(BM_single_lookups)->Unit(benchmark::kMillisecond);

/// A whole evaluation with a new mesh and all rows that it needs; `sbox` and `rbox` in hundredths.
void BM_evaluation(benchmark::State& state, ForceType type) {
  make_lattice();
  make_bunch(static_cast<std::int32_t>(state.range(0)));
  settings(type, static_cast<double>(state.range(1)) / 100);
  const QuietConsole quiet;
  for (auto _ : state) {
    work.green.kept = {};
    const Status status =
        force3(type, ptlcom.particle, ptlcom.section, ptlcom.ctptcl, work.fields, work.green, forces);
    if (status != ok) {
      state.SkipWithError("the evaluation failed");
    }
  }
  double nodes = 0;
  for (std::int32_t k = 1; k <= work.green.boxes.nbox; ++k) {
    for (const std::int32_t corner : work.green.boxes.box[k].corner) nodes = std::max<double>(nodes, corner);
  }
  double single = 0;
  for (std::int32_t i = 1; i <= ptlcom.npart; ++i) single += !work.green.boxes.inbox[i];
  const auto flags = work.green.mesh.gflag.run(1, work.green.mesh.nblock);
  state.counters["rows"] = static_cast<double>(std::count(flags.begin(), flags.end(), true));
  count_pairs(state, ptlcom.npart, nodes + single);
}
BENCHMARK_CAPTURE(BM_evaluation, csr_g_to_m, ForceType::csr_g_to_m)
    ->ArgNames({"particles", "box"})
    ->ArgsProduct({{1000, 10000, 100000, 300000}, {50}})
    ->Args({100000, 100})
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_evaluation, csr_g_to_p, ForceType::csr_g_to_p)
    ->ArgNames({"particles", "box"})
    ->ArgsProduct({{1000, 10000}, {50}})
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_evaluation, csr_p_to_m, ForceType::csr_p_to_m)
    ->ArgNames({"particles", "box"})
    ->ArgsProduct({{300}, {50}})
    ->Unit(benchmark::kMillisecond);

/// One evaluation of the direct force.
void BM_direct(benchmark::State& state) {
  make_lattice();
  make_bunch(static_cast<std::int32_t>(state.range(0)));
  settings(ForceType::csr_p_to_p, 0);
  const QuietConsole quiet;
  for (auto _ : state) {
    if (force2(ptlcom.particle, ptlcom.section, ptlcom.ctptcl, work.fields, forces) != ok) {
      state.SkipWithError("the evaluation failed");
    }
  }
  count_pairs(state, ptlcom.npart, ptlcom.npart);
}
BENCHMARK(BM_direct)->Arg(300)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tessaron
