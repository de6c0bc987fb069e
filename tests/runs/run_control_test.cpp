#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

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
                    getcmd = "; error in getcmd; error in getcmd",
                    nothing = "tessar.in holds no command: nothing was done";
  const struct {
    std::string deck, told;
    std::string where;  ///< what standard error says, "" for a good run
  } cases[] = {
      {"", "", nothing},
      {"exit nonsense behind it is never read", "", ""},
      {"#eof nonsense", "", nothing},
      {"! a comment\n#file { name = blank }", "", nothing},
      {"\n\nnonsense", unknown, "tessar.in:3 (command nonsense)"},
      {"EXIT", unknown, "tessar.in:1 (command EXIT)"},
      {"exit2", unknown, "tessar.in:1 (command exit2)"},
      {",exit", unknown, "tessar.in:1 (no command)"},
      {"#oops", " unknown global command" + getcmd, "tessar.in:1 (command #oops)"},
      {"#file { name = inner } nonsense", "", ""},  // it holds the exit
      {"track_accuracy { anything { nested = 1 } at { all } }", "", ""},
      {"track_accuracy anything", " io error in getspc, expected:; {; error in lyrass",
       "tessar.in:1 (command track_accuracy), at the word \"anything\""},
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
  folder.write("blank", "\n");
  for (const auto& c : cases) {
    const ProgramRun run = folder.run_deck(c.deck);
    int banners = 0;
    EXPECT_EQ(run.told(banners), c.told) << c.deck;
    EXPECT_EQ(banners, 2) << c.deck;
    EXPECT_TRUE(run.orderly()) << c.deck;
    const std::string head = c.where == nothing ? "tessaron: " : "tessaron: stopped at ";
    EXPECT_EQ(run.errors, c.where.empty() ? "" : head + c.where + "\n") << c.deck;
  }
  // A terminal would obey what this word holds.
  EXPECT_EQ(folder.run_deck("\x1b[2J\x07").errors.find_first_of("\x1b\x07"), std::string::npos);
}

// The place is that of the word, wherever reading has got to before somebody looked at it.
TEST(RunControl, AWordThatIsRefusedIsNamedWithItsPlace) {
  const std::string tab = " with a tab in it: blanks, commas and semicolons part words, tabs do not";
  struct {
    std::string deck, where;
  } const cases[] = {
      {"lattice {\n solenoid { } }", "tessar.in:2 (command lattice), at the word \"solenoid\""},
      {"lattice { dipole { position { delta_s =\n 1m } properties { r = 1\n}",
       "tessar.in:2 (command lattice), at the word \"1m\""},
      {"lattice { dipole { position { delta_s = 1 }\nposition",
       "tessar.in:2 (command lattice), at the word \"position\""},
      {"track_step {\nct_step_max = -1\nct_step_min = 1 }",
       "tessar.in:2 (command track_step), at the word \"-1\""},
      {"track_step { time_grid_file = numbers }",
       "tessar.in:1 (command track_step), at the word \"two\" of numbers:2"},
      {"track_step { time_grid_file = falling }", "tessar.in:1 (command track_step), in falling:3"},
      {"forces { type = none\nwake_file = missing }",
       "tessar.in:2 (command forces), in missing; missing did not exist and was created empty"},
      {"forces { type = none\nwake_file = numbers }",
       "tessar.in:2 (command forces), at the word \"two\" of numbers:2"},
      {"forces {\ntype = csr\n}", "tessar.in:2 (command forces), at the word \"csr\""},
      {"online_monitor { name = m type\n= phases\n}",
       "tessar.in:2 (command online_monitor), at the word \"phases\""},
      {"tracker { end_time_c0 = soon\n}", "tessar.in:1 (command tracker), at the word \"soon\""},
      {"tracker { until = 1\n}", "tessar.in:1 (command tracker), at the word \"until\""},
      {"particles { array = #file { name = tabs } }",
       "tabs:2 (command particles), at the word \"0 0 0\"" + tab},
      {"particles { array = 0 1 2 3 4 5 6\n0 0 0 5e8 0 0 }",
       "tessar.in:2 (command particles), at the word \"}\""},
      {"lattice\t{ }", "tessar.in:1 (command lattice ), at the word \"lattice \"" + tab},
  };
  const RunFolder folder;
  folder.write("numbers", "1\ntwo\n");
  folder.write("falling", "1\n2\n1.5\n3\n");
  folder.write("tabs", "0 1 2 3 4 5 6\n0\t0\t0 5e8\t0\t0\t1e-9\n");
  for (const auto& c : cases) {
    const ProgramRun run = folder.run_deck(c.deck);
    EXPECT_EQ(run.errors, "tessaron: stopped at " + c.where + "\n") << c.deck;
  }
}

