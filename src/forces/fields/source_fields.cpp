#include "forces/fields/source_fields.hpp"

#include <algorithm>
#include <array>

#include "common/end_request.hpp"
#include "field/ffield.hpp"
#include "lattice/lattice_record.hpp"

namespace tessaron {

namespace {

constexpr std::size_t most_sources = 16;  ///< at a time: they fit on the stack
constexpr std::size_t most_pairs = 8192;  ///< at a time: 30 ms of work

constinit Table<PlaneField, most_pairs> field{};  ///< of the pairs at hand

/// Sources that share their observers' time.
struct Sources {
  std::size_t n = 0;
  std::array<std::int32_t, most_sources> particle;
  std::array<FieldSource, most_sources> source;
};

PlaneField field_at(const FieldSource& source, const FieldObserver& at, double ct, ObserverWork& work) {
  double r[3], n[3], t;
  pthfrm(source.path, at.x, at.y, 0, at.phi, 0, ct, r, n, t);
  FieldResult result = ffield(source, work, t, r, at.gamma, n);
  pthlab(source.path, result.force);
  return {result.force[0], result.force[1], result.cb[2]};
}

/// Takes the next sources, up to `most` of them, and goes past them. It stops where a caller may want to tell
/// how far it is.
void take_sources(std::int32_t& particle, std::size_t most, Sources& sources) {
  sources.n = 0;
  while (particle <= ptlcom.npart && sources.n < most) {
    if (ptlcom.source[particle]) sources.particle[sources.n++] = particle;
    const std::int32_t passed = particle++;
    if (passed == 1 || passed % 100 == 0) break;
  }
}

/// The pairs are numbered source by source, and so are the sums: the first fault met is that of the first
/// pair.
void add_pairs(const Sources& sources, const ParticleTable& particles, double ct,
               std::span<const FieldObserver> observers, ObserverTeam& team, std::span<PlaneField> sums) {
  const std::size_t m = observers.size();
  over_chunks(Chunks::of(static_cast<int>(sources.n * m), 8, 256), [&](const Chunk& chunk) {
    ObserverWork& work = team.mine();
    for (int pair = chunk.first; pair <= chunk.last && !end_requested(); ++pair) {
      const std::size_t k = static_cast<std::size_t>(pair - 1);
      field[pair] = field_at(sources.source[k / m], observers[k % m], ct, work);
    }
  });
  int pair = 0;
  for (std::size_t s = 0; s < sources.n; ++s) {
    const double q = particles[sources.particle[s]].q;
    for (PlaneField& sum : sums) {
      const PlaneField& f = field[++pair];
      sum.x += q * f.x;
      sum.y += q * f.y;
      sum.bz += q * f.bz;
    }
  }
}

}  // namespace

void add_source_fields(const ParticleTable& particles, const SectionTable& sections, double ct,
                       const FieldSource& settings, std::span<const FieldObserver> observers,
                       ObserverTeam& team, void (*told)(std::int32_t particle), std::span<PlaneField> sums) {
  const std::size_t m = observers.size();
  const std::size_t at_a_time =
      std::clamp<std::size_t>(most_pairs / std::max<std::size_t>(m, 1), 1, most_sources);
  Sources sources;
  sources.source.fill(settings);
  for (std::int32_t next = 1, first = 1; next <= ptlcom.npart && !end_requested(); first = next) {
    take_sources(next, at_a_time, sources);
    over_chunks(Chunks::of(static_cast<int>(sources.n), 1), [&](const Chunk& chunk) {
      for (int k = chunk.first; k <= chunk.last; ++k) {
        const auto s = static_cast<std::size_t>(k - 1);
        const std::int32_t i = sources.particle[s];
        setpth(particles[i], sections[i], latcom.nlat, ct, sources.source[s]);
        finit(sources.source[s], "check", 0);
      }
    });
    for (std::size_t k = 0; k < m; k += most_pairs) {
      const std::size_t n = std::min(m - k, most_pairs);
      add_pairs(sources, particles, ct, observers.subspan(k, n), team, sums.subspan(k, n));
    }
    for (std::int32_t i = first; i < next; ++i) told(i);
  }
}

}  // namespace tessaron
