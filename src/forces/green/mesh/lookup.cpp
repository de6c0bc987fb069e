#include "forces/green/mesh/lookup.hpp"

#include <algorithm>

#include "common/console.hpp"
#include "forces/green/mesh/patch.hpp"

namespace tessaron {

namespace {

/// Gives the rows around (a, b) their fields.
void fill_rows(GreenMesh& mesh, const GreenField& source, const GreenPatch& patch, double b) {
  for (int side = 0; side < 2; ++side) {
    double t;
    const int place = patch.line[side].around(b, t);
    for (int d = 0; d < 2; ++d) {
      if (!mesh.gflag[place + d]) green_fill_row(mesh, source, patch.strip + side, place + d + mesh.gbase);
    }
  }
}

}  // namespace

bool fmesh2(const GreenMesh& mesh, double x, int& k) {
  const int n = mesh.nxg;
  if (n < 2 || !(x >= mesh.line[1].x && x <= mesh.line[n].x)) return false;
  k = strip_around(mesh, x);
  if (!(mesh.line[k].x <= x && x <= mesh.line[k + 1].x)) fatal_stop("fmesh2: there is something wrong");
  return true;
}

void green_fill_row(GreenMesh& mesh, const GreenField& source, int i, std::int64_t j) {
  GreenStretches stretches;
  green_stretches(mesh, i, stretches);
  const int place = static_cast<int>(j - mesh.gbase);
  source.at(mesh.line[i].x, green_row_place(stretches, j), mesh.gtab[place]);
  if (!mesh.gflag[place]) mesh.used[++mesh.nused] = place;
  mesh.gflag[place] = true;
}

Cover gmesh2(GreenMesh& mesh, const GreenField& source, double a, double b, GreenRow& field) {
  GreenPatch patch;
  const Cover cover = take_patch(mesh, a, b, patch);
  if (cover != Cover::inside) return cover;
  const GreenCorners at = patch.corners(mesh, a, b);
  field = at.weigh();
  if (!has_field(field)) {
    fill_rows(mesh, source, patch, b);
    field = at.weigh();
  }
  return cover;
}

Cover gmesh1(GreenMesh& mesh, double a, double b) {
  GreenPatch patch;
  const Cover cover = take_patch(mesh, a, b, patch);
  if (cover != Cover::inside) return cover;
  mesh.all_used = true;
  for (const EvenRows& rows : patch.line) {
    double t;
    const int place = rows.around(b, t);
    mesh.gflag[place] = mesh.gflag[place + 1] = true;
  }
  return cover;
}

}  // namespace tessaron
