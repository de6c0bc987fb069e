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

/// What a text may be replaced by, or get in, one to a line: syntax in the wrong place, the keywords of other
/// places, and numbers at the ends of the range.
const std::vector<std::string> strays = split_lines(
    "}\n{\n=\n\n#eof\n#file\n#file { name = tessar.in }\nexit\n!\n,\n0\n-1\n1e300\n-1e300\n1e-300\nnan\ninf\n"
    "2147483648\n99999999999999999999\n1.5\n1d5\n()[]\n\xff\xfe\nyes\nfile\nrelative\nnow\nundefined\n"
    "-9.87654321e+301\ntracker\nparticles\nline { = 1 "
    "}\n\r\n/dev/zero\n987654321\n4\ncsr_p_to_p\ncsr_p_to_m\n"
    "csr_g_to_m\nnone");

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
    const std::size_t kind = below(9);
    if (kind == 0) text.erase(begin, length);
    if (kind == 1) text.insert(begin, text.substr(begin, length) + " ");
    if (kind == 2) text.insert(begin, stray + " ");
    if (kind == 3) text[at] = static_cast<char>(below(256));
    if (kind == 4) text.erase(at, 1 + below(40));
    if (kind == 5) text.insert(at, std::string(below(600), 'x'));
    if (kind == 5 && below(4) == 0) text.resize(at);
    if (kind > 5) text.replace(begin, length, stray);
  }

 private:
  std::mt19937 generator_;
};

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
