#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <string>

#include "driver/driver.hpp"
#include "support/capture.hpp"
#include "support/run_program.hpp"
#include "support/whole_deck.hpp"

/// Memory: the tables are all there is. A run allocates nothing, and a full bunch fits in a small machine.

#if !defined(__SANITIZE_ADDRESS__)  // a sanitizer has a malloc and a need of memory of its own
namespace {
std::atomic<long> allocations{0};
}

// Every allocation of this program passes through here; the C library's own functions do the work.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t n, std::size_t size);
void* __libc_realloc(void* old, std::size_t size);
void* malloc(std::size_t size) {
  ++allocations;
  return __libc_malloc(size);
}
void* calloc(std::size_t n, std::size_t size) {
  ++allocations;
  return __libc_calloc(n, size);
}
void* realloc(void* old, std::size_t size) {
  ++allocations;
  return __libc_realloc(old, size);
}
}

namespace tessaron::test {
namespace {

TEST(Memory, AWholeRunAllocatesNothing) {
  const long before = allocations;
  std::free(std::malloc(100));
  ASSERT_EQ(allocations - before, 1) << "the count does not see allocations";

  const WorkingFolder folder;
  for (const auto& [name, text] : whole_deck()) folder.write(name, text);
  long during = -1;
  const auto console = console_of([&] {
    const long start = allocations;
    tessar();
    during = allocations - start;
  });
  EXPECT_EQ(during, 0);
  EXPECT_TRUE(folder.exists("end")) << "the run did not come to its last command";
}

// The particle table alone takes 300000 times 56 bytes; a table that nobody has used yet takes no memory.
TEST(Memory, AnEmptyDeckTouchesNoLargeTableAndAFullBunchStaysBelow200MB) {
  const RunFolder folder;
  EXPECT_LT(folder.run_deck("").peak_memory, 16800);
  std::string bunch = "0 0 0 0 0 0 0\n0 0 0 5e8 0 0 1e-15\n";
  for (int i = 2; i <= 300000; ++i) bunch += std::to_string(i % 1000) + "e-7 0 0 1e4 0 0 1e-15\n";
  folder.write("bunch", bunch);
  const ProgramRun run = folder.run_deck(
      "lattice { dipole { position { delta_s = 0.1 } properties { r = 5 } position { delta_s = 0.2 } } }\n"
      "particles { array = #file { name = bunch } }\n"
      "online_monitor { name = steps type = steps start_time_c0 = now end_time_c0 = 9 time_step_c0 = all }\n"
      "tracker { delta_time_c0 = 0.3 } monitor { name = end }");
  EXPECT_EQ(run.errors, "");
  EXPECT_EQ(folder.lines("end").size(), 300001u);
  EXPECT_LT(run.peak_memory, 200000);
  EXPECT_GT(run.peak_memory, 16800);
}

}  // namespace
}  // namespace tessaron::test

#endif
