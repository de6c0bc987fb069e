#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "support/damage.hpp"
#include "support/deck_parts.hpp"
#include "support/run_program.hpp"
#include "support/whole_deck.hpp"

/// Damaged input: whatever a deck or a data file holds, a run ends by itself, in order.
using namespace tessaron::test;

namespace {

/// A deck may ask for more steps than anybody wants to wait for. Such a run is not stuck: its step lines show
/// a bunch on its way.
bool still_stepping(const ProgramRun& run) {
  const auto lines = run.lines();
  return std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
           return line.find(" ---> ct=") != std::string::npos;
         }) > 100;
}

TEST(DamagedInput, TheSoundDeckRunsToItsEnd) {
  const RunFolder folder;
  for (const auto& [name, text] : whole_deck()) folder.write(name, text);
  const ProgramRun run = folder.run();
  EXPECT_TRUE(run.orderly());
  // Its second tracker goes on where the first one ended, with another model.
  EXPECT_EQ(run.errors.find("tessaron: tracking starts with forces that were stored before"), 0u);
  EXPECT_EQ(run.errors.find('\n'), run.errors.size() - 1);
  EXPECT_TRUE(folder.exists("end")) << run.console;
}

/// Runs `cases` damaged sets of files, counted from the seed `first`.
void run_damaged(unsigned first, unsigned cases) {
  for (unsigned seed = first; seed < first + cases; ++seed) {
    Damage damage(seed);
    Files files = whole_deck();
    // Every second case damages the deck itself, the others one of its files.
    auto victim = files.find("tessar.in");
    if (seed % 2 == 1) {
      victim = files.begin();
      std::advance(victim, static_cast<std::ptrdiff_t>(damage.below(files.size())));
    }
    for (std::size_t n = 1 + damage.below(3); n > 0; --n) damage.apply(victim->second);
    const RunFolder folder;
    for (const auto& [name, text] : files) folder.write(name, text);
    ProgramRun run = folder.run(2);
    if (run.orderly() || (run.hung && still_stepping(run))) continue;
    if (run.hung) run = folder.run(30);  // a busy machine
    if (run.orderly()) continue;
    ADD_FAILURE() << "seed " << seed << (run.hung ? ": does not end" : ": signal or exit status ")
                  << run.signal << ' ' << run.exit_status << "\n"
                  << victim->first << ":\n"
                  << victim->second << "\n"
                  << run.errors;
  }
}

TEST(DamagedInput, EveryRunEndsInOrder1) { run_damaged(1, 100); }
TEST(DamagedInput, EveryRunEndsInOrder2) { run_damaged(101, 100); }

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

// Nothing but noise.
TEST(DamagedInput, AnyBytesAsADeck) {
  std::mt19937 generator(5);
  for (int n = 0; n < 20; ++n) {
    const RunFolder folder;
    std::string deck(generator() % 3000, ' ');
    for (char& c : deck) c = static_cast<char>(generator());
    const ProgramRun run = folder.run_deck(deck, 10);
    EXPECT_TRUE(run.orderly()) << n;
  }
}

}  // namespace
