#include "forces/green/evaluation.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "common/console.hpp"
#include "common/sort2.hpp"
#include "field/ffield.hpp"
#include "field/observer_work.hpp"
#include "field/source_record.hpp"
#include "forces/force_settings.hpp"
#include "forces/green/mesh/rows.hpp"
#include "forces/green/sources.hpp"
#include "forces/models.hpp"
#include "group/process_group.hpp"
#include "lattice/lattice_record.hpp"
#include "lattice/placement.hpp"

namespace tessaron {

namespace {

/// The table of the last evaluation, kept for the next one at the same time.
struct GreenStore {
  double green_ct = 0;    ///< c t of the table [m]
  bool green_ok = false;  ///< there is one
  MeanSource mean{};      ///< the particle on whose path it was computed
  double ref_phi = 0, ref_gamma = 1;
} store;
std::int32_t capacity = maxgre;
MeshObserver mesh_observer = nullptr;

/// The sub-bunch on the path of the mean, and time, direction and Lorentz factor of the test particle for
/// which rows are computed, in the path's frame.
struct Asked {
  const FieldSource* source;
  ObserverWork* observer;
  double t, n[3], gamma;
} asked;

void greenf(double a, double b, GreenRow& field) {
  const double r[3] = {a, b, 0};
  const FieldResult result = ffield(*asked.source, *asked.observer, asked.t, r, asked.gamma, asked.n);
  field = {result.force[0], result.force[1], result.cb[2]};
}

std::int32_t nsource;
Table<TurnedSource, maxprt> sources;
Polygon meshpoly, relpoly;
PathArcs arcs;

std::int32_t ntile;
Table<GreenSourceTile, maxprt / GreenSourceTile::capacity + 1> tiles;
Table<double, maxprt> order, number;

void collect_sources(const ParticleTable& particles) {
  nsource = 0;
  for (std::int32_t i = 1; i <= ptlcom.npart; ++i) {
    if (!ptlcom.source[i]) continue;
    const Particle& p = particles[i];
    sources[++nsource] = {p.x - particles[1].x, p.y - particles[1].y, std::cos(p.phi), std::sin(p.phi)};
  }
}

/// Sorts the sources along the reference direction and fills the tiles in this order: seen from a point,
/// those of a tile are then in few strips of the mesh.
void collect_tiles(const ParticleTable& particles, const ReferenceMotion& reference) {
  std::int32_t n = 0;
  for (std::int32_t i = 1; i <= ptlcom.npart; ++i) {
    if (!ptlcom.source[i]) continue;
    const double u = box_mesh.u_of(particles[i]);
    order[++n] = std::isfinite(u) ? u : 0;
    number[n] = i;
  }
  sort2(n, &order[1], &number[1]);
  ntile = 0;
  for (std::int32_t k = 1; k <= n; ++k) {
    if (k == 1 || tiles[ntile].full()) tiles[++ntile].n = 0;
    const Particle& p = particles[static_cast<std::int32_t>(number[k])];
    tiles[ntile].add(p.x, p.y, p.phi, p.q * mc_per_ev, reference.phi, reference.beta);
  }
}

/// The path of the mean and the particle for which its field is asked.
void take_path(double ct, FieldSource& source, ObserverWork& observer) {
  const Particle& mean = store.mean.particle;
  setpth(mean, store.mean.section, latcom.nlat, ct, source);
  finit(source, "check", 0);
  asked = {&source, &observer, 0, {}, store.ref_gamma};
  double r[3];
  pthfrm(source.path, mean.x, mean.y, 0, mean.phi, 0, ct, r, asked.n, asked.t);
}

/// Polygons and the first block of a new mesh; true if there are further blocks.
bool new_mesh(const FieldSource& source, const ObservationPoints& points) {
  const ForceSettings& s = force_settings;
  bounda(suppts{points.relative.run(1, points.ne)}, 0.01 * std::min(s.sigma_long, s.sigma_rad), meshpoly);
  bounda(suprel{sources.run(1, nsource), meshpoly}, 0, relpoly);
  int narcs = 0;
  patharcs(source.path, arcs, narcs);
  if (mesh_observer != nullptr) mesh_observer(relpoly, arcs, narcs);
  return gmesh0({relpoly, arcs, narcs, s.sigma_long, s.sigma_rad, s.shield != 0, greenf, capacity});
}

/// One pass: the sums of all sources over what the present block covers. Progress is told in particles, as
/// far as the tiles stand for them.
void add_sources(ObservationPoints& points, bool first_pass) {
  const ProcessIdentity id = pgflags();
  std::int64_t told = 0;
  for (std::int32_t k = 1; k <= ntile; ++k) {
    for (std::int32_t e = 1; e <= points.ne; ++e) {
      if (!own_item(e, id)) continue;
      green_add_tile(tiles[k], first_pass, points.lab[e].x, points.lab[e].y, points.sum[e]);
    }
    for (const std::int64_t done = std::int64_t{ptlcom.npart} * k / ntile; id.master && told < done;) {
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

void grnrst() {
  store.green_ct = 0;
  store.green_ok = false;
}

bool green_kept() { return store.green_ok; }

void green_sums(const ParticleTable& particles, const SectionTable& sections, double ct, FieldSource& source,
                ObserverWork& observer, ObservationPoints& points, ReferenceMotion& reference) {
  const ProcessIdentity id = pgflags();
  const bool whole = green_mesh.gfirst == 1 && !green_mesh.more();
  const bool reuse = store.green_ok && ct == store.green_ct && whole && force_settings.use_old_mesh;
  if (reuse && id.master) console_line("using old green's function");
  store.green_ok = false;

  collect_sources(particles);
  if (nsource == 0 || points.ne == 0) return;
  if (!reuse) {
    store.ref_phi = particles[1].phi;
    store.ref_gamma = reference.gamma;
    store.mean = mean_source(particles, sections);
  }
  reference.phi = store.ref_phi;
  reference.gamma = store.ref_gamma;
  take_path(ct, source, observer);
  collect_tiles(particles, reference);

  bool first = true, more = false;
  do {
    if (!reuse) more = first ? new_mesh(source, points) : gmesh0_next();
    if (id.group_size > 1 && !reuse) {
      green_rows_of_block(points, particles);
    }
    add_sources(points, first);
    first = false;
  } while (more);

  store.green_ct = ct;
  store.green_ok = true;
}

}  // namespace tessaron
