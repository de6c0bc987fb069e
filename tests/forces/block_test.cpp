#include "forces/force_settings_owner.hpp"
#include "run/deck.hpp"
#include "run/files/file_table.hpp"
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
  WorkingFolder folder_;
  const ForceSettings& f = force_settings;
  Lines log;
};

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

// sigwak 1e-5, step 1e-5: three steps on both sides are enough.
TEST_F(ForcesBlock, WakeFilesAreRead) {
  const std::string comment(80, '!');
  folder_.write("wake", "a comment ! behind it\n" + comment +
                            "\n1e-5 sigma\n 1e-5\n-3 first\n\n4\n1\n2\n3\n4 V/C\n5\n6\n7\n-8d0\n9 ignored\n");
  EXPECT_EQ(read("type=none wake_file=wake"), ok);
  EXPECT_EQ(log,
            (Lines{" read wakefile: wake", " a comment ! behind it", std::string(1, ' ').append(72, '!')}));
  EXPECT_TRUE(f.wake_used);
  EXPECT_EQ(f.sigwak, 1e-5);
  EXPECT_EQ(f.stpwak, 1e-5);
  EXPECT_EQ(f.n1wak, -3);
  EXPECT_EQ(f.n2wak, 4);
  EXPECT_EQ(wake_table[1], 1);
  EXPECT_EQ(wake_table[8], -8);
  EXPECT_EQ(read("type=none"), ok);
  EXPECT_FALSE(f.wake_used);
}

}  // namespace
}  // namespace tessaron::test
