#include <algorithm>
#include <array>
#include <initializer_list>

#include "monitors/monitor_outputs.hpp"

namespace tessaron {

namespace {

/// The parts one behind the other, cut to the field.
template <std::size_t N>
Text<N> joined(std::initializer_list<std::string_view> parts) {
  std::array<char, N> chars;
  std::size_t length = 0;
  for (const std::string_view part : parts) {
    const std::size_t n = std::min(part.size(), N - length);
    std::copy_n(part.begin(), n, chars.begin() + length);
    length += n;
  }
  return std::string_view(chars.data(), length);
}

/// An underscore and the last four digits of a count.
std::array<char, 5> number_text(std::int32_t count) {
  std::array<char, 5> text = {'_'};
  for (std::size_t k = 4; k >= 1; --k) {
    text[k] = static_cast<char>('0' + count % 10);
    count /= 10;
  }
  return text;
}

}  // namespace

Text<80> numbered_name(const Text<80>& name, std::int32_t count) {
  const std::array<char, 5> digits = number_text(count);
  const std::string_view number(digits.data(), digits.size());
  const std::string_view field = name.field();
  const std::string_view used = field.substr(0, std::min(field.find("   "), name.view().size()));
  const std::size_t point = field.find('.');
  if (point == std::string_view::npos) return joined<80>({used, number});
  if (point >= used.size()) return joined<80>({field.substr(0, point), number});
  return joined<80>({used.substr(0, point), number, used.substr(point)});
}

Text<72> name_line(std::string_view before, const Text<80>& name, std::string_view after) {
  return joined<72>({before, name.field().substr(0, 20), after});
}

}  // namespace tessaron
