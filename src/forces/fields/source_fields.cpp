#include "forces/fields/source_fields.hpp"

#include <algorithm>
#include <array>

#include "common/end_request.hpp"
#include "field/ffield.hpp"
#include "lattice/lattice_record.hpp"

namespace tessaron {

namespace {

constexpr std::size_t most_sources = 16;  ///< at a time: they fit on the stack
constexpr int most_pairs = FieldWork::most_pairs;

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

/// Adds the fields of some sources at the observers first .. first + m - 1. The pairs are numbered source by
/// source, and so are the sums: the first fault met is that of the first pair.
void add_pairs(const Sources& sources, const ParticleTable& particles, double ct, int first, int m,
               FieldWork& work) {
  over_chunks(Chunks::of(static_cast<int>(sources.n) * m, 8, 256), [&](const Chunk& chunk) {
    ObserverWork& observer = work.team.mine();
    for (int pair = chunk.first; pair <= chunk.last && !end_requested(); ++pair) {
      const FieldSource& source = sources.source[static_cast<std::size_t>((pair - 1) / m)];
      work.pair[pair] = field_at(source, work.observer[first + (pair - 1) % m], ct, observer);
    }
  });
  int pair = 0;
  for (std::size_t s = 0; s < sources.n; ++s) {
    const double q = particles[sources.particle[s]].q;
    for (int k = first; k < first + m; ++k) {
      const PlaneField& f = work.pair[++pair];
      PlaneField& sum = work.sum[k];
      sum.x += q * f.x;
      sum.y += q * f.y;
      sum.bz += q * f.bz;
    }
  }
}

}  // namespace

void sum_source_fields(const ParticleTable& particles, const SectionTable& sections, double ct,
                       const FieldSource& settings, void (*told)(std::int32_t particle), FieldWork& work) {
  std::ranges::fill(work.sum.run(1, work.n), PlaneField{});
  const std::size_t at_a_time =
      std::clamp(static_cast<std::size_t>(most_pairs / std::max(work.n, 1)), std::size_t{1}, most_sources);
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
    for (int k = 1; k <= work.n; k += most_pairs)
      add_pairs(sources, particles, ct, k, std::min(work.n - k + 1, most_pairs), work);
    for (std::int32_t i = first; i < next; ++i) told(i);
  }
}

}  // namespace tessaron
