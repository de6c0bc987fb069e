#include <algorithm>
#include <cmath>

#include "tracking/steps.hpp"

namespace tessaron {

namespace {

/// Adds b to a until a reaches the distance, with the very rounding of adding it one by one: it decides
/// whether steps that fit the distance to the last bit reach it. Inside one binade each addition has the same
/// rounded increment as soon as the first one has settled a tie, so that all of them can be done at once.
double add_equal_steps(double a, double b, double distance) {
  while (a < distance) {
    const double before = a;
    a += b;
    if (a == before) return distance;  // a step that the sum does not feel
    if (a >= distance || std::ilogb(before) != std::ilogb(a)) continue;
    const double increment = (a + b) - a;
    const double limit = std::min(distance, std::ldexp(1.0, std::ilogb(a) + 1));
    const double count = std::floor((limit - a) / increment) - 1;
    if (count > 0) a += count * increment;
  }
  return a;
}

}  // namespace

StepPlan plan_steps(double h, double increase_factor, double longest, double distance) {
  // The row has a second step even where the first one reaches the distance, to rounding.
  double b = std::min(h * increase_factor, longest), a = h + b;
  const auto next_b = [&] { return std::min(b * increase_factor, longest); };
  constexpr int summed = 10000;
  for (int k = 0; k < summed && a < distance && next_b() != b; ++k) {
    b = next_b();
    a += b;
  }
  // A very slow growth in closed form: one step more or less changes nothing that counts in such a row.
  if (a < distance && next_b() != b) {
    const double growth = increase_factor - 1, log_factor = std::log1p(growth);
    const double to_longest = std::ceil(std::log(longest / b) / log_factor);
    const double to_distance =
        std::ceil(std::log1p((distance - a) / b * growth / increase_factor) / log_factor);
    const double steps = std::min(to_longest, to_distance);
    a += b * increase_factor * std::expm1(steps * log_factor) / growth;
    b = std::min(b * std::exp(steps * log_factor), longest);
  }
  return {add_equal_steps(a, b, distance), b};
}

}  // namespace tessaron
