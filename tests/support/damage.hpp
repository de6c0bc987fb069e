#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "support/temp_folder.hpp"

namespace tessaron::test {

/// What a text may be replaced by, or get in, one to a line: syntax in the wrong place, the keywords of other
/// places, and numbers at the ends of the range.
inline const std::vector<std::string> strays = split_lines(
    "}\n{\n=\n\n#eof\n#file\n#file { name = tessar.in }\nexit\n!\n,\n0\n-1\n1e300\n-1e300\n1e-300\nnan\ninf\n"
    "2147483648\n99999999999999999999\n1.5\n1d5\n()[]\n\xff\xfe\nyes\nfile\nrelative\nnow\nundefined\n"
    "-9.87654321e+301\ntracker\nparticles\nline { = 1 "
    "}\n\r\n/dev/zero\n987654321\n4\ncsr_p_to_p\ncsr_p_to_m\n"
    "csr_g_to_m\nnone");

/// Damages texts, the same way for the same seed.
class Damage {
 public:
  explicit Damage(unsigned seed) : generator_(seed) {}
  std::size_t below(std::size_t n) { return n == 0 ? 0 : generator_() % n; }

  /// One damage to a text: a word replaced, dropped, doubled, or bytes changed, dropped, put in, cut off.
  void apply(std::string& text) {
    const std::size_t at = below(text.size());
    const auto [begin, length] = word(text, at);
    const std::string& stray = strays[below(strays.size())];
    const std::size_t kind = text.empty() ? 2 : below(11);
    if (kind == 0) text.erase(begin, length);
    if (kind == 1) text.insert(begin, text.substr(begin, length) + " ");
    if (kind == 2) text.insert(begin, stray + " ");
    if (kind == 3) text[at] = static_cast<char>(below(256));
    if (kind == 4) text.erase(at, 1 + below(40));
    if (kind == 5) text.insert(at, std::string(below(600), 'x'));
    if (kind == 5 && below(4) == 0) text.resize(at);
    if (kind >= 6 && kind <= 8) text.replace(begin, length, stray);
    if (kind == 9) {
      const auto [other, size] = word(text, below(text.size()));
      text.replace(begin, length, text.substr(other, size));
    }
    if (kind == 10) text.replace(begin, length, number());
  }

 private:
  struct Part {
    std::size_t begin, length;
  };
  static Part word(const std::string& text, std::size_t at) {
    const std::size_t begin = text.find_last_of(" \n", at) + 1;
    return {begin, std::min(text.find_first_of(" \n", begin), text.size()) - begin};
  }
  /// Of any size that a length, an angle or a momentum may have.
  std::string number() {
    char text[20];
    const int sign = below(4) == 0 ? -1 : 1;
    std::snprintf(text, sizeof text, "%de%d", sign * static_cast<int>(below(1000)),
                  static_cast<int>(below(14)) - 8);
    return text;
  }

  std::mt19937 generator_;
};

}  // namespace tessaron::test
