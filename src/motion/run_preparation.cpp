#include "motion/run_preparation.hpp"

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
  SectionTable& section = ptlmov().section;
  for (int j = 1; j <= ptlcom.npart; ++j) section[j] = place(ptlcom.particle[j]);
  ptlplc();
  latplc();
}

void find_boundary_times() {
  // Without a bunch there is no reference particle to follow.
  for (int i = 1; i <= maxlat; ++i) lattim(i, 0);
  if (ptlcom.npart < 1) return;
  fbpts(ptlcom.particle[1], ptlcom.section[1], ptlcom.ctptcl, reference_points);
  for (int i = 1; i <= latcom.nlat; ++i) lattim(i, reference_points[i].ct);
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
  latarc();
  find_boundary_times();
  return ok;
}

}  // namespace tessaron
