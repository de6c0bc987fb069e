#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/run_program.hpp"

/// Tracking runs from outside: what their preparation, steps, forces and monitors say, exact lines.
using namespace tessaron::test;

namespace {

const std::string drifts =
    "lattice { dipole { position { delta_s=1 marker = start } } dipole { position { delta_s=1 duty = no } } "
    "}\n";

/// One particle with 500 MeV/c along x.
const std::string bunch = "particles { array = 0 a b c d e f  0 0 0 5e8 0 0 1e-9 }\n";

/// The lines of a run behind the end of the particles.
std::string told_of(const RunFolder& folder, const std::string& deck) {
  const ProgramRun run = folder.run_deck(deck);
  EXPECT_TRUE(run.orderly()) << deck;
  const std::string told = run.told(), end = "definition, npart = 1;;";
  EXPECT_NE(told.find(end), told.npos) << told;
  return told.substr(std::min(told.size(), told.find(end) + end.size()));
}

/// How often a line stands in what was told.
int count(const std::string& told, const std::string& line) {
  int n = 0;
  for (std::size_t at = 0; (at = told.find(line + ";", at)) != told.npos; ++at) ++n;
  return n;
}

// 5e8 eV/c: the particle crosses x = 1 within 1e-6 of c t = 1, where one stop lies ahead and one behind.
// Steps to there: the plan 0.25, 0.5, 0.5 overshoots, 0.25 * 1.125/1.25; then 0.45, 0.5, 0.45 * 0.9/0.95;
// then the rest. Behind it, from 0.01 doubling to 0.5: 0.01 * 0.58/0.63, and so on with 5, 4, 3 and 2 planned
// steps.
TEST(TrackingRuns, ARunReportsItsSettingsAndItsSteps) {
  EXPECT_EQ(
      told_of({}, drifts + bunch +
                      "track_step { ct_step_max = 0.5 ct_step_first = 0.25 } tracker { end_time_c0 = 1.5 }"),
      ";  start time           = 0;  tracking to end_time = 1.5;  without self force;  with pre-conditioning;"
      "  with iterative tracking, maxit= 3;  relative step_error/step_time = 0.001;"
      "  weight of momentum error      = 1;  ct_step_min                   = 0.01;"
      "  ct_step_max                   = 0.5;  ct_step_first                 = 0.25;  with duty steps;"
      "  increase_factor               = 2;  arc_factor                    = 0.5;;"
      "  ctstep= 0.22500 ---> ct=   0.22500;  ctstep= 0.42632 ---> ct=   0.65132;"
      "  ctstep= 0.34868 ---> ct=   1.00000;  --- duty -------------- 1;"
      "  ctstep= 0.00000 ---> ct=   1.00000;  --- duty -------------- 2;"
      "  ctstep= 0.00921 ---> ct=   1.00921;  ctstep= 0.01821 ---> ct=   1.02741;"
      "  ctstep= 0.03636 ---> ct=   1.06378;  ctstep= 0.07271 ---> ct=   1.13648;"
      "  ctstep= 0.14541 ---> ct=   1.28189;  ctstep= 0.21811 ---> ct=   1.50000;"
      "  ctstep= 0.00000 ---> ct=   1.50000;  integrated step error= 0");
}

TEST(TrackingRuns, AGridLeadsUpToTheEndTimeAndAFurtherTrackerGoesOn) {
  const RunFolder folder;
  folder.write("grid", "0\n0.2\n0.2\n0.35\n0.9\n");
  const std::string told =
      told_of(folder, drifts + bunch +
                          "track_step { time_grid_file = grid } tracker { end_time_c0 = 0.4 }\n"
                          "track_step { } tracker { delta_time_c0 = 0.05 }");
  EXPECT_NE(told.find("  ctstep= 0.20000 ---> ct=   0.20000   (steps_file);"
                      "  ctstep= 0.15000 ---> ct=   0.35000   (steps_file);  integrated step error= 0;"
                      ";  start time           = 0.35;"),
            told.npos)
      << told;
  EXPECT_NE(told.find("  ctstep= 0.05000 ---> ct=   0.40000;"), told.npos) << told;
}

TEST(TrackingRuns, WhatCannotGoOnEndsWithItsLine) {
  const std::string track = "tracker { end_time_c0 = 6 }";
  for (const auto& [deck, end] : std::vector<std::pair<std::string, std::string>>{
           {drifts + bunch + "track_step { ct_step_max = 1e-300 } " + track,
            ";; step is too small to change the time: tracking ends;"
            "  ctstep= 0.00000 ---> ct=   0.00000;  integrated step error= 0"},
           {"lattice { dipole { position { delta_s=1 } } dipole { position { delta_s=0 } } }\n" + bunch +
                track,
            " error in inila2: non positive distance between fbs"},
           {drifts + "particles { array = 0 a b c d e f  0 0 0 0 1e9 0 1e-9 } " + track,
            " error in fbpts (1)"},
           {drifts + "particles { array = 0 a b c d e f  5 0 0 0 1e9 0 1e-9 } " + track,
            " error in fbpts (2)"},
       }) {
    const ProgramRun run = RunFolder().run_deck(deck);
    EXPECT_TRUE(run.orderly());
    int banners = 0;
    EXPECT_TRUE(run.told(banners).ends_with(end)) << run.console;
    EXPECT_EQ(banners, end.ends_with("= 0") ? 3 : 2);  // no banner closes a run that stops at once
  }
}

TEST(TrackingRuns, AListingThatCannotBeWrittenAndAnUnknownElementAreToldAndPassed) {
  const RunFolder folder;
  folder.make_folder("latout.dat");
  const ProgramRun run = folder.run_deck(
      "lattice { dipole { position { delta_s=1 } }\n"
      "discrete_free { position { delta_s=1 } properties { type=5 integer=0 real=0 } } }\n" +
      bunch + "tracker { delta_time_c0 = 3 }");
  EXPECT_TRUE(
      run.told().starts_with(" section 1  length= 1; cannot write latout.dat; end of lattice definition;"));
  EXPECT_GT(count(run.told(), " nothing implemented for this case"), 2);  // at each evaluation of the field
  EXPECT_TRUE(run.told().ends_with("  integrated step error= 0"));
}

/// The lines of a run that monitors wrote.
std::string monitors_told(const ProgramRun& run) {
  auto lines = run.lines();
  std::erase_if(lines, [](const std::string& line) {
    return line.find("monitor") == line.npos && line.find("error in") == line.npos;
  });
  return joined(lines);
}

const std::string whole_run = " start_time_c0 = now end_time_c0 = 9 time_step_c0 = all }\n";

TEST(TrackingRuns, MonitorsAreRejectedWithWarningsAndTheOthersWrite) {
  const RunFolder folder;
  const ProgramRun run = folder.run_deck(
      drifts + bunch + "online_monitor { name = no_step start_time_c0 = now end_time_c0 = 9 }\n" +
      "online_monitor { name = no_marker start_time_marker = OUT end_time_marker = now "
      "time_step_c0 = 1 }\nonline_monitor { name = no_particle particle = 2" +
      whole_run + "online_monitor { name = run.dat" + whole_run +
      "online_monitor { name = steps.dat type = steps" + whole_run +
      "tracker { delta_time_c0 = 0.1 } online_monitor { name = steps.dat type = steps" + whole_run +
      "tracker { delta_time_c0 = 0.1 } particles { }");
  EXPECT_EQ(monitors_told(run),
            " warning: online_monitor=no_step              is not active;"
            " warning: unknown marker for online_monitor; warning: unknown marker for online_monitor;"
            " warning: online_monitor=no_marker            is not active;"
            " warning: online_monitor=no_particle          is not active;"
            "  monitor=run_0001.dat          ctptcl= 0;  monitor=run_0002.dat          ctptcl= 0.1;"
            "  monitor=run_0003.dat          ctptcl= 0.1;  monitor=run_0004.dat          ctptcl= 0.2");
  EXPECT_EQ(run.errors, "");
  // The second definition of the same name begins the file anew.
  EXPECT_EQ(folder.lines("steps.dat").size(), 2u);
  EXPECT_EQ(folder.lines("steps.dat")[0].substr(0, 16), "   0.1000000E+00");
}

TEST(TrackingRuns, AnEleventhMonitorEndsTheRun) {
  std::string deck;
  for (int i = 1; i <= 11; ++i) deck += "online_monitor { name = m" + std::to_string(i) + whole_run;
  EXPECT_EQ(monitors_told(RunFolder().run_deck(deck + "this is not read")), " error in monitor");
}

// What a monitor could not open is told, once for a series, with its cause; the bunch is tracked on.
TEST(TrackingRuns, AFileThatCannotBeOpenedIsToldAndTheRunGoesOn) {
  const RunFolder folder;
  folder.make_folder("taken");
  folder.make_folder("run_0001.dat");
  const ProgramRun run = folder.run_deck(
      drifts + bunch + "online_monitor { name = taken type = steps" + whole_run +
      "online_monitor { name = run.dat" + whole_run +
      "online_monitor { name = gone/m start_time_c0 = 0 end_time_c0 = 0.15 time_step_c0 = all }"
      "tracker { delta_time_c0 = 0.2 }");
  const std::string error = "; error in execution of monitor;";
  EXPECT_EQ(monitors_told(run), "  monitor=run_0001.dat          ctptcl= 0" + error +
                                    "  monitor=gone/m_0001           ctptcl= 0" + error +
                                    "  monitor=run_0002.dat          ctptcl= 0.1;" +
                                    "  monitor=gone/m_0002           ctptcl= 0.1" + error +
                                    "  monitor=run_0003.dat          ctptcl= 0.2");
  EXPECT_EQ(run.errors,
            "tessaron: monitor file taken failed: Is a directory\n"
            "tessaron: monitor file run_0001.dat failed: Is a directory\n"
            "tessaron: monitor file gone/m_0001 failed: No such file or directory\n");
  EXPECT_TRUE(run.orderly());
}

}  // namespace
