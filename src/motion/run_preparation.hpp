#pragma once
#include "beam/bunch_record.hpp"
#include "lattice/lattice_record.hpp"

namespace tessaron {

/// Prepares a run: checks the lattice, places every particle in its section, builds the arc list and the
/// curvature table, and finds the times at which the reference particle meets the boundaries.
[[nodiscard]] Status inila2();

/// A tracked particle at a boundary.
struct BoundaryPoint {
  double x, y, z;       ///< [m]
  double local_radius;  ///< radius of the section before the boundary for this particle's momentum [m]
  double phi, theta;    ///< [rad]
  double ct;            ///< time of the crossing [m]
};
using BoundaryPoints = Table<BoundaryPoint, maxlat>;

/// Tracks copies of a particle through all boundaries ahead and behind, without self force, and fills rows
/// 1..nlat. Stops the program where the orbit does not reach a boundary.
void fbpts(const Particle& state, std::int32_t section, double ct, BoundaryPoints& table);

}  // namespace tessaron
