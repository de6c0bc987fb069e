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

/// The bunch. Particle 1 is the reference particle. All start values are zero; the tables lie apart, which
/// keeps them out of the program file. Owner: particle input; the step loop advances `particle`, `section`
/// and `ctptcl`, the preparation of a run fills `section` and `sections_valid`. On a worker the group
/// transfer of the driver and `pgbunch` fill it.
struct ParticleRecord {
  std::int32_t npart = 0;
  TableSlot<ParticleTable> particle;
  TableSlot<FlagTable> source;      ///< counts as charge: total charge, moments, source terms of the forces
  TableSlot<FlagTable> test;        ///< the force models compute forces on it
  TableSlot<SectionTable> section;  ///< section i of the lattice lies before boundary i
  bool sections_valid = false;
  double ctptcl = 0;                                    ///< bunch time, c t [m]
  double reference_momentum = 0;                        ///< p0, in units of m c
  double total_charge = 0;                              ///< [C], never negative after input
  std::int32_t charge_sign = 0;                         ///< +1 or -1, for the printed total only
  double reference_point_x = 0, reference_point_y = 0;  ///< lab place of the file frame's origin [m]
  double reference_point_phi = 0;                       ///< rotation between file frame and lab frame [rad]
};
extern const ParticleRecord& ptlcom;

/// What moves with time: the places and sections of the particles, and the bunch time. The preparation of a
/// run and the step write it; nobody else asks for it.
struct MovingBunch {
  TableSlot<ParticleTable>& particle;
  TableSlot<SectionTable>& section;
  double& ctptcl;
};
MovingBunch ptlmov();
/// Every particle has been placed in its section of the lattice.
void ptlplc();

/// At the start of a force evaluation the master sends a bunch of as many particles as its record has to the
/// workers,
void pgbunch(const ParticleTable& particles, const SectionTable& sections);
/// and a worker receives it in its record.
void pgbunch();

}  // namespace tessaron
