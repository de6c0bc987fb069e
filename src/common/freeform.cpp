#include "common/freeform.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <system_error>

namespace tessaron {

namespace {

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

/// Takes a plus sign off, which std::from_chars does not read; a second sign is left to fail there.
std::string_view without_plus(std::string_view text) {
  if (text.size() > 1 && text[0] == '+' && text[1] != '-' && text[1] != '+') text.remove_prefix(1);
  return text;
}

bool separates(char c) { return c == ' ' || c == '\t' || c == ',' || c == ';' || c == '\r'; }

/// The place of the sign in a number like 0.10000000000000-119, or 0: an exponent of three digits takes the
/// place of its letter in a fixed form.
std::size_t bare_exponent(std::string_view text) {
  const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
  if (text.size() < 6) return 0;
  const std::size_t sign = text.size() - 4;
  if ((text[sign] != '+' && text[sign] != '-') || !(is_digit(text[sign - 1]) || text[sign - 1] == '.'))
    return 0;
  if (!std::all_of(text.begin() + static_cast<std::ptrdiff_t>(sign) + 1, text.end(), is_digit)) return 0;
  return text.find('.') < sign ? sign : 0;
}

void right_justify(char* out, int width, std::string_view text) {
  const auto room = static_cast<std::size_t>(width);
  if (text.size() > room) {
    std::memset(out, '*', room);
    return;
  }
  std::memset(out, ' ', room - text.size());
  std::memcpy(out + (room - text.size()), text.data(), text.size());
}

std::string_view not_finite(double value) {
  if (std::isnan(value)) return "NaN";
  return value > 0 ? "Infinity" : "-Infinity";
}

}  // namespace

std::string_view next_word(std::string_view& line) {
  while (!line.empty() && separates(line.front())) line.remove_prefix(1);
  std::size_t n = 0;
  while (n < line.size() && !separates(line[n])) ++n;
  const std::string_view word = line.substr(0, n);
  line.remove_prefix(n);
  return word;
}

Status read_real(std::string_view token, double& value) {
  const std::string_view text = without_plus(trimmed(token));
  std::array<char, 400> digits;
  if (text.empty() || text.size() >= digits.size()) return failed;
  // "inf" and "nan" would read as numbers: a number begins with a digit or a point, behind a sign.
  const char first = text[0] == '-' && text.size() > 1 ? text[1] : text[0];
  if (!((first >= '0' && first <= '9') || first == '.')) return failed;

  const char* begin = text.data();
  const char* end = begin + text.size();
  if (const std::size_t sign = bare_exponent(text); sign > 0 && text.size() + 1 < digits.size()) {
    char* c = std::copy(begin, begin + sign, digits.begin());
    *c++ = 'e';
    end = std::copy(begin + sign, end, c);
    begin = digits.data();
  }
  const auto is_d = [](char c) { return (c | 0x20) == 'd'; };  // upper and lower case differ in this bit
  if (std::any_of(begin, end, is_d)) {
    end = std::transform(begin, end, digits.data(), [&](char c) { return is_d(c) ? 'e' : c; });
    begin = digits.data();
  }
  double number = 0;
  const auto [stop, error] = std::from_chars(begin, end, number);
  if (stop != end || error == std::errc::invalid_argument) return failed;
  if (error == std::errc::result_out_of_range) {
    // Too small a number reads as 0 (or a subnormal), too large a one fails.
    const auto size = static_cast<std::size_t>(end - begin);
    std::memmove(digits.data(), begin, size);
    digits[size] = '\0';
    number = std::strtod(digits.data(), nullptr);
    if (!std::isfinite(number)) return failed;
  }
  value = number;
  return ok;
}

Status read_integer(std::string_view token, std::int32_t& value) {
  const std::string_view text = without_plus(trimmed(token));
  const char* end = text.data() + text.size();
  std::int32_t number = 0;
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (text.empty() || stop != end || error != std::errc{}) return failed;
  value = number;
  return ok;
}

Status next_real(std::string_view& line, double& value) { return read_real(next_word(line), value); }

Status next_integer(std::string_view& line, std::int32_t& value) {
  return read_integer(next_word(line), value);
}

void FreeForm::put(std::string_view text) {
  const std::size_t n = std::min(text.size(), chars_.size() - length_);
  std::copy_n(text.begin(), n, chars_.begin() + static_cast<std::ptrdiff_t>(length_));
  length_ += n;
}

FreeForm& FreeForm::add(std::string_view text) {
  put(" ");
  put(text);
  return *this;
}

FreeForm& FreeForm::add(double value) {
  std::array<char, 40> digits;
  const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), value);
  return add(std::string_view(digits.data(), static_cast<std::size_t>(result.ptr - digits.data())));
}

FreeForm& FreeForm::add(bool value) { return add(value ? "T" : "F"); }

FreeForm& FreeForm::add(std::int64_t value) {
  std::array<char, 24> digits;
  const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), value);
  return add(std::string_view(digits.data(), static_cast<std::size_t>(result.ptr - digits.data())));
}

void put_scientific(char* out, int width, int decimals, double value) {
  if (!std::isfinite(value)) return right_justify(out, width, not_finite(value));
  // d.dddde+xx with decimals - 1 digits behind the point, then the point moves one place to the left.
  std::array<char, 64> raw;
  const auto end =
      std::to_chars(raw.data(), raw.data() + raw.size(), value, std::chars_format::scientific, decimals - 1)
          .ptr;
  const char* c = raw.data();
  std::array<char, 72> text;
  char* t = text.data();
  if (*c == '-') *t++ = *c++;
  *t++ = '0';
  *t++ = '.';
  *t++ = *c++;
  if (*c == '.') ++c;
  while (c != end && *c != 'e') *t++ = *c++;
  ++c;
  if (*c == '+') ++c;
  int exponent = 0;
  std::from_chars(c, end, exponent);
  if (value != 0) ++exponent;
  const int size = std::abs(exponent);
  if (size < 100) *t++ = 'E';  // a three-digit exponent takes the letter's place
  *t++ = exponent < 0 ? '-' : '+';
  if (size >= 100) *t++ = static_cast<char>('0' + size / 100);
  *t++ = static_cast<char>('0' + size / 10 % 10);
  *t++ = static_cast<char>('0' + size % 10);
  right_justify(out, width, std::string_view(text.data(), static_cast<std::size_t>(t - text.data())));
}

void put_fixed(char* out, int width, int decimals, double value) {
  if (!std::isfinite(value)) return right_justify(out, width, not_finite(value));
  std::array<char, 400> text;
  const auto end =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, decimals).ptr;
  right_justify(out, width, std::string_view(text.data(), static_cast<std::size_t>(end - text.data())));
}

void put_integer(char* out, int width, std::int64_t value) {
  std::array<char, 24> text;
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
  right_justify(out, width, std::string_view(text.data(), static_cast<std::size_t>(end - text.data())));
}

}  // namespace tessaron
