#pragma once
#include "field/slots.hpp"

namespace tessaron {

/// The field of the source and of its images in two parallel conducting planes: images stand at the heights
/// +-n hc with the sign (-1)^n, and a taper takes their sum smoothly to zero at the height hmax. An image is
/// evaluated by moving the observer the other way. Images that see nothing of the path but its straight
/// entrance share one integral over the bunch.
void fmirr(double t, const Vec3& r, double gamma, const Vec3& e, Slots& result, double hc, double hmax,
           bool zsymmetry);

/// The field, at r and t, of the source in uniform motion along the straight line of the path at s_st, for a
/// test particle that moves along e. `gamma` is that of the test particle and does not enter.
void fimlin(double t, const Vec3& r, double gamma, const Vec3& e, Slots& value, double s_st);

/// The sum of the images n0..n_last with taper and sign, on an entrance in a plane z = const.
void fimsum(double t, const Vec3& r, double gamma, const Vec3& e, Slots& value, double s_st, int n0,
            int n_last, double hc, double hmax);

}  // namespace tessaron
