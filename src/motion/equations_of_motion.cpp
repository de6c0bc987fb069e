#include "motion/equations_of_motion.hpp"

namespace tessaron::pusher {

RhsCommon rhs_common(const SectionField& field, const ForceInterval* force) {
  RhsCommon c;
  if (force != nullptr) {
    c.fa = force->fa;
    c.fb = force->fb;
    // Two equal times leave no slope to work out: the force at the end holds.
    const bool interval = force->ta != force->tb;
    c.ta = interval ? force->ta : force->tb - 1;
    c.tb = force->tb;
  }
  c.K = field.K;
  c.order = field.order;
  if (field.order < 2) return c;

  constexpr std::int32_t largest_factorial = 170;  // of a double; beyond it the field vanishes
  if (field.order - 1 > largest_factorial) {
    c.order = 1;
    return c;
  }
  double factorial = 1;
  for (std::int32_t i = 2; i < field.order; ++i) factorial *= i;
  const double strength = field.G / factorial, turn = -field.order * field.alpha;
  c.gradient = {strength * std::cos(turn), strength * std::sin(turn)};
  c.x0 = field.x0;
  c.y0 = field.y0;
  c.z0 = field.z0;
  c.cos_Theta = std::cos(field.Theta);
  c.sin_Theta = std::sin(field.Theta);
  return c;
}

}  // namespace tessaron::pusher
