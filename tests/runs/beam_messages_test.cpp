#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/run_program.hpp"

/// Bunch input and monitors from outside: what decks make the console say, in exact words and order.
using namespace tessaron::test;
using Lines = std::vector<std::string>;

namespace {

const std::string drift = "lattice { dipole { position { rho = 1 psi = 0 marker = IN } } }\n";
const std::string header = "0.5 a b c d e f  ";
const std::string record = "0 0 0 510973704.82780022 0 0 -1e-9 ";  // p = 1000
const std::string bunch = "particles { array = " + header + record + "}\n";

const Lines array_failed = {" error in array with particles", " error in particles"};
const Lines block_failed = {" error in particles"};
const Lines bunch_lines = {
    "  momentum of reference particle = 1000",  "  averaged momentum              = 1000",
    "  reference momentum             = 1000",  "  total charge / C               = -1e-09",
    "  end of particles definition, npart = 1", ""};
const Lines no_bunch_lines = {
    "  momentum of reference particle = 0",     "  averaged momentum              = 0",
    "  reference momentum             = 0",     "  total charge / C               = 0",
    "  end of particles definition, npart = 0", ""};

Lines operator+(Lines a, const Lines& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

struct Case {
  std::string deck;
  Lines lines;  ///< console without the banners
};

const Case cases[] = {
    {"particles { array = " + header + "}", array_failed},
    {"particles { array = }", array_failed},
    {"particles { format = umbra array = }", array_failed},
    {"particles { array = " + header + "0 0 0 fast }", array_failed},
    {"particles { array = " + header + "0 0 0 1 0 0 1 1.5abc }", array_failed},
    {"particles { format = umbra array = 1 2 3 4 5 6 7 8 9 status }", array_failed},
    {"particles { array = #file { name = . } }",
     Lines{" error in fiio1: cannot open file", " error in getcmd", " error in getcmd"} + array_failed},
    {"particles { format = fmt0 array = }", block_failed},
    {"particles { reference_momentum = mean array = }", block_failed},
    {"particles { reference_point_phi = right }", block_failed},
    {"particles { charge = 1 }", block_failed},
    {"particles = { }", Lines{" io error in getspc, expected:", " {"} + block_failed},
    {"particles { format }", Lines{" io error in getspc, expected:", " ="} + block_failed},
    {"particles { array = " + header + record, array_failed},  // the end of the deck reads as the word exit
    {"particles { }", no_bunch_lines},
    {"particles { reference_momentum = 1e9 reference_point_x = 2 }", no_bunch_lines},
    {bunch, bunch_lines},
    {bunch + "monitor { name = out }", bunch_lines + Lines{"  monitor=out                   ctptcl= 0.5"}},
    {drift + bunch + "monitor { name = a_name_of_more_than_twenty_characters format = fmt3 }",
     Lines{" end of lattice definition"} + bunch_lines +
         Lines{"  monitor=a_name_of_more_than_  ctptcl= 0.5"}},
    {"monitor { name = out }",
     {"  monitor=out                   ctptcl= 0", " error in execution of monitor", " error in monitor"}},
    {drift + "monitor { name = out }",
     {" end of lattice definition", "  monitor=out                   ctptcl= 0",
      " error in execution of monitor", " error in monitor"}},
    {bunch + "monitor { name = . }",
     bunch_lines + Lines{"  monitor=.                     ctptcl= 0.5", " error in execution of monitor",
                         " error in monitor"}},
    {"monitor { format = fmt1 }", {" error in monitor"}},
    {"monitor { name = out format = 1 }", {" error in monitor"}},
    {"monitor { name = out what = x }", {" error in assign: unknown identifyer", " error in monitor"}},
    {"online_monitor { type = steps }", {}},
    {"online_monitor { name = m }", {" error in monitor"}},
    {"online_monitor { name = m start_time_c0 = 0 end_time_c0 = 1 type = phases }", {" error in monitor"}},
    {"online_monitor { what = x }", {" error in assign: unknown identifyer", " error in monitor"}},
};

TEST(BeamMessages, EveryDeckGivesItsLines) {
  for (const Case& c : cases) {
    const RunFolder folder;
    const ProgramRun run = folder.run_deck(c.deck);
    int banners = 0;
    EXPECT_EQ(without_banners(run.lines(), banners), c.lines) << c.deck;
    EXPECT_TRUE(run.orderly()) << c.deck;
    const bool good = c.lines.empty() || c.lines.back().find("error") == std::string::npos;
    EXPECT_EQ(run.errors.empty(), good) << c.deck << run.errors;
  }
}

TEST(BeamMessages, AFullTableIsToldAheadOfTheFailedArray) {
  std::string records = header;
  for (int i = 0; i < 300001; ++i) records += "0 0 0 1 0 0 1\n";
  const RunFolder folder;
  folder.write("bunch.dat", records);
  int banners = 0;
  EXPECT_EQ(
      without_banners(folder.run_deck("particles { array = #file { name = bunch.dat } }").lines(), banners),
      Lines{" npart.ge.maxprt"} + array_failed);
}

/// The lines of a run that monitors wrote.
Lines monitor_lines(const ProgramRun& run) {
  Lines lines = run.lines();
  std::erase_if(lines, [](const std::string& line) {
    return line.find("monitor") == std::string::npos && line.find("error in") == std::string::npos;
  });
  return lines;
}

const std::string whole_run = " start_time_c0 = now end_time_c0 = 9 time_step_c0 = all }\n";

TEST(BeamMessages, MonitorsOfARunAreRejectedWithWarningsAndTheOthersWrite) {
  const RunFolder folder;
  const ProgramRun run = folder.run_deck(
      drift + bunch +
      "online_monitor { name = no_step start_time_c0 = now end_time_c0 = 9 }\n"
      "online_monitor { name = no_marker start_time_marker = OUT end_time_marker = now time_step_c0 = 1 }\n"
      "online_monitor { name = no_particle particle = 2" +
      whole_run + "online_monitor { name = run.dat" + whole_run +
      "online_monitor { name = steps.dat type = steps" + whole_run +
      "tracker { delta_time_c0 = 0.1 } online_monitor { name = steps.dat type = steps" + whole_run +
      "tracker { delta_time_c0 = 0.1 } particles { }");
  EXPECT_EQ(
      monitor_lines(run),
      (Lines{" warning: online_monitor=no_step              is not active",
             " warning: unknown marker for online_monitor", " warning: unknown marker for online_monitor",
             " warning: online_monitor=no_marker            is not active",
             " warning: online_monitor=no_particle          is not active",
             "  monitor=run_0001.dat          ctptcl= 0.5", "  monitor=run_0002.dat          ctptcl= 0.6",
             "  monitor=run_0003.dat          ctptcl= 0.6", "  monitor=run_0004.dat          ctptcl= 0.7"}));
  EXPECT_EQ(run.errors, "");
  // The second definition of the same name begins the file anew.
  EXPECT_EQ(folder.lines("steps.dat").size(), 2u);
  EXPECT_EQ(folder.lines("steps.dat")[0].substr(0, 16), "   0.6000000E+00");
}

TEST(BeamMessages, AnEleventhMonitorEndsTheRun) {
  std::string deck;
  for (int i = 1; i <= 11; ++i) deck += "online_monitor { name = m" + std::to_string(i) + whole_run;
  const RunFolder folder;
  EXPECT_EQ(monitor_lines(folder.run_deck(deck)), Lines{" error in monitor"});
  EXPECT_EQ(monitor_lines(folder.run_deck(deck + "this is not read")), Lines{" error in monitor"});
}

// What a monitor could not write is told, once, with its cause; the bunch is tracked on.
TEST(BeamMessages, AFileThatCannotBeWrittenIsToldAndTheRunGoesOn) {
  const RunFolder folder;
  folder.make_folder("taken");
  folder.make_folder("run_0001.dat");
  const ProgramRun run =
      folder.run_deck(drift + bunch + "online_monitor { name = taken type = steps" + whole_run +
                      "online_monitor { name = run.dat" + whole_run + "tracker { delta_time_c0 = 0.2 }");
  EXPECT_EQ(
      monitor_lines(run),
      (Lines{"  monitor=run_0001.dat          ctptcl= 0.5", " error in execution of monitor",
             "  monitor=run_0002.dat          ctptcl= 0.6", "  monitor=run_0003.dat          ctptcl= 0.7"}));
  EXPECT_EQ(run.errors,
            "tessaron: monitor file taken failed: Is a directory\n"
            "tessaron: monitor file run_0001.dat failed: Is a directory\n");
  EXPECT_TRUE(run.orderly());
}

TEST(BeamMessages, AFullDiskIsToldAndWhatWasWrittenStays) {
  std::string records = header;
  for (int i = 0; i < 2000; ++i) records += record + "\n";  // more than a buffer holds
  const RunFolder folder;
  const ProgramRun run = folder.run_deck("particles { array = " + records +
                                         "}\nmonitor { name = ok } monitor { name = /dev/full }");
  EXPECT_EQ(
      monitor_lines(run),
      (Lines{"  monitor=ok                    ctptcl= 0.5", "  monitor=/dev/full             ctptcl= 0.5",
             " error in execution of monitor", " error in execution of monitor", " error in monitor"}));
  EXPECT_NE(run.errors.find("monitor file /dev/full failed: No space left on device\n"), std::string::npos);
  EXPECT_EQ(folder.lines("ok").size(), 2001u);
  EXPECT_TRUE(run.orderly());
}

}  // namespace
