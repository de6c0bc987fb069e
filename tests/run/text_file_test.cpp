#include "run/files/text_file.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
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

}  // namespace
