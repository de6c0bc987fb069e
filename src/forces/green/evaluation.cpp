#include "forces/green/evaluation.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>

#include "common/console.hpp"
#include "common/end_request.hpp"
#include "common/numbers/sort2.hpp"
#include "field/ffield.hpp"
#include "forces/fields/image_cost.hpp"
#include "forces/force_settings.hpp"
#include "forces/green/mesh/patch.hpp"
#include "forces/green/mesh/rows.hpp"
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

/// Calls add(first, last) for all tiles, as many at a time as keep the threads busy. Progress is told in
/// particles, as far as the tiles stand for them.
template <class Add>
void over_tiles(const GreenWork& work, std::string_view progress, const Add& add) {
  constexpr std::int64_t lookups = 1 << 20;  // 10 ms of work
  const bool master = pgflags().master;
  const std::int64_t lookups_of_tile = std::int64_t{GreenSourceTile::capacity} * std::max(work.points.ne, 1);
  const auto n = static_cast<std::int32_t>(std::max<std::int64_t>(lookups / lookups_of_tile, 1));
  static_assert(lookups / GreenSourceTile::capacity <= maxprt);  // the parts have their places
  std::int64_t told = 0;
  for (std::int32_t first = 1; first <= work.ntile && !end_requested(); first += n) {
    const std::int32_t last = std::min(first + n - 1, work.ntile);
    add(first, last);
    for (const std::int64_t done = std::int64_t{ptlcom.npart} * last / work.ntile; master && told < done;) {
      green_progress(progress, ++told, " npart =", ptlcom.npart);
    }
  }
}

/// Calls at_pair(k, e) for the tiles first..last and this process's observation points, shared among the
/// threads.
template <class AtPair>
void over_pairs(std::int32_t first, std::int32_t last, std::int32_t ne, const AtPair& at_pair) {
  // All tiles at all points can still be counted.
  static_assert((std::int64_t{maxprt} / GreenSourceTile::capacity + 1) * maxprt <=
                std::numeric_limits<int>::max());
  const ProcessIdentity id = pgflags();
  over_chunks(Chunks::of((last - first + 1) * ne, 16, 256), [&](const Chunk& chunk) {
    for (int pair = chunk.first - 1; pair < chunk.last && !end_requested(); ++pair) {
      const std::int32_t e = pair % ne + 1;
      if (own_item(e, id)) at_pair(first + pair / ne, e);
    }
  });
}

/// Wants the rows that the sums take of the tiles first..last, or of each `every`-th source of them.
void want_rows(std::int32_t first, std::int32_t last, int every, GreenWork& work) {
  over_pairs(first, last, work.points.ne, [&](std::int32_t k, std::int32_t e) {
    const PlanePoint& at = work.points.lab[e];
    green_want_rows(work.tiles[k], work.mesh, at.x, at.y, every);
  });
}

/// Adds the fields of the tiles first..last, tile by tile. A tile that meets rows without a field at a point
/// waits there until they are computed.
void add_tiles(std::int32_t first, std::int32_t last, const GreenField& field, bool first_pass,
               GreenWork& work) {
  ObservationPoints& points = work.points;
  const std::int32_t ne = points.ne;
  const auto part = [&](std::int32_t k, std::int32_t e) -> GreenRow& {
    return work.part[(k - first) * ne + e];
  };
  const auto find_part = [&](std::int32_t k, std::int32_t e, MissingRow missing) {
    const PlanePoint& at = points.lab[e];
    part(k, e) = green_tile_field(work.tiles[k], work.mesh, field, first_pass, at.x, at.y, missing);
  };
  over_pairs(first, last, ne, [&](std::int32_t k, std::int32_t e) { find_part(k, e, MissingRow::want); });
  green_fill_wanted(work.mesh, field);
  over_pairs(first, last, ne, [&](std::int32_t k, std::int32_t e) {
    if (!has_field(part(k, e))) find_part(k, e, MissingRow::accept);
  });
  const ProcessIdentity id = pgflags();
  for (std::int32_t k = first; k <= last; ++k) {
    for (std::int32_t e = 1; e <= ne; ++e) {
      if (own_item(e, id)) points.sum[e] += part(k, e);
    }
  }
}

/// One pass: the sums of all sources over what the present block covers. In a new mesh a few of the sources
/// find most of the rows that are going to be needed.
void add_sources(const GreenField& field, bool first_pass, GreenWork& work) {
  if (work.mesh.nused == 0) {
    constexpr int every = 64;
    want_rows(1, work.ntile, every, work);
    green_fill_wanted(work.mesh, field);
  }
  over_tiles(work, " isrc_gmesh2=", [&](std::int32_t first, std::int32_t last) {
    add_tiles(first, last, field, first_pass, work);
  });
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
    if (id.group_size > 1 && !reuse) {
      const bool some = green_wanting_pays(work.points.ne, work.mesh);
      if (some) {
        over_tiles(work, " isrc_gmesh1=", [&](std::int32_t k, std::int32_t n) { want_rows(k, n, 1, work); });
      }
      green_rows_of_block(!some, field, work.mesh);
    }
    add_sources(field, first, work);
    first = false;
  } while (more);

  kept.ct = ct;
  kept.ok = true;
}

}  // namespace tessaron
