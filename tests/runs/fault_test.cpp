#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "support/run_program.hpp"
#include "support/whole_deck.hpp"

/// Faults of the system: each single call that writes, opens, closes, cuts or winds back a file fails once,
/// or (every third one) from there on, in a short run with all kinds of monitors.
using namespace tessaron::test;

namespace {

const char* const deck = R"(io_path { logfile = log }
lattice { #file { name = magnets } }
particles { array = #file { name = bunch } }
forces { type = projected sigma_long = file sigma_file = sizes wake_file = wake test = yes }
track_step { time_grid_file = times ct_step_max = 0.2 }
monitor { name = start format = fmt2 }
online_monitor { name = steps.dat type = steps start_time_c0 = now end_time_c0 = 9 time_step_c0 = all }
online_monitor { name = orbit.dat particle = 1 start_time_c0 = 0 end_time_c0 = 9 time_step_c0 = all }
online_monitor { name = sizes.dat type = subbunch start_time_c0 = 0 end_time_c0 = 9 time_step_c0 = all }
online_monitor { name = bunch.dat format = fmt3 start_time_c0 = 0 end_time_c0 = 9 time_step_c0 = all }
tracker { end_time_c0 = 0.3 }
track_step { ct_step_max = 0.1 iterative = 2 }
forces { type = csr_g_to_p sigma_long = 1e-4 shape = ellipsoid sigma_rad = 1e-4 sigma_vert = 1e-4 }
online_monitor { name = mesh.dat type = green start_time_c0 = now end_time_c0 = 9 time_step_c0 = all }
tracker { delta_time_c0 = 0.1 }
monitor { name = end }
)";

struct Outcome {
  ProgramRun run;
  Files outputs;     ///< what it wrote, without its input
  bool met = false;  ///< a call has failed
};

Outcome run_with_fault(const std::string& call, int number, bool lasts) {
  const RunFolder folder;
  const TempFolder mark;
  for (const auto& [name, text] : whole_deck()) folder.write(name, text);
  folder.write("tessar.in", deck);
  Outcome outcome{
      folder.run_command({"env", "LD_PRELOAD=" TESSARON_FAULT_SHIM, "ASAN_OPTIONS=verify_asan_link_order=0",
                          "OMP_NUM_THREADS=1", "FAULT_CALL=" + call, "FAULT_NUMBER=" + std::to_string(number),
                          std::string("FAULT_LASTS=") + (lasts ? "yes" : "no"),
                          "FAULT_MARK=" + mark.path("mark").string(), TESSARON_PROGRAM}),
      {},
      mark.exists("mark")};
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    const std::string name = entry.path().filename();
    if (name != "tessar.in" && !whole_deck().contains(name)) outcome.outputs[name] = folder.read(name);
  }
  return outcome;
}

const Outcome& good() {
  static const Outcome outcome = run_with_fault("none", 0, false);
  return outcome;
}

/// What the log holds if all of it was written: the console behind the banner, without what it alone gets.
std::string whole_log(const ProgramRun& run) {
  std::string log;
  const std::size_t start = std::min(banner_text.size(), run.console.size());
  for (const std::string& line : split_lines(run.console.substr(start))) {
    if (!line.starts_with(" section ") && !line.starts_with("  isrc") && !line.starts_with(" using old"))
      log += line + "\n";
  }
  return log;
}

/// A run ends in order, tells of the fault, and leaves beginnings of the good files. Diagnostic files are
/// written anew at each evaluation, and one that fails takes the force away from the bunch: such a run leaves
/// another bunch. Behind a write that failed once nothing is missing, unless the deck ended early; only the
/// lattice and the mesh are written in one go.
void expect_beginnings(const Outcome& outcome, bool passing_write) {
  const ProgramRun& run = outcome.run;
  EXPECT_TRUE(run.orderly());
  EXPECT_TRUE(run.errors != good().run.errors || run.console.find("cannot write") != run.console.npos);
  if (run.console.find("error in force") != run.console.npos) return;
  for (const auto& [name, text] : outcome.outputs) {
    if (name.starts_with("fc1")) continue;
    ASSERT_TRUE(good().outputs.contains(name)) << name;
    const std::string whole = name == "log" ? whole_log(run) : good().outputs.at(name);
    const bool in_one_go = name == "latout.dat" || name.starts_with("mesh");
    const bool complete = passing_write && outcome.outputs.contains("end") && !in_one_go;
    EXPECT_TRUE(complete ? text == whole : whole.starts_with(text)) << name << " holds\n"
                                                                    << text << "\nnot\n"
                                                                    << whole;
  }
}

class Faults : public testing::TestWithParam<const char*> {};

TEST_P(Faults, AreToldAndLeaveBeginningsOfTheGoodFiles) {
  for (const char* name : {"end", "mesh_0002.dat", "bunch_0003.dat", "orbit.dat", "fc1.dat"})
    ASSERT_TRUE(good().outputs.contains(name)) << name << good().run.errors;
  for (const bool lasts : {false, true}) {
    int number = 1, faults = 0;
    for (bool met = true; met; number += lasts ? 3 : 1) {
      const Outcome outcome = run_with_fault(GetParam(), number, lasts);
      met = outcome.met;
      SCOPED_TRACE(std::string(GetParam()) + " number " + std::to_string(number) +
                   (lasts ? " and all later ones" : ""));
      if (met) expect_beginnings(outcome, !lasts && GetParam() == std::string("write"));
      if (HasFailure()) return;
      faults += met;
    }
    EXPECT_GT(faults, 0);
  }
}

INSTANTIATE_TEST_SUITE_P(Calls, Faults, testing::Values("write", "open", "close", "ftruncate", "lseek"),
                         [](const auto& call) { return std::string(call.param); });

}  // namespace
