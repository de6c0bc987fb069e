#include "forces/projected/current/line_moments.hpp"

#include <algorithm>
#include <array>
#include <cstdint>

#include "common/cores/chunks.hpp"

namespace tessaron {

namespace {

constexpr int orders = LineMoments::orders, per_cell = LineMoments::per_cell;
constexpr int most_grids = 16;  ///< partial sums of the moments
constexpr int fewest_in_chunk = 4096;
constexpr int reach = 25;  ///< where a Gaussian is cut, in steps of the grid

/// What the moments of a cell add to the grid points -reach .. reach steps from it.
struct Weights {
  std::array<double, (2 * reach + 1) * per_cell> cells;

  Weights(double du, double scale) {
    for (int k = -reach; k <= reach; ++k)
      for (int side = 0; side < 2; ++side) {
        const double u = (k + (side == 0 ? 0.25 : -0.25)) * du;
        double hermite = scale * std::exp(-0.5 * u * u), before = 0, factor = 1;  // He_0 and He_-1
        for (int n = 0; n < orders; ++n) {
          cells[static_cast<std::size_t>((k + reach) * per_cell + side * orders + n)] = hermite * factor;
          const double next = u * hermite - n * before;  // He_(n+1) = u He_n - n He_(n-1)
          before = hermite, hermite = next;
          factor *= du / (n + 1);
        }
      }
  }
  const double* at(int k) const { return cells.data() + (k + reach) * per_cell; }
};

/// Where some charges stand. Half cells 2 (k - 1) and 2 (k - 1) + 1 belong to grid point k = 1..nsam.
struct Places {
  static constexpr int size = 64;
  double t[size];           ///< distance from the centre of the half cell in steps of the grid, -1/4 .. 1/4
  double w[size];           ///< the charge, 0 near a border
  std::int64_t half[size];  ///< the half cell
};

TESSARON_LANES_INLINE void put_lanes(double* p, const Lanes& v) {
  for (int l = 0; l < lane_count; ++l) p[l] = v[l];
}

/// Finds the places of a block of charges, four at a time; true if there are charges near a border.
TESSARON_LANES_INLINE bool find_places(const LineGrid& grid, const double* place, const double* charge,
                                       Places& found) {
  constexpr double shifter = 6755399441055744.0;  // 1.5 * 2^52: a sum with it rounds to an integer
  LaneBits left_out{};
  for (int i = 0; i < Places::size; i += lane_count) {
    const Lanes pos = (lanes_at(place + i) - grid.ctmin) / grid.h + 1.0;
    const LaneBits on = (pos >= 1.0) & (pos <= static_cast<double>(grid.nsam));
    const Lanes safe = on ? pos : lanes_of(1.0);
    const Lanes k = (safe + shifter) - shifter, shifted = (2.0 * safe - 1.5) + shifter;
    const LaneBits clear = on & (abs_of(safe - k) <= cell_border);
    left_out |= ~clear;
    put_lanes(found.t + i, safe - (0.5 * (shifted - shifter) + 0.75));
    put_lanes(found.w + i, clear ? lanes_at(charge + i) : lanes_of(0.0));
    const LaneBits half = reinterpret_cast<LaneBits>(shifted) - reinterpret_cast<LaneBits>(lanes_of(shifter));
    for (int l = 0; l < lane_count; ++l) found.half[i + l] = half[l];
  }
  return (left_out[0] | left_out[1] | left_out[2] | left_out[3]) != 0;
}

/// Adds the moments of n charges of a block to their cells.
TESSARON_LANES_INLINE void add_moments(const Places& found, int n, double* cells) {
  for (int i = 0; i < n; ++i) {
    const double t = found.t[i], t2 = t * t;
    double* const cell = cells + found.half[i] * orders;
    const Lanes low = Lanes{1.0, t, t2, t * t2} * found.w[i], high = low * (t2 * t2);
    put_lanes(cell, lanes_at(cell) + low);
    put_lanes(cell + lane_count, lanes_at(cell + lane_count) + high);
  }
}

/// Adds the moments of a chunk's charges to the cells of its grid; true if there are charges near a border.
TESSARON_CLONES
bool collect(const LineGrid& grid, const double* place, const double* charge, int n, double* cells) {
  constexpr int block = Places::size;
  Places found;
  bool left_out = false;
  int start = 0;
  for (; start + block <= n; start += block) {
    left_out |= find_places(grid, place + start, charge + start, found);
    add_moments(found, block, cells);
  }
  if (start == n) return left_out;
  double last_place[block], last_charge[block] = {};  // filled up with nothing on grid point 1
  std::fill_n(last_place, block, grid.ctmin);
  std::copy_n(place + start, n - start, last_place);
  std::copy_n(charge + start, n - start, last_charge);
  left_out |= find_places(grid, last_place, last_charge, found);
  add_moments(found, n - start, cells);
  return left_out;
}

/// The sum over the cells first..last of their moments times the weights on one grid point, `weights` the
/// ones of the cell `first`.
TESSARON_CLONES
double sum_of_cells(const double* cells, const double* weights, int n) {
  double sum[per_cell] = {};
  for (int c = 0; c < n; ++c, cells += per_cell, weights -= per_cell)
    for (int k = 0; k < per_cell; ++k) sum[k] += cells[k] * weights[k];
  double total = 0;
  for (int k = 0; k < per_cell; ++k) total += sum[k];
  return total;
}

}  // namespace

bool add_by_moments(const LineGrid& grid, const LineCharges& charges, double scale, LineMoments& moments,
                    Output curr) {
  const int size = grid.nsam * per_cell;
  const Chunks chunks = Chunks::of(charges.n, fewest_in_chunk, std::clamp(nsamax / grid.nsam, 1, most_grids));
  double* const grids = &moments.cells[1];
  std::array<bool, most_grids + 1> left_out{};
  over_chunks(chunks, [&](const Chunk& chunk) {
    double* own = grids + std::int64_t{size} * (chunk.number - 1);
    std::fill_n(own, size, 0.0);
    left_out[static_cast<std::size_t>(chunk.number)] =
        collect(grid, charges.place + chunk.first - 1, charges.charge + chunk.first - 1, chunk.size(), own);
  });

  const Chunks rows = Chunks::of(grid.nsam, 1000);
  over_chunks(rows, [&](const Chunk& chunk) {
    const int from = (chunk.first - 1) * per_cell, to = chunk.last * per_cell;
    for (int c = 1; c < chunks.count; ++c)
      for (int k = from; k < to; ++k) grids[k] += grids[c * size + k];
  });
  const Weights weights(grid.h / grid.s1, scale);
  over_chunks(rows, [&](const Chunk& chunk) {
    for (int k = chunk.first; k <= chunk.last; ++k) {
      const int first = std::max(1, k - reach), last = std::min(grid.nsam, k + reach);
      curr.cells[k - 1] +=
          sum_of_cells(grids + (first - 1) * per_cell, weights.at(k - first), last - first + 1);
    }
  });
  return std::ranges::any_of(left_out, [](bool b) { return b; });
}

}  // namespace tessaron
