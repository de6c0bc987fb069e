#include "run/deck.hpp"
#include "run/files/file_table.hpp"
#include "tracking/steps_fixture.hpp"

namespace tessaron::test {
namespace {

using Lines = std::vector<std::string>;

struct Commands : Steps {
  void TearDown() override { (void)close_all_files(); }

  /// Lets a command read its block; its console lines go to `log`.
  Status read(Status (*command)(), const std::string& block) {
    (void)close_all_files();
    folder_.write("tessar.in", block);
    EXPECT_TRUE(fiinit("tessar.in") == ok && rdinit() == ok);
    return logged(command);
  }
  Status logged(Status (*command)()) {
    Status status = failed;
    log = console_of([&] { status = command(); });
    return status;
  }
  WorkingFolder folder_;
};

// From the defaults max 0.1, min 0.01, first 0.1.
TEST_F(Commands, TrackStepKeepsTheBoundsOfTheStepInOrder) {
  struct Case {
    const char* block;
    bool good;
    double max, min, first;
  };
  for (const Case& c : {Case{"{ ct_step_max=0.001 }", true, 0.001, 0.0005, 0.001},
                        Case{"{ ct_step_max=0.01 }", true, 0.01, 0.01, 0.01},
                        Case{"{ ct_step_max=0.001 ct_step_min=0.0002 }", true, 0.001, 0.0002, 0.001},
                        Case{"{ ct_step_max=0.001 ct_step_first=0.0007 }", true, 0.001, 0.0005, 0.0007},
                        Case{"{ ct_step_max=1 ct_step_min=0.5 }", true, 1, 0.5, 0.5},
                        Case{"{ ct_step_min=0.1 }", false, 0.1, 0.01, 0.1},
                        Case{"{ ct_step_min=0.05 ct_step_first=0.05 }", true, 0.1, 0.05, 0.05},
                        Case{"{ ct_step_first=0.11 }", false, 0.1, 0.01, 0.1},
                        Case{"{ ct_step_min=0.05 ct_step_first=0.04 }", false, 0.1, 0.05, 0.1}}) {
    SetUp();
    EXPECT_EQ(read(track_step, c.block) == ok, c.good) << c.block;
    EXPECT_EQ((std::vector{trkcom.ct_step_max, trkcom.ct_step_min, trkcom.ct_step_first}),
              (std::vector{c.max, c.min, c.first}))
        << c.block;
  }
}

// Markers m at 10 (the first one) and 20; the bunch stands at 3. Nothing is left of the tracker before.
TEST_F(Commands, EndTimeOfAMarkerGoesBeforeASpanAndASpanBeforeATime) {
  const std::string undefined = " error: end time is undefined", early = " error: end time < particle time",
                    unknown = " error: unknown marker for track time";
  boundaries({1, 2, 3});
  for (const int i : {2, 3}) {
    latcom_store.marker[i] = "m";
    latcom_store.tbnd[i] = 10 * (i - 1);
  }
  ptlcom_store.ctptcl = 3;
  struct Case {
    const char* block;
    double end;
    Lines lines;
  };
  for (const Case& c :
       {Case{"{ delta_time_c0=1 end_time_marker=m }", 10, {}}, Case{"{ end_time_c0=5 }", 5, {}},
        Case{"{ end_time_c0=5 delta_time_c0=1 }", 4, {}}, Case{"{ end_time_shift_c0=1 }", 0, {undefined}},
        Case{"{ end_time_marker=m end_time_shift_c0=-2 }", 8, {}},
        Case{"{ end_time_c0=5 end_time_shift_c0=9 }", 5, {}}, Case{"{ }", 0, {undefined}},
        Case{"{ end_time_c0=3 }", 0, {early}}, Case{"{ delta_time_c0=-1 }", 0, {early}},
        Case{"{ end_time_marker=m end_time_shift_c0=-7 }", 0, {early}},
        Case{"{ end_time_marker=x }", 0, {unknown, undefined}},
        Case{"{ end_time_marker=x end_time_c0=5 }", 0, {unknown}}}) {
    ASSERT_EQ(read(tracker, c.block), ok);
    EXPECT_EQ((logged(trkrep) == ok), c.lines.empty()) << c.block;
    EXPECT_TRUE(c.lines.empty() ? trkcom.end_time_c0 == c.end : log == c.lines) << c.block;
  }
  EXPECT_NE(read(tracker, "{ end_time_c0=soon }"), ok);
  EXPECT_EQ(log, Lines{" error in tracker"});
}

// Blocks with every key of the step and many of the forces, and what the report of a run says of them.
TEST_F(Commands, TheReportShowsWhatTheBlocksOfForceAndStepSaid) {
  std::string wake = "1e-5\n2e-6\n-50\n60\n";
  for (int k = -50; k <= 60; ++k) wake += "1\n";
  folder_.write("wake", wake);
  struct Case {
    const char* forces;
    Lines lines;
  };
  for (const Case& c :
       {Case{"{ type=none sigma_long=file sigma_file=nowhere shape=cube shield=-1 }",
             {"  without self force"}},
        Case{"{ type=projected sigma_long=1 shield=0.02 shield_reach=bunch wake_file=wake par1=1 par2=2 "
             "par3=3 "
             "par4=4 par5=5 shape=cube rintmi=-1 }",
             {"  with 'projected' force + wake", "    shield             = 0.02",
              "    shield_max         = 0.3", "    shield_reach       = bunch",
              "    wake_sigma         = 1e-05", "    wake_step          = 2e-06",
              "    wake_index_low     = -50", "    wake_index_high    = 60", "    par1               = 1",
              "    par2               = 2", "    par3               = 3", "    par4               = 4",
              "      csr_field :=csr_field *(1-par4)", "    par5               = 5",
              "      wake_field:=wake_field*(1-par5)"}},
        Case{"{ type=csr_p_to_p sigma_long=1 shield=0.02 shield_max=0.5 }",
             {"  with 'csr_p_to_p' force", "  shield               = 0.02", "  shield_max           = 0.5"}},
        Case{"{ type=csr_g_to_m sigma_long=1 shape=ellipsoid sigma_rad=2 sbox=0.25 }",
             {"  with 'csr_g_to_m' force", "  sbox                 = 0.25",
              "  rbox                 = 0.5"}}}) {
    Lines lines = {"  with iterative tracking, maxit= 7",
                   "  relative step_error/step_time = 0.5",
                   "  weight of momentum error      = 0",
                   "  ct_step_min                   = 0.2",
                   "  ct_step_max                   = 0.4",
                   "  ct_step_first                 = 0.3",
                   "  increase_factor               = 3",
                   "  arc_factor                    = 1",
                   ""};
    lines.insert(lines.begin(), c.lines.begin(), c.lines.end());
    SetUp();
    ASSERT_EQ(read(force, c.forces), ok);
    ASSERT_EQ(read(track_step,
                   "{ steps_tolerance=1d-3 arc_factor=1 increase_factor=3 duty_steps=no ct_step_first=0.3 "
                   "ct_step_min=0.2 ct_step_max=0.4 error_weight_momentum=0 error_per_ct=0.5 iterative=7 "
                   "precondition=on }"),
              ok);
    EXPECT_EQ(trkcom.steps_tolerance, 1e-3);
    ASSERT_EQ(read(tracker, "{ end_time_c0=5 }"), ok);
    ASSERT_EQ(logged(trkrep), ok);
    log.erase(log.begin(), log.begin() + 3);  // the times
    EXPECT_EQ(log, lines);
  }
  EXPECT_FALSE(folder_.exists("nowhere")) << "opening it would have made it";
}

}  // namespace
}  // namespace tessaron::test
