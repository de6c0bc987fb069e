// Whole runs of one process and of several: the same digits.

#include <gtest/gtest.h>

#include <csignal>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "support/run_program.hpp"

namespace tessaron::test {
namespace {

/// A bunch of n particles at 500 MeV, 1 nC, one metre deep in an arc, rms 0.1 mm along and 0.05 mm across.
/// With few distinct places per box the mesh models get boxes as well as single points.
std::string bunch(int n) {
  std::mt19937 random(1);
  std::normal_distribution<double> normal;
  std::ostringstream out;
  out.precision(17);
  out << "1.5 0 0 0 0 0 0\n0.9 0 0 5e8 0 0 " << 1e-9 / n << "\n";
  for (int i = 1; i < n; ++i) {
    out << 1e-4 * normal(random) << ' ' << 5e-5 * normal(random) << " 0 " << 1e5 * normal(random) << ' '
        << 1e4 * normal(random) << " 0 " << 1e-9 / n << "\n";
  }
  return out.str();
}

std::string deck(const std::string& forces, const std::string& more = "") {
  return "lattice { dipole { position { delta_s = 1 } properties { r = 5 } position { delta_s = 2 } } }\n"
         "particles { format = fmt1 array = #file { name = bunch.dat } }\n"
         "forces { " +
         forces +
         " sigma_long = 5e-5 test = yes }\n"
         "track_step { ct_step_max = 0.25 ct_step_min = 0.1 ct_step_first = 0.25 duty_steps = no iterative = "
         "1 }\n"
         "online_monitor { name = steps.txt type = steps start_time_c0 = now end_time_c0 = 9 time_step_c0 = "
         "all }\n"
         "online_monitor { name = at.dat format = fmt3 start_time_c0 = 1.5 end_time_c0 = 1.6 time_step_c0 = "
         "1 }\n"
         "online_monitor { name = mesh.txt type = green start_time_c0 = now end_time_c0 = 9 time_step_c0 = "
         "all }\n"
         "tracker { end_time_c0 = 2.0 }\nmonitor { name = end.dat format = fmt3 }\n" +
         more;
}

std::vector<std::string> mpirun(int processes, const std::string& program, int threads = 1) {
  return {"env",
          "OMP_NUM_THREADS=" + std::to_string(threads),
          "mpirun",
          "--allow-run-as-root",
          "--oversubscribe",
          "-n",
          std::to_string(processes),
          program};
}

struct ForceCase {
  const char* name;
  const char* forces;
  int particles;
  const char* program = TESSARON_PROGRAM;
};
std::ostream& operator<<(std::ostream& out, const ForceCase& c) { return out << c.name; }

class Group : public testing::TestWithParam<ForceCase> {};

// The processes of some groups have several threads each.
TEST_P(Group, OfAnySizeGivesEveryDigitOfOneProcess) {
  const ForceCase& c = GetParam();
  std::string alone;
  for (const int processes : {1, 2, 3, 5}) {
    RunFolder folder;
    folder.write("bunch.dat", bunch(c.particles));
    folder.write("tessar.in", deck(c.forces));
    const ProgramRun run = folder.run_command(mpirun(processes, c.program, processes == 3 ? 3 : 1), 300);
    ASSERT_TRUE(run.orderly()) << run.console << run.errors;
    EXPECT_EQ(run.errors, "");
    EXPECT_EQ(run.console.find("error in"), std::string::npos) << run.console;
    const std::string named = "' force on " + std::to_string(processes) + " cpus";
    EXPECT_EQ(run.console.find(named) != std::string::npos, processes > 1) << run.console;
    const std::string files = folder.read("at_0001.dat") + folder.read("end.dat");
    ASSERT_TRUE(folder.exists("end.dat")) << run.console;
    if (processes == 1) alone = files;
    EXPECT_TRUE(files == alone) << processes << " processes";
  }
}

INSTANTIATE_TEST_SUITE_P(
    Types, Group,
    testing::Values(
        ForceCase{"Direct", "type = csr_p_to_p", 40},
        ForceCase{"DirectToMesh",
                  "type = csr_p_to_m shape = ellipsoid sigma_rad = 5e-5 sigma_vert = 5e-5 sbox = 1 rbox = 1",
                  120},
        ForceCase{"Green", "type = csr_g_to_p", 120}, ForceCase{"GreenToMesh", "type = csr_g_to_m", 400},
        ForceCase{"GreenInBlocks", "type = csr_g_to_m use_old_mesh = no", 400, TESSARON_SMALL_MESH},
        ForceCase{"Shielded", "type = csr_g_to_m shield = 0.01 shield_max = 0.02 shield_reach = bunch", 200}),
    [](const auto& type) { return std::string(type.param.name); });

TEST(GroupEnd, FollowsEveryEndOfTheMaster) {
  const struct {
    const char* what;
    std::string deck;
    const char* line;
  } cases[] = {
      {"a faulty block", "forces { type = nonsense }", " error in force"},
      {"a failure behind a run", deck("type = csr_g_to_m", "nonsense"),
       " error in tessar: unknown layer command"},
      {"a fatal stop",
       "lattice { dipole { position { delta_s = 1 } properties { r = 0.1 } position { rho = 9 psi = 0 } } }",
       " error in position, absolute arc definition"},
      {"an orbit that misses a boundary",
       "lattice { dipole { position { delta_s = 1 } properties { r = 5 } position { delta_s = 2 } } }\n"
       "particles { array = 0 0 0 0 0 0 0  0.9 0 0 1e6 0 0 1e-9 } particles { reference_momentum = 1e9 array "
       "= "
       "0 0 0 0 0 0 0  0.9 9 0 -1e6 0 0 1e-9 } forces { type = csr_p_to_p sigma_long = 1e-4 } "
       "tracker { end_time_c0 = 2 }",
       " error in fbpts (1)"},
  };
  for (const auto& c : cases) {
    RunFolder folder;
    folder.write("bunch.dat", bunch(20));
    folder.write("tessar.in", c.deck);
    const ProgramRun run = folder.run_command(mpirun(3, TESSARON_PROGRAM), 60);
    EXPECT_FALSE(run.hung) << c.what;
    EXPECT_NE(run.console.find(c.line), std::string::npos) << c.what << run.console << run.errors;
  }
}

// In the midst of an evaluation of some hours: the whole job is asked, or the master alone.
TEST(GroupEnd, OfAJobThatIsAskedToEndIsOrderly) {
  for (const char* who : {"kill $job", "pkill -TERM -o -P $job tessaron"}) {
    RunFolder folder;
    folder.write("bunch.dat", bunch(2000));
    folder.write("tessar.in",
                 "io_path { logfile = log }\n" + deck("type = csr_p_to_p shield = 1e-4 shield_max = 1"));
    folder.write("ask.sh", std::string("mpirun --allow-run-as-root --oversubscribe -n 3 $1 & job=$!\n"
                                       "sleep 3\n") +
                               who + "\nwait $job\n");
    const ProgramRun run = folder.run_command({"sh", "ask.sh", TESSARON_PROGRAM}, 60);
    EXPECT_FALSE(run.hung) << who;
    EXPECT_TRUE(folder.read("log").ends_with("  run ended by SIGTERM at ct= 1.5 tessar.in:9\n"))
        << who << folder.read("log");
    EXPECT_NE(run.errors.find("tessaron: ended by SIGTERM at tessar.in:9 (command tracker)"),
              std::string::npos);
  }
}

TEST(GroupEnd, OfAKilledWorkerEndsTheRunWithAMessage) {
  RunFolder folder;
  folder.write("bunch.dat", bunch(2000));
  folder.write("tessar.in", deck("type = csr_p_to_p"));
  // A shell starts the job, waits until it is at work, and kills one process of it, the youngest.
  folder.write("kill.sh",
               "mpirun --allow-run-as-root --oversubscribe -n 3 $1 & job=$!\n"
               "sleep 3\npkill -KILL -n -P $job tessaron\nwait $job\necho ended with $?\n");
  const ProgramRun run = folder.run_command({"sh", "kill.sh", TESSARON_PROGRAM}, 60);
  EXPECT_FALSE(run.hung);
  EXPECT_NE(run.console.find("ended with "), std::string::npos) << run.console;
  EXPECT_EQ(run.console.find("ended with 0"), std::string::npos) << run.console;
  EXPECT_NE((run.console + run.errors).find("signal 9"), std::string::npos) << run.console << run.errors;
}

}  // namespace
}  // namespace tessaron::test
