#pragma once
#include <cstdint>

namespace tessaron {

/// The whole part of a value, cut towards 0 and held within lowest .. highest; `lowest` for what is no
/// number. Converting a real beyond the range of the integer would be undefined.
inline std::int64_t whole_part(double value, std::int64_t lowest, std::int64_t highest) {
  if (!(value > static_cast<double>(lowest))) return lowest;
  if (value >= static_cast<double>(highest)) return highest;
  return static_cast<std::int64_t>(value);
}

}  // namespace tessaron
