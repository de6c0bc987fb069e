#include "forces/green/mesh/lookup.hpp"

#include <atomic>

#include "common/console.hpp"
#include "forces/green/mesh/patch.hpp"
#include "forces/green/mesh/rows.hpp"

namespace tessaron {

namespace {

/// Of several threads that want a row, the first one puts it on the list.
void want_row(GreenMesh& mesh, int place) {
  const std::atomic_ref<bool> flag(mesh.gflag[place]);
  if (flag.load(std::memory_order_relaxed) || flag.exchange(true)) return;
  mesh.used[++std::atomic_ref<std::int32_t>(mesh.nused)] = place;
}

}  // namespace

bool fmesh2(const GreenMesh& mesh, double x, int& k) {
  const int n = mesh.nxg;
  if (n < 2 || !(x >= mesh.line[1].x && x <= mesh.line[n].x)) return false;
  k = strip_around(mesh, x);
  if (!(mesh.line[k].x <= x && x <= mesh.line[k + 1].x)) fatal_stop("fmesh2: there is something wrong");
  return true;
}

Cover gmesh2(GreenMesh& mesh, const GreenField& source, double a, double b, GreenRow& field) {
  GreenPatch patch;
  const Cover cover = take_patch(mesh, a, b, patch);
  if (cover != Cover::inside) return cover;
  const GreenCorners at = patch.corners(mesh, a, b);
  field = at.weigh();
  if (!has_field(field)) {
    gmesh1(mesh, a, b);
    green_fill_wanted(mesh, source);
    field = at.weigh();
  }
  return cover;
}

Cover gmesh1(GreenMesh& mesh, double a, double b) {
  GreenPatch patch;
  const Cover cover = take_patch(mesh, a, b, patch);
  if (cover != Cover::inside) return cover;
  for (const EvenRows& rows : patch.line) {
    double t;
    const int place = rows.around(b, t);
    want_row(mesh, place);
    want_row(mesh, place + 1);
  }
  return cover;
}

}  // namespace tessaron
