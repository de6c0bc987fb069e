#include "lattice/lattice_record_owner.hpp"

namespace tessaron {

namespace {

/// The first section behind boundary 1 that bends; nlat + 1 if there is none.
std::int32_t first_arc() {
  std::int32_t i = 2;
  while (i <= latcom.nlat && latcom.bnd[i].r == 0) ++i;
  return i;
}

void append_arc(const Boundary& boundary) { latcom_store.arc[++latcom_store.narc] = boundary; }

/// Each change of radius from the start of the first arc to the end of the last one; a straight tail is not
/// listed.
void build_arc_list() {
  const std::int32_t nlat = latcom.nlat, i = first_arc();
  latcom_store.narc = 0;
  if (i > nlat) {
    append_arc(nlat >= 1 ? latcom.bnd[1] : Boundary{});
    return;
  }
  append_arc(latcom.bnd[i - 1]);
  append_arc(latcom.bnd[i]);
  for (std::int32_t j = i + 1; j <= nlat; ++j) {
    const double after = j < nlat ? latcom.bnd[j + 1].r : 0;
    if (latcom.bnd[j].r != after) append_arc(latcom.bnd[j]);
  }
}

/// Pairs of path coordinate and the radius that holds from there on, straight behind the last arc.
void build_curvature_table() {
  for (int k = 1; k < latcom.narc; ++k) latcom_store.curv[k] = {latcom.arc[k].s, latcom.arc[k + 1].r};
  latcom_store.curv[latcom.narc] = {latcom.arc[latcom.narc].s, 0};
}

}  // namespace

void latarc() {
  build_arc_list();
  build_curvature_table();
}

}  // namespace tessaron
