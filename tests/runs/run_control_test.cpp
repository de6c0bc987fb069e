#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "support/run_program.hpp"

/// Run control from outside: decks through the built program, exact console lines.
using namespace tessaron::test;
using Lines = std::vector<std::string>;

namespace {

// A drift of 1 m and one particle: the smallest thing that can be tracked.
const std::string drift =
    "lattice { dipole { position { rho = 1 psi = 0 marker = start } } dipole { position { rho = 2 psi = 0 } "
    "} }\n";
const std::string particle = "particles { array = 0 a b c d e f   0 0 0 5e8 0 0 1e-9 }\n";

struct Case {
  std::string deck;
  Lines lines;        ///< console without the banners
  std::string where;  ///< what standard error says, "" for a good run
  int banners = 2;
};

const Case cases[] = {
    {"", {}, ""},
    {"! nothing but a comment", {}, ""},
    {"exit nonsense behind it is never read", {}, ""},
    {"#eof nonsense", {}, ""},
    {"\n\nnonsense", {" error in tessar: unknown layer command"}, "tessar.in:3 (command nonsense)"},
    {"EXIT", {" error in tessar: unknown layer command"}, "tessar.in:1 (command EXIT)"},
    {"}", {" error in tessar: unknown layer command"}, "tessar.in:1 (command })"},
    {"exit2", {" error in tessar: unknown layer command"}, "tessar.in:1 (command exit2)"},
    {",exit", {" error in tessar: unknown layer command"}, "tessar.in:1 (no command)"},
    {"\x1b[2J\x07", {" error in tessar: unknown layer command"}, "tessar.in:1 (command ?)"},
    {"#oops",
     {" unknown global command", " error in getcmd", " error in getcmd"},
     "tessar.in:1 (command #oops)"},
    {"track_accuracy { anything { nested = 1 } at { all } }", {}, ""},
    {"track_accuracy anything",
     {" io error in getspc, expected:", " {", " error in lyrass"},
     "tessar.in:1 (command track_accuracy)"},
    {"track_accuracy { {\n}\n",
     {" error in fiio2: no file to close", " error in getcmd", " error in getcmd", " error in lyrass"},
     "tessar.in:2 (command track_accuracy)"},
    {"io_path { output = no_such_folder\nlogfile = log }",
     {" error in file io"},
     "tessar.in:2 (command io_path); cannot open no_such_folder/log: No such file or directory"},
    {"io_path { log = a }",
     {" error in assign: unknown identifyer", " error in file io"},
     "tessar.in:1 (command io_path)"},
    {"particles {\narray = #file { name = missing } }",
     {" error in array with particles", " error in particles"},
     "tessar.in:2 (command particles); missing did not exist and was created empty"},
    {"#file { name = . }",
     {" error in fiio1: cannot open file", " error in getcmd", " error in getcmd"},
     "tessar.in:1 (command #file); cannot open .: Is a directory"},
    {"#file { name = tessar.in }",
     {" error in fiio1: too many files", " error in getcmd", " error in getcmd"},
     "tessar.in:1 (command #file)"},
    {"tracker { until = 1 }",
     {" error in assign: unknown identifyer", " error in tracker"},
     "tessar.in:1 (command tracker)"},
};

TEST(RunControl, EveryDeckGivesItsLinesBetweenTwoBanners) {
  for (const Case& c : cases) {
    RunFolder folder;
    const ProgramRun run = folder.run_deck(c.deck);
    int banners = 0;
    EXPECT_EQ(without_banners(run.lines(), banners), c.lines) << c.deck;
    EXPECT_EQ(banners, c.banners) << c.deck;
    EXPECT_TRUE(run.orderly()) << c.deck;
    std::string where = c.where.empty() ? "" : "tessaron: stopped at " + c.where + "\n";
    if (const auto any = where.find('?'); any != std::string::npos) {
      EXPECT_EQ(run.errors.substr(0, any), where.substr(0, any)) << c.deck;
      EXPECT_EQ(run.errors.find_first_of("\x1b\x07"), std::string::npos) << "a terminal would obey this";
    } else {
      EXPECT_EQ(run.errors, where) << c.deck;
    }
  }
}

TEST(RunControl, FailureComesBetweenTheFirstBannerAndTheLast) {
  const ProgramRun run = RunFolder().run_deck("nonsense");
  Lines expected = banner_lines();
  expected.push_back(" error in tessar: unknown layer command");
  expected.insert(expected.end(), banner_lines().begin(), banner_lines().end());
  EXPECT_EQ(run.lines(), expected);
}

TEST(RunControl, MissingDeckReadsAsAnEmptyOne) {
  const RunFolder folder;
  const ProgramRun run = folder.run();
  int banners = 0;
  EXPECT_TRUE(without_banners(run.lines(), banners).empty());
  EXPECT_EQ(banners, 2);
  EXPECT_TRUE(run.orderly());
  EXPECT_EQ(run.errors, "");
  EXPECT_TRUE(folder.exists("tessar.in"));
}

// The start fails ahead of the first banner: the one at the end is the only one.
TEST(RunControl, FolderInPlaceOfTheDeck) {
  const RunFolder folder;
  folder.make_folder("tessar.in");
  const ProgramRun run = folder.run();
  Lines expected = {" error in fiinit"};
  expected.insert(expected.end(), banner_lines().begin(), banner_lines().end());
  EXPECT_EQ(run.lines(), expected);
  EXPECT_TRUE(run.orderly());
  EXPECT_EQ(run.errors,
            "tessaron: stopped at tessar.in (no command); cannot open tessar.in: Is a directory\n");
}

TEST(RunControl, ExitInsideAnIncludedFileEndsTheRun) {
  const RunFolder folder;
  folder.write("inner", "track_accuracy { } exit more");
  const ProgramRun run = folder.run_deck("#file { name = inner } nonsense");
  int banners = 0;
  EXPECT_TRUE(without_banners(run.lines(), banners).empty());
  EXPECT_EQ(banners, 2);
  EXPECT_EQ(run.errors, "");
}

TEST(RunControl, LogGetsTheConsoleFromItsOpeningOn) {
  const RunFolder folder;
  folder.make_folder("results");
  const ProgramRun run =
      folder.run_deck("io_path { logfile = log output = results }\n" + drift + particle + "nonsense");
  const Lines console = run.lines();
  const Lines log = folder.lines("results/log");
  const auto first_banner = static_cast<std::ptrdiff_t>(banner_lines().size());
  // The lengths of the sections go to the console alone.
  Lines expected;
  for (auto line = console.begin() + first_banner; line != console.end(); ++line) {
    if (line->rfind(" section", 0) != 0) expected.push_back(*line);
  }
  EXPECT_EQ(log, expected);
  EXPECT_GT(log.size(), banner_lines().size() + 5);
}

TEST(RunControl, LogOnAFullDiskIsToldAndTheRunGoesOn) {
  const RunFolder folder;
  const ProgramRun run = folder.run_deck("io_path { logfile = /dev/full }\ntrack_accuracy { }");
  int banners = 0;
  EXPECT_TRUE(without_banners(run.lines(), banners).empty());
  EXPECT_EQ(banners, 2);
  EXPECT_TRUE(run.orderly());
  EXPECT_EQ(run.errors, "tessaron: the log is incomplete: No space left on device\n");
}

TEST(RunControl, TrackingEndsWithItsErrorLineAndGoesOnReading) {
  const RunFolder folder;
  const ProgramRun run = folder.run_deck(drift + particle + "tracker { delta_time_c0 = 0.3 }");
  int banners = 0;
  const Lines lines = without_banners(run.lines(), banners);
  EXPECT_EQ(banners, 3);  // at the start, ahead of the tracking run, at the end
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back(), "  integrated step error= 0");
  EXPECT_TRUE(run.orderly());
  EXPECT_EQ(run.errors, "");
}

