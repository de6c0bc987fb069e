#pragma once
#include <cstdint>

#include "beam/bunch_record.hpp"
#include "beam/force_table.hpp"

namespace tessaron {

/// The self force on one particle: its values at two times, linear between them.
struct ForceInterval {
  double ta = 0, tb = 1;
  Force fa{}, fb{};
};

/// The pusher takes particles from one common time to another, in the lattice field and under a self force
/// that is known beforehand. The lattice cuts the way of each particle into segments, one for each section it
/// runs through. A segment is integrated by classical Runge-Kutta steps of fixed size: at most 0.04 m of
/// drift, 0.02 rad of bend, or 0.02 of strength times length in a multipole, and at most a million of them
/// (longer steps then). It ends at the section's boundary, which is predicted without self force and then
/// met along the straight line of the last motion, or at the limit of time.
///
/// A boundary that a particle cannot reach (it moves along the boundary, its circle misses it) leaves the
/// particle in its section until the limit; if the limit lies beyond 1e9 m, where it stands.

/// The self force on all particles at two times, linear between them; null tables: none.
struct PushForce {
  const ForceTable* fa = nullptr;
  const ForceTable* fb = nullptr;
  double ta = 0, tb = 1;
};

/// Takes particles 1..n from t0 to t1, out of one pair of tables into another or in place, in the lattice
/// field and under a self force. Discrete elements act on a particle that has crossed their boundary, and so
/// does the entry edge of the section behind it, also where the crossing ends the way: it makes no difference
/// into how many calls a time is cut. Particles that are out of reach of the boundary ahead go several at a
/// time through the same steps; the threads share the bunch, and no digit depends on how many there are.
/// Nothing moves if t0 is not below t1. Any section index and any state end in a finite number of segments. A
/// run that has been asked to end leaves the rest of the particles undone.
void track_all(int n, const ParticleTable& from, const SectionTable& from_sections, ParticleTable& to,
               SectionTable& to_sections, double t0, double t1, const PushForce& force);

/// One segment of one particle, inside one section. `t_end` may lie behind `t`: the segment then runs
/// backward. `crossing`: out, this call brought the particle onto a boundary, and `section` has its new
/// value; in, the particle has just crossed one and the entry edge is still to do. `force` null: no self
/// force.
void lattice_step(Particle& state, std::int32_t& section, bool& crossing, double& t, double t_end,
                  const ForceInterval* force);

/// Tracks a copy of a particle without self force or discrete elements until it has crossed boundary
/// `target`, and gives the time. False, and `t_out` untouched, if its section lies above `target` already or
/// its orbit cannot reach the boundary.
bool track_to_boundary(const Particle& state, std::int32_t section, double ct, std::int32_t target,
                       double& t_out);

}  // namespace tessaron
