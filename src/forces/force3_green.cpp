#include "forces/force3_green.hpp"

#include <algorithm>
#include <cmath>

#include "common/console.hpp"
#include "common/sort2.hpp"
#include "field/ffield.hpp"
#include "field/path.hpp"
#include "forces/force_settings.hpp"
#include "forces/green_monitor.hpp"
#include "forces/green_rows.hpp"
#include "forces/green_sources.hpp"
#include "forces/models.hpp"
#include "lattice/latcom.hpp"
#include "run/pg.hpp"

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

// Time, direction and Lorentz factor of the test particle for which rows are computed, in the path's frame.
double cen_t, cen_n[3], cen_gamma;

/// The field of the sub-bunch on the present path.
void greenf(double a, double b, GreenRow& field) {
  const double r[3] = {a, b, 0};
  FieldResult result;
  ffield(cen_t, r, cen_gamma, cen_n, result);
  field = {result.force[0], result.force[1], result.cb[2]};
}

// Sources in the order of the particles, and this process's points in the order of the mesh.
std::int32_t nsource, npoint;
Table<TurnedSource, maxprt> source;
Table<std::int32_t, maxprt> point_number;
Table<double, maxprt> point_x, point_y, order;
Table<GreenRow, maxprt> point_sum;
Polygon meshpoly, relpoly;
PathArcs arcs;

GreenPoints own_points() {
  return {point_x.run(1, npoint), point_y.run(1, npoint), point_sum.run(1, npoint)};
}

void collect_sources(const ParticleTable& particles) {
  nsource = 0;
  for (std::int32_t i = 1; i <= ptlcom.npart; ++i) {
    if (!ptlcom.source[i]) continue;
    const Particle& p = particles[i];
    source[++nsource] = {p.x - particles[1].x, p.y - particles[1].y, std::cos(p.phi), std::sin(p.phi)};
  }
}

/// Puts the points of this process into columns along the motion, each from its lower to its upper end:
/// neighbours then fall into the same strip of the mesh, whatever the source.
void collect_points(const ObservationPoints& points, double column) {
  const BoxMesh& m = box_mesh;
  const ProcessIdentity id = pgflags();
  double low = 0, high = 0;
  const auto across = [&](std::int32_t e) { return points.relative[e].y * m.c - points.relative[e].x * m.s; };
  for (std::int32_t e = 1; e <= points.ne; ++e) {
    low = std::min(low, across(e));
    high = std::max(high, across(e));
  }
  npoint = 0;
  const double part = high > low ? 0.5 / (high - low) : 0;
  for (std::int32_t e = 1; e <= points.ne; ++e) {
    if (!own_item(e, id)) continue;
    const double u = points.relative[e].x * m.c + points.relative[e].y * m.s;
    const double place = std::floor(u / column + 0.5) + (across(e) - low) * part;
    order[++npoint] = std::isfinite(place) ? place : 0;
    point_x[npoint] = e;
  }
  sort2(npoint, &order[1], &point_x[1]);
  for (std::int32_t k = 1; k <= npoint; ++k) {
    const std::int32_t e = point_number[k] = static_cast<std::int32_t>(point_x[k]);
    point_x[k] = points.lab[e].x;
    point_y[k] = points.lab[e].y;
    point_sum[k] = {};
  }
}

/// The path of the mean and the particle for which its field is asked.
void take_path(double ct) {
  const Particle& mean = store.mean.particle;
  setpth(mean, store.mean.section, latcom.nlat, ct);
  double r[3];
  pthfrm(mean.x, mean.y, 0, mean.phi, 0, ct, r, cen_n, cen_t);
  cen_gamma = store.ref_gamma;
}

/// Polygons and the first block of a new mesh; true if there are further blocks.
bool new_mesh(const ObservationPoints& points) {
  const ForceSettings& s = force_settings;
  bounda(suppts{points.relative.run(1, points.ne)}, 0.01 * std::min(s.sigma_long, s.sigma_rad), meshpoly);
  bounda(suprel{source.run(1, nsource), meshpoly}, 0, relpoly);
  int narcs = 0;
  patharcs(arcs, narcs);
  green_monitors(relpoly, arcs, narcs);
  return gmesh0({relpoly, arcs, narcs, s.sigma_long, s.sigma_rad, s.shield != 0, greenf, capacity});
}

/// One pass: the sums of all sources over what the present block covers.
void add_sources(const ParticleTable& particles, const ReferenceMotion& reference, bool first_pass) {
  const bool master = pgflags().master;
  const GreenPoints points = own_points();
  for (std::int32_t i = 1; i <= ptlcom.npart; ++i) {
    if (ptlcom.source[i]) {
      const Particle& p = particles[i];
      green_add_source(GreenSourceTerm(p.x, p.y, p.phi, p.q * mc_per_ev, reference.phi, reference.beta),
                       first_pass, points);
    }
    if (master) green_progress(" isrc_gmesh2=", i, " npart =", ptlcom.npart);
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
  // Charges of both signs that nearly cancel have their centre anywhere: their sizes weigh then.
  const Sums& m = std::abs(by_charge.weight) > 0.5 * by_size.weight ? by_charge : by_size;
  MeanSource mean{{m.x / m.weight, m.y / m.weight, 0, m.p / m.weight, std::atan2(s, c), 0, 1}, section};
  const auto ahead = [&](const Boundary& b) {
    return (b.x - mean.particle.x) * b.nx + (b.y - mean.particle.y) * b.ny > 0;
  };
  while (mean.section <= latcom.nlat && !ahead(latcom.bnd[mean.section])) ++mean.section;
  return mean;
}

void green_set_capacity(std::int32_t rows) { capacity = std::clamp<std::int32_t>(rows, 1, maxgre); }

void grnrst() {
  store.green_ct = 0;
  store.green_ok = false;
}

bool green_kept() { return store.green_ok; }

void green_sums(const ParticleTable& particles, const SectionTable& sections, double ct,
                ObservationPoints& points, ReferenceMotion& reference) {
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
  take_path(ct);
  collect_points(points, 0.2 * force_settings.sigma_long);

  bool first = true, more = false;
  do {
    if (!reuse) more = first ? new_mesh(points) : gmesh0_next();
    if (id.group_size > 1 && !reuse) {
      green_rows_of_block(own_points(), particles, points.ne);
    }
    add_sources(particles, reference, first);
    first = false;
  } while (more);

  for (std::int32_t k = 1; k <= npoint; ++k) points.sum[point_number[k]] = point_sum[k];
  store.green_ct = ct;
  store.green_ok = true;
}

}  // namespace tessaron
