#pragma once
#include "lattice/lattice_record.hpp"

namespace tessaron {

/// No elements.
[[nodiscard]] Status latini();
/// The block reader of `lattice`; it replaces the lattice whole and writes `latout.dat`.
[[nodiscard]] Status lattice();

/// The blocks of one element each. A magnet makes its entry boundary, behind a straight section, and its exit
/// boundary, behind the section of its field; a discrete element makes one boundary. Private data of elements
/// lie one behind the other in the pools of `latcom`.
enum class BendOrder { multipole = 0, dipole = 1, quadrupole = 2 };
[[nodiscard]] Status dipole_multipole(BendOrder order);
[[nodiscard]] Status thin_quadrupole();
[[nodiscard]] Status discrete_free();

/// What a `position` sub-block says; lengths in m, angles in rad, `undefined_real` where the deck is silent.
/// `rho` and `psi` give the boundary as the line Q . (cos psi, sin psi) = rho, `delta_s` the length of the
/// section before it, `delta_psi` the normal's angle against the tangent.
struct PositionKeys {
  double rho, psi, delta_s, delta_psi;
  Text<80> marker;
  bool duty;
};
/// Reads a `position` sub-block. `duty` keeps the block's default where the deck is silent.
[[nodiscard]] Status position_keys(PositionKeys& keys);
/// Appends one boundary behind a section of radius r, with the element of a field section without data. A
/// boundary whose keys make no sense counts in `nlat` all the same.
[[nodiscard]] Status position(double r, const PositionKeys& keys);
/// Writes the finished lattice to `latout.dat`; a file that cannot be written is told in a line.
void latout();

}  // namespace tessaron
