#pragma once
#include <span>

#include "common/constants.hpp"
#include "common/table.hpp"

namespace tessaron {

/// What the smoothing works on.
struct SmoothingWork {
  Table<double, maxprt> sorted;           ///< x_1 .. x_m
  Table<double, maxprt + 1> running_sum;  ///< S(j + 1) = x_1 + .. + x_j; room for the sort before
};

/// Charge smoothing: lowers the numerical noise of a line charge of equal macro-particles by replacing the
/// coordinates by moving averages along the sorted bunch. Nothing changes unless par1 rounds to something
/// other than 0, par2 rounds to 2 or more, and all charges other than 0 are equal.
///
/// With x_1 <= .. <= x_m the sorted coordinates of the charges, the new ones are
///     (2/3) A(j, 0.4 par2) + (1/3) A(j, 0.75 par2),
/// A(j, w) the mean over the neighbours j-w .. j+w, fewer of them towards both ends of the bunch. The charge
/// is conserved, and an even row of charges stays where it is.
/// \param z      coordinates [m]
/// \param charge charges [C]; as many as coordinates, at most maxprt
/// \param place  the new coordinates: the charges come first, in the order of their coordinates, behind them
///               empty slots. `charge` is changed to go with them.
/// \return whether the charges were smoothed; `charge` and `place` are untouched if not
[[nodiscard]] bool chgsmt(double par1, double par2, std::span<const double> z, std::span<double> charge,
                          std::span<double> place, SmoothingWork& work);

}  // namespace tessaron
