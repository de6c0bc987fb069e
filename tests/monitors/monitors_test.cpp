#include "monitors/monitors.hpp"

#include <array>

#include "monitors/monitor_outputs.hpp"
#include "support/beam_fixture.hpp"

namespace tessaron::test {
namespace {

using Monitors = Beam;

// At 2 the points 1.25, 1.5, 1.75 and 2 are settled by one output.
TEST_F(Monitors, OutputsComeAtTheGridPointsAndSkipThoseJumpedOver) {
  const auto due = [](double step, std::initializer_list<double> times) {
    Monitor monitor;
    monitor.start_time = 1;
    monitor.time_step = step;
    std::vector<double> outputs;
    for (const double t : times) {
      if (output_due(monitor, t)) outputs.push_back(t);
    }
    EXPECT_EQ(monitor.count, static_cast<int>(outputs.size()));
    return outputs;
  };
  using Times = std::vector<double>;
  EXPECT_EQ(due(0.25, {0.5, 1, 1.125, 2, 2.125, 2.25, 2.25, 10.0625, 10.125, 10.25}),
            (Times{1, 2, 2.25, 10.0625, 10.25}));
  EXPECT_EQ(due(0, {0.5, 1, 1, 1.0001}), (Times{1, 1, 1.0001}));
  for (const double step : {5e-324, 1e-300, 1e-18, 1e-9}) {
    EXPECT_EQ(due(step, {1e12, 2e12}), (Times{1e12, 2e12})) << step;
  }
}

TEST_F(Monitors, TheCountGoesAheadOfTheFirstPointOfAName) {
  const std::string a78(78, 'a'), a80(80, 'a');
  using Names = std::vector<std::array<std::string, 2>>;
  for (const auto& [name, seventh] : Names{{"run.dat", "run_0007.dat"},
                                           {"run", "run_0007"},
                                           {"a.b.c", "a_0007.b.c"},
                                           {"../run.dat", "_0007../run.dat"},
                                           {a78 + ".d", a78 + "_0"},
                                           {a80, a80}}) {
    EXPECT_EQ(numbered_name(Text<80>(name), 7).view(), seventh);
  }
  EXPECT_EQ(numbered_name(Text<80>("run.dat"), 9999).view(), "run_9999.dat");
  EXPECT_EQ(numbered_name(Text<80>("run.dat"), 12345).view(), "run_2345.dat");
}

const std::string times = "start_time_c0 = 0 end_time_c0 = 10 time_step_c0 = all ";

// A later run leaves an accepted monitor alone.
TEST_F(Monitors, MarkersAreTimesOfBoundaries) {
  one_particle();
  latcom_store.nlat = 3;
  latcom_store.marker[1] = "undefined";
  latcom_store.marker[2] = latcom_store.marker[3] = "IN";
  latcom_store.tbnd[2] = 4;
  latcom_store.tbnd[3] = 7;
  struct Case {
    const char* keys;
    bool accepted;
    double start, end;
  };
  for (const Case& c :
       {Case{"start_time_marker = IN start_time_shift_c0 = -0.5 end_time_marker = IN end_time_shift_c0 = 2",
             true, 3.5, 6},
        {"start_time_c0 = now end_time_c0 = 3", true, 1.5, 3},
        {"start_time_marker = OUT end_time_c0 = 3", false, 0, 0},
        {"start_time_c0 = now end_time_marker = now", false, 0, 0},
        {"start_time_c0 = 0 end_time_c0 = 1 particle = 2", false, 0, 0},
        {"start_time_c0 = 0 end_time_c0 = 1 particle = 2 type = steps", true, 0, 1}}) {
    ASSERT_EQ(read_online_monitor(std::string("{ name = a time_step_c0 = 1 ") + c.keys + "}"), ok);
    const Monitor& m = montab.entry[1];
    for (const double now : {1.5, 2.0}) {
      ptlcom_store.ctptcl = now;
      EXPECT_EQ(monchk(), ok);
      EXPECT_TRUE(m.accepted == c.accepted && m.active == c.accepted) << c.keys;
      EXPECT_TRUE(!c.accepted || (m.start_time == c.start && m.end_time == c.end)) << c.keys;
    }
  }
}

/// The bunch time of one pass of the step loop after the other.
Status pass(double t) {
  EXPECT_EQ(monpre(t), ok);
  ptlcom_store.ctptcl = t;
  return monstp();
}

TEST_F(Monitors, EachTypeWritesItsFilesBehindTheSteps) {
  one_particle();
  ptlcom_store.npart = 2;
  ptlcom_store.particle[2] = {1, 2, 3, 100, 0, 0, 0};
  for (const char* keys :
       {"name = all.dat format = fmt0", "name = two.dat particle = 2 format = fmt2",
        "name = steps.dat type = steps", "name = sub.dat type = subbunch", "name = e.dat format = 5",
        "name = green.dat type = green", "name = past.dat end_time_c0 = -1"}) {
    ASSERT_EQ(read_online_monitor("{" + times + keys + "}"), ok);
  }
  ASSERT_EQ(monchk(), ok);
  for (const double t : {0.125, 0.5, 10.0}) EXPECT_EQ(pass(t), ok);
  EXPECT_EQ(pass(10.5), ok);  // behind the end
  for (int i = 1; i <= 7; ++i) EXPECT_EQ(montab.entry[i].active, i == 6) << i;

  EXPECT_EQ(folder.lines("all_0003.dat").size(), 2u);
  EXPECT_EQ(folder.lines("all_0001.dat")[0].size(), 6u * 23u);
  for (const char* name : {"two.dat", "steps.dat", "sub.dat"}) ASSERT_EQ(folder.lines(name).size(), 3u);
  EXPECT_EQ(folder.lines("two.dat")[1].substr(0, 92),
            "   0.50000000000000E+00   0.10000000000000E+01"
            "   0.20000000000000E+01   0.30000000000000E+01");
  EXPECT_EQ(numbers(folder.lines("two.dat")[2]), (std::vector<double>{10, 1, 2, 3, 0, 0, 0, 0}));
  EXPECT_EQ(folder.lines("steps.dat")[2],
            "   0.1000000E+02   0.0000000E+00 0      0      0      0      0      0");
  EXPECT_EQ(folder.lines("sub.dat")[0].size(), 64u);
  EXPECT_EQ(folder.lines("green_0002.dat"), std::vector<std::string>{" 0.5"});
  EXPECT_TRUE(folder.exists("e_0003.dat") && folder.lines("e_0003.dat").empty());
  for (const char* name : {"all_0004.dat", "past_0001.dat", "past.dat", "green_0004.dat"}) {
    EXPECT_FALSE(folder.exists(name)) << name;
  }
}

}  // namespace
}  // namespace tessaron::test
