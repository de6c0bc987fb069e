#pragma once
#include "field/slots.hpp"

namespace tessaron {

/// The field of one source at one observer, for a test particle of Lorentz factor gamma and direction e.
/// `image`: the call is for a mirror charge.
void fzint(double t, const Vec3& r, double gamma, const Vec3& e, Slots& result, bool image);

}  // namespace tessaron
