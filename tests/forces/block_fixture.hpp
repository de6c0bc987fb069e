#pragma once
#include "forces/force_settings_owner.hpp"
#include "run/deck.hpp"
#include "run/filetab.hpp"
#include "support/capture.hpp"

namespace tessaron::test {

using Lines = std::vector<std::string>;

/// Lets the reader of the `forces` block read a deck in a folder of its own.
struct ForcesBlock : ::testing::Test {
  void SetUp() override { ASSERT_EQ(frcinit(), ok); }
  void TearDown() override { (void)close_all_files(); }

  Status read(const std::string& block) {
    (void)close_all_files();
    folder_.write("tessar.in", block);
    EXPECT_EQ(fiinit("tessar.in"), ok);
    EXPECT_EQ(rdinit(), ok);
    Status status = failed;
    log = console_of([&] { status = force(); });
    for (int stream = 20; stream <= 30; ++stream) EXPECT_FALSE(filetab.in_use[stream]) << block;
    return status;
  }

  WorkingFolder folder_;
  const ForceSettings& f = force_settings;
  Lines log;
};

}  // namespace tessaron::test
