#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "support/run_program.hpp"

/// The projected force from outside: decks through the built program.
namespace tessaron::test {
namespace {

using Lines = std::vector<std::string>;

/// Two particles of 1 nC and 500 MeV/c, the second one 1 mm behind, 1 m into an arc.
std::string deck(const std::string& forces) {
  return "lattice { dipole { position { rho = -1 psi = 0 } properties { r = 10 } position { rho = 3 psi = 0 "
         "} } }\n"
         "particles { array = 0 a b c d e f   0 0 0 5e8 0 0 1e-9   -1e-3 0 0 0 0 0 1e-9 }\n"
         "forces { type = projected " +
         forces + " }\n io_path { output = out logfile = log }\n tracker { end_time_c0 = 0.01 }\n";
}

std::vector<double> numbers(const RunFolder& folder, const std::string& file) {
  std::vector<double> values;
  for (const std::string& line : folder.lines(file)) values.push_back(std::stod(line));
  return values;
}

// h = 1e-4 / (5 sqrt 2), so that the second particle stands 70.7 steps behind the first; 25 steps at both
// ends: k = -25 .. 96, 122 points; the kernel has 25 more.
TEST(Projected, ATestRunTellsItsGridAndWritesItsFiles) {
  RunFolder folder;
  folder.make_folder("out");
  folder.write("wake", "2e-5\n1e-5\n-6\n6\n0\n0\n0\n0\n1e12\n2e12\n3e12\n2e12\n1e12\n0\n0\n0\n0\n");
  const ProgramRun run = folder.run_deck(deck("sigma_long = 1e-4 test = yes wake_file = wake"));
  ASSERT_TRUE(run.orderly()) << run.console;
  const Lines log = folder.lines("out/log");
  const auto first = std::find_if(log.begin(), log.end(),
                                  [](const std::string& line) { return line.starts_with("  ctmin= -"); });
  ASSERT_GE(log.end() - first, 5);
  EXPECT_TRUE(first[1].starts_with("  ctmax= 0.001343"));
  EXPECT_EQ(first[2], "  ctrms= 0");
  EXPECT_TRUE(first[3].starts_with("  ctsig= 0.000100000"));
  EXPECT_TRUE(first[3].ends_with(" 121"));
  EXPECT_EQ(first[4], "");

  const std::vector<double> curr = numbers(folder, "out/fc1_curr.dat");
  ASSERT_EQ(curr.size(), 123u);
  double sum = 0;
  for (std::size_t k = 2; k < curr.size(); ++k) sum += curr[k];
  const double h = (curr[1] - curr[0]) / 120;
  EXPECT_NEAR(sum * h / 299792458.0, 2e-9, 1e-14);  // the charge; 5 rms leave 6e-7 out
  EXPECT_EQ(numbers(folder, "out/fc1_csr_w_curr.dat").size(), 123u);
  EXPECT_EQ(numbers(folder, "out/fc1_csr_w_sub.dat").size(),
            2u + 2 * 120 + 1);  // the wake acts on both sides
  EXPECT_EQ(numbers(folder, "out/fc1_w_sub.dat").size(), 2u + 25 + 121);
  const Lines particles = folder.lines("out/fc1.dat");
  ASSERT_EQ(particles.size(), 2u);
  for (const std::string& line : particles) EXPECT_EQ(line.size(), 80u);
  EXPECT_NEAR(std::stod(particles[1].substr(0, 20)), -1e-3, 1e-5);
}

// Start, predictor and corrector each fail; the run goes on.
TEST(Projected, AGridThatDoesNotFitFailsFromTheInsideOut) {
  RunFolder folder;
  folder.make_folder("out");
  const ProgramRun run = folder.run_deck(deck("sigma_long = 1e-9"));
  ASSERT_TRUE(run.orderly());
  const Lines lines = run.lines();
  const auto at = std::find(lines.begin(), lines.end(), " nsam.gt.nsamax");
  ASSERT_GE(lines.end() - at, 3);
  EXPECT_EQ(at[1], " error in force1");
  EXPECT_EQ(at[2], " error in forcei");
}

}  // namespace
}  // namespace tessaron::test
