#pragma once
#include <array>
#include <cstdint>

#include "beam/bunch_record.hpp"
#include "lattice/lattice_record.hpp"

namespace tessaron {

/// The lattice field of one section, set for the reference momentum p0 of the bunch: a dipole of radius r
/// bends a particle of momentum p with zero elevation on the radius r p/p0.
struct SectionField {
  double K = 0;                   ///< bending strength p0/r [1/m]; 0 if the section does not bend
  std::int32_t order = 1;         ///< azimuthal order: 1 drift or dipole, from 2 on a multipole
  double x0 = 0, y0 = 0, z0 = 0;  ///< a point of the multipole axis [m]
  double G = 0;                   ///< strength times p0
  double alpha = 0;               ///< rotation of the multipole about its axis [rad]
  double Theta = 0;               ///< direction of the axis in the plane [rad]
  double strength = 0;            ///< k [1/m^order], for the number of integration steps
};

/// The field of section E for a particle that moves forward, or backward, in time: the axis of a multipole
/// starts at the boundary over which the particle came in. The open ends of the lattice and sections in front
/// of a discrete element are drifts. Data that make no sense give a line on the console, at every call, and a
/// drift. Any E is allowed.
SectionField section_field(std::int32_t E, bool forward);

/// Whether `section_field` finds data that make sense in every section.
bool fields_make_sense();

/// Edge kicks of a bending section: theta changes on coming in and on leaving,
///     theta -+ K z tan(phi - psi)/p,     psi the direction of the boundary's normal,
/// all else stays. At p = 0 nothing changes.
void edge_entry(Particle& state, double K, const Boundary& boundary);
void edge_exit(Particle& state, double K, const Boundary& boundary);

/// A linear map, its 16 reals column by column (row a, column b at place a + 4(b-1), from 1), and where it
/// stands: a point of the design orbit and the tangent there.
struct DiscreteMap {
  std::array<double, 16> matrix;
  double x, y, tx, ty;
};
/// Looks up the discrete element at boundary `index`; true if there is one that acts. `map` is untouched
/// otherwise.
bool get_map(std::int32_t index, DiscreteMap& map);
/// Applies the map to one particle: (u, u', w, w') across the tangent, to the left and up, are multiplied by
/// the matrix. The particle is set on the line across the orbit through the element's point; p does not
/// change. A particle that flies across the tangent has no slopes and stays as it is.
void apply_map(Particle& state, const DiscreteMap& map);

}  // namespace tessaron
