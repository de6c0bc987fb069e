#include "motion/run_preparation.hpp"

#include "beam/bunch_record_owner.hpp"
#include "lattice/lattice_record_owner.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

BoundaryPoints reference_points;

/// (point of boundary i - place of the particle) . normal > 0. On the boundary itself counts as behind it.
bool stands_before(const Particle& particle, const Boundary& b) {
  return (b.x - particle.x) * b.nx + (b.y - particle.y) * b.ny > 0;
}

std::int32_t place(const Particle& particle) {
  std::int32_t section = 1;
  while (section <= latcom.nlat && !stands_before(particle, latcom.bnd[section])) ++section;
  return section;
}

void place_particles() {
  for (int j = 1; j <= ptlcom.npart; ++j) ptlcom_store.section[j] = place(ptlcom.particle[j]);
  ptlcom_store.sections_valid = true;
  latcom_store.latready = true;
}

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

void find_boundary_times() {
  // Without a bunch there is no reference particle to follow.
  latcom_store.tbnd.fill(0);
  if (ptlcom.npart < 1) return;
  fbpts(ptlcom.particle[1], ptlcom.section[1], ptlcom.ctptcl, reference_points);
  for (int i = 1; i <= latcom.nlat; ++i) latcom_store.tbnd[i] = reference_points[i].ct;
}

}  // namespace

Status inila2() {
  for (int i = 2; i <= latcom.nlat; ++i) {
    if (!(latcom.bnd[i].s > latcom.bnd[i - 1].s)) {
      msgout("error in inila2: non positive distance between fbs");
      return failed;
    }
  }
  if (!ptlcom.sections_valid || !latcom.latready) place_particles();
  build_arc_list();
  build_curvature_table();
  find_boundary_times();
  return ok;
}

}  // namespace tessaron
