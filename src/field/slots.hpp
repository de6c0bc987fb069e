#pragma once
#include "field/ffield.hpp"
#include "field/vec3.hpp"

namespace tessaron {

inline constexpr double coulomb_constant = 8987551787.3665428;  ///< 1 / (4 pi epsilon0) [V m/C]

/// The 14 slots of a result while it is being summed: the same quantities and order as `FieldResult`.
struct Slots {
  Vec3 force, cb;
  double phi = 0;
  Vec3 a;
  double phi_t = 0;
  Vec3 a_t;
};
static_assert(sizeof(Slots) == sizeof(FieldResult));

constexpr Slots& operator+=(Slots& sum, const Slots& s) {
  sum.force += s.force;
  sum.cb += s.cb;
  sum.phi += s.phi;
  sum.a += s.a;
  sum.phi_t += s.phi_t;
  sum.a_t += s.a_t;
  return sum;
}
constexpr Slots operator*(double f, const Slots& s) {
  return {f * s.force, f * s.cb, f * s.phi, f * s.a, f * s.phi_t, f * s.a_t};
}

}  // namespace tessaron
