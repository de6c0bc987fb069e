#include "forces/projected/line_moments.hpp"

#include <algorithm>
#include <array>

#include "common/chunks.hpp"
#include "common/clones.hpp"
#include "common/table.hpp"

namespace tessaron {

namespace {

constexpr int orders = 8;             ///< moments of a half cell
constexpr int per_cell = 2 * orders;  ///< of both halves
constexpr int most_grids = 16;        ///< partial sums of the moments
constexpr int fewest_in_chunk = 4096;
constexpr int reach = 25;  ///< where a Gaussian is cut, in steps of the grid

/// Moments of the chunks, one grid of nsam cells after the other: as many chunks as find room.
alignas(64) Table<double, nsamax * per_cell> moments;

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

/// Adds the moments of a chunk's charges to the cells of its grid; true if there are charges near a border.
TESSARON_WIDE_CLONES
bool collect(const LineGrid& line_grid, const double* place, const double* charge, int n, double* cells) {
  constexpr int block = 64;  // places first, then sums: each of the two loops has one thing to do
  const LineGrid grid = line_grid;
  bool left_out = false;
  for (int start = 0; start < n; start += block) {
    const int m = std::min(block, n - start);
    int half[block];
    double t[block], w[block];
    int border = 0;
    for (int i = 0; i < m; ++i) {
      const CellPlace at = cell_place(grid, place[start + i]);
      half[i] = at.half;
      t[i] = at.t;
      w[i] = at.near_border ? 0.0 : charge[start + i];
      border |= at.near_border;
    }
    left_out |= border != 0;
    for (int i = 0; i < m; ++i) {
      const double t2 = t[i] * t[i], t4 = t2 * t2;
      const double low[4] = {w[i], w[i] * t[i], w[i] * t2, w[i] * (t[i] * t2)};
      double* cell = cells + half[i] * orders;
      for (int k = 0; k < 4; ++k) cell[k] += low[k];
      for (int k = 0; k < 4; ++k) cell[k + 4] += low[k] * t4;
    }
  }
  return left_out;
}

/// The sum over the cells first..last of their moments times the weights on one grid point, `weights` the
/// ones of the cell `first`.
TESSARON_WIDE_CLONES
double sum_of_cells(const double* cells, const double* weights, int n) {
  double sum[per_cell] = {};
  for (int c = 0; c < n; ++c, cells += per_cell, weights -= per_cell)
    for (int k = 0; k < per_cell; ++k) sum[k] += cells[k] * weights[k];
  double total = 0;
  for (int k = 0; k < per_cell; ++k) total += sum[k];
  return total;
}

}  // namespace

bool add_by_moments(const LineGrid& grid, const LineCharges& charges, double scale, Output curr) {
  const int size = grid.nsam * per_cell;
  const Chunks chunks = Chunks::of(charges.n, fewest_in_chunk, std::clamp(nsamax / grid.nsam, 1, most_grids));
  double* const grids = &moments[1];
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
