#pragma once
#include "forces/projected/line_current.hpp"

namespace tessaron {

/// What the guard of the planes looks at in an evaluation of the projected force.
struct ShieldedKernel {
  const LineGrid& grid;
  Series current;  ///< line current on the grid
  int end;         ///< last point of the kernel ahead of the observer, in steps
  double s;        ///< path length at the bunch [m]
};

/// Tells once in a tracking run, on standard error, that a kernel that ends before the bunch does loses the
/// images which shield it. That matters for planes a distance h apart where
///     h < 20 (R sigma_z^2)^(1/3),
/// with R the smallest radius upstream and sigma_z the rms length of the bunch: planes as close as that
/// change the field of those behind the source (for the scale: Murphy, Krinsky and Gluckstern, Particle
/// Accelerators 57, 9, 1997).
void watch_shield(const ShieldedKernel& kernel);
/// A tracking run begins.
void begin_shield_watch();

}  // namespace tessaron
