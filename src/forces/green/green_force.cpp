#include "common/console.hpp"
#include "forces/fields/field_settings.hpp"
#include "forces/fields/image_cost.hpp"
#include "forces/fields/source_fields.hpp"
#include "forces/green/evaluation.hpp"
#include "forces/models.hpp"
#include "group/process_group.hpp"
#include "run/line_writer.hpp"

#include <cmath>

namespace tessaron {

namespace {

constinit GreenWork store{};  // all zero: it takes no room in the program file

/// The points of this process with their fields in lab axes.
struct OwnPoints {
  std::int32_t n;
  Table<FieldObserver, maxprt> at;
  Table<PlaneField, maxprt> field;
};
constinit OwnPoints own{};

void progress(std::int32_t isrc) {
  if (pgflags().master && ptlcom.source[isrc] && ptlcom.npart > 999 && isrc % 100 == 0) {
    console_line(FreeForm("isrc=", isrc, " npart=", ptlcom.npart).items());
  }
}

/// Field sums of the points with a path for each source.
void source_sums(const ParticleTable& particles, const SectionTable& sections, double ct,
                 const ReferenceMotion& reference, const FieldSource& settings, ObserverTeam& team,
                 ObservationPoints& points) {
  const ProcessIdentity id = pgflags();
  tell_image_cost_of_fields(ForceType::csr_p_to_m, points.ne, {particles[1], sections[1]}, particles, ct,
                            team.mine());
  own.n = 0;
  for (std::int32_t e = 1; e <= points.ne; ++e) {
    if (!own_item(e, id)) continue;
    own.at[++own.n] = {points.lab[e].x, points.lab[e].y, reference.phi, reference.gamma};
    own.field[own.n] = {};
  }
  add_source_fields(particles, sections, ct, settings, own.at.run(1, own.n), team, progress,
                    own.field.run(1, own.n));
  const double c0 = std::cos(reference.phi), s0 = std::sin(reference.phi);
  for (std::int32_t e = 1, k = 0; e <= points.ne; ++e) {
    if (!own_item(e, id)) continue;
    const PlaneField& f = own.field[++k];
    points.sum[e] = {(c0 * f.x + s0 * f.y) * mc_per_ev, (-s0 * f.x + c0 * f.y) * mc_per_ev, f.bz * mc_per_ev};
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
              ObserverTeam& team, ForceTable& forces) {
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
    green_sums(type, particles, sections, ct, source, team, reference, store);
  } else {
    source_sums(particles, sections, ct, reference, source, team, points);
  }
  pgsum(&points.sum[1].f1, 3, points.ne);
  if (pgflags().master) frcint(particles, reference, store.boxes, points, forces);
  return ok;
}

}  // namespace tessaron
