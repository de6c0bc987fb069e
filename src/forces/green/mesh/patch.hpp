#pragma once
#include <algorithm>

#include "forces/green/mesh/lookup.hpp"

namespace tessaron {

/// The inner workings of a lookup, shared by the single one and the one in the double loop.

/// The four rows around a position, and how they weigh.
struct GreenCorners {
  const GreenRow *left, *right;  ///< the first of two neighbouring rows on each line
  double tl, tr;                 ///< weight of the second row of either line
  double wx;                     ///< weight of the left line

  /// The weighted sum. A row that holds no field yet makes `f1` no number.
  GreenRow weigh() const {
    const double w01 = wx * tl, w00 = wx - w01;
    const double w11 = (1 - wx) * tr, w10 = (1 - wx) - w11;
    const GreenRow &r00 = left[0], &r01 = left[1], &r10 = right[0], &r11 = right[1];
    return {(w00 * r00.f1 + w01 * r01.f1) + (w10 * r10.f1 + w11 * r11.f1),
            (w00 * r00.f2 + w01 * r01.f2) + (w10 * r10.f2 + w11 * r11.f2),
            (w00 * r00.bz + w01 * r01.bz) + (w10 * r10.bz + w11 * r11.bz)};
  }
};
inline bool has_field(const GreenRow& row) { return row.f1 == row.f1; }

/// Even rows of one line, as places of the table.
struct EvenRows {
  double start, per_metre;
  int first;      ///< place of the first row
  int last_pair;  ///< the last row that has one behind it, counted from the first

  /// Rows `place` and `place` + 1 stand around b with the weights 1 - t and t; on the end row t is 1.
  int around(double b, double& t) const {
    const double v = (b - start) * per_metre;
    const int j = std::min(static_cast<int>(v), last_pair);
    t = v - j;
    return first + j;
  }
};

/// A part of the block in which the rows of both lines of a strip are even. It serves all positions within
/// it, so that a run of neighbouring positions searches once.
struct GreenPatch {
  double from = 1, to = 0, low = 1, high = 0;  ///< range in a and in b [m]; nothing lies in the empty one
  double per_width = 0;                        ///< inverse of the strip's width [1/m]
  int strip = 0;
  EvenRows line[2] = {};

  bool holds(double a, double b) const { return (a >= from) & (a < to) & (b >= low) & (b <= high); }

  GreenCorners corners(const GreenMesh& mesh, double a, double b) const {
    GreenCorners at;
    at.left = &mesh.gtab[line[0].around(b, at.tl)];
    at.right = &mesh.gtab[line[1].around(b, at.tr)];
    at.wx = (to - a) * per_width;
    return at;
  }
};

/// The strip around x, which lies within the lines. Few cells of `xgidx` hold more than two lines, so that
/// a search of two steps without a branch mostly is all.
inline int strip_around(const GreenMesh& mesh, double x) {
  const int last = mesh.nxg - 1;
  int k = std::min<int>(mesh.xgidx[green_search_cell(mesh, x) + 1], last);
  while (k > 1 && mesh.line[k].x > x) --k;  // a rounding error may have picked the cell above
  k += k < last && mesh.line[k + 1].x <= x;
  k += k < last && mesh.line[k + 1].x <= x;
  while (k < last && mesh.line[k + 1].x <= x) ++k;
  return k;
}

/// Narrows the patch to the even rows around b on line i.
inline void take_rows(const GreenMesh& mesh, int i, double b, GreenPatch& patch, EvenRows& rows) {
  if (!mesh.is_inner(i)) {
    const GreenLine& line = mesh.line[i];
    const std::int64_t before = mesh.line[i - 1].gend;
    rows = {line.ylo, line.per_metre, static_cast<int>(before + 1 - mesh.gbase),
            static_cast<int>(line.gend - before - 2)};
    return;
  }
  const GreenStretches& s = mesh.inner[i - mesh.iline1 + 1];
  const int k = (b >= s.yb[1]) + (b >= s.yb[2]);
  rows = {s.yb[k], s.per_metre[k], static_cast<int>(s.jb[k] - mesh.gbase),
          static_cast<int>(s.jb[k + 1] - s.jb[k] - 1)};
  patch.low = std::max(patch.low, s.yb[k]);
  patch.high = std::min(patch.high, s.yb[k + 1]);
}

/// Finds the patch around (a, b); an empty one unless the block covers the position.
inline Cover take_patch(const GreenMesh& mesh, double a, double b, GreenPatch& patch) {
  patch.from = 1, patch.to = 0;
  if (mesh.nxg < 2) return Cover::beyond_mesh;
  const double first = mesh.line[1].x, last = mesh.line[mesh.nxg].x;
  if (!((a >= first) & (a <= last))) return Cover::beyond_mesh;
  const int k = strip_around(mesh, a);
  if (k < mesh.gfirst || k >= mesh.glast) return Cover::other_block;
  const GreenLine &left = mesh.line[k], &right = mesh.line[k + 1];
  patch.low = std::max(left.ylo, right.ylo);
  patch.high = std::min(left.yhi, right.yhi);
  if (!((b >= patch.low) & (b <= patch.high))) return Cover::beside_lines;
  patch.from = left.x, patch.to = right.x;
  patch.per_width = left.per_width;
  patch.strip = k;
  take_rows(mesh, k, b, patch, patch.line[0]);
  take_rows(mesh, k + 1, b, patch, patch.line[1]);
  return Cover::inside;
}

}  // namespace tessaron
