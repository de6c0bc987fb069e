#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "support/deck_parts.hpp"
#include "support/run_program.hpp"

/// Damaged input: whatever a deck or a data file holds, a run ends by itself, in order.
using namespace tessaron::test;

namespace {

// What fuzzing begins with, and what it has found.
TEST(DamagedInput, TheFuzzersCorpusEndsInOrder) {
  int entries = 0;
  for (const auto& entry : std::filesystem::directory_iterator(TESSARON_SOURCE_DIR "/tests/fuzz/corpus")) {
    std::ifstream in(entry.path(), std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(in), {}};
    const RunFolder folder;
    for (const auto& [name, text] : deck_parts(content)) folder.write(name, text);
    EXPECT_TRUE(folder.run(20).orderly()) << entry.path();
    ++entries;
  }
  EXPECT_GE(entries, 5);
}

}  // namespace
