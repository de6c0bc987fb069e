#pragma once
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace tessaron {

/// A text field of N characters, blank padded; a longer text is cut. Comparison ignores trailing blanks and
/// nothing else.
template <std::size_t N>
class Text {
 public:
  constexpr Text() { chars_.fill(' '); }
  constexpr Text(std::string_view text) { assign(text); }  // NOLINT: a text is a field
  constexpr Text(const char* text) { assign(std::string_view(text)); }

  constexpr void assign(std::string_view text) {
    const std::size_t n = std::min(N, text.size());
    std::copy_n(text.begin(), n, chars_.begin());
    std::fill(chars_.begin() + static_cast<std::ptrdiff_t>(n), chars_.end(), ' ');
  }

  /// The text without its trailing blanks; it stays valid as long as the field does.
  constexpr std::string_view view() const {
    std::size_t n = N;
    if (!std::is_constant_evaluated()) n = without_blank_eights();
    while (n > 0 && chars_[n - 1] == ' ') --n;
    return {chars_.data(), n};
  }
  /// All N characters.
  constexpr std::string_view field() const { return {chars_.data(), N}; }
  /// The text up to its first blank.
  constexpr std::string_view word() const {
    const std::string_view all = field();
    const std::size_t blank = all.find(' ');
    return blank == std::string_view::npos ? all : all.substr(0, blank);
  }
  constexpr bool blank() const { return view().empty(); }

  friend constexpr bool operator==(const Text& a, const Text& b) { return a.chars_ == b.chars_; }
  friend constexpr bool operator==(const Text& a, std::string_view b) {
    while (!b.empty() && b.back() == ' ') b.remove_suffix(1);
    return a.view() == b;
  }
  friend constexpr bool operator==(const Text& a, const char* b) { return a == std::string_view(b); }

 private:
  /// The length less whole groups of eight blanks at the end: most of a field is padding, and every number
  /// of a particle file passes through one.
  std::size_t without_blank_eights() const {
    std::size_t n = N;
    for (std::uint64_t group = 0; n >= 8; n -= 8) {
      std::memcpy(&group, chars_.data() + n - 8, 8);
      if (group != 0x2020202020202020u) break;
    }
    return n;
  }
  std::array<char, N> chars_;
};

}  // namespace tessaron
