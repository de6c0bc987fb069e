#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "support/run_program.hpp"

/// Run control from outside: the walk down the deck, the log and the console, exact lines.
using namespace tessaron::test;

namespace {

// A drift of 1 m and one particle: the smallest thing that can be tracked.
const std::string start =
    "lattice { dipole { position { delta_s = 1 } } dipole { position { delta_s = 1 } } }\n"
    "particles { array = 0 a b c d e f   0 0 0 5e8 0 0 1e-9 }\n";
const std::string reported = "  integrated step error= 0";

TEST(RunControl, EveryDeckGivesItsLinesBetweenTwoBanners) {
  const std::string unknown = " error in tessar: unknown layer command",
                    getcmd = "; error in getcmd; error in getcmd";
  const struct {
    std::string deck, told;
    std::string where;  ///< what standard error says, "" for a good run
  } cases[] = {
      {"", "", ""},
      {"exit nonsense behind it is never read", "", ""},
      {"#eof nonsense", "", ""},
      {"\n\nnonsense", unknown, "tessar.in:3 (command nonsense)"},
      {"EXIT", unknown, "tessar.in:1 (command EXIT)"},
      {"exit2", unknown, "tessar.in:1 (command exit2)"},
      {",exit", unknown, "tessar.in:1 (no command)"},
      {"#oops", " unknown global command" + getcmd, "tessar.in:1 (command #oops)"},
      {"#file { name = inner } nonsense", "", ""},  // it holds the exit
      {"track_accuracy { anything { nested = 1 } at { all } }", "", ""},
      {"track_accuracy anything", " io error in getspc, expected:; {; error in lyrass",
       "tessar.in:1 (command track_accuracy)"},
      {"track_accuracy { {\n}\n", " error in fiio2: no file to close" + getcmd + "; error in lyrass",
       "tessar.in:2 (command track_accuracy)"},
      {"io_path { output = no_such_folder\nlogfile = log }", " error in file io",
       "tessar.in:2 (command io_path); cannot open no_such_folder/log: No such file or directory"},
      {"particles {\narray = #file { name = missing } }",
       " error in array with particles; error in particles",
       "tessar.in:2 (command particles); missing did not exist and was created empty"},
      {"#file { name = . }", " error in fiio1: cannot open file" + getcmd,
       "tessar.in:1 (command #file); cannot open .: Is a directory"},
      {"#file { name = tessar.in }", " error in fiio1: too many files" + getcmd,
       "tessar.in:1 (command #file)"},
  };
  const RunFolder folder;
  folder.write("inner", "track_accuracy { } exit more");
  for (const auto& c : cases) {
    const ProgramRun run = folder.run_deck(c.deck);
    int banners = 0;
    EXPECT_EQ(run.told(banners), c.told) << c.deck;
    EXPECT_EQ(banners, 2) << c.deck;
    EXPECT_TRUE(run.orderly()) << c.deck;
    EXPECT_EQ(run.errors, c.where.empty() ? "" : "tessaron: stopped at " + c.where + "\n") << c.deck;
  }
  // A terminal would obey what this word holds.
  EXPECT_EQ(folder.run_deck("\x1b[2J\x07").errors.find_first_of("\x1b\x07"), std::string::npos);
}

TEST(RunControl, AMissingDeckReadsAsAnEmptyOneAndAFolderIsNone) {
  const RunFolder missing, taken;
  EXPECT_EQ(missing.run().console, std::string(banner_text) + std::string(banner_text));
  EXPECT_TRUE(missing.exists("tessar.in"));
  taken.make_folder("tessar.in");
  const ProgramRun run = taken.run();  // fails ahead of the first banner
  EXPECT_EQ(run.console, " error in fiinit\n" + std::string(banner_text));
  EXPECT_TRUE(run.orderly());
  EXPECT_EQ(run.errors,
            "tessaron: stopped at tessar.in (no command); cannot open tessar.in: Is a directory\n");
}

TEST(RunControl, TheLogGetsTheConsoleFromItsOpeningOn) {
  const RunFolder folder;
  folder.make_folder("results");
  const ProgramRun run = folder.run_deck("io_path { logfile = log output = results }\n" + start + "nonsense");
  // The lengths of the sections go to the console alone.
  EXPECT_EQ(std::string(banner_text) + " section 1  length= 1\n" + folder.read("results/log"), run.console);
  EXPECT_EQ(run.console.substr(run.console.size() - banner_text.size()), banner_text);

  const ProgramRun full = folder.run_deck("io_path { logfile = /dev/full }\ntrack_accuracy { }");
  EXPECT_EQ(full.told(), "");
  EXPECT_TRUE(full.orderly());
  EXPECT_EQ(full.errors,
            "tessaron: cannot write /dev/full: No space left on device; every write tries again\n"
            "tessaron: 7 lines of /dev/full could not be written: No space left on device\n");
}

// A tracker command is used up by its run: what fails later ends the program and starts no second run.
TEST(RunControl, FailureAfterATrackingRunStartsNoFurtherOne) {
  const RunFolder folder;
  for (const char* later :
       {"", "nonsense", "tracker { oops }", "track_accuracy", "tracker { end_time_c0 = 0.3 }"}) {
    const ProgramRun run = folder.run_deck(start + "tracker { delta_time_c0 = 0.3 }\n" + later);
    int banners = 0;
    const std::string told = run.told(banners);
    EXPECT_EQ(told.find("tracking to end_time"), told.rfind("tracking to end_time")) << later;
    EXPECT_EQ(told.ends_with(reported), *later == 0) << told;
    EXPECT_EQ(banners, 3) << later;  // at the start, ahead of the run, at the end
    EXPECT_EQ(run.errors.find("stopped at tessar.in:4") == std::string::npos, *later == 0) << run.errors;
  }
}

TEST(RunControl, TheTrackerGoesOnWhereTheLastOneStopped) {
  const RunFolder folder;
  const ProgramRun run = folder.run_deck(start +
                                         "tracker { delta_time_c0 = 0.2 } tracker { delta_time_c0 = 0.2 }\n"
                                         "monitor { name = end format = fmt1 }");
  EXPECT_EQ(run.errors, "");
  ASSERT_TRUE(folder.exists("end"));
  EXPECT_NEAR(std::stod(folder.read("end")), 0.4, 1e-12);
}

// The status behind the last step counts: a monitor that fails there ends the run without a further word, one
// that failed earlier has switched itself off.
TEST(RunControl, AMonitorThatFailsAtTheLastStepEndsTheRun) {
  const RunFolder folder;
  for (const bool early : {true, false}) {
    const ProgramRun run =
        folder.run_deck(start +
                        "online_monitor { name = no_folder/m particle = 1 end_time_c0 = 9 time_step_c0 = all "
                        "start_time_c0 = " +
                        (early ? "0.05" : "0.29") + " }\ntracker { delta_time_c0 = 0.3 }\n");
    int banners = 0;
    EXPECT_EQ(run.told(banners).ends_with(reported), early) << run.console;
    EXPECT_EQ(banners, early ? 3 : 2);
    EXPECT_EQ(run.errors.find("stopped at") == std::string::npos, early) << run.errors;
    EXPECT_NE(run.errors.find("no_folder/m failed"), std::string::npos) << run.errors;
    EXPECT_TRUE(run.orderly());
  }
}

// A console that goes away is a failed write, not the end of the run.
TEST(RunControl, ARunSurvivesItsConsole) {
  const RunFolder folder;
  folder.write("tessar.in", start + "tracker { delta_time_c0 = 0.3 } monitor { name = end }");
  const std::string command =
      "cd " + folder.path().string() + " && { " TESSARON_PROGRAM "; echo $? > status; } | true";
  EXPECT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(folder.read("status"), "0\n");
  EXPECT_TRUE(folder.exists("end"));
}

}  // namespace
