#include "forces/force_settings_owner.hpp"
#include "run/deck.hpp"
#include "run/file_table.hpp"
#include "support/capture.hpp"

namespace tessaron::test {
namespace {

using Lines = std::vector<std::string>;

/// Lets the reader of the `forces` block read a deck in a folder of its own.
struct ForcesBlock : ::testing::Test {
  void SetUp() override { ASSERT_EQ(frcinit(), ok); }
  void TearDown() override { (void)close_all_files(); }

  /// The console's lines are in `log`.
  Status read(const std::string& values) {
    (void)close_all_files();
    folder_.write("tessar.in", "{ " + values + " }");
    EXPECT_EQ(fiinit("tessar.in"), ok);
    EXPECT_EQ(rdinit(), ok);
    Status status = failed;
    log = console_of([&] { status = force(); });
    for (int stream = 20; stream <= 30; ++stream) EXPECT_FALSE(filetab.in_use[stream]) << values;
    return status;
  }
  void expect_refused(const std::string& values, Lines lines) {
    lines.push_back(" error in force");
    EXPECT_NE(read(values), ok) << values;
    EXPECT_EQ(log, lines) << values;
  }

  WorkingFolder folder_;
  const ForceSettings& f = force_settings;
  Lines log;
};

TEST_F(ForcesBlock, BadSettingsFail) {
  for (const char* values :
       {"", "type=Projected sigma_long=1", "type=projected", "type=projected sigma_long=0",
        "type=projected sigma_long=short", "type=projected sigma_long=relative",
        "type=projected sigma_long=relative relative_long=2.5",
        "type=projected sigma_long=relative relative_long=0", "type=projected sigma_long=1 shield=-1",
        "type=projected sigma_long=1 shield_max=0", "type=projected sigma_long=1 shield_reach=far",
        "type=none par3=x", "type=csr_p_to_p sigma_long=1 shape=cube",
        "type=csr_p_to_p sigma_long=1 rintmi=0"})
    expect_refused(values, {});
  const std::string ellipsoid = "type=csr_p_to_p sigma_long=1 shape=ellipsoid ";
  for (const char* values : {"sigma_rad=relative", "sigma_rad=-1", "sigma_vert=0", "sigma_vert=relative",
                             "sigma_rad=1 rbox=0", "sigma_rad=1 sbox=-1"})
    expect_refused(ellipsoid + values, {});
  const std::string missing = " file with subbunch properties is not specified";
  expect_refused("type=projected sigma_long=file", {missing});
  expect_refused(ellipsoid + "sigma_rad=file", {missing});
  expect_refused("type=none tipe=1", {" error in assign: unknown identifyer"});
}

TEST_F(ForcesBlock, AModelLooksOnlyAtWhatItNeeds) {
  EXPECT_EQ(read("type=none sigma_long=file sigma_file=nowhere shape=cube shield=-1"), ok);
  EXPECT_EQ(read("type=projected sigma_long=1e-5 sigma_file=nowhere shape=cube rintmi=-1 shield=0.02 "
                 "shield_max=0.5 shield_reach=bunch test=yes"),
            ok);
  EXPECT_FALSE(folder_.exists("nowhere")) << "opening it would have made it";
  EXPECT_EQ(f.force_type, ForceType::projected);
  EXPECT_EQ(f.sigma_long, 1e-5);
  EXPECT_EQ(f.shield, 0.02);
  EXPECT_EQ(f.shield_max, 0.5);
  EXPECT_EQ(f.shield_reach, ShieldReach::bunch);
  EXPECT_TRUE(f.force_test);
}

TEST_F(ForcesBlock, AnEllipsoidFillsInTheSizesThatAreMissing) {
  EXPECT_EQ(read("type=csr_p_to_p sigma_long=1 shape=ellipsoid sbox=-3 rbox=7"), ok);
  EXPECT_EQ(f.shape_code, Shape::sphere) << "without transverse sizes";
  EXPECT_EQ(f.sbox, 0.5);
  EXPECT_TRUE(log.empty());
  const std::string ellipsoid = "type=csr_g_to_m sigma_long=1 shape=ellipsoid ";
  EXPECT_EQ(read(ellipsoid + "sigma_rad=2 sbox=1 rbox=1"), ok);
  EXPECT_TRUE(log.empty());
  EXPECT_EQ(f.shape_code, Shape::ellipsoid);
  EXPECT_EQ(f.sigma_rad, 2);
  EXPECT_FALSE(f.rad_follows_long);
  EXPECT_TRUE(f.vert_relative);
  EXPECT_EQ(f.relative_vert, 1);
  EXPECT_EQ(read(ellipsoid + "sigma_vert=relative relative_vert=2"), ok);
  EXPECT_TRUE(f.rad_follows_long);
  EXPECT_EQ(f.relative_vert, 2);
  EXPECT_EQ(read(ellipsoid + "sigma_vert=3 rbox=2 sbox=1.0000001"), ok);
  EXPECT_FALSE(f.vert_relative);
  EXPECT_EQ(f.sigma_vert, 3);
  EXPECT_EQ(log, (Lines{" warning: large sbox", " warning: large rbox"}));
}

TEST_F(ForcesBlock, EachBlockStartsAnewButForFactorsAndParameters) {
  EXPECT_EQ(read("type=csr_g_to_p sigma_long=relative relative_long=2 shape=ellipsoid sigma_rad=3 sbox=0.1 "
                 "rbox=0.2 rintmi=1e-7 shield=1 shield_max=2 test=yes use_old_mesh=no par1=1 par5=-5"),
            ok);
  EXPECT_FALSE(f.use_old_mesh);
  EXPECT_EQ(f.rintmi, 1e-7);
  EXPECT_EQ(read("type=projected sigma_long=0.5 par2=2"), ok);
  const double kept[] = {f.relative_long, f.par[1], f.par[2], f.par[5]}, kept_values[] = {2, 1, 2, -5};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(kept[i], kept_values[i]) << i;
  const double anew[] = {f.sigma_long, f.sigma_rad, f.sbox, f.rbox, f.rintmi, f.shield, f.shield_max};
  const double anew_values[] = {0.5, 0, 0.5, 0.5, 1e-9, 0, 0.3};
  for (int i = 0; i < 7; ++i) EXPECT_EQ(anew[i], anew_values[i]) << i;
  EXPECT_FALSE(f.long_relative || f.force_test);
  EXPECT_TRUE(f.use_old_mesh);
}

// The length and the height come from the file; the column of the radial size may hold anything.
TEST_F(ForcesBlock, SubbunchFilesAreChecked) {
  const auto rows_of = [](int n) {
    std::string text;
    for (int i = 1; i <= n; ++i) text += std::to_string(i) + " 1 1 1\n";
    return text;
  };
  const std::string head = " read subbunch properties",
                    falling = " first column with c*time is not increasing",
                    size = " file with nonepositive subbunch length";
  const std::string keys =
      "type=csr_p_to_p sigma_long=file shape=ellipsoid sigma_vert=file sigma_rad=1 sigma_file=sizes";
  struct Good {
    std::string file;
    int rows;
  };
  for (const Good& c :
       {Good{"0 1e-5 -7 1e-4\n", 1}, Good{"0, 1d-5 0 1e-4 and more\n\n0 1 0 1\n 2\n 1\n 0\n 1", 3},
        Good{"0 1 0 1\n1 1\n2\n\n", 1},  // the last row is cut by the end of the file
        Good{rows_of(1999), 1999}}) {
    folder_.write("sizes", c.file);
    EXPECT_EQ(read(keys), ok) << c.rows;
    EXPECT_EQ(log, Lines{head});
    EXPECT_EQ(f.subbunch_rows, c.rows);
  }
  EXPECT_EQ(subbunch_table[1999].ct, 1999);
  struct Bad {
    std::string file, message;
  };
  for (const Bad& c :
       {Bad{"", ""}, Bad{"\n \n", ""}, Bad{"0 1 1\n", ""}, Bad{"0 1 1 tall\n", ""},
        Bad{"1 1 1 1\n0 0 1 1\n", falling}, Bad{"1 1 1 1\n2 0 1 1\n", size}, Bad{"1 1 1 -1\n", size},
        Bad{rows_of(2000), " too many points in file: increase matist"}}) {
    folder_.write("sizes", c.file);
    expect_refused(keys, c.message.empty() ? Lines{head} : Lines{head, c.message});
  }
  folder_.make_folder("folder");  // cannot be opened
  expect_refused("type=projected sigma_long=file sigma_file=folder", {});
  expect_refused("type=none wake_file=folder", {});
}

// sigwak 1e-5, step 1e-5: three steps on both sides are enough.
TEST_F(ForcesBlock, WakeFilesAreRead) {
  const std::string comment(80, '!');
  folder_.write("wake", "a comment ! behind it\n" + comment +
                            "\n1e-5 sigma\n 1e-5\n-3 first\n\n4\n1\n2\n3\n4 V/C\n5\n6\n7\n-8d0\n9 ignored\n");
  EXPECT_EQ(read("type=none wake_file=wake"), ok);
  EXPECT_EQ(log, (Lines{" read wakefile: wake", " a comment ! behind it", " " + comment.substr(0, 72)}));
  EXPECT_TRUE(f.wake_used);
  EXPECT_EQ(f.sigwak, 1e-5);
  EXPECT_EQ(f.stpwak, 1e-5);
  EXPECT_EQ(f.n1wak, -3);
  EXPECT_EQ(f.n2wak, 4);
  EXPECT_EQ(wake_table[1], 1);
  EXPECT_EQ(wake_table[8], -8);
  EXPECT_EQ(read("type=none"), ok);
  EXPECT_FALSE(f.wake_used);
  std::string full = "1\n1\n-25000\n24999\n";
  for (int k = 1; k <= 50000; ++k) full += std::to_string(k) + "\n";
  folder_.write("wake", full);
  EXPECT_EQ(read("type=none wake_file=wake"), ok);
  EXPECT_EQ(wake_table[50000], 50000);
}

TEST_F(ForcesBlock, WakeFilesAreChecked) {
  struct Case {
    const char* message;
    std::vector<const char*> files;
  };
  for (const Case& c :
       {Case{"sigwak.le.0", {"", "\n1\n", "0\n", "wide\n"}},
        Case{"stpwak.le.0", {"1\n", "1\n0\n", "1\n! too late\n"}},
        Case{"n1wak*stpwak > -3*sigwak", {"1\n1\n", "1\n1\n-2\n", "1\n1\n-3.5\n"}},
        Case{"n2wak*stpwak < -3*sigwak", {"1\n1\n-3\n", "1\n1\n-3\n2\n", "1\n1\n-3\n99999999999\n"}},
        Case{"n2wak-n1wak+1.>.narcsr", {"1\n1\n-3\n49997\n", "1\n1\n-2147483648\n2147483647\n"}},
        Case{"data array", {"1\n1\n-3\n3\n1\n2\n3\n4\n5\n6\n", "1\n1\n-3\n3\n1\n2\n3\nfour\n5\n6\n7\n"}}}) {
    for (const char* file : c.files) {
      folder_.write("wake", file);
      expect_refused("type=none wake_file=wake",
                     {" read wakefile: wake", std::string(" error in wake file: ??? ") + c.message});
    }
  }
}

}  // namespace
}  // namespace tessaron::test
