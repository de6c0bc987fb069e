#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "support/run_program.hpp"

/// The sub-bunch models in whole runs: from a straight line into an arc.
using namespace tessaron::test;

namespace {

constexpr int particles = 24;

/// Differences along a spiral, so that no two particles are alike.
std::string bunch() {
  std::ostringstream text;
  text << "particles { array = 0 0 0 0 0 0 0  0 0 0 5e8 0 0 1e-11\n";
  for (int i = 1; i < particles; ++i) {
    text << 1e-4 * i / particles * std::cos(2.4 * i) << ' ' << 3e-5 * i / particles * std::sin(2.4 * i)
         << " 0  " << 1e5 * std::sin(i) << ' ' << 5e3 * std::cos(i) << " 0 1e-11\n";
  }
  return text.str() + "}\n";
}

std::string deck(const std::string& type, const std::string& settings = "sigma_long = 3e-5",
                 const std::string& precondition = "yes") {
  return "lattice { dipole { position { rho = 1 psi = 0 duty = no } properties { r = 10 }\n"
         "  position { rho = 3 psi = 0 duty = no } } }\n" +
         bunch() + "forces { type = " + type + " " + settings +
         " }\ntrack_step { ct_step_first = 0.7 ct_step_max = 0.7 ct_step_min = 0.1 arc_factor = 1 iterative "
         "= 1\n"
         "  precondition = " +
         precondition +
         " }\nonline_monitor { name = mesh.dat type = green start_time_c0 = now end_time_c0 = 9 time_step_c0 "
         "= all }\n"
         "tracker { end_time_c0 = 1.4 } monitor { name = end.dat format = fmt0 }\n";
}

int count(const std::vector<std::string>& lines, const std::string& text) {
  return static_cast<int>(std::count_if(lines.begin(), lines.end(), [&](const std::string& line) {
    return line.find(text) != std::string::npos;
  }));
}

std::vector<double> column(const std::vector<std::string>& lines, int k) {
  std::vector<double> values;
  for (const std::string& line : lines) {
    std::istringstream row(line);
    double value = 0;
    for (int i = 0; i < k; ++i) row >> value;
    values.push_back(value);
  }
  return values;
}

// The mesh model is evaluated ahead of the direct one, as its pre-conditioning.
TEST(ModelRuns, CsrPToPIsPreconditionedAndWritesItsTestFile) {
  RunFolder folder;
  const ProgramRun run = folder.run_deck(
      deck("csr_p_to_p",
           "sigma_long = 3e-5 shape = ellipsoid sigma_rad = 2e-5 sigma_vert = 1e-5 test = yes") +
      "monitor { name = orbit.dat format = fmt3 }");
  ASSERT_TRUE(run.orderly());
  EXPECT_EQ(count(run.lines(), "error in"), 0);
  for (const char* line : {"ctsig =", "sigmar= 2e-05", "  isrc       = 24  npart = 24", "isrc_gmesh2= 24"}) {
    EXPECT_GT(count(run.lines(), line), 0) << line;
  }
  const auto lines = folder.lines("fc2.dat");
  ASSERT_EQ(lines.size(), static_cast<std::size_t>(particles));
  EXPECT_EQ(lines[0].size(), 56u);
  EXPECT_NE(column(lines, 3)[5], 0);
  const auto orbit = folder.lines("orbit.dat");  // its header holds the sizes of the current forces
  for (const int k : {8, 9, 10}) EXPECT_NEAR(column(orbit, k).at(0), (11 - k) * 1e-5, 1e-19);
  EXPECT_NE(column(orbit, 9)[5], 0);
  EXPECT_EQ(column(orbit, 10)[5], 0);  // no force out of the plane
}

// Two columns of 20 corners, then the sections of the path: the straight line before the arc, the arc's start
// 0.4 m back, and its end 1.6 m ahead. The last line is the time at which the step ended.
TEST(ModelRuns, GreenMonitorsHoldThePolygonAndTheArcs) {
  RunFolder folder;
  const ProgramRun run = folder.run_deck(deck("csr_g_to_m"));
  ASSERT_TRUE(run.orderly());
  int last = 0;
  while (folder.exists("mesh_000" + std::to_string(last + 1) + ".dat")) ++last;
  ASSERT_GT(last, 0);
  const auto n = column(folder.lines("mesh_000" + std::to_string(last) + ".dat"), 1);
  ASSERT_EQ(n.size(), 42u + 4 * 4 + 1);
  EXPECT_EQ(n[0], 20);
  EXPECT_EQ(n[21], 20);
  const double reach = *std::max_element(n.begin() + 1, n.begin() + 21);
  EXPECT_GT(reach, 1e-4);
  EXPECT_LT(reach, 1e-3);
  EXPECT_EQ(n[42], 3);
  EXPECT_NEAR(n[44], -0.4, 1e-3);                      // c t of the arc's start
  EXPECT_NEAR(n[48], -0.4, 1e-3);                      // x
  EXPECT_NEAR(std::abs(n[52]), 0.4 * 0.4 / 20, 1e-4);  // y
  EXPECT_EQ(n[55], 0);                                 // curvature
  EXPECT_NEAR(n[56], 0.1, 1e-3);
  EXPECT_EQ(n.back(), 1.4);
}

TEST(ModelRuns, AMeshThatDoesNotFitEndsTheRun) {
  RunFolder folder;
  const ProgramRun run =
      folder.run_deck("io_path { logfile = log }\n" + deck("csr_g_to_p", "sigma_long = 3e-13"));
  ASSERT_TRUE(run.orderly());
  const std::string end = " error exit: meshing of green's function\n array size 'maxgre' not sufficient\n";
  EXPECT_TRUE(run.console.ends_with(end));
  EXPECT_TRUE(folder.read("log").ends_with(end));
  EXPECT_FALSE(folder.exists("end.dat"));
}

/// An arc of 10 m, and two particles of 1 nC and 500 MeV/c 1 m into it, the second one 1 mm behind.
const std::string arc =
    "lattice { dipole { position { rho = -1 psi = 0 } properties { r = 10 } position { rho = 3 psi = 0 } } "
    "}\n";
const std::string one_particle = "particles { array = 0 a b c d e f   0 0 0 5e8 0 0 1e-9 }";
std::string two_particles(const std::string& ct) {
  return "particles { array = " + ct + " a b c d e f   0 0 0 5e8 0 0 1e-9   -1e-3 0 0 0 0 0 1e-9 }";
}

ProgramRun run_projected(const RunFolder& folder, const std::string& settings) {
  return folder.run_deck(arc + two_particles("0") + "\nforces { type = projected " + settings +
                         " }\n tracker { end_time_c0 = 0.01 }\n");
}

// h = 1e-4 / (5 sqrt 2). Seen along the orbit, which has turned by an angle of the sine 0.1, the second
// particle stands 70.4 steps behind the first; 25 steps at both ends: k = -25 .. 95, 121 points. The kernel
// has 25 more, and the wake acts on both sides.
TEST(ModelRuns, AProjectedTestRunTellsItsGridAndWritesItsFiles) {
  RunFolder folder;
  folder.write("wake", "2e-5\n1e-5\n-6\n6\n0\n0\n0\n0\n1e12\n2e12\n3e12\n2e12\n1e12\n0\n0\n0\n0\n");
  const ProgramRun run = run_projected(folder, "sigma_long = 1e-4 test = yes wake_file = wake");
  ASSERT_TRUE(run.orderly()) << run.console;
  const auto lines = run.lines();
  const auto first = std::find_if(lines.begin(), lines.end(),
                                  [](const std::string& line) { return line.starts_with("  ctmin= -"); });
  ASSERT_GE(lines.end() - first, 5);
  EXPECT_TRUE(first[1].starts_with("  ctmax= 0.001343"));
  EXPECT_EQ(first[2], "  ctrms= 0");
  EXPECT_TRUE(first[3].starts_with("  ctsig= 0.000100000") && first[3].ends_with(" 121")) << first[3];
  EXPECT_EQ(first[4], "");

  const std::vector<double> curr = column(folder.lines("fc1_curr.dat"), 1);
  ASSERT_EQ(curr.size(), 123u);
  const double h = (curr[1] - curr[0]) / 120, peak = 1e-9 * 299792458.0 / (5 * h * 2.5066282746310002);
  EXPECT_NEAR(h, 1e-4 / (5 * std::sqrt(2)), 1e-10);
  for (int k = -25; k <= 95; ++k) {
    const double from = k - 1e-3 * std::sqrt(0.99) / h,
                 gauss = std::exp(-0.02 * k * k) + std::exp(-0.02 * from * from);
    EXPECT_NEAR(curr[static_cast<std::size_t>(k + 27)] / peak, gauss, 5e-4)
        << k;  // the bunch turns on its way
  }
  EXPECT_EQ(folder.lines("fc1_csr_w_curr.dat").size(), 123u);
  EXPECT_EQ(folder.lines("fc1_csr_w_sub.dat").size(), 2u + 2 * 120 + 1);
  EXPECT_EQ(folder.lines("fc1_w_sub.dat").size(), 2u + 25 + 121);
  const auto rows = folder.lines("fc1.dat");
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0].size(), 80u);
  EXPECT_NEAR(std::stod(rows[1].substr(0, 20)), -1e-3, 1e-5);
}

