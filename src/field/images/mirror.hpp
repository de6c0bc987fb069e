#pragma once
#include "field/observer_work.hpp"
#include "field/source_record.hpp"

namespace tessaron {

/// The field of the source and of its images in two parallel conducting planes: images stand at the heights
/// +-n hc with the sign (-1)^n, and a taper takes their sum smoothly to zero at the height hmax. An image is
/// evaluated by moving the observer the other way. Images that see nothing of the path but its straight
/// entrance share one integral over the bunch. The closest point is that of the observer itself.
void fmirr(const FieldSource& source, ObserverWork& work, double t, const Vec3& r, double gamma,
           const Vec3& e, Slots& result);

}  // namespace tessaron
