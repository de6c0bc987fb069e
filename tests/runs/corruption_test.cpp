#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "support/run_program.hpp"
#include "support/whole_deck.hpp"

/// Damaged input: whatever a deck or a data file holds, a run ends by itself, in order.
using namespace tessaron::test;

namespace {

/// What a text may be replaced by, or get in: syntax in the wrong place, and numbers at the ends of the
/// range.
const std::vector<std::string> strays = {
    "}",
    "{",
    "=",
    "",
    "#eof",
    "#file",
    "#file { name = tessar.in }",
    "exit",
    "!",
    ",",
    "0",
    "-1",
    "1e300",
    "-1e300",
    "1e-300",
    "nan",
    "inf",
    "2147483648",
    "99999999999999999999",
    "1.5",
    "1d5",
    "()[]",
    "\xff\xfe",
    "yes",
    "file",
    "relative",
    "now",
    "undefined",
    "-9.87654321e+301",
    "tracker",
    "particles",
    "\n",
    "\r",
    "/dev/zero",
    "987654321",
    "4",
    "csr_p_to_p",
    "csr_p_to_m",
    "csr_g_to_m",
    "none",
};

class Damage {
 public:
  explicit Damage(unsigned seed) : generator_(seed) {}
  std::size_t below(std::size_t n) { return n == 0 ? 0 : generator_() % n; }

  /// One damage to a text: a word replaced, dropped, doubled, or bytes changed, dropped, put in, cut off.
  void apply(std::string& text) {
    const std::size_t at = below(text.size());
    const std::size_t begin = text.find_last_of(" \n", at) + 1;
    const std::size_t length = std::min(text.find_first_of(" \n", begin), text.size()) - begin;
    const std::string& stray = strays[below(strays.size())];
    switch (below(9)) {
      case 0:
      case 1:
      case 2:
        text.replace(begin, length, stray);
        break;
      case 3:
        text.erase(begin, length);
        break;
      case 4:
        text.insert(begin, text.substr(begin, length) + " ");
        break;
      case 5:
        text.insert(begin, stray + " ");
        break;
      case 6:
        text[at] = static_cast<char>(below(256));
        break;
      case 7:
        text.erase(at, 1 + below(40));
        break;
      default:
        text.resize(below(4) == 0 ? at : text.size());
        text.insert(at / 2, std::string(below(600), 'x'));
        break;
    }
  }

 private:
  std::mt19937 generator_;
};

/// A deck may ask for more steps than anybody wants to wait for. Such a run is not stuck: its step lines show
/// a bunch on its way.
bool still_stepping(const ProgramRun& run) {
  std::vector<std::string> steps;
  for (const std::string& line : run.lines()) {
    if (line.find(" ---> ct=") != std::string::npos) steps.push_back(line);
  }
  return steps.size() > 100;
}

TEST(DamagedInput, TheSoundDeckRunsToItsEnd) {
  const RunFolder folder;
  for (const auto& [name, text] : whole_deck()) folder.write(name, text);
  const ProgramRun run = folder.run();
  EXPECT_TRUE(run.orderly());
  EXPECT_EQ(run.errors, "");
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
    const ProgramRun run = folder.run(10);
    if (run.orderly() || (run.hung && still_stepping(run))) continue;
    ADD_FAILURE() << "seed " << seed << (run.hung ? ": does not end" : ": signal or exit status ")
                  << run.signal << ' ' << run.exit_status << "\n"
                  << victim->first << ":\n"
                  << victim->second << "\n"
                  << run.errors;
  }
}

TEST(DamagedInput, EveryRunEndsInOrder1) { run_damaged(1, 100); }
TEST(DamagedInput, EveryRunEndsInOrder2) { run_damaged(101, 100); }
TEST(DamagedInput, EveryRunEndsInOrder3) { run_damaged(201, 100); }
TEST(DamagedInput, EveryRunEndsInOrder4) { run_damaged(301, 100); }

// Nothing but noise.
TEST(DamagedInput, AnyBytesAsADeck) {
  std::mt19937 generator(5);
  for (int n = 0; n < 50; ++n) {
    const RunFolder folder;
    std::string deck(generator() % 3000, ' ');
    for (char& c : deck) c = static_cast<char>(generator());
    const ProgramRun run = folder.run_deck(deck, 10);
    EXPECT_TRUE(run.orderly()) << n;
  }
}

}  // namespace
