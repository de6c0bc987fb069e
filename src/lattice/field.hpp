#pragma once
#include <array>
#include <cstdint>

#include "beam/ptlcom.hpp"
#include "lattice/latcom.hpp"

namespace tessaron {

/// The lattice field of one section for a particle of the reference momentum.
struct SectionField {
  double K = 0;                   ///< bending strength p0/r; 0 if the section does not bend
  std::int32_t order = 1;         ///< azimuthal order: 1 drift or dipole, from 2 on a multipole
  double x0 = 0, y0 = 0, z0 = 0;  ///< a point of the multipole axis [m]
  double G = 0;                   ///< strength times p0
  double alpha = 0;               ///< rotation of the multipole about its axis [rad]
  double Theta = 0;               ///< direction of the axis in the plane [rad]
  double strength = 0;            ///< k, for the number of integration steps
};

/// The field of section E for a particle that moves forward, or backward, in time.
SectionField section_field(std::int32_t E, bool forward);

/// Edge kicks of a bending section: theta changes on coming in and on leaving.
void edge_entry(Particle& state, double K, const Boundary& boundary);
void edge_exit(Particle& state, double K, const Boundary& boundary);

/// A linear map, its 16 reals column by column, and where it stands.
struct DiscreteMap {
  std::array<double, 16> matrix;
  double x, y, tx, ty;
};
/// Looks up the discrete element at boundary `index`; true if there is one that acts.
bool get_map(std::int32_t index, DiscreteMap& map);
/// Applies the map to one particle in (u, u', w, w') across the tangent.
void apply_map(Particle& state, const DiscreteMap& map);

}  // namespace tessaron
