#pragma once
#include <cstdint>

#include "common/constants.hpp"
#include "common/status.hpp"
#include "common/table.hpp"

namespace tessaron {

/// One macro-particle: seven 64-bit reals.
struct Particle {
  double x, y;   ///< place in the orbit plane [m]
  double z;      ///< height [m]
  double p;      ///< momentum in units of m c, gamma times beta
  double phi;    ///< direction of the momentum in the plane [rad]
  double theta;  ///< elevation of the momentum above the plane [rad]
  double q;      ///< charge [C], the sign of the bunch folded out
};

using ParticleTable = Table<Particle, maxprt>;
using SectionTable = Table<std::int32_t, maxprt>;
using FlagTable = Table<bool, maxprt>;

/// The bunch. Particle 1 is the reference particle. All start values are zero, which keeps the large tables
/// out of the program file.
/// Owner: particle input; the step loop advances `particle`, `section` and `ctptcl`, the preparation of a run
/// fills `section` and `sections_valid`.
struct ParticleRecord {
  std::int32_t npart;
  ParticleTable particle;
  FlagTable source;      ///< counts as charge: total charge, moments, source terms of the forces
  FlagTable test;        ///< the force models compute forces on it
  SectionTable section;  ///< section i of the lattice lies before boundary i
  bool sections_valid;
  double ctptcl;                                ///< bunch time, c t [m]
  double reference_momentum;                    ///< p0, in units of m c
  double total_charge;                          ///< [C], never negative after input
  std::int32_t charge_sign;                     ///< +1 or -1, for the printed total only
  double reference_point_x, reference_point_y;  ///< lab place of the file frame's origin [m]
  double reference_point_phi;                   ///< rotation between file frame and lab frame [rad]
};
extern const ParticleRecord& ptlcom;

/// What moves with time: the places and sections of the particles, and the bunch time. The preparation of a
/// run, the step and a worker's evaluation write it; nobody else asks for it.
struct MovingBunch {
  ParticleTable& particle;
  SectionTable& section;
  double& ctptcl;
};
MovingBunch ptlmov();
/// Every particle has been placed in its section of the lattice.
void ptlplc();

/// Both sides of a process group, at the start of a force evaluation: the number of particles and the time go
/// to the workers' records, the bunch to the tables given.
void pgbunch(ParticleTable& particles, SectionTable& sections);

}  // namespace tessaron
