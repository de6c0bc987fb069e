#pragma once
#include "field/integral/expansion.hpp"

namespace tessaron {

/// The integrand of the 14 slots at the path coordinate s, with the expansion of `ziini` subtracted over its
/// range: the plain way, one point at a time. `add_nodes` (batch.hpp) sums the same for less.
void zfint(const FieldSource& source, const ExpansionRecord& expansion, double s, Slots& value);

}  // namespace tessaron
