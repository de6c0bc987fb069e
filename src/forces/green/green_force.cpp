#include <cmath>

#include "common/console.hpp"
#include "forces/fields/field_settings.hpp"
#include "forces/fields/image_cost.hpp"
#include "forces/fields/source_fields.hpp"
#include "forces/green/evaluation.hpp"
#include "forces/models.hpp"
#include "group/process_group.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

void progress(std::int32_t isrc) {
  if (pgflags().master && ptlcom.source[isrc] && ptlcom.npart > 999 && isrc % 100 == 0) {
    console_line(FreeForm("isrc=", isrc, " npart=", ptlcom.npart).items());
  }
}

/// Field sums of the points with a path for each source.
void source_sums(const ParticleTable& particles, const SectionTable& sections, double ct,
                 const ReferenceMotion& reference, const FieldSource& settings, FieldWork& work,
                 ObservationPoints& points) {
  const ProcessIdentity id = pgflags();
  tell_image_cost_of_fields(ForceType::csr_p_to_m, points.ne, {particles[1], sections[1]}, particles, ct,
                            work.team.mine());
  work.clear();
  for (std::int32_t e = 1; e <= points.ne; ++e)
    if (own_item(e, id)) work.add({points.lab[e].x, points.lab[e].y, reference.phi, reference.gamma});
  sum_source_fields(particles, sections, ct, settings, progress, work);
  const double c0 = std::cos(reference.phi), s0 = std::sin(reference.phi);
  for (std::int32_t e = 1, k = 0; e <= points.ne; ++e) {
    if (!own_item(e, id)) continue;
    const PlaneField& f = work.sum[++k];
    points.sum[e] = {(c0 * f.x + s0 * f.y) * mc_per_ev, (-s0 * f.x + c0 * f.y) * mc_per_ev, f.bz * mc_per_ev};
  }
}

}  // namespace

Status force3(ForceType type, const ParticleTable& particles, const SectionTable& sections, double ct,
              FieldWork& fields, GreenWork& work, ForceTable& forces) {
  FieldSource source;
  pass_field_settings(particles[1], source);
  ReferenceMotion reference{particles[1].phi, beta_of(particles[1]), gamma_of(particles[1])};
  const bool to_mesh = type == ForceType::csr_p_to_m || type == ForceType::csr_g_to_m;
  const bool use_green = type == ForceType::csr_g_to_p || type == ForceType::csr_g_to_m;

  ObservationPoints& points = work.points;
  frcbox(particles, force_settings.sigma_long, force_settings.sigma_rad, to_mesh, work.sort, work.boxes,
         points);
  for (std::int32_t e = 1; e <= points.ne; ++e) points.sum[e] = {};
  if (use_green) {
    green_sums(type, particles, sections, ct, source, fields.team, reference, work);
  } else {
    source_sums(particles, sections, ct, reference, source, fields, points);
  }
  pgsum(&points.sum[1].f1, 3, points.ne);
  if (pgflags().master) frcint(particles, reference, work.boxes, points, forces);
  return ok;
}

}  // namespace tessaron
