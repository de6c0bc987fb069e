#include "beam/monitors.hpp"

#include "beam/montab_owner.hpp"
#include "beam_fixture.hpp"

namespace tessaron::test {
namespace {

using Monitors = Beam;

TEST_F(Monitors, OutputsComeAtTheGridPointsAndSkipThoseJumpedOver) {
  struct Step {
    double t;
    bool due;
  };
  Monitor grid;
  grid.start_time = 1;
  grid.time_step = 0.25;
  // At 2 the points 1.25, 1.5, 1.75 and 2 are settled by one output.
  for (const Step& s : {Step{0.5, false},
                        {1, true},
                        {1.125, false},
                        {2, true},
                        {2.125, false},
                        {2.25, true},
                        {2.25, false},
                        {10.0625, true},
                        {10.125, false},
                        {10.25, true}}) {
    EXPECT_EQ(output_due(grid, s.t), s.due) << s.t;
  }
  EXPECT_EQ(grid.count, 5);
  Monitor every;
  every.start_time = 1;
  for (const Step& s : {Step{0.5, false}, {1, true}, {1, true}, {1.0001, true}}) {
    EXPECT_EQ(output_due(every, s.t), s.due) << s.t;
  }
}

TEST_F(Monitors, AJumpOfAnyNumberOfGridPointsIsOneOutput) {
  for (const double step : {5e-324, 1e-300, 1e-18, 1e-9}) {
    Monitor monitor;
    monitor.time_step = step;
    EXPECT_TRUE(output_due(monitor, 1e12)) << step;
    EXPECT_TRUE(output_due(monitor, 2e12)) << step;
    EXPECT_EQ(monitor.count, 2);
    EXPECT_GT(monitor.start_time, 0.999e12);
    EXPECT_LE(monitor.start_time, 2e12);
  }
}

TEST_F(Monitors, TheCountGoesAheadOfTheFirstPointOfAName) {
  const std::string a78(78, 'a'), a80(80, 'a');
  struct Case {
    std::string name;
    int count;
    std::string expected;
  };
  for (const Case& c : {Case{"run.dat", 1, "run_0001.dat"},
                        {"run", 12, "run_0012"},
                        {".dat", 3, "_0003.dat"},
                        {"a.b.c", 9999, "a_9999.b.c"},
                        {"a.", 10000, "a_0000."},
                        {"run.dat", 12345, "run_2345.dat"},
                        {"../run.dat", 1, "_0001../run.dat"},
                        {a78, 1, a78 + "_0"},
                        {a80, 1, a80},
                        {a78 + ".d", 7, a78 + "_0"}}) {
    EXPECT_EQ(numbered_name(Text<80>(c.name), c.count).view(), c.expected);
  }
}

std::string block(const std::string& keys) { return "{ name = m.dat " + keys + " }"; }
const std::string times = "start_time_c0 = 0 end_time_c0 = 10 time_step_c0 = all ";

TEST_F(Monitors, KeysOfABlockFillAnEntry) {
  ASSERT_EQ(read_online_monitor(block("type = steps format = -7 particle = 3 start_time_marker = IN "
                                      "start_time_shift_c0 = -0.5 end_time_c0 = 2 time_step_c0 = 0.1")),
            ok);
  const Monitor& m = montab.entry[1];
  EXPECT_TRUE(m.active && !m.accepted && !m.start_known && m.end_known && m.step_known);
  EXPECT_TRUE(m.type == MonitorType::steps && m.format == -7 && m.particle == 3 && m.stream == 0);
  EXPECT_TRUE(m.start_marker == "IN" && m.start_time == -0.5 && m.end_time == 2 && m.time_step == 0.1);
  ASSERT_EQ(read_online_monitor(block(times)), ok);  // the same name: the same entry, with the defaults
  EXPECT_TRUE(m.type == MonitorType::phase && m.format == 1 && m.particle == 0 && m.time_step == 0);
  EXPECT_FALSE(montab.entry[2].active);
}

TEST_F(Monitors, WrongBlocksFail) {
  for (const char* keys :
       {"type = moments", "format = fmt4", "format = 1.5", "particle = 0", "particle = none",
        "time_step_c0 = -0.1", "time_step_c0 = often", "start_time_shift_c0 = x", "key = 1"}) {
    EXPECT_NE(read_online_monitor(block(times + keys)), ok) << keys;
  }
  EXPECT_NE(read_online_monitor(block("end_time_c0 = 1")), ok);
  EXPECT_NE(read_online_monitor(block("start_time_c0 = 1")), ok);
  EXPECT_NE(read_online_monitor(block("start_time_c0 = 1 end_time_c0 = now")), ok);
  EXPECT_EQ(read_online_monitor("{ type = moments }"), ok);  // without a name nothing is looked at
  for (int i = 1; i <= maxmon; ++i) EXPECT_FALSE(montab.entry[i].active);
  one_particle();
  for (const char* monitor : {"{ format = fmt1 }", "{ name = m.dat format = 1 }", "{ name = . }"}) {
    open_deck(monitor);
    EXPECT_NE(monblk(), ok) << monitor;
  }
}

TEST_F(Monitors, TenMonitorsAreActiveAtATime) {
  for (int i = 1; i <= maxmon; ++i) {
    EXPECT_EQ(read_online_monitor("{ name = m" + std::to_string(i) + " " + times + "}"), ok);
  }
  EXPECT_EQ(read_online_monitor("{ name = m11 " + times + "}"), failed);
  EXPECT_EQ(read_online_monitor("{ name = m7 " + times + "}"), ok);
  EXPECT_EQ(monoff(4), ok);
  EXPECT_EQ(read_online_monitor("{ name = m11 " + times + "}"), ok);
  EXPECT_TRUE(montab.entry[4].name == "m11");
}

TEST_F(Monitors, MarkersAreTimesOfBoundaries) {
  one_particle();
  latcom_store.nlat = 3;
  latcom_store.marker[1] = "undefined";
  latcom_store.marker[2] = latcom_store.marker[3] = "IN";
  latcom_store.tbnd[2] = 4;
  latcom_store.tbnd[3] = 7;
  ptlcom_store.ctptcl = 1.5;
  ASSERT_EQ(
      read_online_monitor("{ name = a start_time_marker = IN start_time_shift_c0 = -0.5 end_time_marker = IN "
                          "end_time_shift_c0 = 2 time_step_c0 = 1 }"),
      ok);
  ASSERT_EQ(read_online_monitor("{ name = b start_time_c0 = now end_time_c0 = 3 time_step_c0 = 1 }"), ok);
  ASSERT_EQ(read_online_monitor("{ name = c start_time_marker = OUT end_time_c0 = 3 time_step_c0 = 1 }"), ok);
  ASSERT_EQ(read_online_monitor("{ name = d start_time_c0 = now end_time_marker = now time_step_c0 = 1 }"),
            ok);
  ASSERT_EQ(read_online_monitor("{ name = e start_time_c0 = now end_time_c0 = 3 }"), ok);
  ASSERT_EQ(read_online_monitor("{ name = f " + times + "particle = 2 }"), ok);
  ASSERT_EQ(read_online_monitor("{ name = g " + times + "particle = 2 type = steps }"), ok);
  EXPECT_EQ(monchk(), ok);
  const bool accepted[] = {true, true, false, false, false, false, true};
  for (int i = 1; i <= 7; ++i) {
    EXPECT_EQ(montab.entry[i].accepted, accepted[i - 1]) << i;
    EXPECT_EQ(montab.entry[i].active, accepted[i - 1]) << i;
  }
  EXPECT_EQ(montab.entry[1].start_time, 3.5);
  EXPECT_EQ(montab.entry[1].end_time, 6);
  EXPECT_EQ(montab.entry[2].start_time, 1.5);
  // A later run leaves an accepted monitor alone.
  ptlcom_store.ctptcl = 2;
  montab_store.entry[2].count = 5;
  EXPECT_EQ(monchk(), ok);
  EXPECT_EQ(montab.entry[2].start_time, 1.5);
  EXPECT_EQ(montab.entry[2].count, 5);
}

/// The bunch time of one pass of the step loop after the other.
Status pass(double t) {
  EXPECT_EQ(monpre(t), ok);
  ptlcom_store.ctptcl = t;
  return monstp();
}

TEST_F(Monitors, EachTypeWritesItsFilesBehindTheSteps) {
  one_particle();
  for (const char* keys :
       {"name = all.dat format = fmt0", "name = one.dat particle = 1 format = fmt0",
        "name = steps.dat type = steps", "name = sub.dat type = subbunch", "name = e.dat format = 5",
        "name = green.dat type = green", "name = past.dat end_time_c0 = -1"}) {
    ASSERT_EQ(read_online_monitor("{" + times + keys + "}"), ok);
  }
  ASSERT_EQ(monchk(), ok);
  for (const double t : {0.125, 0.5, 10.0}) EXPECT_EQ(pass(t), ok);
  EXPECT_EQ(pass(10.5), ok);  // behind the end
  for (int i = 1; i <= 7; ++i) EXPECT_EQ(montab.entry[i].active, i == 6) << i;

  EXPECT_EQ(folder.lines("all_0003.dat").size(), 1u);
  EXPECT_EQ(folder.lines("all_0001.dat")[0].size(), 6u * 23u);
  EXPECT_EQ(folder.lines("one.dat")[1].substr(0, 92),
            "   0.50000000000000E+00   0.00000000000000E+00"
            "   0.00000000000000E+00   0.00000000000000E+00");
  EXPECT_EQ(numbers(folder.lines("one.dat")[2]), (std::vector<double>{10, 0, 0, 0, 100, 0, 0}));
  EXPECT_EQ(
      folder.lines("steps.dat"),
      (std::vector<std::string>{"   0.1250000E+00   0.0000000E+00 0      0      0      0      0      0",
                                "   0.5000000E+00   0.0000000E+00 0      0      0      0      0      0",
                                "   0.1000000E+02   0.0000000E+00 0      0      0      0      0      0"}));
  EXPECT_EQ(folder.lines("sub.dat").size(), 3u);
  EXPECT_EQ(folder.lines("sub.dat")[0].size(), 64u);
  EXPECT_EQ(folder.lines("green_0002.dat"), std::vector<std::string>{" 0.5"});
  EXPECT_TRUE(folder.exists("e_0003.dat"));
  EXPECT_TRUE(folder.lines("e_0003.dat").empty());
  for (const char* name : {"all_0004.dat", "past_0001.dat", "past.dat", "green_0004.dat"}) {
    EXPECT_FALSE(folder.exists(name)) << name;
  }
}

TEST_F(Monitors, AFileThatCannotBeOpenedSwitchesItsMonitorOffAndNoOther) {
  one_particle();
  folder.make_folder("taken");
  folder.make_folder("mesh_0001.dat");
  ASSERT_EQ(read_online_monitor("{ name = taken type = steps " + times + "}"), ok);
  ASSERT_EQ(read_online_monitor("{ name = good type = steps " + times + "}"), ok);
  ASSERT_EQ(read_online_monitor("{ name = mesh.dat type = green " + times + "}"), ok);
  ASSERT_EQ(monchk(), ok);
  EXPECT_GT(monpre(1), 0);
  EXPECT_FALSE(montab.entry[3].active);
  ptlcom_store.ctptcl = 1;
  EXPECT_GT(monstp(), 0);
  EXPECT_FALSE(montab.entry[1].active);
  EXPECT_EQ(pass(2), ok);
  EXPECT_EQ(monoff(0), ok);
  EXPECT_EQ(folder.lines("good").size(), 2u);
}

TEST_F(Monitors, AFullDiskShowsInTheStatusAndSizesOfCodesNeverCancel) {
  one_particle();
  EXPECT_GT(monwrt("/dev/full", 1), 0);
  ASSERT_EQ(read_online_monitor("{ name = /dev/full type = steps " + times + "}"), ok);
  ASSERT_EQ(monchk(), ok);
  EXPECT_EQ(pass(1), ok);  // the line waits in its buffer
  EXPECT_GT(monoff(0), 0);
  Status sum = ok;
  for (const Status code : {5, -7, std::numeric_limits<Status>::min(), std::numeric_limits<Status>::max()}) {
    add_size(sum, code);
    EXPECT_GE(sum, 5);
  }
  EXPECT_EQ(sum, std::numeric_limits<Status>::max());
}

}  // namespace
}  // namespace tessaron::test
