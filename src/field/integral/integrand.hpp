#pragma once
#include "field/slots.hpp"

namespace tessaron {

/// The integrand of the 14 slots at the path coordinate s, with the expansion of `ziini` subtracted over its
/// range: the plain way, one point at a time. `add_nodes` (batch.hpp) sums the same for less.
void zfint(double s, Slots& value);

/// `zfint` with a memory of one: the very same s as the last time costs nothing.
const Slots& zfcach(double s);
/// Forgets it: another expansion has been set up.
void zfcach_clear();

}  // namespace tessaron
