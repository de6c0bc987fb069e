#include "forces/green/evaluation.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "common/console.hpp"
#include "common/end_request.hpp"
#include "common/sort2.hpp"
#include "field/ffield.hpp"
#include "forces/force_settings.hpp"
#include "forces/green/mesh/rows.hpp"
#include "forces/image_cost.hpp"
#include "group/process_group.hpp"
#include "lattice/lattice_record.hpp"
#include "lattice/placement.hpp"

namespace tessaron {

namespace {

// Chosen once, ahead of the evaluations.
std::int32_t capacity = maxgre;
MeshObserver mesh_observer = nullptr;

/// The field of the sub-bunch on the path of the mean, for a test particle at one time in one motion, in the
/// path's frame.
struct SubbunchField final : GreenField {
  const FieldSource& source;
  ObserverTeam& team;
  double t, n[3], gamma;

  SubbunchField(const FieldSource& of, ObserverTeam& on, const Particle& mean, double ct, double test_gamma)
      : source(of), team(on), gamma(test_gamma) {
    double r[3];
    pthfrm(source.path, mean.x, mean.y, 0, mean.phi, 0, ct, r, n, t);
  }
  void at(double a, double b, GreenRow& field) const override {
    const double r[3] = {a, b, 0};
    const FieldResult result = ffield(source, team.mine(), t, r, gamma, n);
    field = {result.force[0], result.force[1], result.cb[2]};
  }
};

void collect_sources(const ParticleTable& particles, GreenWork& work) {
  work.nsource = 0;
  for (std::int32_t i = 1; i <= ptlcom.npart; ++i) {
    if (!ptlcom.source[i]) continue;
    const Particle& p = particles[i];
    work.sources[++work.nsource] = {p.x - particles[1].x, p.y - particles[1].y, std::cos(p.phi),
                                    std::sin(p.phi)};
  }
}

/// Sorts the sources along the reference direction and fills the tiles in this order: seen from a point,
/// those of a tile are then in few strips of the mesh.
void collect_tiles(const ParticleTable& particles, const ReferenceMotion& reference, GreenWork& work) {
  auto& [order, number] = work.sort;
  std::int32_t n = 0;
  for (std::int32_t i = 1; i <= ptlcom.npart; ++i) {
    if (!ptlcom.source[i]) continue;
    const double u = work.boxes.u_of(particles[i]);
    order[++n] = std::isfinite(u) ? u : 0;
    number[n] = i;
  }
  sort2(n, &order[1], &number[1]);
  work.ntile = 0;
  for (std::int32_t k = 1; k <= n; ++k) {
    if (k == 1 || work.tiles[work.ntile].full()) work.tiles[++work.ntile].n = 0;
    const Particle& p = particles[static_cast<std::int32_t>(number[k])];
    work.tiles[work.ntile].add(p.x, p.y, p.phi, p.q * mc_per_ev, reference.phi, reference.beta);
  }
}

/// Polygons and the first block of a new mesh; true if there are further blocks.
bool new_mesh(const FieldSource& source, GreenWork& work) {
  const ForceSettings& s = force_settings;
  const ObservationPoints& points = work.points;
  bounda(suppts{points.relative.run(1, points.ne)}, 0.01 * std::min(s.sigma_long, s.sigma_rad),
         work.meshpoly);
  bounda(suprel{work.sources.run(1, work.nsource), work.meshpoly}, 0, work.relpoly);
  int narcs = 0;
  patharcs(source.path, work.arcs, narcs);
  if (mesh_observer != nullptr) mesh_observer(work.relpoly, work.arcs, narcs);
  return gmesh0({work.relpoly, work.arcs, narcs, s.sigma_long, s.sigma_rad, s.shield != 0, capacity},
                work.mesh);
}

/// One pass: the sums of all sources over what the present block covers. Progress is told in particles, as
/// far as the tiles stand for them.
void add_sources(const GreenField& field, bool first_pass, GreenWork& work) {
  const ProcessIdentity id = pgflags();
  ObservationPoints& points = work.points;
  std::int64_t told = 0;
  for (std::int32_t k = 1; k <= work.ntile && !end_requested(); ++k) {
    for (std::int32_t e = 1; e <= points.ne; ++e) {
      if (!own_item(e, id)) continue;
      green_add_tile(work.tiles[k], work.mesh, field, first_pass, points.lab[e].x, points.lab[e].y,
                     points.sum[e]);
    }
    for (const std::int64_t done = std::int64_t{ptlcom.npart} * k / work.ntile; id.master && told < done;) {
      green_progress(" isrc_gmesh2=", ++told, " npart =", ptlcom.npart);
    }
  }
}

}  // namespace

MeanSource mean_source(const ParticleTable& particles, const SectionTable& sections) {
  struct Sums {
    double weight = 0, x = 0, y = 0, p = 0;
    void add(const Particle& particle, double w) {
      weight += w;
      x += w * particle.x;
      y += w * particle.y;
      p += w * particle.p;
    }
  } by_charge, by_size;
  double s = 0, c = 0;
  std::int32_t section = latcom.nlat + 1;
  for (std::int32_t i = 1; i <= ptlcom.npart; ++i) {
    if (!ptlcom.source[i]) continue;
    by_charge.add(particles[i], particles[i].q);
    by_size.add(particles[i], std::abs(particles[i].q));
    s += std::sin(particles[i].phi);
    c += std::cos(particles[i].phi);
    section = std::min(section, sections[i]);
  }
  // Charges that cancel, to the rounding of their sum, have no centre: their sizes weigh then.
  const double rounding = ptlcom.npart * std::numeric_limits<double>::epsilon() * by_size.weight;
  const Sums& m = std::abs(by_charge.weight) > rounding ? by_charge : by_size;
  MeanSource mean{{m.x / m.weight, m.y / m.weight, 0, m.p / m.weight, std::atan2(s, c), 0, 1}, section};
  while (mean.section <= latcom.nlat && !stands_before(mean.particle.x, mean.particle.y, mean.section)) {
    ++mean.section;
  }
  return mean;
}

void green_set_capacity(std::int32_t rows) { capacity = std::clamp<std::int32_t>(rows, 1, maxgre); }

void green_observe(MeshObserver observer) { mesh_observer = observer; }

void green_sums(ForceType type, const ParticleTable& particles, const SectionTable& sections, double ct,
                FieldSource& source, ObserverTeam& team, ReferenceMotion& reference, GreenWork& work) {
  const ProcessIdentity id = pgflags();
  KeptMesh& kept = work.kept;
  const bool whole = work.mesh.gfirst == 1 && !work.mesh.more();
  const bool reuse = kept.ok && ct == kept.ct && whole && force_settings.use_old_mesh;
  if (reuse && id.master) console_line("using old green's function");
  kept.ok = false;

  collect_sources(particles, work);
  if (work.nsource == 0 || work.points.ne == 0) return;
  if (!reuse) {
    kept.ref_phi = particles[1].phi;
    kept.ref_gamma = reference.gamma;
    kept.mean = mean_source(particles, sections);
  }
  reference.phi = kept.ref_phi;
  reference.gamma = kept.ref_gamma;
  setpth(kept.mean.particle, kept.mean.section, latcom.nlat, ct, source);
  finit(source, "check", 0);
  const SubbunchField field(source, team, kept.mean.particle, ct, kept.ref_gamma);
  collect_tiles(particles, reference, work);

  bool first = true, more = false;
  do {
    if (!reuse) more = first ? new_mesh(source, work) : gmesh0_next(work.mesh);
    if (!reuse && first) {
      tell_image_cost_of_fields(type, 4.0 * work.points.ne, {kept.mean.particle, kept.mean.section},
                                particles, ct, team.mine(), static_cast<double>(work.mesh.ngreen));
    }
    if (id.group_size > 1 && !reuse) green_rows_of_block(work.points, particles, field, work.mesh);
    add_sources(field, first, work);
    first = false;
  } while (more);

  kept.ct = ct;
  kept.ok = true;
}

}  // namespace tessaron
