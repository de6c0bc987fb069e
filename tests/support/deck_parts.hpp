#pragma once
#include <algorithm>
#include <map>
#include <string>
#include <string_view>

namespace tessaron::test {

/// Splits a text into the files of a run: the deck, and behind each line "%% NAME" the file of that name.
/// Names that are not plain words of letters, digits, points and underscores are passed over, so that nothing
/// lies outside the folder of the run.
inline std::map<std::string, std::string> deck_parts(std::string_view text) {
  const auto plain = [](std::string_view name) {
    return !name.empty() && name.front() != '.' && name.size() < 80 &&
           std::all_of(name.begin(), name.end(), [](char c) {
             return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
                    c == '_';
           });
  };
  std::map<std::string, std::string> files;
  std::string* file = &files["tessar.in"];
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    if (line.starts_with("%% ") && plain(line.substr(3))) {
      file = &files[std::string(line.substr(3))];
    } else {
      file->append(line) += '\n';
    }
  }
  return files;
}

}  // namespace tessaron::test
