#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/run_program.hpp"

/// Tracking from outside: decks through the built program, exact console lines.
namespace tessaron::test {
namespace {

using Lines = std::vector<std::string>;

const std::string drift =
    "lattice { dipole { position { rho = 1 psi = 0 marker = start } } "
    "dipole { position { rho = 2 psi = 0 marker = end duty = no } } }\n";
const std::string particle = "particles { array = 0 a b c d e f   0 0 0 5e8 0 0 1e-9 }\n";

/// The lines of a deck behind the end of the particles, without the banners.
Lines lines_of(const RunFolder& folder, const std::string& commands) {
  const ProgramRun run = folder.run_deck(drift + particle + commands);
  EXPECT_TRUE(run.orderly()) << commands;
  int banners = 0;
  Lines lines = without_banners(run.lines(), banners);
  const auto end = std::find(lines.begin(), lines.end(), "  end of particles definition, npart = 1");
  EXPECT_NE(end, lines.end());
  if (end != lines.end()) lines.erase(lines.begin(), end + 2);  // a blank line follows
  return lines;
}

TEST(Tracking, BadBlocksGiveTheirLines) {
  struct Case {
    std::string commands;
    Lines lines;
  };
  const std::string step = " error in track_step", grid = " read time_grid_file";
  RunFolder folder;
  folder.write("falling", "1\n0.5\n");
  folder.write("words", "1\ntwo\n");
  folder.write("long", [] {
    std::string text;
    for (int k = 0; k < 2000; ++k) text += "1\n";
    return text;
  }());
  for (const Case& c :
       {Case{"track_step { iterative = 0 }", {step}}, Case{"track_step { ct_step_min = 0.1 }", {step}},
        Case{"track_step { step = 1 }", {" error in assign: unknown identifyer", step}},
        Case{"track_step { time_grid_file = falling }",
             {grid, " values in time_grid_file not increasing", step}},
        Case{"track_step { time_grid_file = words }", {grid, step}},
        Case{"track_step { time_grid_file = missing }", {grid, step}},
        Case{"track_step { time_grid_file = . }", {step}},
        Case{"track_step { time_grid_file = long }",
             {grid, " too many points in time_grid_file: increase matist", step}},
        Case{"tracker { end_time_c0 = late }", {" error in tracker"}},
        Case{"tracker { }", {" error: end time is undefined"}},
        Case{"tracker { end_time_c0 = 0 }", {" error: end time < particle time"}},
        Case{"tracker { end_time_marker = nowhere }",
             {" error: unknown marker for track time", " error: end time is undefined"}}}) {
    EXPECT_EQ(lines_of(folder, c.commands), c.lines) << c.commands;
  }
}

// 5e8 eV/c: the particle crosses x = 1 within 1e-6 of c t = 1, where one stop lies ahead and one behind.
// Steps to there: the plan 0.25, 0.5, 0.5 overshoots, 0.25 * 1.125/1.25; then 0.45, 0.5, 0.45 * 0.9/0.95;
// then the rest. Behind it, from 0.01 doubling to 0.5: 0.01 * 0.58/0.63, and so on with 5, 4, 3 and 2 planned
// steps.
TEST(Tracking, ARunReportsItsSettingsAndItsSteps) {
  RunFolder folder;
  EXPECT_EQ(
      lines_of(folder, "track_step { ct_step_max = 0.5 ct_step_first = 0.25 } tracker { end_time_c0 = 1.5 }"),
      (Lines{"",
             "  start time           = 0",
             "  tracking to end_time = 1.5",
             "  without self force",
             "  with pre-conditioning",
             "  with iterative tracking, maxit= 3",
             "  relative step_error/step_time = 0.001",
             "  weight of momentum error      = 1",
             "  ct_step_min                   = 0.01",
             "  ct_step_max                   = 0.5",
             "  ct_step_first                 = 0.25",
             "  with duty steps",
             "  increase_factor               = 2",
             "  arc_factor                    = 0.5",
             "",
             "  ctstep= 0.22500 ---> ct=   0.22500",
             "  ctstep= 0.42632 ---> ct=   0.65132",
             "  ctstep= 0.34868 ---> ct=   1.00000",
             "  --- duty -------------- 1",
             "  ctstep= 0.00000 ---> ct=   1.00000",
             "  --- duty -------------- 2",
             "  ctstep= 0.00921 ---> ct=   1.00921",
             "  ctstep= 0.01821 ---> ct=   1.02741",
             "  ctstep= 0.03636 ---> ct=   1.06378",
             "  ctstep= 0.07271 ---> ct=   1.13648",
             "  ctstep= 0.14541 ---> ct=   1.28189",
             "  ctstep= 0.21811 ---> ct=   1.50000",
             "  ctstep= 0.00000 ---> ct=   1.50000",
             "  integrated step error= 0"}));
}

TEST(Tracking, AGridLeadsUpToTheEndTimeAndAFurtherTrackerGoesOn) {
  RunFolder folder;
  folder.write("grid", "0\n0.2\n0.2\n0.35\n0.9\n");
  const Lines lines = lines_of(folder,
                               "track_step { time_grid_file = grid } tracker { end_time_c0 = 0.4 }\n"
                               "track_step { } tracker { delta_time_c0 = 0.05 }");
  EXPECT_EQ(Lines(lines.begin() + 16, lines.begin() + 19),
            (Lines{"  ctstep= 0.20000 ---> ct=   0.20000   (steps_file)",
                   "  ctstep= 0.15000 ---> ct=   0.35000   (steps_file)", "  integrated step error= 0"}));
  EXPECT_EQ(lines[20], "  start time           = 0.35");
  EXPECT_EQ(lines[lines.size() - 3], "  ctstep= 0.05000 ---> ct=   0.40000");
}

TEST(Tracking, StepsThatLeadNowhereEndTheRun) {
  RunFolder folder;
  const Lines lines = lines_of(folder, "track_step { ct_step_max = 1e-300 } tracker { end_time_c0 = 1 }");
  EXPECT_EQ(Lines(lines.end() - 3, lines.end()),
            (Lines{" step is too small to change the time: tracking ends",
                   "  ctstep= 0.00000 ---> ct=   0.00000", "  integrated step error= 0"}));
}

}  // namespace
}  // namespace tessaron::test
