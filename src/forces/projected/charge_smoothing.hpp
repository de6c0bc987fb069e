#pragma once
#include "beam/force_table.hpp"

namespace tessaron {

/// Charge smoothing: lowers the numerical noise of a line charge of equal macro-particles by replacing the
/// coordinates by moving averages along the sorted bunch. Nothing changes unless par1 rounds to something
/// other than 0, par2 rounds to 2 or more, and all charges other than 0 are equal.
///
/// With x_1 <= .. <= x_m the sorted coordinates of the charges, the new ones are
///     (2/3) A(j, 0.4 par2) + (1/3) A(j, 0.75 par2),
/// A(j, w) the mean over the neighbours j-w .. j+w, fewer of them towards both ends of the bunch. The charge
/// is conserved, and an even row of charges stays where it is.
/// \param n    slots in use
/// \param pad  slots 1..n: component 1 the coordinate [m], component 2 the charge [C], component 3 the
///             coordinate for the line charge. Components 2 and 3 change: the charges come first, in the
///             order of their coordinates, behind them empty slots.
void chgsmt(int n, double par1, double par2, ForceTable& pad);

}  // namespace tessaron
