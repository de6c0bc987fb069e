#include <cmath>

#include "beam/particles.hpp"

namespace tessaron {

namespace {

/// Sums of charge times offset and offset squared of one coordinate.
struct Moments {
  double first = 0, second = 0;
  void add(double q, double offset) {
    first += q * offset;
    second += q * offset * offset;
  }
  double rms(double charge) const {
    const double mean = first / charge;
    const double variance = second / charge - mean * mean;
    return variance > 0 ? std::sqrt(variance) : 0;
  }
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
  double charge = 0;
  Moments u, v, w;
  for (int i = first; i <= n; ++i) {
    if (!source[i]) continue;
    const Particle& particle = particles[i];
    const double dx = particle.x - origin.x, dy = particle.y - origin.y;
    charge += particle.q;
    u.add(particle.q, c * dx + s * dy);
    v.add(particle.q, c * dy - s * dx);
    w.add(particle.q, particle.z - origin.z);
  }
  if (charge == 0) return {0, 0, 0};
  return {u.rms(charge), v.rms(charge), w.rms(charge)};
}

}  // namespace tessaron
