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

}  // namespace
}  // namespace tessaron