// The bunch goes on as without a force, and a person is told when it failed first and how often: at the
// start, for the predictor and for the corrector.
TEST(ModelRuns, AnEvaluationThatFailsTellsWhyAndLeavesNoForce) {
  const struct {
    std::string particles, settings, told;
  } cases[] = {
      {two_particles("0"), "sigma_long = 1e-9", "nsam.gt.nsamax; error in force1"},
      {two_particles("0"), "sigma_long = file sigma_file = sizes", "nsam.gt.nsamax; error in force1"},
      {"particles { }", "sigma_long = 1e-4", "error: no particles for the projected force; error in force1"},
      {one_particle, "sigma_long = relative relative_long = 1", "error in frcsub (sub-bunch dimensions)"}};
  for (const auto& c : cases) {
    const RunFolder free, folder;
    folder.write("sizes", "0 1e-9 0 0\n1 1e-9");
    const std::string end =
        "\n track_step { iterative = 1 } tracker { end_time_c0 = 0.01 } monitor { name = end }\n";
    (void)free.run_deck(arc + c.particles + end);
    const ProgramRun run =
        folder.run_deck(arc + c.particles + "\nforces { type = projected " + c.settings + " }" + end);
    ASSERT_TRUE(run.orderly()) << run.errors;
    EXPECT_EQ(count({run.told()}, "; " + c.told + "; error in forcei;"), 1) << run.told();
    EXPECT_EQ(folder.read("end"), free.read("end"));
    EXPECT_EQ(count(split_lines(run.errors), "self force"), 2) << run.errors;
    EXPECT_NE(run.errors.find("tessaron: the self force failed at ct = 0 m and counts as 0 there"),
              std::string::npos);
    EXPECT_NE(run.errors.find("failed evaluations of the self force: 3\n"), std::string::npos);
  }
}

