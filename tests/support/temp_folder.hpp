#pragma once
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace tessaron::test {

/// The lines of a text, without their ends; a last line that has no end counts.
inline std::vector<std::string> split_lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

/// Lines as one text, a ';' between them: "a blank ahead of every message" reads " error in a; error in b".
inline std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (std::size_t i = 0; i < lines.size(); ++i) text += (i == 0 ? "" : ";") + lines[i];
  return text;
}

/// A folder of its own for a test, removed with all it holds at the end.
class TempFolder {
 public:
  TempFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "tessaron_test_XXXXXX").string();
    path_ = ::mkdtemp(name.data());
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path path(std::string_view name) const { return path_ / name; }
  void write(std::string_view name, std::string_view text) const {
    std::ofstream(path(name), std::ios::binary).write(text.data(), static_cast<std::streamsize>(text.size()));
  }
  void make_folder(std::string_view name) const { std::filesystem::create_directories(path(name)); }
  bool exists(std::string_view name) const { return std::filesystem::exists(path(name)); }
  std::string read(std::string_view name) const {
    std::ifstream in(path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  std::vector<std::string> lines(std::string_view name) const { return split_lines(read(name)); }

 private:
  std::filesystem::path path_;
};

/// A folder that is the working directory of this process as long as it lives.
class WorkingFolder : public TempFolder {
 public:
  WorkingFolder() : before_(std::filesystem::current_path()) { std::filesystem::current_path(path()); }
  ~WorkingFolder() { std::filesystem::current_path(before_); }

 private:
  std::filesystem::path before_;
};

}  // namespace tessaron::test
