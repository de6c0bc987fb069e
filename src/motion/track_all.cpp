#include <algorithm>

#include "common/cores/chunks.hpp"
#include "common/end_request.hpp"
#include "lattice/magnet_field.hpp"
#include "motion/batched_push.hpp"
#include "motion/pusher.hpp"
#include "motion/pusher_fast.hpp"

namespace tessaron {

namespace {

/// One push of the bunch.
struct Push {
  const ParticleTable& from;
  const SectionTable& from_sections;
  ParticleTable& to;
  SectionTable& to_sections;
  double t0, t1;
  const PushForce& force;
};

/// One particle through all its segments.
void push_one(const Push& push, int j) {
  Particle& state = push.to[j];
  std::int32_t& section = push.to_sections[j];
  state = push.from[j];
  section = push.from_sections[j];
  const bool with_force = push.force.fa != nullptr && push.force.fb != nullptr;
  ForceInterval force{push.force.ta, push.force.tb, {}, {}};
  if (with_force) {
    force.fa = (*push.force.fa)[j];
    force.fb = (*push.force.fb)[j];
  }
  double t = push.t0;
  bool crossing = false;
  while (t < push.t1) {
    lattice_step(state, section, crossing, t, push.t1, with_force ? &force : nullptr);
    DiscreteMap map;
    if (crossing && get_map(section - 1, map)) apply_map(state, map);
  }
  if (crossing) pusher::finish_crossing(state, section);
}

/// All of these particles are in this section.
bool share_section(const SectionTable& sections, int first, std::int32_t section) {
  const auto batch = sections.run(first, pusher::batch_size);
  return std::ranges::all_of(batch, [section](std::int32_t own) { return own == section; });
}

/// A chunk of the bunch: in batches where that will do, one after the other elsewhere.
void push_chunk(const Push& push, const Chunk& chunk) {
  using pusher::batch_size;
  pusher::BatchSection section =
      pusher::batch_section(push.from_sections[chunk.first], push.t0, push.t1, push.force);
  int j = chunk.first;
  for (; j + batch_size - 1 <= chunk.last && !end_requested(); j += batch_size) {
    const std::int32_t own = push.from_sections[j];
    if (own != section.section) section = pusher::batch_section(own, push.t0, push.t1, push.force);
    if (share_section(push.from_sections, j, own) && push_batch(section, j, push.from, push.to)) {
      std::ranges::fill(push.to_sections.run(j, batch_size), own);
    } else {
      for (int i = j; i < j + batch_size; ++i) push_one(push, i);
    }
  }
  for (; j <= chunk.last && !end_requested(); ++j) push_one(push, j);
}

}  // namespace

void track_all(int n, const ParticleTable& from, const SectionTable& from_sections, ParticleTable& to,
               SectionTable& to_sections, double t0, double t1, const PushForce& force) {
  const Push push{from, from_sections, to, to_sections, t0, t1, force};
  if (!(t0 < t1) || !fields_make_sense()) {
    // Data that make no sense are told by each particle that meets them, in the order of the particles.
    for (int j = 1; j <= n && !end_requested(); ++j) push_one(push, j);
    return;
  }
  constexpr int fewest_in_chunk = 512;  // particles that are worth a thread's while
  over_chunks(Chunks::of(n, fewest_in_chunk), [&](const Chunk& chunk) { push_chunk(push, chunk); });
}

}  // namespace tessaron
