#include "run/deck.hpp"
#include "run/file_table.hpp"
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

TEST_F(Commands, TrackStepTakesAllKeys) {
  EXPECT_EQ(read(track_step,
                 "{ steps_tolerance=1d-3 arc_factor=1 increase_factor=1 duty_steps=no ct_step_first=0.3 "
                 "ct_step_min=0.2 ct_step_max=0.4 error_weight_momentum=0 error_per_ct=0.5 iterative=7 "
                 "precondition=on }"),
            ok);
  const TrackingRecord& t = trkcom;
  EXPECT_FALSE(t.precondition || t.duty_steps) << "anything but yes is no";
  EXPECT_EQ(t.maxit, 7);
  EXPECT_EQ((std::vector{t.error_per_ct, t.error_weight_momentum, t.ct_step_max, t.ct_step_min,
                         t.ct_step_first, t.increase_factor, t.arc_factor, t.steps_tolerance}),
            (std::vector{0.5, 0.0, 0.4, 0.2, 0.3, 1.0, 1.0, 1e-3}));
}

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

TEST_F(Commands, TrackStepStopsAtTheFirstBadValue) {
  for (const char* key : {"iterative=0", "iterative=2.0", "error_per_ct=0", "error_weight_momentum=-1",
                          "ct_step_max=0", "increase_factor=0.99", "arc_factor=0", "arc_factor=1.01"}) {
    SetUp();
    EXPECT_NE(read(track_step, std::string("{ precondition=no steps_tolerance=1 ") + key + " }"), ok) << key;
    EXPECT_EQ(log, Lines{" error in track_step"}) << key;
    EXPECT_FALSE(trkcom.precondition) << "keys before it have their new values";
    EXPECT_EQ(trkcom.steps_tolerance, 1e-5) << "keys behind it keep their old ones";
  }
}

TEST_F(Commands, TimeGridFilesAreRead) {
  std::string longest;
  for (int i = 1; i <= 1999; ++i) longest += std::to_string(i) + "\n";
  struct Case {
    std::string file;
    int ngrid;
  };
  for (const Case& c : {Case{"0.5 first\n\n 0.5\n1d0", 3},
                        {longest, 1999},
                        {longest + "2000\n", 0},
                        {"", 0},
                        {"1\n0.9\n", 0}}) {
    folder_.write("grid", c.file);
    EXPECT_EQ(read(track_step, "{ time_grid_file=grid }") == ok, c.ngrid > 0);
    EXPECT_TRUE(c.ngrid == 0 || c.ngrid == trkcom.ngrid);
    for (int stream = 20; stream <= 30; ++stream) EXPECT_FALSE(filetab.in_use[stream]);
  }
  EXPECT_TRUE(trkcom.use_time_grid);
  EXPECT_EQ(read(track_step, "{ }"), ok);
  EXPECT_FALSE(trkcom.use_time_grid) << "each block starts without a grid";
}

TEST_F(Commands, TrackAccuracyPassesOverWhatItHolds) {
  EXPECT_EQ(read(track_accuracy, "{ a = { b } ( ] 7 { { } } } next"), ok);
  Text<80> token;
  EXPECT_EQ(getcmd(token), ok);
  EXPECT_TRUE(token == "next");
  EXPECT_NE(read(track_accuracy, "{ {"), ok);
  EXPECT_EQ(log.back(), " error in lyrass");
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

TEST_F(Commands, ReportShowsTheForceAndTheStepSettings) {
  ForceSettings none, projected, direct, mesh;
  projected.force_type = ForceType::projected;
  projected.shield = direct.shield = 0.02;
  projected.shield_reach = ShieldReach::bunch;
  projected.wake_used = true;
  projected.sigwak = 1e-5;
  projected.stpwak = 2e-6;
  projected.n1wak = -50;
  projected.n2wak = 60;
  for (int k = 1; k <= 5; ++k) projected.par[k] = k;
  direct.force_type = ForceType::csr_p_to_p;
  mesh.force_type = ForceType::csr_g_to_m;
  mesh.sbox = 0.25;
  struct Case {
    ForceSettings settings;
    Lines lines;
  };
  for (const Case& c :
       {Case{none, {"  without self force"}},
        Case{projected,
             {"  with 'projected' force + wake", "    shield             = 0.02",
              "    shield_max         = 0.3", "    shield_reach       = bunch",
              "    wake_sigma         = 1e-05", "    wake_step          = 2e-06",
              "    wake_index_low     = -50", "    wake_index_high    = 60", "    par1               = 1",
              "    par2               = 2", "    par3               = 3", "    par4               = 4",
              "      csr_field :=csr_field *(1-par4)", "    par5               = 5",
              "      wake_field:=wake_field*(1-par5)"}},
        Case{direct,
             {"  with 'csr_p_to_p' force", "  shield               = 0.02", "  shield_max           = 0.3"}},
        Case{mesh,
             {"  with 'csr_g_to_m' force", "  sbox                 = 0.25",
              "  rbox                 = 0.5"}}}) {
    force_settings_store = c.settings;
    Lines lines = {"  ct_step_min                   = 0.01", "  ct_step_max                   = 0.1",
                   "  ct_step_first                 = 0.1",  "  increase_factor               = 2",
                   "  arc_factor                    = 0.5",  ""};
    lines.insert(lines.begin(), c.lines.begin(), c.lines.end());
    ASSERT_EQ(read(track_step, "{ precondition=no iterative=1 duty_steps=no }"), ok);
    ASSERT_EQ(read(tracker, "{ end_time_c0=5 }"), ok);
    ASSERT_EQ(logged(trkrep), ok);
    log.erase(log.begin(), log.begin() + 3);  // the times
    EXPECT_EQ(log, lines);
  }
}

}  // namespace
}  // namespace tessaron::test
