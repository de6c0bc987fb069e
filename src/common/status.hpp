#pragma once
#include <cstdint>

namespace tessaron {

/// What an operation returns: 0 is success, anything else a failure that has already been put into words
/// through `msgout`. Codes of failed file operations and number conversions pass through unchanged.
using Status = std::int32_t;

inline constexpr Status ok = 0;
inline constexpr Status failed = 1;

/// Of the codes of several attempts the first that failed stands.
inline void keep_first(Status& first, Status code) {
  if (first == ok) first = code;
}

}  // namespace tessaron
