#pragma once
#include <string_view>

#include "run/deck.hpp"

namespace tessaron {

/// Takes the settings of a block out of its table of keys: a setting that a key does not give stays as it
/// was.

inline bool any_value(double) { return true; }
inline bool positive(double value) { return value > 0; }

/// Reads the number of a key that has to be there and has to pass the test.
template <std::size_t N, class Test>
[[nodiscard]] Status need_real(const KeyTable<N>& keys, std::string_view name, double& setting, Test test) {
  if (!keys.seen(name)) return failed;
  double value = 0;
  const Status status = keys.real(name, value);
  if (status != ok) return status;
  if (!test(value)) return keys.judged(name, failed);
  setting = value;
  return ok;
}

/// The same for a key that may be absent.
template <std::size_t N, class Test>
[[nodiscard]] Status take_real(const KeyTable<N>& keys, std::string_view name, double& setting, Test test) {
  return keys.seen(name) ? need_real(keys, name, setting, test) : ok;
}

/// "yes" is true, any other value false.
template <std::size_t N>
void take_flag(const KeyTable<N>& keys, std::string_view name, bool& flag) {
  if (keys.seen(name)) flag = keys.value(name) == "yes";
}

}  // namespace tessaron
