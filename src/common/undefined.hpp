#pragma once
#include <cstdint>
#include <string_view>

namespace tessaron {

/// Markers of a setting that was not given. The test is exact equality.
inline constexpr double undefined_real = -9.87654321e+301;
inline constexpr std::int32_t undefined_integer = 987654321;
inline constexpr std::string_view undefined_text = "undefined";

}  // namespace tessaron
