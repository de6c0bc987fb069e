#include "forces/block_fixture.hpp"

namespace tessaron::test {
namespace {

TEST_F(ForcesBlock, BadSettingsFail) {
  struct Case {
    const char* block;
    Lines lines;  ///< ahead of "error in force"
  };
  const std::string missing = " file with subbunch properties is not specified";
  for (const Case& c : {Case{"{ }", {}},
                        Case{"{ type=Projected sigma_long=1 }", {}},
                        Case{"{ type=projected }", {}},
                        Case{"{ type=projected sigma_long=0 }", {}},
                        Case{"{ type=projected sigma_long=short }", {}},
                        Case{"{ type=projected sigma_long=relative }", {}},
                        Case{"{ type=projected sigma_long=relative relative_long=2.5 }", {}},
                        Case{"{ type=projected sigma_long=relative relative_long=0 }", {}},
                        Case{"{ type=projected sigma_long=1 shield=-1 }", {}},
                        Case{"{ type=projected sigma_long=1 shield_max=0 }", {}},
                        Case{"{ type=projected sigma_long=file }", {missing}},
                        Case{"{ type=none par3=x }", {}},
                        Case{"{ type=csr_p_to_p sigma_long=1 shape=cube }", {}},
                        Case{"{ type=csr_p_to_p sigma_long=1 rintmi=0 }", {}},
                        Case{"{ type=csr_p_to_p sigma_long=1 shape=ellipsoid sigma_rad=relative }", {}},
                        Case{"{ type=csr_p_to_p sigma_long=1 shape=ellipsoid sigma_rad=-1 }", {}},
                        Case{"{ type=csr_p_to_p sigma_long=1 shape=ellipsoid sigma_vert=0 }", {}},
                        Case{"{ type=csr_p_to_p sigma_long=1 shape=ellipsoid sigma_vert=relative }", {}},
                        Case{"{ type=csr_p_to_p sigma_long=1 shape=ellipsoid sigma_rad=1 rbox=0 }", {}},
                        Case{"{ type=csr_p_to_p sigma_long=1 shape=ellipsoid sigma_rad=file }", {missing}},
                        Case{"{ type=none tipe=1 }", {" error in assign: unknown identifyer"}}}) {
    Lines lines = c.lines;
    lines.push_back(" error in force");
    EXPECT_NE(read(c.block), ok) << c.block;
    EXPECT_EQ(log, lines) << c.block;
  }
}

TEST_F(ForcesBlock, TypeNoneNeedsNothingElse) {
  EXPECT_EQ(read("{ type=none sigma_long=file sigma_file=nowhere shape=cube shield=-1 }"), ok);
  EXPECT_EQ(f.force_type, ForceType::none);
  EXPECT_FALSE(folder_.exists("nowhere"));
}

TEST_F(ForcesBlock, TheProjectedModelLooksAtNoShape) {
  EXPECT_EQ(
      read("{ type=projected sigma_long=1e-5 shape=cube rintmi=-1 shield=0.02 shield_max=0.5 test=yes }"),
      ok);
  EXPECT_EQ(f.force_type, ForceType::projected);
  EXPECT_EQ(f.sigma_long, 1e-5);
  EXPECT_EQ(f.shield, 0.02);
  EXPECT_EQ(f.shield_max, 0.5);
  EXPECT_TRUE(f.force_test);
}

TEST_F(ForcesBlock, AnEllipsoidWithoutTransverseSizesIsASphere) {
  EXPECT_EQ(read("{ type=csr_p_to_p sigma_long=1 shape=ellipsoid sbox=-3 rbox=7 }"), ok);
  EXPECT_EQ(f.shape_code, Shape::sphere);
  EXPECT_EQ(f.sbox, 0.5);
  EXPECT_TRUE(log.empty());
}

TEST_F(ForcesBlock, AnEllipsoidFillsInTheSizeThatIsMissing) {
  EXPECT_EQ(read("{ type=csr_g_to_m sigma_long=1 shape=ellipsoid sigma_rad=2 }"), ok);
  EXPECT_EQ(f.shape_code, Shape::ellipsoid);
  EXPECT_EQ(f.sigma_rad, 2);
  EXPECT_FALSE(f.rad_follows_long);
  EXPECT_TRUE(f.vert_relative);
  EXPECT_EQ(f.relative_vert, 1);
  EXPECT_EQ(read("{ type=csr_g_to_m sigma_long=1 shape=ellipsoid sigma_vert=relative relative_vert=2 }"), ok);
  EXPECT_TRUE(f.rad_follows_long);
  EXPECT_EQ(f.relative_vert, 2);
  EXPECT_EQ(read("{ type=csr_g_to_m sigma_long=1 shape=ellipsoid sigma_vert=3 }"), ok);
  EXPECT_FALSE(f.vert_relative);
  EXPECT_EQ(f.sigma_vert, 3);
}

TEST_F(ForcesBlock, LargeBoxesWarn) {
  const std::string head = "{ type=csr_g_to_p sigma_long=1 shape=ellipsoid sigma_rad=2 ";
  EXPECT_EQ(read(head + "sbox=1 rbox=1 }"), ok);
  EXPECT_TRUE(log.empty());
  EXPECT_EQ(read(head + "rbox=2 sbox=1.0000001 }"), ok);
  EXPECT_EQ(log, (Lines{" warning: large sbox", " warning: large rbox"}));
}

TEST_F(ForcesBlock, EachBlockStartsAnewButForFactorsAndParameters) {
  EXPECT_EQ(read("{ type=csr_g_to_p sigma_long=relative relative_long=2 shape=ellipsoid sigma_rad=3 sbox=0.1 "
                 "rbox=0.2 rintmi=1e-7 shield=1 shield_max=2 test=yes use_old_mesh=no par1=1 par5=-5 }"),
            ok);
  EXPECT_EQ(f.relative_long, 2);
  EXPECT_FALSE(f.use_old_mesh);
  EXPECT_EQ(f.rintmi, 1e-7);
  EXPECT_EQ(read("{ type=projected sigma_long=0.5 par2=2 }"), ok);
  EXPECT_EQ(f.sigma_long, 0.5);
  EXPECT_EQ(f.sigma_rad, 0);
  EXPECT_FALSE(f.long_relative);
  EXPECT_EQ(f.relative_long, 2) << "kept";
  EXPECT_EQ(f.sbox, 0.5);
  EXPECT_EQ(f.rbox, 0.5);
  EXPECT_EQ(f.rintmi, 1e-9);
  EXPECT_EQ(f.shield, 0);
  EXPECT_EQ(f.shield_max, 0.3);
  EXPECT_FALSE(f.force_test);
  EXPECT_TRUE(f.use_old_mesh);
  EXPECT_EQ(f.par[1], 1) << "kept";
  EXPECT_EQ(f.par[2], 2);
  EXPECT_EQ(f.par[5], -5);
}

}  // namespace
}  // namespace tessaron::test