// A tracker command is used up by its run: what fails later ends the program and starts no second run.
TEST(RunControl, FailureAfterATrackingRunStartsNoFurtherOne) {
  const RunFolder folder;
  for (const char* later : {"nonsense", "tracker { oops }", "track_accuracy", "#oops"}) {
    const ProgramRun run = folder.run_deck(drift + particle + "tracker { delta_time_c0 = 0.3 }\n" + later);
    int banners = 0;
    int runs = 0;
    for (const std::string& line : without_banners(run.lines(), banners)) {
      runs += line.find("tracking to end_time") != std::string::npos;
    }
    EXPECT_EQ(runs, 1) << later;
    EXPECT_EQ(banners, 3) << later;
    EXPECT_NE(run.errors.find("stopped at tessar.in:4"), std::string::npos) << run.errors;
  }
}

TEST(RunControl, SecondTrackerHasToEndLaterThanTheFirst) {
  const RunFolder folder;
  const ProgramRun run =
      folder.run_deck(drift + particle + "tracker { end_time_c0 = 0.3 } tracker { end_time_c0 = 0.3 }");
  int banners = 0;
  const Lines lines = without_banners(run.lines(), banners);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back(), " error: end time < particle time");
  EXPECT_EQ(banners, 3);
  EXPECT_EQ(run.errors, "tessaron: stopped at tessar.in:3 (command tracker)\n");
}

