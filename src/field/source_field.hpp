#pragma once
#include "field/observer_work.hpp"
#include "field/source_record.hpp"

namespace tessaron {

/// The field of one source at one observer, for a test particle of Lorentz factor gamma and direction e, by
/// the closest point in the working record. `image`: the call is for a mirror charge.
void fzint(const FieldSource& source, ObserverWork& work, double t, const Vec3& r, double gamma,
           const Vec3& e, bool image, Slots& result);

}  // namespace tessaron
