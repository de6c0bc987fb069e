#include <cmath>

#include "beam/particles.hpp"
#include "common/cores/chunks.hpp"

namespace tessaron {

namespace {

/// Sums of charge times offset and offset squared of one coordinate.
struct Moments {
  double first = 0, second = 0;
  void add(double q, double offset) {
    first += q * offset;
    second += q * offset * offset;
  }
  void add(const Moments& other) {
    first += other.first;
    second += other.second;
  }
  double rms(double charge) const {
    const double mean = first / charge;
    const double variance = second / charge - mean * mean;
    return variance > 0 ? std::sqrt(variance) : 0;
  }
};

/// The sums of a part of the bunch, along the direction of particle 1, across it, out of the plane.
struct Sums {
  double charge = 0;
  Moments u, v, w;
};

}  // namespace

BeamSizes beam_sizes(int n, const ParticleTable& particles, const FlagTable& source) {
  if (n < 1) return {0, 0, 0};
  const double c = std::cos(particles[1].phi), s = std::sin(particles[1].phi);
  // Offsets are taken from the first source particle, so that sources at one place have no size, to the last
  // digit.
  int first = 1;
  while (first < n && !source[first]) ++first;
  const Particle& origin = particles[first];
  const Chunks chunks = Chunks::of(n, 4096);
  Table<Sums, most_chunks> parts;
  over_chunks(chunks, [&](const Chunk& chunk) {
    Sums sums;
    for (int i = chunk.first; i <= chunk.last; ++i) {
      if (!source[i]) continue;
      const Particle& particle = particles[i];
      const double dx = particle.x - origin.x, dy = particle.y - origin.y;
      sums.charge += particle.q;
      sums.u.add(particle.q, c * dx + s * dy);
      sums.v.add(particle.q, c * dy - s * dx);
      sums.w.add(particle.q, particle.z - origin.z);
    }
    parts[chunk.number] = sums;
  });
  Sums all;
  for (int k = 1; k <= chunks.count; ++k) {
    all.charge += parts[k].charge;
    all.u.add(parts[k].u), all.v.add(parts[k].v), all.w.add(parts[k].w);
  }
  if (all.charge == 0) return {0, 0, 0};
  return {all.u.rms(all.charge), all.v.rms(all.charge), all.w.rms(all.charge)};
}

}  // namespace tessaron
