#include "common/cores/chunks.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "common/console.hpp"
#include "support/capture.hpp"

#ifdef _OPENMP
#include <omp.h>
#endif

namespace tessaron {
namespace {

// Chunks are consecutive and of nearly equal size, so that each thing belongs to exactly one of them.
TEST(Chunks, CutAllThingsIntoRunsOfNearlyEqualSize) {
  for (const int n : {0, 1, 5, 4095, 8192, 100000, 2000000000})
    for (const int smallest : {1, 1000, 4096}) {
      const Chunks chunks = Chunks::of(n, smallest, 7);
      int next = 1;
      for (int c = 1; c <= chunks.count; ++c) {
        const Chunk chunk = chunks[c];
        EXPECT_EQ(chunk.number, c);
        EXPECT_EQ(chunk.first, next);
        EXPECT_LE(std::abs(chunk.size() - n / chunks.count), 1) << n;
        EXPECT_GE(chunk.size(), chunks.count > 1 ? smallest : 0);
        next = chunk.last + 1;
      }
      EXPECT_EQ(next, n + 1);
    }
}

// Jobs of all sizes one after the other, some within another one's work: each piece is done once, and all of
// it when the call returns. Without a team the caller does the same by itself.
TEST(Chunks, AreEachWorkedOnOnceByAnyTeam) {
  const auto all_jobs = [] {
    for (int job = 0; job < 3000; ++job) {
      const int n = 1 + job * 37 % 300, nested = job % 10 == 0 ? 5 : 1;
      std::vector<int> visits(static_cast<std::size_t>(n));
      over_chunks(Chunks::of(n, 1 + job % 20), [&](const Chunk& chunk) {
        over_chunks({nested, nested}, [&](const Chunk&) {
          // Within a chunk that is the only one these are shared in their turn.
          for (int i = chunk.first; i <= chunk.last; ++i)
            ++std::atomic_ref(visits[static_cast<std::size_t>(i - 1)]);
        });
      });
      ASSERT_EQ(visits, std::vector<int>(visits.size(), nested)) << job;
    }
  };
  all_jobs();
  EXPECT_EQ(thread_count(), 1);
#ifdef _OPENMP
  for (const int threads : {1, 2, 7}) {
    omp_set_num_threads(threads);
    with_threads([&] {
      EXPECT_EQ(thread_count(), threads);
      all_jobs();
    });
    EXPECT_EQ(thread_count(), 1);
  }
#endif
}

// The first chunks take longest, and every other one has something to say.
TEST(Chunks, SpeakInTheirOrder) {
  constexpr int n = 20;
  std::vector<std::string> lines;
  const auto speak = [&] {
    lines = test::console_of([] {
      over_chunks({n, n}, [](const Chunk& chunk) {
        std::this_thread::sleep_for(std::chrono::milliseconds(n - chunk.number));
        if (chunk.number % 2 == 0) console_line(std::to_string(chunk.number));
      });
    });
  };
#ifdef _OPENMP
  omp_set_num_threads(5);
#endif
  with_threads(speak);
  ASSERT_EQ(lines.size(), 10u);
  for (std::size_t k = 0; k < lines.size(); ++k) EXPECT_EQ(std::stoul(lines[k]), 2 * k + 2);
}

// Of several fatal stops the one counts that one thread alone would come to.
TEST(ChunksDeathTest, StopTheRunAtTheFirstFault) {
  const auto run = [] {
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
#ifdef _OPENMP
    omp_set_num_threads(5);
#endif
    with_threads([] {
      over_chunks({20, 20}, [](const Chunk& chunk) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20 - chunk.number));
        if (chunk.number > 2) fatal_stop(std::to_string(chunk.number));
      });
    });
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "^ 3\n$");
}

}  // namespace
}  // namespace tessaron
