#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "forces/forcei.hpp"
#include "run/msgout.hpp"
#include "run/pg.hpp"
#include "support/capture.hpp"

/// A group whose master is a list of command strings: these definitions stand in for those of the library.
namespace tessaron {

namespace {
ProcessIdentity identity;
std::vector<std::string> commands;  ///< what the worker is still to receive
std::vector<std::string> done;      ///< what the worker did
}  // namespace

ProcessIdentity pgflags() { return identity; }
void pgstart(int*, char***) {}
void pgend() {}
void pgabort() {}
void pgstr(std::string_view) {}
void pgrecv(Text<80>& text) {
  if (commands.empty()) {
    done.push_back("waits for ever");
    text = "stopp";
    return;
  }
  text = std::string_view(commands.front());
  commands.erase(commands.begin());
}
void pgsetup() { done.push_back("pgsetup"); }
void pgbunch(std::int32_t&, Particle*, std::int32_t*, double&) {}
void pgrows(double*, int, int, int) {}
void pgsum(double*, int, int) {}
void pgorf(bool*, int) {}
void pgflg(bool*, int, int) {}

Status frcims(ForceType&, ParticleTable&, SectionTable&, double&, ForceTable&) {
  done.push_back("frcims");
  return failed;  // the worker goes on all the same
}

namespace {

using Lines = std::vector<std::string>;

TEST(PgWorker, CarriesOutTheMastersCommandsUntilItIsStopped) {
  struct {
    Lines commands, done;
  } const cases[] = {
      {{"stopp"}, {}},
      {{"tracker", "parallel forces", "parallel forces", "stopp"}, {"pgsetup", "frcims", "frcims"}},
      {{"", "anything", "Tracker", "tracker ", "stopp", "tracker"}, {"pgsetup"}},
  };
  for (const auto& c : cases) {
    commands = c.commands;
    done.clear();
    pgworker();
    EXPECT_EQ(done, c.done);
  }
}

TEST(ProcessGroup, EveryItemBelongsToExactlyOneProcess) {
  for (const std::int32_t size : {1, 2, 3, 7}) {
    for (std::int64_t item = 1; item <= 50; ++item) {
      int owners = 0;
      for (std::int32_t own = 1; own <= size; ++own) owners += own_item(item, {own == 1, own, size});
      EXPECT_EQ(owners, 1);
    }
  }
  EXPECT_TRUE(own_item(3, {false, 2, 2}));  // 3 mod 2 + 1
  EXPECT_FALSE(own_item(4, {false, 2, 2}));
}

TEST(MsgOut, IsSilentOnAWorker) {
  const Lines console = test::console_of([] {
    identity = {false, 2, 2};
    msgout("from a worker");
    identity = {};
    msgout("from the master");
  });
  EXPECT_EQ(console, Lines{" from the master"});
}

}  // namespace
}  // namespace tessaron
