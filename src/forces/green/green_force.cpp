#include "common/console.hpp"
#include "common/end_request.hpp"
#include "field/ffield.hpp"
#include "field/observer_work.hpp"
#include "field/source_record.hpp"
#include "forces/field_settings.hpp"
#include "forces/green/evaluation.hpp"
#include "forces/image_cost.hpp"
#include "forces/models.hpp"
#include "group/process_group.hpp"
#include "lattice/lattice_record.hpp"
#include "run/line_writer.hpp"

#include <cmath>

namespace tessaron {

namespace {

constinit GreenWork store{};  // all zero: it takes no room in the program file

/// Adds the field of a source times q to this process's points, in lab axes [V/m].
void add_source(const FieldSource& source, double q, double ct, const ReferenceMotion& reference,
                const ProcessIdentity& id, ObserverWork& observer, ObservationPoints& points) {
  for (std::int32_t e = 1; e <= points.ne; ++e) {
    if (end_requested() || !own_item(e, id)) continue;
    double r[3], n[3], t;
    pthfrm(source.path, points.lab[e].x, points.lab[e].y, 0, reference.phi, 0, ct, r, n, t);
    FieldResult result = ffield(source, observer, t, r, reference.gamma, n);
    pthlab(source.path, result.force);
    points.sum[e].f1 += q * result.force[0];
    points.sum[e].f2 += q * result.force[1];
    points.sum[e].bz += q * result.cb[2];
  }
}

/// Field sums of the points with a path for each source.
void source_sums(const ParticleTable& particles, const SectionTable& sections, double ct,
                 const ReferenceMotion& reference, FieldSource& source, ObserverWork& observer,
                 ObservationPoints& points) {
  const ProcessIdentity id = pgflags();
  tell_image_cost_of_fields(ForceType::csr_p_to_m, points.ne, {particles[1], sections[1]}, particles, ct,
                            observer);
  for (std::int32_t isrc = 1; isrc <= ptlcom.npart && !end_requested(); ++isrc) {
    if (!ptlcom.source[isrc]) continue;
    setpth(particles[isrc], sections[isrc], latcom.nlat, ct, source);
    finit(source, "check", 0);
    add_source(source, particles[isrc].q, ct, reference, id, observer, points);
    if (id.master && ptlcom.npart > 999 && isrc % 100 == 0) {
      console_line(FreeForm("isrc=", isrc, " npart=", ptlcom.npart).items());
    }
  }
  const double c0 = std::cos(reference.phi), s0 = std::sin(reference.phi);
  for (std::int32_t e = 1; e <= points.ne; ++e) {
    const GreenRow f = points.sum[e];
    points.sum[e] = {(c0 * f.f1 + s0 * f.f2) * mc_per_ev, (-s0 * f.f1 + c0 * f.f2) * mc_per_ev,
                     f.bz * mc_per_ev};
  }
}

}  // namespace

const GreenWork& green_work = store;

void grnrst() {
  store.kept.ct = 0;
  store.kept.ok = false;
}

bool green_kept() { return store.kept.ok; }

Status force3(ForceType type, const ParticleTable& particles, const SectionTable& sections, double ct,
              ObserverWork& observer, ForceTable& forces) {
  FieldSource source;
  pass_field_settings(particles[1], source);
  ReferenceMotion reference{particles[1].phi, beta_of(particles[1]), gamma_of(particles[1])};
  const bool to_mesh = type == ForceType::csr_p_to_m || type == ForceType::csr_g_to_m;
  const bool use_green = type == ForceType::csr_g_to_p || type == ForceType::csr_g_to_m;

  ObservationPoints& points = store.points;
  frcbox(particles, force_settings.sigma_long, force_settings.sigma_rad, to_mesh, store.sort, store.boxes,
         points);
  for (std::int32_t e = 1; e <= points.ne; ++e) points.sum[e] = {};
  if (use_green) {
    green_sums(type, particles, sections, ct, source, observer, reference, store);
  } else {
    source_sums(particles, sections, ct, reference, source, observer, points);
  }
  pgsum(&points.sum[1].f1, 3, points.ne);
  if (pgflags().master) frcint(particles, reference, store.boxes, points, forces);
  return ok;
}

}  // namespace tessaron
