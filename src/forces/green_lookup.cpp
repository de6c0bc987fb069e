#include "forces/green_lookup.hpp"

#include <algorithm>

#include "common/console.hpp"
#include "forces/green_mesh_owner.hpp"
#include "forces/green_patch.hpp"

namespace tessaron {

namespace {

GreenMesh& mesh = green_mesh_store;

/// Narrows the patch to the even rows around b on line i.
void take_rows(int i, double b, GreenPatch& patch, EvenRows& rows) {
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

/// Gives the rows around (a, b) their fields.
void fill_rows(const GreenPatch& patch, double b) {
  for (int side = 0; side < 2; ++side) {
    double t;
    const int place = patch.line[side].around(b, t);
    for (int d = 0; d < 2; ++d) {
      if (!mesh.gflag[place + d]) green_fill_row(patch.strip + side, place + d + mesh.gbase);
    }
  }
}

}  // namespace

bool fmesh2(double x, int& k) {
  const int n = mesh.nxg;
  if (n < 2 || !(x >= mesh.line[1].x && x <= mesh.line[n].x)) return false;
  int i = mesh.xgidx[green_search_cell(mesh, x) + 1];
  while (i > 1 && mesh.line[i].x > x) --i;  // a rounding error may have picked the cell above
  while (i <= n && mesh.line[i].x <= x) ++i;
  k = std::min(i, n) - 1;
  if (k < 1 || !(mesh.line[k].x <= x && x <= mesh.line[k + 1].x)) {
    fatal_stop("fmesh2: there is something wrong");
  }
  return true;
}

Cover take_patch(double a, double b, GreenPatch& patch) {
  patch.from = 1, patch.to = 0;
  int k;
  if (!fmesh2(a, k)) return Cover::beyond_mesh;
  if (k < mesh.gfirst || k >= mesh.glast) return Cover::other_block;
  const GreenLine &left = mesh.line[k], &right = mesh.line[k + 1];
  patch.low = std::max(left.ylo, right.ylo);
  patch.high = std::min(left.yhi, right.yhi);
  if (!(b >= patch.low && b <= patch.high)) return Cover::beside_lines;
  patch.from = left.x, patch.to = right.x;
  patch.per_width = left.per_width;
  patch.strip = k;
  take_rows(k, b, patch, patch.line[0]);
  take_rows(k + 1, b, patch, patch.line[1]);
  return Cover::inside;
}

void green_fill_row(int i, std::int64_t j) {
  GreenStretches stretches;
  green_stretches(mesh, i, stretches);
  const int place = static_cast<int>(j - mesh.gbase);
  mesh.field(mesh.line[i].x, green_row_place(stretches, j), mesh.gtab[place]);
  mesh.gflag[place] = true;
}

Cover gmesh2(double a, double b, GreenRow& field) {
  GreenPatch patch;
  const Cover cover = take_patch(a, b, patch);
  if (cover != Cover::inside) return cover;
  const GreenCorners at = patch.corners(mesh, a, b);
  field = at.weigh();
  if (!has_field(field)) {
    fill_rows(patch, b);
    field = at.weigh();
  }
  return cover;
}

Cover gmesh1(double a, double b) {
  GreenPatch patch;
  const Cover cover = take_patch(a, b, patch);
  if (cover != Cover::inside) return cover;
  for (const EvenRows& rows : patch.line) {
    double t;
    const int place = rows.around(b, t);
    mesh.gflag[place] = mesh.gflag[place + 1] = true;
  }
  return cover;
}

}  // namespace tessaron
