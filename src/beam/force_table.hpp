#pragma once
#include "common/constants.hpp"
#include "common/table.hpp"

namespace tessaron {

/// The self force on one particle [1/m]: rate of change of p (in units of m c) per metre of c t.
struct Force {
  double along = 0;   ///< along the particle's motion
  double across = 0;  ///< across it in the bending plane
  double up = 0;      ///< out of the plane
};
static_assert(sizeof(Force) == 3 * sizeof(double));
using ForceTable = Table<Force, maxprt>;

}  // namespace tessaron
