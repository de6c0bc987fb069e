#include "motion/run_preparation.hpp"

#include "lattice/arc.hpp"
#include "lattice/placement.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

/// Sections have a length, and arcs end before they meet their own beginning.
Status check_sections() {
  for (int i = 2; i <= latcom.nlat; ++i) {
    if (!(latcom.bnd[i].s > latcom.bnd[i - 1].s)) {
      msgout("error in inila2: non positive distance between fbs");
      return failed;
    }
  }
  constexpr double whole_turn = two_pi * (1 - 1e-12);  // to the rounding of the lengths
  for (int i = 2; i <= latcom.nlat; ++i) {
    if (section_turn(i) < whole_turn) continue;
    const FreeForm line("error in inila2: arc of 360 degrees or more, fb=", i,
                        " marker=", latcom.marker[i].word());
    msgout(line.items());
    return failed;
  }
  return ok;
}

void place_particles() {
  SectionTable& section = ptlmov().section;
  for (int j = 1; j <= ptlcom.npart; ++j) {
    const Particle& particle = ptlcom.particle[j];
    section[j] = section_at(particle.x, particle.y);
  }
  ptlplc();
  latplc();
}

void find_boundary_times() {
  // Without a bunch there is no reference particle to follow.
  for (int i = 1; i <= maxlat; ++i) lattim(i, 0);
  if (ptlcom.npart < 1) return;
  BoundaryPoints reference;
  fbpts(ptlcom.particle[1], ptlcom.section[1], ptlcom.ctptcl, reference);
  for (int i = 1; i <= latcom.nlat; ++i) lattim(i, reference[i].ct);
}

}  // namespace

Status inila2() {
  if (const Status status = check_sections(); status != ok) return status;
  if (!ptlcom.sections_valid || !latcom.latready) place_particles();
  latarc();
  find_boundary_times();
  return ok;
}

}  // namespace tessaron
