#pragma once
#include "field/slots.hpp"

namespace tessaron {

/// How the field integral is summed: several nodes of the mesh at once, or node by node through `zfint` (the
/// slow way, for comparison). Both use the same nodes and weights.
enum class Summation { batched, plain };

/// Chooses the way, and into how many equal parts every stretch of the mesh is divided (1: as laid).
void use_summation(Summation way, int refinement = 1);

/// Adds the integral over the mesh to the result: Boole's five-point rule on every stretch, in ascending s.
void wint1(Slots& result);

}  // namespace tessaron
