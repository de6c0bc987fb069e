#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "support/run_program.hpp"

/// The number of threads changes nothing but the time.
using namespace tessaron::test;

namespace {

struct Work {
  const char* name;
  int particles;  ///< enough for several chunks in all loops that the force has
  const char* forces;
};

std::string bunch(int particles) {
  std::ostringstream text;
  text << "0 0 0 0 0 0 0\n0 0 0 5e8 0 0 1e-13\n";
  for (int i = 1; i < particles; ++i)
    text << 1e-4 * std::sin(1.0 * i * i) << ' ' << 1e-5 * std::sin(2.4 * i) << " 1e-6 "
         << 1e5 * std::sin(0.1 * i) << ' ' << 5e3 * std::cos(i) << " 100 1e-13\n";
  return text.str();
}

/// All files that a run with that many threads leaves.
std::map<std::string, std::string> files_of(const Work& work, int threads) {
  const RunFolder folder;
  folder.write("bunch", bunch(work.particles));
  folder.write("wake", "1e-4\n1e-4\n-4\n4\n0\n1e13\n2e13\n3e13\n2e13\n1e13\n0\n0\n0\n");
  folder.write("tessar.in",
               std::string("io_path { logfile = log }\n"
                           "lattice { dipole { position { rho = 1 psi = 0 } properties { r = 10 }\n"
                           "  position { rho = 2 psi = 0 } } quadrupole { position { delta_s = 0.2 }\n"
                           "  properties { strength = 2 } position { delta_s = 0.1 } } }\n"
                           "particles { format = fmt1 reference_momentum = reference_particle array = "
                           "#file { name = bunch } }\nforces { ") +
                   work.forces +
                   " test = yes }\ntrack_step { ct_step_first = 1 ct_step_max = 1 ct_step_min = "
                   "0.1 arc_factor = 1 iterative = 1 }\nonline_monitor { name = steps type = steps "
                   "start_time_c0 = now end_time_c0 = 9 time_step_c0 = all }\n"
                   "tracker { end_time_c0 = 1.6 } monitor { name = end format = fmt0 }\n");
  const ProgramRun run =
      folder.run_command({"env", "OMP_NUM_THREADS=" + std::to_string(threads), TESSARON_PROGRAM});
  EXPECT_TRUE(run.orderly()) << run.console << run.errors;
  std::map<std::string, std::string> files{{"console", run.console}};
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    const std::string name = entry.path().filename();
    files[name] = folder.read(name);
  }
  EXPECT_EQ(files.count("end"), 1u) << run.console;
  return files;
}

TEST(Threads, EveryDigitIsTheSameForAnyNumberOfThem) {
#ifndef _OPENMP
  GTEST_SKIP() << "built without OpenMP";
#endif
  const Work works[] = {
      {"projected", 17000, "type = projected sigma_long = relative relative_long = 0.1 shield = 0.02"},
      {"projected and smoothed", 17000, "type = projected sigma_long = 1e-5 par1 = 1 par2 = 100"},
      {"projected on a long grid", 17000, "type = projected sigma_long = 5e-7"},
      {"wake", 17000, "type = projected sigma_long = 5e-5 wake_file = wake"},
      {"no force", 17000, "type = none"},
      {"direct", 40, "type = csr_p_to_p sigma_long = 5e-5"},
      {"direct, shielded", 20, "type = csr_p_to_p sigma_long = 5e-5 shield = 0.02 shape = ellipsoid"},
      {"direct on a mesh", 60, "type = csr_p_to_m sigma_long = 5e-5 shape = ellipsoid"},
      {"Green's", 60, "type = csr_g_to_p sigma_long = 5e-5 shape = sphere"},
      {"Green's on a mesh", 300, "type = csr_g_to_m sigma_long = 5e-5 shape = ellipsoid"},
      {"Green's, shielded and laid anew", 100,
       "type = csr_g_to_m sigma_long = 5e-5 shape = ellipsoid shield = 0.02 use_old_mesh = no"},
  };
  for (const Work& work : works) {
    const auto one = files_of(work, 1);
    for (const int threads : {2, 3, 7}) {
      const auto several = files_of(work, threads);
      EXPECT_EQ(one.size(), several.size()) << work.name;
      for (const auto& [name, text] : several)
        EXPECT_TRUE(one.at(name) == text)
            << work.name << ", " << threads << " threads: " << name << " differs";
    }
  }
}

}  // namespace
