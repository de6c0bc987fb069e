#include "forces/block_fixture.hpp"

namespace tessaron::test {
namespace {

std::string rows_of(int n) {
  std::string text;
  for (int i = 1; i <= n; ++i) text += std::to_string(i) + " 1 1 1\n";
  return text;
}

// The length and the height come from the file; the column of the radial size may hold anything.
TEST_F(ForcesBlock, SubbunchFilesAreChecked) {
  const std::string head = " read subbunch properties", tail = " error in force";
  struct Case {
    std::string file;
    int rows;  ///< 0 for a file that fails
    Lines lines;
  };
  for (const Case& c :
       {Case{"0 1e-5 -7 1e-4\n", 1, {head}},
        Case{"0, 1d-5 0 1e-4 and more\n\n0 1 0 1\n 2\n 1\n 0\n 1", 3, {head}}, Case{"", 0, {head, tail}},
        Case{"\n \n", 0, {head, tail}}, Case{"0 1 1\n", 0, {head, tail}},
        Case{"0 1 1 tall\n", 0, {head, tail}},
        Case{"1 1 1 1\n0 1 1 1\n", 0, {head, " first column with c*time is not increasing", tail}},
        Case{"1 1 1 1\n2 0 1 1\n", 0, {head, " file with nonepositive subbunch length", tail}},
        Case{"1 1 1 -1\n", 0, {head, " file with nonepositive subbunch length", tail}},
        Case{"1 1 1 1\n0 0 1 1\n", 0, {head, " first column with c*time is not increasing", tail}},
        Case{rows_of(1999), 1999, {head}},
        Case{rows_of(2000), 0, {head, " too many points in file: increase matist", tail}}}) {
    folder_.write("sizes", c.file);
    const Status status = read(
        "{ type=csr_p_to_p sigma_long=file shape=ellipsoid sigma_vert=file sigma_rad=1 sigma_file=sizes }");
    EXPECT_EQ(status == ok, c.rows > 0) << c.file.substr(0, 80);
    EXPECT_EQ(log, c.lines) << c.file.substr(0, 80);
    if (c.rows > 0) {
      EXPECT_EQ(f.subbunch_rows, c.rows);
    }
  }
  EXPECT_EQ(subbunch_table[1999].ct, 1999);
}

TEST_F(ForcesBlock, ASubbunchFileThatNoSizeAsksForIsNotOpened) {
  EXPECT_EQ(read("{ type=projected sigma_long=1 sigma_file=nowhere }"), ok);
  EXPECT_FALSE(folder_.exists("nowhere"));
  EXPECT_FALSE(f.sigma_file_read);
}

TEST_F(ForcesBlock, AFileThatCannotBeOpenedFails) {
  folder_.make_folder("sizes");
  EXPECT_NE(read("{ type=projected sigma_long=file sigma_file=sizes }"), ok);
  EXPECT_EQ(log, Lines{" error in force"});
  EXPECT_NE(read("{ type=none wake_file=sizes }"), ok);
  EXPECT_EQ(log, Lines{" error in force"});
}

// sigwak 1e-5, step 1e-5: three steps on both sides are enough.
TEST_F(ForcesBlock, WakeFilesAreRead) {
  const std::string long_comment(80, '!');
  folder_.write("wake", "a comment ! behind it\n" + long_comment +
                            "\n1e-5 sigma\n 1e-5\n-3 first\n\n4\n1\n2\n3\n4 V/C\n5\n6\n7\n-8d0\n9 ignored\n");
  EXPECT_EQ(read("{ type=none wake_file=wake }"), ok);
  EXPECT_EQ(log, (Lines{" read wakefile: wake", " a comment ! behind it", std::string(1, ' ').append(long_comment, 0, 72)}));
  EXPECT_TRUE(f.wake_used);
  EXPECT_EQ(f.sigwak, 1e-5);
  EXPECT_EQ(f.stpwak, 1e-5);
  EXPECT_EQ(f.n1wak, -3);
  EXPECT_EQ(f.n2wak, 4);
  EXPECT_EQ(wake_table[1], 1);
  EXPECT_EQ(wake_table[8], -8);
  EXPECT_EQ(read("{ type=none }"), ok);
  EXPECT_FALSE(f.wake_used);
}

TEST_F(ForcesBlock, WakeFilesAreChecked) {
  const std::string sigma = "sigwak.le.0", step = "stpwak.le.0", low = "n1wak*stpwak > -3*sigwak",
                    high = "n2wak*stpwak < -3*sigwak", many = "n2wak-n1wak+1.>.narcsr", data = "data array";
  struct Case {
    const char* file;
    std::string message;
  };
  for (const Case& c :
       {Case{"", sigma}, Case{"\n1\n", sigma}, Case{"0\n", sigma}, Case{"wide\n", sigma}, Case{"1\n", step},
        Case{"1\n0\n", step}, Case{"1\n! too late\n", step}, Case{"1\n1\n", low}, Case{"1\n1\n-2\n", low},
        Case{"1\n1\n-3.5\n", low}, Case{"1\n1\n-3\n", high}, Case{"1\n1\n-3\n2\n", high},
        Case{"1\n1\n-3\n99999999999\n", high}, Case{"1\n1\n-3\n49997\n", many},
        Case{"1\n1\n-2147483648\n2147483647\n", many}, Case{"1\n1\n-3\n3\n1\n2\n3\n4\n5\n6\n", data},
        Case{"1\n1\n-3\n3\n1\n2\n3\nfour\n5\n6\n7\n", data}}) {
    folder_.write("wake", c.file);
    EXPECT_NE(read("{ type=none wake_file=wake }"), ok) << c.file;
    EXPECT_EQ(log,
              (Lines{" read wakefile: wake", " error in wake file: ??? " + c.message, " error in force"}))
        << c.file;
  }
  std::string full = "1\n1\n-25000\n24999\n";
  for (int k = 1; k <= 50000; ++k) full += std::to_string(k) + "\n";
  folder_.write("wake", full);
  EXPECT_EQ(read("{ type=none wake_file=wake }"), ok);
  EXPECT_EQ(wake_table[50000], 50000);
}

}  // namespace
}  // namespace tessaron::test
