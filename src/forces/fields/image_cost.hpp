#pragma once
#include <algorithm>
#include <chrono>
#include <cstdint>

#include "beam/bunch_record.hpp"
#include "forces/force_settings.hpp"

namespace tessaron {

struct ObserverWork;

/// What very many pairs of images cost, told to a person on standard error: their number and the time that
/// one evaluation takes. It comes ahead of the first such evaluation of each model behind a `forces` block,
/// and is measured on a sample with few images that reach as far.

/// Pairs of images of the present settings, the nearest whole number of shield_max / shield; 0 without any.
double image_pairs();

/// A new `forces` block: what was told is due again.
void forget_image_costs();

/// The distance of the image planes in a sample.
double sample_shield();
/// Whether the present settings ask for more than a thousand pairs and this process has not told of them.
bool image_cost_is_due(ForceType model);
/// Tells of them; `seconds` is the time of the sample, `parts` of which make an evaluation but for the
/// images.
void tell_image_cost(ForceType model, double parts, double seconds);

/// The time of an operation [s], the least of a few: the first one also brings its data into memory, and
/// other programs may hold one up. A long one is done once.
template <class Operation>
double time_of(Operation&& operation) {
  using Clock = std::chrono::steady_clock;
  double least = 1e300, sum = 0;
  for (int run = 1; run <= 5 && sum < (run == 2 ? 2 : 0.2); ++run) {
    const Clock::time_point start = Clock::now();
    operation();
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    least = std::min(least, seconds);
    sum += seconds;
  }
  return least;
}

/// The place of a source, and the section that it is in.
struct SampleSource {
  const Particle& particle;
  std::int32_t section;
};
/// The same for a model that evaluates the fields of all sources at `observers` places, and no more than
/// `most_fields` fields of a sub-bunch. The sample is the field of one source at the last particle.
void tell_image_cost_of_fields(ForceType model, double observers, const SampleSource& source,
                               const ParticleTable& particles, double ct, ObserverWork& observer,
                               double most_fields = 1e300);

}  // namespace tessaron
