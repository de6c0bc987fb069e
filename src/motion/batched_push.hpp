#pragma once
#include <cstdint>

#include "motion/equations_of_motion.hpp"
#include "motion/pusher.hpp"

namespace tessaron::pusher {

/// Particles that go through the same Runge-Kutta steps side by side.
inline constexpr int batch_size = 4;

/// One section of the lattice as batches of particles meet it on their way from t0 to t1 > t0 [m]: looked up
/// once, for as long as particles are in it.
struct BatchSection {
  std::int32_t section;
  double t0, t1;
  RhsCommon common;  ///< field of the section, and the times of the self force
  SectionField field;
  const Boundary* target;     ///< boundary ahead, none behind the last one
  const ForceTable *fa, *fb;  ///< self force at these times; null without
};
BatchSection batch_section(std::int32_t section, double t0, double t1, const PushForce& force);

/// Pushes the particles first .. first + batch_size - 1, all of them in this section, from t0 to t1, out of
/// `from` into `to` (which may be the same), through the steps that `segment_step` takes one particle
/// through: the same result to rounding. Nothing happens, and false comes back, unless all are out of reach
/// of the boundary ahead, take the same number of steps, and feel no force but one along their motion.
bool push_batch(const BatchSection& section, int first, const ParticleTable& from, ParticleTable& to);

}  // namespace tessaron::pusher
