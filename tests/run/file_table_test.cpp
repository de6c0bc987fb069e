#include "run/files/file_table.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "run/deck.hpp"
#include "run/line_writer.hpp"
#include "support/capture.hpp"

using namespace tessaron;
using test::said_by;

namespace {

class FileTab : public testing::Test {
 protected:
  /// Starts the table on a deck that holds `io_path` blocks.
  void open(std::string_view deck) {
    ASSERT_EQ(close_all_files(), ok);
    folder.write("tessar.in", deck);
    ASSERT_EQ(fiinit("tessar.in"), ok);
    ASSERT_EQ(rdinit(), ok);
  }
  void TearDown() override { EXPECT_EQ(close_all_files(), ok); }
  test::WorkingFolder folder;
};

TEST_F(FileTab, ElevenDataStreamsAreOpenAtATime) {
  open("");
  int stream = 0;
  for (int i = 0; i < 30; ++i) EXPECT_EQ(fiopni("no/such/folder", stream), ENOENT);  // keeps no stream
  for (int i = 0; i < 11; ++i) {
    ASSERT_EQ(fiopno("out" + std::to_string(i), stream), ok);
    EXPECT_EQ(stream, 20 + i);
  }
  EXPECT_EQ(said_by([&] { EXPECT_EQ(fiopno("twelfth", stream), failed); }), "");
  EXPECT_FALSE(folder.exists("twelfth"));
  EXPECT_EQ(ficlos(24), ok);
  EXPECT_EQ(ficlos(24), failed);  // not open any more
  ASSERT_EQ(fiopno("again", stream), ok);
  EXPECT_EQ(stream, 24);  // the lowest free one
  for (const int bad : {19, 31, 0, -5, 1000}) EXPECT_EQ(ficlos(bad), failed);
}

TEST_F(FileTab, DirectoriesArePutAheadOfNames) {
  folder.make_folder("in");
  folder.make_folder("out");
  folder.write("in/a", "from_in");
  open("{ logfile = log output = out } { input = in } #file { name = a }");
  ASSERT_EQ(iopath(), ok);
  EXPECT_TRUE(folder.exists("out/log"));  // whatever the order in the block
  ASSERT_EQ(iopath(), ok);
  Text<80> token;
  ASSERT_EQ(getcmd(token), ok);
  EXPECT_EQ(token, "from_in");
  EXPECT_EQ(position_text(deck_place()), "in/a:1");
  int stream = 0;
  ASSERT_EQ(fiopno("b", stream), ok);  // the second block changed only what it named
  ASSERT_EQ(fiopni("c", stream), ok);
  EXPECT_TRUE(folder.exists("out/b") && folder.exists("in/c"));
  EXPECT_EQ(fiexit(), 0);
  EXPECT_EQ(filetab.cudeck, 9);  // both levels are closed
}

TEST_F(FileTab, MessagesAreCutAndTrimmedAndBegunWithABlank) {
  open("");
  const std::string full(72, 'x');
  EXPECT_EQ(said_by([&] {
              msgout(full + "y");
              msgout("abc   ");
              msgout("  abc", 4);
              msgout(" ", 1);
              msgout("");
              msgout(std::string(80, ' ') + "beyond the field");
              msgout(FreeForm("n =", 3));
            }),
            " " + full + "; abc;   ab;;;;  n = 3");
}

// A person is told the first failure of a file at once, and what it lacks when it is closed.
TEST_F(FileTab, AFullDiskIsToldOnceForEachFileAndItsLossesAreCounted) {
  open("{ logfile = /dev/full } { logfile = log }");
  testing::internal::CaptureStderr();
  int table = 0, unlucky = 0;
  (void)said_by([&] {
    EXPECT_EQ(iopath(), ok);
    for (int k = 0; k < 3; ++k) msgout("lost");
    ASSERT_EQ(fiopno("/dev/full", table), ok);
    for (int k = 0; k < 2; ++k) {
      EXPECT_EQ(fiwrite(table, "1"), k == 0 ? ok : ENOSPC);
      EXPECT_EQ(fiflush(table), ENOSPC);
    }
    ASSERT_EQ(fiopno("/dev/full", unlucky), ok);
    EXPECT_EQ(fiwrite(unlucky, "1"), ok);
    EXPECT_EQ(ficlos(unlucky), ENOSPC);
    EXPECT_EQ(ficlos(table), ENOSPC);
    EXPECT_EQ(iopath(), ENOSPC);  // the old log could not be closed whole
  });
  EXPECT_FALSE(filetab.logopen);
  const std::string cannot =
                        "tessaron: cannot write /dev/full: No space left on device; every write tries again",
                    lost = " of /dev/full could not be written: No space left on device";
  EXPECT_EQ(test::joined(test::split_lines(testing::internal::GetCapturedStderr())),
            cannot + ";" + cannot + ";tessaron: 1 line" + lost + ";tessaron: 2 lines" + lost +
                ";tessaron: 3 lines" + lost);
}

}  // namespace
