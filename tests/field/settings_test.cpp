// The keys of the field library, in the orders that decide a shape, and what it refuses.

#include "field/source_record.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace tessaron {
namespace {

FieldSource source;
using Calls = std::vector<std::pair<const char*, double>>;

TEST(Finit, TheOrderOfTheCallsDecidesTheShape) {
  const struct {
    Calls calls;
    Method method;
    double sigmaz, sigmar;
  } cases[] = {
      {{{"method", 2.4}}, Method::round, 9, 9},
      {{{"method", 2.5}}, Method::ellipse, 9, 9},
      {{{"method", 2}, {"method", -1}, {"method", 3.7}}, Method::round, 9, 9},
      {{{"method", 2}, {"sigmaz", 3e-5}}, Method::round, 3e-5, 9},
      {{{"method", 2}, {"sigmaz", 0}}, Method::line, 9, 9},
      {{{"sigmaz", 3e-5}}, Method::stick, 3e-5, 9},
      {{{"sigmar", 1e-5}, {"sigmaz", 3e-5}}, Method::ellipse, 3e-5, 1e-5},
      {{{"method", 3}, {"sigmar", 0}, {"sigmaz", 3e-5}}, Method::stick, 3e-5, 9},
      {{{"method", 3}, {"sigmar", -1}}, Method::line, 9, 9},
      {{{"method", 2}, {"xnsigz  ", 7}}, Method::round, 9, 9},
  };
  for (const auto& c : cases) {
    for (const char* size : {"sigmaz", "sigmar"}) fcoini(source.shape, size, 9);
    finit(source, "method", 0);
    for (const auto& [key, value] : c.calls) finit(source, key, value);
    SCOPED_TRACE(c.calls.back().first);
    EXPECT_EQ(source.shape.method, c.method);
    EXPECT_EQ(fcoget(source.shape, "method"), static_cast<double>(c.method));
    EXPECT_EQ(fcoget(source.shape, "sigmaz"), c.sigmaz);
    EXPECT_EQ(fcoget(source.shape, "sigmar"), c.sigmar);
    if (c.method == Method::stick) {
      EXPECT_EQ(fcoget(source.shape, "ez"), 1);
    }
  }
  finit(source, "method", 3);
  finit(source, "sigmar", 3e-5);
  finit(source, "sigmaz", 5e-5);
  EXPECT_NEAR(source.shape.sigmax, 4e-5, 1e-18);
  EXPECT_EQ(source.shape.sigmin, 3e-5);
  EXPECT_TRUE(source.shape.long_axis_vertical);
}

TEST(Finit, AFlagIsTrueWhenTheNearestIntegerIsOne) {
  for (const auto& [value, expected] :
       {std::pair{0.6, true}, {0.5, true}, {1.49, true}, {1.6, false}, {0.0, false}}) {
    finit(source, "zsymmetry", value);
    EXPECT_EQ(source.settings.zsymmetry, expected) << value;
  }
}

/// Runs the calls with the console sent to standard error, where a death test looks.
void run_with_console_on_stderr(const Calls& calls) {
  std::fflush(stdout);
  if (dup2(2, 1) < 0) std::abort();
  FieldSource fresh;
  for (const auto& [key, value] : calls) finit(fresh, key, value);
  std::abort();
}

TEST(Finit, StopsWithALineForEachSettingThatIsNotFit) {
  // What the force models give, without a path.
  const Calls settings{{"q0", 1}, {"xnsigt", 5},    {"relacc", 1e-4},
                       {"hc", 0}, {"rintmi", 1e-6}, {"sigmat", 1e-13}};
  Calls calls = settings;
  calls.push_back({"check", 0});
  EXPECT_EXIT(run_with_console_on_stderr(calls), testing::ExitedWithCode(0),
              "^ error in finit: undefined setings\n undefined Rintmi= 1e-06\n undefined Rintma= 0\n"
              " undefined Slow  = 0\n undefined Shigh = 0\n undefined sstpma= 0\n$");
  // With a path, and one value that is not positive.
  calls = settings;
  calls.insert(calls.end(),
               {{"Slow", -1}, {"shigh", 1}, {"sstpma", 1e300}, {"rintma", 1}, {"sigmat", 0}, {"check", 0}});
  EXPECT_EXIT(run_with_console_on_stderr(calls), testing::ExitedWithCode(0),
              "^ error in finit: undefined setings\n undefined sigmat= 0\n$");
  // All is well, and the check passes; a key that does not exist.
  calls[calls.size() - 2].second = 1e-13;
  calls.push_back({"xnsigz_", 1});
  EXPECT_EXIT(run_with_console_on_stderr(calls), testing::ExitedWithCode(0),
              "^ error in fld_cont/finit: unknown action\n xnsigz_\n$");
}

TEST(Fldver, HasOneLine) {
  Text<80> text;
  int n = 0;
  fldver(text, 1, n);
  EXPECT_EQ(n, 1);
  EXPECT_EQ(text, "fld_version = fld3f3_13_no_wint2  from 17.03.05");
  fldver(text, 2, n);
  EXPECT_TRUE(text.blank());
}

}  // namespace
}  // namespace tessaron
