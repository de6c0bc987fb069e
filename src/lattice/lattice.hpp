#pragma once
#include "lattice/latcom.hpp"

namespace tessaron {

/// No elements.
[[nodiscard]] Status latini();
/// The block reader of `lattice`; it replaces the lattice whole and writes `latout.dat`.
[[nodiscard]] Status lattice();

/// The blocks of one element each.
enum class BendOrder { multipole = 0, dipole = 1, quadrupole = 2 };
[[nodiscard]] Status dipole_multipole(BendOrder order);
[[nodiscard]] Status thin_quadrupole();
[[nodiscard]] Status discrete_free();

/// What a `position` sub-block says; lengths in m, angles in rad, `undefined_real` where the deck is silent.
struct PositionKeys {
  double rho, psi, delta_s, delta_psi;
  Text<80> marker;
  bool duty;
};
[[nodiscard]] Status position_keys(PositionKeys& keys);
/// Appends one boundary behind a section of radius r.
[[nodiscard]] Status position(double r, const PositionKeys& keys);
/// Writes the finished lattice to `latout.dat`; a file that cannot be written is told in a line.
void latout();

}  // namespace tessaron
