#pragma once
#include <array>
#include <cstdint>
#include <string_view>

#include "common/status.hpp"

namespace tessaron {

/// Reads one number from a token: the whole token must be the number, apart from blanks around it. Integers,
/// decimals and exponents with e, E, d or D are read, with a leading sign if there is one, and so are
/// decimals with an exponent of three digits that has no letter, as fixed forms write it (0.1-119); "nan",
/// "inf", an empty token, trailing text and a number outside the range of a double fail. `value` is untouched
/// on failure.
[[nodiscard]] Status read_real(std::string_view token, double& value);

/// The same for a 32-bit integer; a decimal point or an exponent fails.
[[nodiscard]] Status read_integer(std::string_view token, std::int32_t& value);

/// Takes the first word off a line (words are parted by blanks, tabs, commas or semicolons); empty if there
/// is none.
std::string_view next_word(std::string_view& line);

/// Reads a real from the first word of a line, whatever stands behind it. `line` is left at what follows the
/// word.
[[nodiscard]] Status next_real(std::string_view& line, double& value);
[[nodiscard]] Status next_integer(std::string_view& line, std::int32_t& value);

/// A free-form record under construction: one blank ahead of the record, one blank between items; reals in
/// the shortest form that reads back to the same double, logicals as T and F. What does not fit is cut.
class FreeForm {
 public:
  FreeForm() = default;
  /// `FreeForm("npart =", npart)`: a record of these items.
  template <class... Items>
  requires(sizeof...(Items) > 0) explicit FreeForm(const Items&... items) { (add(items), ...); }
  FreeForm& add(std::string_view text);
  FreeForm& add(const char* text) { return add(std::string_view(text)); }
  FreeForm& add(double value);
  FreeForm& add(bool value);
  FreeForm& add(std::int32_t value) { return add(static_cast<std::int64_t>(value)); }
  FreeForm& add(std::int64_t value);

  /// The record, beginning with its blank.
  std::string_view view() const { return {chars_.data(), length_}; }
  /// The record without the leading blank, for a writer that puts the blank itself.
  std::string_view items() const { return view().substr(length_ == 0 ? 0 : 1); }

 private:
  void put(std::string_view text);
  std::array<char, 512> chars_;
  std::size_t length_ = 0;
};

/// Fixed scientific form without a digit before the point, sign in front of the 0: 0.ddddE+xx,
/// right-justified in `width` characters (a value that does not fit fills them with asterisks). `out` takes
/// `width` characters.
void put_scientific(char* out, int width, int decimals, double value);
/// Fixed notation, right-justified; a value too wide for its columns fills them with asterisks.
void put_fixed(char* out, int width, int decimals, double value);
/// An integer, right-justified; too wide a value fills the columns with asterisks.
void put_integer(char* out, int width, std::int64_t value);

}  // namespace tessaron