TEST(RunControl, TrackerGoesOnWhereTheLastOneStopped) {
  const RunFolder folder;
  const ProgramRun run = folder.run_deck(drift + particle +
                                         "tracker { delta_time_c0 = 0.2 } tracker { delta_time_c0 = 0.2 }\n"
                                         "monitor { name = end format = fmt1 }");
  EXPECT_TRUE(run.orderly());
  EXPECT_EQ(run.errors, "");
  ASSERT_TRUE(folder.exists("end"));
  EXPECT_NEAR(std::stod(folder.lines("end")[0]), 0.4, 1e-12);
}

// The status behind the last step counts: a monitor that fails there ends the run without a further word, one
// that failed earlier has switched itself off.
TEST(RunControl, AMonitorThatFailsAtTheLastStepEndsTheRun) {
  const RunFolder folder;
  const std::string monitor =
      "online_monitor { name = no_folder/m particle = 1 end_time_c0 = 9 time_step_c0 = all start_time_c0 = ";
  const std::string track = " }\ntracker { delta_time_c0 = 0.3 }\n";
  struct {
    const char* start;
    int banners;
    bool reported;
  } const starts[] = {{"0.05", 3, true}, {"0.29", 2, false}};
  for (const auto& start : starts) {
    const ProgramRun run = folder.run_deck(drift + particle + monitor + start.start + track);
    int banners = 0;
    const Lines lines = without_banners(run.lines(), banners);
    EXPECT_EQ(banners, start.banners) << start.start;
    EXPECT_EQ(lines.back() == "  integrated step error= 0", start.reported) << start.start;
    EXPECT_EQ(run.errors.find("stopped at") == std::string::npos, start.reported) << run.errors;
    EXPECT_NE(run.errors.find("no_folder/m failed"), std::string::npos) << run.errors;
    EXPECT_TRUE(run.orderly());
  }
}

// A console that goes away is a failed write, not the end of the run.
TEST(RunControl, ARunSurvivesItsConsole) {
  const RunFolder folder;
  folder.write("tessar.in", drift + particle + "tracker { delta_time_c0 = 0.3 } monitor { name = end }");
  const std::string command =
      "cd " + folder.path().string() + " && { " TESSARON_PROGRAM "; echo $? > status; } | true";
  EXPECT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(folder.read("status"), "0\n");
  EXPECT_TRUE(folder.exists("end"));
}

}  // namespace
