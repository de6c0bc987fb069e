#pragma once
#include <cstdint>

#include "beam/ptlcom.hpp"
#include "forces/force_table.hpp"

namespace tessaron {

/// The self force on one particle: its values at two times, linear between them.
struct ForceInterval {
  double ta = 0, tb = 1;
  Force fa{}, fb{};
};

/// Takes particles 1..n from t0 to t1 in the lattice field and, if the force tables are given, under a self
/// force known at ta and tb. Nothing happens if t0 is not below t1.
void track_all(int n, ParticleTable& states, SectionTable& sections, double t0, double t1, double ta,
               double tb, const ForceTable* fa, const ForceTable* fb);

/// One segment of one particle, inside one section. `t_end` may lie behind `t`: the segment then runs
/// backward. `crossing`: out, this call brought the particle onto a boundary, and `section` has its new
/// value; in, the particle has just crossed one and the entry edge is still to do. `force` null: no self
/// force.
void lattice_step(Particle& state, std::int32_t& section, bool& crossing, double& t, double t_end,
                  const ForceInterval* force);

/// Tracks a copy of a particle without self force until it has crossed boundary `target`. False, and `t_out`
/// untouched, if its section lies above `target` already or its orbit cannot reach the boundary.
bool track_to_boundary(const Particle& state, std::int32_t section, double ct, std::int32_t target,
                       double& t_out);

}  // namespace tessaron
