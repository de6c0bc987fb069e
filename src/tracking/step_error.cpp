#include <cmath>

#include "common/cores/chunks.hpp"
#include "tracking/steps.hpp"

namespace tessaron {

namespace {

double squared(double a) { return a * a; }

/// Sums over the source particles, then means; s and p are counted from the first source particle, so that
/// particles at one place, or of one momentum, have no spread, to the last digit.
struct Moments {
  double s = 0, s2 = 0, p = 0, p2 = 0, dl2 = 0, dt2 = 0, dp2 = 0;
};

/// The two bunches, the particle that s and p are counted from, and the direction of s.
struct Bunches {
  const ParticleTable &a, &b;
  const FlagTable& source;
  const Particle& origin;
  double cos_phi, sin_phi;
};

/// What the particles of a chunk add, and how many they are.
Moments sums(const Chunk& chunk, const Bunches& bunches, int& count) {
  const auto& [a, b, source, origin, cos_phi, sin_phi] = bunches;
  Moments m;
  for (int i = chunk.first; i <= chunk.last; ++i) {
    if (!source[i]) continue;
    ++count;
    const double dx = b[i].x - a[i].x, dy = b[i].y - a[i].y;
    const double s = cos_phi * (b[i].x - origin.x) + sin_phi * (b[i].y - origin.y);
    const double p = b[i].p - origin.p;
    m.s += s;
    m.s2 += squared(s);
    m.p += p;
    m.p2 += squared(p);
    m.dl2 += squared(cos_phi * dx + sin_phi * dy);
    m.dt2 += squared(cos_phi * dy - sin_phi * dx);
    m.dp2 += squared(b[i].p - a[i].p);
  }
  return m;
}

constexpr auto all_moments = {&Moments::s,   &Moments::s2,  &Moments::p,  &Moments::p2,
                              &Moments::dl2, &Moments::dt2, &Moments::dp2};

Moments moments(int n, const ParticleTable& a, const ParticleTable& b, const FlagTable& source) {
  int first = 1;
  while (first < n && !source[first]) ++first;
  const Bunches bunches{a, b, source, b[first], std::cos(b[1].phi), std::sin(b[1].phi)};
  const Chunks chunks = Chunks::of(n, 4096);
  Table<Moments, most_chunks> parts;
  Table<int, most_chunks> counts;
  over_chunks(chunks, [&](const Chunk& chunk) {
    int count = 0;
    parts[chunk.number] = sums(chunk, bunches, count);
    counts[chunk.number] = count;
  });
  Moments all;
  int count = 0;
  for (int k = 1; k <= chunks.count; ++k) {
    for (const auto of : all_moments) all.*of += parts[k].*of;
    count += counts[k];
  }
  if (count == 0) return all;
  for (const auto of : all_moments) all.*of /= count;
  return all;
}

/// The rms about the mean; rounding can take its square below 0.
double rms(double mean, double mean_square) {
  const double square = mean_square - squared(mean);
  return square > 0 ? std::sqrt(square) : 0;
}

}  // namespace

StepError step_error(int n, const ParticleTable& a, const ParticleTable& b, const FlagTable& source) {
  if (n < 1) return {0, 0};
  const Moments m = moments(n, a, b, source);
  const double sig_s = rms(m.s, m.s2), sig_p = rms(m.p, m.p2);
  if (sig_s == 0 || sig_p == 0) return {0, 0};
  return {std::sqrt(m.dt2 + m.dl2) / sig_s, std::sqrt(m.dp2) / sig_p};
}

}  // namespace tessaron
