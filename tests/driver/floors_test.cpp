#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <string>

namespace tessaron::test {
namespace {

namespace fs = std::filesystem;

/// The floors of the house from the ground up: a folder includes only itself and what stands below it.
constexpr auto floors =
    std::to_array<std::string_view>({"common", "group", "run", "beam", "lattice", "motion", "field", "forces",
                                     "tracking", "monitors", "driver"});

std::ptrdiff_t floor_of(const std::string& folder) {
  return std::find(floors.begin(), floors.end(), folder) - floors.begin();
}

// Every include points down, every folder has its floor and can be taken in at a glance, and a record's
// writable side stands in an owner's header, which its own floor sees and the driver, which fills the records
// of the group's workers.
TEST(Floors, EveryArrowPointsDown) {
  const fs::path src = fs::path(TESSARON_SOURCE_DIR) / "src";
  const std::regex include("#include \"(([^/\"]+)/[^\"]+)\""), writable("^extern (?!const )");
  int arrows = 0;
  std::map<fs::path, int> files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(src)) {
    if (!entry.is_regular_file() || entry.path().parent_path() == src) continue;
    ++files[entry.path().parent_path()];
    const std::string folder = fs::relative(entry.path(), src).begin()->string();
    ASSERT_LT(floor_of(folder), std::ssize(floors)) << folder << " has no floor";
    std::ifstream file(entry.path());
    std::smatch match;
    for (std::string line; std::getline(file, line);) {
      if (!entry.path().string().ends_with("_owner.hpp")) {
        EXPECT_FALSE(std::regex_search(line, writable)) << entry.path() << " lets everybody write: " << line;
      }
      if (!std::regex_search(line, match, include)) continue;
      const std::string header = match[1], below = match[2];
      EXPECT_LE(floor_of(below), floor_of(folder)) << entry.path() << " reaches up to " << header;
      if (header.ends_with("_owner.hpp")) {
        EXPECT_TRUE(below == folder || entry.path().filename() == "group_transfer.cpp")
            << entry.path() << " writes the record of " << below;
      }
      ++arrows;
    }
  }
  EXPECT_GT(arrows, 100);
  for (const auto& [folder, n] : files) EXPECT_LE(n, 16) << folder << " is crowded: part it into rooms";
}

// The table of short names in docs/developer.md: every name is declared in the header that its row names.
TEST(Floors, TheTableOfShortNamesIsTrue) {
  const fs::path root = TESSARON_SOURCE_DIR;
  std::ifstream page(root / "docs/developer.md");
  const std::regex row(R"(^\| (`[A-Za-z0-9_`, ]+`) \|.*\| ([a-z0-9_/]+\.hpp) \|$)"),
      name("`([A-Za-z0-9_]+)`");
  int names = 0;
  std::smatch match;
  for (std::string line; std::getline(page, line);) {
    if (!std::regex_match(line, match, row)) continue;
    std::ifstream header(root / "src" / match[2].str());
    const std::string text((std::istreambuf_iterator<char>(header)), {}), cell = match[1];
    for (std::sregex_iterator it(cell.begin(), cell.end(), name), end; it != end; ++it, ++names) {
      EXPECT_TRUE(std::regex_search(text, std::regex("\\b" + (*it)[1].str() + "\\(")))
          << (*it)[1] << " in " << match[2];
    }
  }
  EXPECT_GT(names, 80);
}

}  // namespace
}  // namespace tessaron::test
