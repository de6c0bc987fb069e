#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "support/run_program.hpp"

/// Damaged input: whatever a deck or a data file holds, a run ends by itself, in order.
using namespace tessaron::test;

namespace {

using Files = std::map<std::string, std::string>;

/// A deck with every command and nearly every key, and its files.
const Files sound = {
    {"tessar.in", R"(io_path { output = . logfile = log }
lattice { #file { name = magnets } }
particles { format = fmt1 reference_momentum = average reference_point_x = 0 reference_point_y = 0.
  reference_point_phi = 0 array = #file { name = bunch } }
forces { type = projected sigma_long = relative relative_long = 0.5 sigma_file = sizes wake_file = wake
  shield = 0.1 shield_max = 0.3 par1 = 3 par4 = 0.1 test = yes }
track_step { ct_step_max = 0.2 ct_step_min = 0.01 ct_step_first = 0.1 iterative = 2 error_per_ct = 1d-3
  precondition = yes increase_factor = 2.0 arc_factor = 0.5 }
monitor { name = start format = fmt2 }
track_accuracy { anything { nested = 1 } }
online_monitor { name = steps.dat type = steps start_time_c0 = now end_time_marker = last time_step_c0 = all }
online_monitor { name = bunch.dat format = fmt3 start_time_marker = first start_time_shift_c0 = -0.1
  end_time_c0 = 2 time_step_c0 = 0.5 }
online_monitor { name = orbit.dat particle = 1 format = fmt0 start_time_c0 = 0 end_time_c0 = 1 time_step_c0 = 0 }
tracker { end_time_marker = second end_time_shift_c0 = 0.1 }
forces { type = csr_g_to_p sigma_long = 1e-4 shape = ellipsoid sigma_rad = 1e-4 sigma_vert = 1e-4 sbox = 0.5 }
online_monitor { name = mesh.dat type = green start_time_c0 = now end_time_c0 = 9 time_step_c0 = all }
online_monitor { name = sub.dat type = subbunch start_time_c0 = now end_time_c0 = 9 time_step_c0 = 0.1 }
track_step { time_grid_file = times }
tracker { delta_time_c0 = 0.2 }
monitor { name = end format = fmt1 }
exit
)"},
    {"magnets", R"(dipole { position { delta_s = 0.3 marker = first } properties { r = 5 }
  position { delta_s = 0.2 delta_psi = 1 duty = yes } }
quadrupole { position { delta_s = 0.2 } properties { strength = 2 alpha = 10 } position { delta_s = 0.1 marker = second } }
multipole { position { delta_s = 0.2 } properties { poles = 6 strength = 10 horizontal_offset = 0.001 }
  position { delta_s = 0.1 } }
thin_quadrupole { position { delta_s = 0.1 } properties { effective_length = 0.1 quadrupole_k = 1 } }
discrete_free { position { delta_s = 0.1 } properties { type = 1 integer = 0 real = 16 }
  real_array { 1 0 0 0  0 1 0 0  0 0 1 0  0 0 0 1 } }
dipole { position { delta_s = 0.5 marker = last } }
)"},
    {"bunch", R"(0 0 0 0 0 0 0
0 0 0 5e8 0 0 1e-10
1e-4 0 0 1e4 0 0 1e-10
-1e-4 1e-5 2e-5 -1e4 100 50 1e-10
2e-4 -1e-5 -2e-5 2e4 -100 -50 1e-10
)"},
    {"wake", "! a wake\n1e-4\n2e-5\n-30\n30\n" +
                 [] {
                   std::string rows;
                   for (int i = -30; i <= 30; ++i) rows += "1e9\n";
                   return rows;
                 }()},
    {"sizes", "0 1e-4 1e-4 1e-4\n1 2e-4 1e-4 1e-4\n5 2e-4 1e-4 1e-4\n"},
    {"times", "0.1\n0.5\n0.9\n1.0\n1.1\n"},
};

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
  for (const auto& [name, text] : sound) folder.write(name, text);
  const ProgramRun run = folder.run();
  EXPECT_TRUE(run.orderly());
  EXPECT_EQ(run.errors, "");
  EXPECT_TRUE(folder.exists("end")) << run.console;
}

/// Runs `cases` damaged sets of files, counted from the seed `first`.
void run_damaged(unsigned first, unsigned cases) {
  for (unsigned seed = first; seed < first + cases; ++seed) {
    Damage damage(seed);
    Files files = sound;
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
