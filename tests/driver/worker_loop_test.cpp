#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "driver/group_transfer.hpp"
#include "forces/force_dispatch.hpp"
#include "group/process_group.hpp"
#include "run/line_writer.hpp"
#include "support/capture.hpp"

/// A group whose master is a list of command strings: these definitions stand in for those of the library.
namespace tessaron {

namespace {
ProcessIdentity identity;
std::vector<std::string> commands;  ///< what the worker is still to receive
std::string done;                   ///< what the worker did, a blank behind each
}  // namespace

ProcessIdentity pgflags() { return identity; }
void pgstart(int*, char***) {}
void pgend() {}
void pgabort() {}
void pgstr(std::string_view) {}
void pgrecv(Text<80>& text) {
  text = std::string_view(commands.empty() ? "stopp" : commands.front());
  if (commands.empty()) {
    done += "waits for ever";
  } else {
    commands.erase(commands.begin());
  }
}
void pgsetup() { done += "pgsetup "; }
void pgbytes(void*, std::size_t) {}
void pgrows(double*, int, int, int) {}
void pgsum(double*, int, int) {}
void pgorf(bool*, int) {}
void pgflg(bool*, int, int) {}

Status frcims(ForceType&, ParticleTable&, SectionTable&, double&, ForceTable&) {
  done += "frcims ";
  return failed;  // the worker goes on all the same
}

namespace {

TEST(PgWorker, CarriesOutTheMastersCommandsUntilItIsStopped) {
  commands = {"", "tracker", "anything", "Tracker", "parallel forces", "parallel forces", "stopp", "tracker"};
  pgworker();
  EXPECT_EQ(done, "pgsetup frcims frcims ");
}

TEST(ProcessGroup, EveryItemBelongsToExactlyOneProcess) {
  for (const std::int32_t size : {1, 2, 3, 7}) {
    for (std::int64_t item = 1; item <= 50; ++item) {
      for (std::int32_t own = 1; own <= size; ++own) {
        EXPECT_EQ(own_item(item, {own == 1, own, size}), own == item % size + 1);
      }
    }
  }
}

TEST(MsgOut, IsSilentOnAWorker) {
  EXPECT_EQ(test::said_by([] {
              identity = {false, 2, 2};
              msgout("from a worker");
              identity = {};
              msgout("from the master");
            }),
            " from the master");
}

}  // namespace
}  // namespace tessaron