// A bunch that starts at the time of stored forces feels them, whosever they are, and that is told; at any
// other time it ends as in a run of its own.
TEST(ModelRuns, ForcesOfAnOlderBunchOrSettingAreToldAtTheStartOfARun) {
  const std::string projected = "\nforces { type = projected sigma_long = 1e-4 }\n",
                    first = arc + two_particles("0") + projected + "tracker { end_time_c0 = 0.1 }\n";
  const auto end_at = [](double ct) {
    return " tracker { end_time_c0 = " + std::to_string(ct) + " } monitor { name = end }\n";
  };
  for (const bool same_time : {true, false}) {
    const RunFolder alone, second;
    const std::string bunch = two_particles(same_time ? "0.1" : "0.1000001");
    (void)alone.run_deck(arc + bunch + projected + end_at(0.2));
    const ProgramRun run = second.run_deck(first + bunch + end_at(0.2));
    EXPECT_EQ(run.errors.find("tessaron: tracking starts with forces that were stored before") == 0,
              same_time);
    EXPECT_EQ(second.read("end") != alone.read("end"), same_time);
  }
  const std::string none = "forces { type = none } ";
  for (const auto& [between, told] : {std::pair{"track_step { iterative = 2 }", false},
                                      {projected.c_str(), true},
                                      {arc.c_str(), true},
                                      {none.c_str(), false},
                                      {"forces { type = csr_g_to_p sigma_long = 1e-4 }", true}}) {
    const RunFolder folder;
    EXPECT_EQ(folder.run_deck(first + between + end_at(0.15)).errors != "", told) << between;
  }
  const RunFolder folder;
  EXPECT_EQ(
      folder.run_deck(first + none + "tracker { delta_time_c0 = 1e-9 }" + projected + end_at(0.15)).errors,
      "");
}