TEST(RunControl, AMissingDeckReadsAsAnEmptyOneAndAFolderIsNone) {
  const RunFolder missing, taken;
  const ProgramRun empty = missing.run();
  EXPECT_EQ(empty.console, std::string(banner_text) + std::string(banner_text));
  EXPECT_EQ(empty.errors, "tessaron: tessar.in did not exist and was created empty: nothing was done\n");
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

// A question is answered, any other argument refused; neither reads a deck nor touches a file.
TEST(RunControl, ArgumentsStartNoRun) {
  const RunFolder folder;
  const char* const cases[][3] = {
      {"--version", "tessaron 1.2\n", ""},
      {"--help", "reads the deck tessar.in in the working directory", ""},
      {"-h", "", "tessaron: unknown argument \"-h\": the program takes none"},
      {"a\x07z", "", "tessaron: unknown argument \"a?z\": the program takes none"},
      {"", "", "tessaron: unknown argument \"\": the program takes none"}};
  for (const auto& [argument, answer, errors] : cases) {
    const ProgramRun run = folder.run_command({TESSARON_PROGRAM, argument});
    EXPECT_EQ(run.exit_status, *errors == '\0' ? 0 : 2) << argument;
    EXPECT_EQ(run.console.empty(), *answer == '\0') << run.console;
    EXPECT_NE(run.console.find(answer), std::string::npos) << run.console;
    EXPECT_TRUE(run.errors.starts_with(errors)) << run.errors;
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  }
}

// Nothing of the console gets into a file that would otherwise have its number, nor a file's lines into
// another.
TEST(RunControl, ClosedStandardStreamsTakeNoFilesNumber) {
  const RunFolder open, closed;
  const std::string deck =
      "io_path { logfile = log }\n" + start +
      "online_monitor { name = steps type = steps start_time_c0 = 0 end_time_c0 = 9 "
      "time_step_c0 = all }\ntracker { delta_time_c0 = 0.3 } monitor { name = end } oops";
  open.run_deck(deck);
  closed.write("tessar.in", deck);
  for (const char* streams : {"<&-", ">&-", "2>&-", "<&- >&- 2>&-"}) {
    const ProgramRun run =
        closed.run_command({"sh", "-c", std::string("exec " TESSARON_PROGRAM " ") + streams});
    EXPECT_TRUE(run.orderly()) << streams;
    for (const char* file : {"tessar.in", "log", "steps", "latout.dat", "end"})
      EXPECT_EQ(closed.read(file), open.read(file)) << streams << ' ' << file;
  }
}

// Such a file keeps what it holds, under whatever name it is asked for.
TEST(RunControl, AFileInUseIsNoOutput) {
  const std::string refused = " error: this file is the deck or another output of the run",
                    why = ": it is the deck or another output of the run\n",
                    monitor =
                        "online_monitor { type = steps start_time_c0 = 0 end_time_c0 = 9 time_step_c0 = all ";
  struct {
    std::string deck;
    const char* kept;
    std::string errors;
  } const cases[] = {
      {"io_path { logfile = console }", "console", "cannot open console"},
      {start + "monitor { name = link }", "tessar.in", "monitor file link failed"},
      {"io_path { logfile = log }" + start + "monitor { name = ./log }", "log", "monitor file ./log failed"},
      {start + monitor + "name = a }" + monitor + "name = ./a } tracker { delta_time_c0 = 0.2 }", "a",
       "monitor file ./a failed"},
  };
  for (const auto& c : cases) {
    const RunFolder folder;
    folder.write("tessar.in", c.deck);
    std::filesystem::create_hard_link(folder.path("tessar.in"), folder.path("link"));
    const ProgramRun run = folder.run_command({"sh", "-c", "exec " TESSARON_PROGRAM " > console"});
    EXPECT_NE(folder.read("console").find(refused), std::string::npos) << c.deck;
    EXPECT_NE(run.errors.find(c.errors + why), std::string::npos) << run.errors;
    EXPECT_EQ(folder.read("tessar.in"), c.deck);
    EXPECT_EQ(folder.read("console").substr(0, banner_text.size()), banner_text);
    EXPECT_NE(folder.read(c.kept), "") << c.kept;
    EXPECT_TRUE(run.orderly());
  }
}

// Small steps for ever, a direct sum of some hours, a kernel with a million images: the run ends at once, and
// all that it wrote of whole steps is there.
TEST(RunControl, ASignalEndsARunInOrderAndASecondOneAtOnce) {
  std::string bunch = "0 a b c d e f 0 0 0 5e8 0 0 1e-12\n";
  for (int i = 1; i < 1500; ++i) bunch += std::to_string(i % 40 * 1e-5) + " 0 0 0 0 0 1e-12\n";
  const struct {
    std::string forces;
    int signal;
    std::string told;  ///< where the signal comes
  } cases[] = {{"none", SIGTERM, "ct=   0.01"},
               {"csr_p_to_p sigma_long = 1e-5 shield = 1e-4 shield_max = 1", SIGINT, "isrc"},
               {"projected sigma_long = 1e-4 shield = 1e-5 shield_max = 10", SIGTERM, "duty steps"}};
  for (const auto& c : cases) {
    const RunFolder folder;
    folder.write("bunch", bunch);
    folder.write(
        "tessar.in",
        "io_path { logfile = log }\n"
        "lattice { dipole { position { delta_s = 0.2 } properties { r = 5 } position { delta_s = 5 } } }\n"
        "particles { array = #file { name = bunch } } track_step { ct_step_max = 1e-4 }\nforces { type = " +
            c.forces +
            " test = yes }\nonline_monitor { name = at format = fmt0 particle = 1 start_time_c0 = now "
            "end_time_c0 = 1e9 time_step_c0 = all }\ntracker { end_time_c0 = 1e6 }");
    const ProgramRun run = folder.run_command({TESSARON_PROGRAM}, 60, {c.signal}, c.told);
    EXPECT_TRUE(run.orderly()) << c.forces;
    const std::string name = c.signal == SIGINT ? "SIGINT" : "SIGTERM", log = folder.read("log");
    const std::string last = log.substr(log.rfind('\n', log.size() - 2) + 1);
    EXPECT_TRUE(last.starts_with("  run ended by " + name + " at ct= ")) << last;
    EXPECT_TRUE(run.console.ends_with(last)) << run.console;
    const std::size_t ct = last.find("ct= ") + 4;
    const std::string time = last.substr(ct, last.find(' ', ct) - ct);
    const std::string told = "tessaron: ended by " + name + " at tessar.in:6 (command tracker), ct = ";
    const std::size_t end = run.errors.rfind(told);
    ASSERT_NE(end, std::string::npos) << run.errors;
    EXPECT_NEAR(std::stod(run.errors.substr(end + told.size())), std::stod(time), 5e-4 * std::stod(time));
    const std::string rows = folder.exists("at") ? folder.read("at") : "0\n";
    EXPECT_NEAR(std::stod(rows.substr(rows.rfind('\n', rows.size() - 2) + 1)), std::stod(time), 1e-12);
    EXPECT_FALSE(folder.exists("fc2.dat"));  // of an evaluation that was cut short

    const ProgramRun killed = folder.run_command({TESSARON_PROGRAM}, 60, {SIGINT, SIGTERM}, c.told);
    // Each of two threads may take one of them: either can be the second.
    EXPECT_TRUE(killed.signal == SIGTERM || killed.signal == SIGINT) << c.forces << ' ' << killed.signal;
  }
}

}  // namespace
