#include "run/text_file.hpp"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include "support/temp_folder.hpp"

using namespace tessaron;
using test::WorkingFolder;
using Lines = std::vector<std::string>;

namespace {

TextFile file;  // one of these is too large for the stack to hold it with comfort

Lines read_all(const char* name) {
  Lines lines;
  bool created = false, at_end = false;
  EXPECT_EQ(file.open_to_read(name, created), ok);
  std::string_view line;
  while (file.read_line(line, at_end) == ok && !at_end) lines.emplace_back(line);
  EXPECT_TRUE(at_end);
  EXPECT_EQ(file.line_number(), static_cast<int>(lines.size()));
  EXPECT_EQ(file.close(), ok);
  return lines;
}

TEST(TextFile, ReadsLinesOfEitherEndAndALastLineWithoutOne) {
  const WorkingFolder folder;
  folder.write("a", "one\r\n\n  two  \nthree\rfour\nlast");
  EXPECT_EQ(read_all("a"), (Lines{"one", "", "  two  ", "three\rfour", "last"}));
  folder.write("a", "");
  EXPECT_EQ(read_all("a"), Lines{});
  folder.write("a", "\n");
  EXPECT_EQ(read_all("a"), Lines{""});
}

// Lines of every length around the cut and around the buffer's size, at every place of the buffer.
TEST(TextFile, CutsLongLinesAt400WhereverTheyLie) {
  const WorkingFolder folder;
  std::string text;
  Lines expected;
  for (const std::size_t size : {399u, 400u, 401u, 65535u, 65536u, 65537u, 131072u, 7u, 200000u, 1u}) {
    for (const char* end : {"\n", "\r\n"}) {
      const std::string line(size, static_cast<char>('a' + expected.size()));
      text += line + end;
      expected.push_back(line.substr(0, 400));
    }
  }
  folder.write("a", text);
  EXPECT_EQ(read_all("a"), expected);
  folder.write("a", text.substr(0, text.size() - 2) + std::string(70000, 'z'));
  expected.back() += std::string(399, 'z');
  EXPECT_EQ(read_all("a"), expected);
}

// What is there and is no readable file fails at once: nothing waits, nothing is created or emptied.
TEST(TextFile, ReadsRegularFilesOnlyAndCreatesAMissingOne) {
  const WorkingFolder folder;
  bool created = false;
  for (const bool first : {true, false}) {
    EXPECT_EQ(file.open_to_read("missing", created), ok);
    EXPECT_EQ(created, first);
    EXPECT_EQ(file.close(), ok);
  }
  folder.make_folder("folder");
  folder.write("secret", "x");
  ::chmod("secret", 0);
  ASSERT_EQ(::mkfifo("pipe", 0600), 0);
  created = true;
  EXPECT_EQ(file.open_to_read("folder", created), EISDIR);
  EXPECT_EQ(file.open_to_read("no/such/folder", created), ENOENT);
  EXPECT_EQ(file.open_to_read("", created), ENOENT);
  EXPECT_EQ(file.open_to_read("pipe", created), EINVAL);
  EXPECT_EQ(file.open_to_read("/dev/zero", created), EINVAL);
  if (::geteuid() != 0) {  // root may read everything
    EXPECT_EQ(file.open_to_read("secret", created), EACCES);
  }
  EXPECT_FALSE(created);
  EXPECT_FALSE(file.is_open());
  EXPECT_NE(file.open_to_write("folder"), ok);
  EXPECT_NE(file.open_to_write("pipe"), ok);
  EXPECT_EQ(file.close(), EBADF);
}

TEST(TextFile, WritesThroughItsBufferAndRewindEmptiesTheFile) {
  const WorkingFolder folder;
  ASSERT_EQ(file.open_to_write("a"), ok);
  for (int i = 0; i < 30000; ++i) ASSERT_EQ(file.write({"a line that goes ", "again\n"}), ok);
  ASSERT_EQ(file.rewind(), ok);
  std::string expected;
  for (int i = 0; i < 30000; ++i) {
    const std::string line = "line " + std::to_string(i) + "\n";
    expected += line;
    ASSERT_EQ(file.write({line}), ok);
  }
  ASSERT_EQ(file.close(), ok);
  EXPECT_EQ(folder.read("a"), expected);
}

/// The largest size of a file that this process may write: a disk that is full, and has room again.
void set_room(rlim_t bytes) {
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &limit), 0);
  limit.rlim_cur = std::min(bytes, limit.rlim_max);
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
}

// What is lost is whole lines, which are counted; the buffer saves what it holds until there is room again.
TEST(TextFile, EveryWriteTriesAgainAndTellsOfThisAttempt) {
  const WorkingFolder folder;
  struct {
    int lines;  ///< written, of 10 bytes each, while the disk is full
    bool room_again, lost;
  } const cases[] = {{100, true, false}, {100, false, true}, {20000, true, true}, {20000, false, true}};
  for (const auto& c : cases) {
    set_room(105);
    ASSERT_EQ(file.open_to_write("a"), ok);
    std::string good;
    const auto write = [&] {
      const std::string line = std::to_string(good.size() + 100000000) + "\n";
      good += line;
      return file.write({line});
    };
    for (int k = 0; k < 9; ++k) EXPECT_EQ(write(), ok);  // they wait in the buffer
    EXPECT_EQ(file.flush(), ok);
    EXPECT_EQ(write(), ok);
    EXPECT_EQ(write(), ok);
    EXPECT_EQ(file.flush(), EFBIG);
    for (int k = 0; k < c.lines; ++k) ASSERT_EQ(write(), EFBIG);
    if (c.room_again) {
      set_room(RLIM_INFINITY);
      EXPECT_EQ(write(), ok);
    }
    EXPECT_EQ(file.close(), c.room_again ? ok : EFBIG);
    set_room(RLIM_INFINITY);
    EXPECT_EQ(file.lost_lines() > 0, c.lost);
    const Lines written = folder.lines("a"), all = test::split_lines(good);
    const bool cut = folder.read("a").back() != '\n';
    EXPECT_EQ(cut, !c.room_again);
    EXPECT_EQ(static_cast<std::int64_t>(all.size() - written.size() + cut), file.lost_lines());
    EXPECT_TRUE(std::includes(all.begin(), all.end(), written.begin(), written.end() - cut));
  }
}

TEST(TextFile, AFullDiskShowsInTheFlushOrInTheClose) {
  ASSERT_EQ(file.open_to_write("/dev/full"), ok);
  EXPECT_EQ(file.write({"a few characters wait in the buffer\n"}), ok);
  EXPECT_EQ(file.close(), ENOSPC);
  EXPECT_EQ(file.lost_lines(), 1);
  EXPECT_EQ(file.last_failure(), ENOSPC);
  ASSERT_EQ(file.open_to_write("/dev/full"), ok);
  EXPECT_EQ(file.lost_lines(), 0);
  EXPECT_EQ(file.flush(), ok);  // nothing to write
  EXPECT_EQ(file.write({"x\n"}), ok);
  EXPECT_EQ(file.flush(), ENOSPC);
  EXPECT_EQ(file.close(), ENOSPC);
  EXPECT_FALSE(file.is_open());
}

}  // namespace
