#include "monitors/monitors.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>

#include "monitors/monitor_records.hpp"
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
  ASSERT_EQ(read_online_monitor(block(times + "particle = all")),
            ok);  // the same name: the same entry, with the defaults
  EXPECT_TRUE(m.type == MonitorType::phase && m.format == 1 && m.particle == 0 && m.time_step == 0);
  EXPECT_FALSE(montab.entry[2].active);
}

TEST_F(Monitors, WrongBlocksFail) {
  for (const char* keys :
       {"type = moments", "format = fmt4", "format = 1.5", "particle = 0", "particle = none",
        "time_step_c0 = -0.1", "time_step_c0 = often", "start_time_shift_c0 = x", "key = 1"}) {
    EXPECT_NE(read_online_monitor(block(times + keys)), ok) << keys;
  }
  for (const char* keys : {"end_time_c0 = 1", "start_time_c0 = 1", "start_time_c0 = 1 end_time_c0 = now"}) {
    EXPECT_NE(read_online_monitor(block(keys)), ok) << keys;
  }
  EXPECT_EQ(read_online_monitor("{ type = moments }"), ok);  // without a name nothing is looked at
  for (int i = 1; i <= maxmon; ++i) EXPECT_FALSE(montab.entry[i].active);
}

TEST_F(Monitors, TenAreActiveAtATime) {
  const auto define = [this](int i) {
    return read_online_monitor("{ name = m" + std::to_string(i) + " " + times + "}");
  };
  for (int i = 1; i <= maxmon; ++i) EXPECT_EQ(define(i), ok);
  EXPECT_EQ(define(11), failed);
  EXPECT_EQ(define(7), ok);
  EXPECT_EQ(monoff(4), ok);
  EXPECT_EQ(define(11), ok);
  EXPECT_TRUE(montab.entry[4].name == "m11");
}

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

// The file numbered 0001 holds the first of the outputs until the numbers come to it again.
TEST_F(Monitors, NumbersThatGoRoundAreToldOnce) {
  one_particle();
  ASSERT_EQ(read_online_monitor(
                "{ name = m.dat format = fmt0 start_time_c0 = 0 end_time_c0 = 20000 time_step_c0 = 1 }"),
            ok);
  ASSERT_EQ(monchk(), ok);
  montab_store.entry[1].count = 9998;
  testing::internal::CaptureStderr();
  for (const double t : {9998.0, 9999.0, 10000.0, 10001.0}) {
    EXPECT_EQ(pass(t), ok);
    EXPECT_EQ(folder.exists("m_0000.dat"), t >= 9999);
  }
  const auto told = split_lines(testing::internal::GetCapturedStderr());
  ASSERT_EQ(told.size(), 1u);
  EXPECT_NE(told[0].find("monitor m.dat: the numbers of its files go round after 9999"), std::string::npos);
  EXPECT_TRUE(folder.exists("m_9999.dat") && folder.exists("m_0002.dat"));
}

TEST_F(Monitors, AFailureSwitchesItsMonitorOffAndNoOtherAndSizesOfCodesNeverCancel) {
  one_particle();
  folder.make_folder("mesh_0001.dat");
  ASSERT_EQ(read_online_monitor("{ name = mesh.dat type = green " + times + "}"), ok);
  ASSERT_EQ(read_online_monitor("{ name = good type = steps " + times + "}"), ok);
  ASSERT_EQ(read_online_monitor("{ name = /dev/full type = steps " + times + "}"), ok);
  ASSERT_EQ(monchk(), ok);
  EXPECT_GT(monpre(1), 0);
  EXPECT_FALSE(montab.entry[1].active);
  EXPECT_EQ(pass(2), ENOSPC);
  EXPECT_EQ(monoff(0), ENOSPC);
  EXPECT_EQ(folder.lines("good").size(), 1u);
  Status sum = ok;
  for (const Status code : {5, -7, std::numeric_limits<Status>::min(), std::numeric_limits<Status>::max()}) {
    add_size(sum, code);
    EXPECT_GE(sum, 5);
  }
  EXPECT_EQ(sum, std::numeric_limits<Status>::max());
}

// Names of mesh files that lead to devices: one takes nothing, one is a file in memory that a seal keeps from
// being emptied, as a rewind has to. The second of two starts of a step finds its file open.
TEST_F(Monitors, AMeshFileThatFailsSwitchesItsMonitorOff) {
  one_particle();
  const int memory = ::memfd_create("mesh", MFD_ALLOW_SEALING);
  ASSERT_GE(memory, 0);
  std::filesystem::create_symlink("/dev/full", folder.path("full_0001"));
  std::filesystem::create_symlink("/proc/self/fd/" + std::to_string(memory), folder.path("sealed_0001"));
  for (const char* name : {"full", "sealed", "good"}) {
    ASSERT_EQ(read_online_monitor("{ name = " + std::string(name) + " type = green " + times + "}"), ok);
  }
  ASSERT_EQ(monchk(), ok);
  ASSERT_EQ(monpre(1), ok);
  ASSERT_EQ(::write(memory, "old", 3), 3);
  ASSERT_EQ(::fcntl(memory, F_ADD_SEALS, F_SEAL_SHRINK), 0);
  Polygon corners;
  PathArcs arcs;
  write_mesh_files(corners, arcs, 0);
  ptlcom_store.ctptcl = 1;
  EXPECT_EQ(monstp(), ENOSPC);
  for (const int i : {1, 2, 3}) {
    EXPECT_EQ(montab.entry[i].active, i == 3) << i;
    EXPECT_EQ(montab.entry[i].stream, 0) << i;
  }
  EXPECT_EQ(folder.lines("good_0001").size(), 2u * 21 + 4 + 1);
  ASSERT_EQ(monpre(2), ok);
  EXPECT_EQ(monpre(3), failed);
  EXPECT_FALSE(montab.entry[3].active);
  ::close(memory);
}

}  // namespace
}  // namespace tessaron::test
