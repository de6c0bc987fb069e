#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/run_program.hpp"

/// The self force from outside: decks through the built program, exact console lines.
namespace tessaron::test {
namespace {

using Lines = std::vector<std::string>;

Lines lines_of(const RunFolder& folder, const std::string& deck) {
  const ProgramRun run = folder.run_deck(deck);
  EXPECT_TRUE(run.orderly()) << deck;
  int banners = 0;
  return without_banners(run.lines(), banners);
}

TEST(Forces, BadBlocksGiveTheirLines) {
  struct Case {
    std::string block;
    Lines lines;
  };
  const std::string tail = " error in force", sizes = " read subbunch properties";
  RunFolder folder;
  folder.write("falling", "1 1 1 1\n0 1 1 1\n");
  folder.write("flat", "1 0 1 1\n");
  folder.write("words", "1 long 1 1\n");
  folder.write("wake", "! a wake\n1\n1\n-3\n2\n");
  const std::string head = "type = projected sigma_long = file sigma_file = ";
  for (const Case& c :
       {Case{"type = none", {}}, Case{"sigma_long = 1", {tail}}, Case{"type = projected", {tail}},
        Case{"type = projected sigma_long = file", {" file with subbunch properties is not specified", tail}},
        Case{head + "falling", {sizes, " first column with c*time is not increasing", tail}},
        Case{head + "flat", {sizes, " file with nonepositive subbunch length", tail}},
        Case{head + "words", {sizes, tail}}, Case{head + "missing", {sizes, tail}}, Case{head + ".", {tail}},
        Case{"type = csr_g_to_p sigma_long = 1 shape = ellipsoid sigma_rad = 1 sbox = 2 rbox = 1.1",
             {" warning: large sbox", " warning: large rbox"}},
        Case{
            "type = none wake_file = wake",
            {" read wakefile: wake", " ! a wake", " error in wake file: ??? n2wak*stpwak < -3*sigwak", tail}},
        Case{"type = none wake_file = missing2",
             {" read wakefile: missing2", " error in wake file: ??? sigwak.le.0", tail}},
        Case{"typ = none", {" error in assign: unknown identifyer", tail}}}) {
    EXPECT_EQ(lines_of(folder, "forces { " + c.block + " }"), c.lines) << c.block;
  }
}

// The length of a single particle is 0: no evaluation can be made, and the run goes on without force. Each
// stage evaluates at its start, behind its predictor and, where it is the only one, behind its single pass.
TEST(Forces, AFailedEvaluationIsToldAndTheRunGoesOn) {
  struct Case {
    std::string type;
    int evaluations;  ///< start: 1 or 2; one step: 2, or 2 of the cheap model and 1
  };
  for (const Case& c : {Case{"projected", 3}, Case{"csr_p_to_p", 5}, Case{"csr_g_to_m", 5}}) {
    RunFolder folder;
    const Lines lines = lines_of(folder,
                                 "lattice { dipole { position { rho = 9 psi = 0 } } }\n"
                                 "particles { array = 0 a b c d e f   0 0 0 5e8 0 0 1e-9 }\n"
                                 "forces { type = " +
                                     c.type +
                                     " sigma_long = relative relative_long = 1 }\n"
                                     "tracker { end_time_c0 = 0.1 }");
    EXPECT_EQ(std::count(lines.begin(), lines.end(), " error in frcsub (sub-bunch dimensions)"),
              c.evaluations);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), " error in forcei"), c.evaluations);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "  with '" + c.type + "' force"), 1);
    EXPECT_EQ(lines.back(), "  integrated step error= 0");
  }
}

}  // namespace
}  // namespace tessaron::test