// Each comes once, however many evaluations follow.
TEST(ModelRuns, WhatDoesNothingAndWhatTakesLongIsToldOnce) {
  const std::string go = "\ntrack_step { iterative = 1 } tracker { end_time_c0 = 0.01 }",
                    images = " pairs of images: one evaluation of ";
  const auto forces = [](const std::string& type, const std::string& shield) {
    return "\nforces { type = " + type + " sigma_long = 1e-3 shield_max = 0.1 shield = " + shield + " }";
  };
  const struct {
    std::string deck;
    std::vector<std::string> told;
  } cases[] = {
      {arc + "particles { }" + go, {"tracking without particles: nothing moves but the time"}},
      {arc + one_particle + "\nonline_monitor {\n type = steps }" + go,
       {"an online_monitor without a name is ignored at tessar.in:4"}},
      {arc + two_particles("0") + forces("projected", "1e-4") + go, {}},
      {arc + two_particles("0") + forces("projected", "0.9e-4") + go, {"1111" + images + "projected takes"}},
      {arc + two_particles("0") + forces("csr_p_to_m", "0.9e-4") + go,
       {"1111" + images + "csr_g_to_m takes", "1111" + images + "csr_p_to_m takes"}},
  };
  for (const auto& c : cases) {
    const ProgramRun run = RunFolder().run_deck(c.deck);
    const auto lines = split_lines(run.errors);
    for (const std::string& told : c.told) EXPECT_EQ(count(lines, told), 1) << told << "\n" << run.errors;
    EXPECT_EQ(count(lines, images), count(c.told, images)) << run.errors;
  }
}

// Eight sources in a square wave across, so that width and place along the bunch have nothing to do with each
// other, or on a tilted line. Planes lose their images where the kernel ends before the bunch does; in an arc
// three rms lengths suffice.
TEST(ModelRuns, WhereTheProjectedForceIsNotTrueIsToldOnceInATracker) {
  const struct {
    double momentum, wave, tilt;
    std::string forces, told;
  } cases[] = {
      {5e9, 1e-5, 0, "sigma_long = 1e-4", ""},
      {2e7, 1e-5, 0, "sigma_long = 1e-4", "leaves out the field of uniform motion"},
      {5e9, 5e-3, 0, "sigma_long = 1e-4", "takes the bunch for a line"},
      {5e9, 1e-5, 2e-3, "sigma_long = 1e-4", ""},
      {5e9, 1e-5, 0, "sigma_long = 1e-5 shield = 0.01", "the kernel ends 3.536e-05 m ahead"},
      {5e9, 1e-5, 0, "sigma_long = 1e-5 shield = 0.01 shield_reach = bunch", ""},
      {5e9, 1e-5, 0, "sigma_long = relative relative_long = 1 shield = 0.01", ""},
  };
  for (const auto& c : cases) {
    std::ostringstream deck;
    deck
        << "lattice { dipole { position { delta_s = 0.1 } properties { r = 5 } position { delta_s = 2 } } }\n"
        << "particles { array = 0 0 0 0 0 0 0  0 0 0 " << c.momentum << " 0 0 1e-9\n";
    for (int i = 1; i < 9; ++i)
      deck << -1e-4 * i << ' ' << (i % 4 < 2 ? -c.wave : c.wave) + c.tilt * i << " 0 0 0 0 1e-9\n";
    deck << "}\nforces { type = projected " << c.forces
         << " }\ntracker { end_time_c0 = 0.15 } tracker { end_time_c0 = 0.2 }";
    const auto lines = split_lines(RunFolder().run_deck(deck.str()).errors);
    const int trackers = c.told.empty() ? 0 : 2;
    EXPECT_EQ(lines.size(), trackers) << c.momentum << ' ' << c.forces;
    EXPECT_EQ(count(lines, c.told), trackers) << c.momentum << ' ' << c.forces;
  }
}

}  // namespace
