#include <algorithm>
#include <cmath>

#include "tracking/steps_fixture.hpp"

namespace tessaron::test {
namespace {

void expect_near(const std::vector<double>& got, const std::vector<double>& want, double tolerance) {
  ASSERT_EQ(got.size(), want.size());
  for (std::size_t i = 0; i < want.size(); ++i) EXPECT_NEAR(got[i], want[i], tolerance) << "time " << i;
}

struct StepRule : Steps {
  /// As for a start of the run.
  void begin(double first, double longest, double factor, double start = 0) {
    SetUp();
    trkcom_store.ct_step_first = first;
    trkcom_store.ct_step_max = longest;
    trkcom_store.increase_factor = factor;
    ptlcom_store.ctptcl = start;
  }
};

// The plan 0.25, 0.5 has the sum 0.75, and 0.5 + 0.5/4 = 0.625 lies below it: 0.25 * 0.625/0.75. Equal steps
// of 0.3 to 1: four of them have the sum 1.2, reach 1.075, so 0.26875; three of those to the rest 0.73125
// have the sum 0.80625, reach 0.7984375; and so on.
TEST_F(StepRule, GrowsToATargetThatThePlanMeetsAndShrinksThePlanThatOvershoots) {
  begin(0.25, 1, 2);
  expect_near(times_to(0.75), {0.25, 0.75}, 0);
  begin(0.25, 1, 2);
  expect_near(times_to(0.5), {0.25 * 0.625 / 0.75, 0.5}, 1e-15);
  begin(0.3, 1, 1);
  const std::vector<double> times = times_to(1);
  ASSERT_EQ(times.size(), 4u);
  EXPECT_NEAR(times[0], 0.26875, 1e-15);
  EXPECT_NEAR(times[1] - times[0], 0.26875 * 0.7984375 / 0.80625, 1e-15);
  EXPECT_EQ(times[3], 1);
}

// Two particles 2e-6 m apart have the rms length 1e-6 m; radius 2 m. The arc limit wins over ct_step_min.
TEST_F(StepRule, KeepsToTheOvertakingLengthInAnArc) {
  boundaries({100});
  latcom_store.duty[1] = false;
  latcom_store.bnd[1].r = -2;
  bunch({0, 2e-6});
  trkcom_store.ct_step_min = 0.05;
  trkcom_store.end_time_c0 = 50;
  double next = 0;
  bool first = true, more = false;
  log = console_of([&] { trkstp(next, first, more); });
  EXPECT_NEAR(next, 0.5 * std::exp(0.3333333 * std::log(24 * 4 * 1e-6)), 1e-10);
  EXPECT_TRUE(more && !first);
}

TEST(StepPlan, EqualsTheSumOfItsSteps) {
  for (const double h : {0.1, 0.05, 1.0 / 3, 0.0012, 0.007, 3e-5, 0.5}) {
    for (const double factor : {1.0, 1.01, 1.3, 2.0, 1e200}) {
      for (const double distance : {0.1, 0.3, 1.0, 12.7, 100.0, 1024.0}) {
        const double longest = std::max(h, 0.1);
        double sum = h, last = h;
        do {
          last = std::min(last * factor, longest);
          sum += last;
        } while (sum < distance);
        const StepPlan plan = plan_steps(h, factor, longest, distance);
        EXPECT_EQ(plan.sum, sum) << h << " " << factor << " " << distance;
        EXPECT_EQ(plan.last, last) << h << " " << factor << " " << distance;
      }
    }
  }
}

struct Duty : Steps {
  /// A bunch with these boundaries ahead of it.
  void place(std::initializer_list<double> boundary, const std::vector<double>& particles, double p = 1e4) {
    SetUp();
    boundaries(boundary);
    bunch(particles, p);
  }
  std::vector<double> stops(double end) {
    std::vector<double> times;
    const std::vector<Stop> all = track_to(end);
    for (const Stop& stop : all) {
      if (stop.duty) times.push_back(stop.ct);
    }
    EXPECT_EQ(all.back().ct, end);
    return times;
  }
};

// Head at 0.01, tail at -0.01: a boundary at 1 is met at 0.99/beta and at 1.01/beta. A stop lies a hundredth
// of the bunch ahead of the head or a tenth of the time between the stops behind the tail.
TEST_F(Duty, StopsLieAheadOfTheHeadAndBehindTheTail) {
  const double beta = 1e4 / std::sqrt(1 + 1e8), margin = 0.01 * 0.02 / beta;
  const std::vector<double> particles = {0, 0.01, -0.01};
  const auto behind = [](double ahead, double tail) { return tail + 0.1 * (tail - ahead); };
  const double ahead1 = 0.99 / beta - 1e-10 - margin, behind1 = behind(ahead1, 1.01 / beta);
  place({1}, particles);
  expect_near(stops(2), {ahead1, behind1}, 1e-13);
  for (const char* line : {"  --- duty -------------- 1", "  --- duty -------------- 2"}) {
    EXPECT_EQ(std::count(log.begin(), log.end(), line), 1);
  }
  // the next boundary has no margin against rounding
  place({1, 2}, particles);
  const double ahead2 = 1.99 / beta - margin;
  expect_near(stops(3), {ahead1, behind1, ahead2, behind(ahead2, 2.01 / beta)}, 1e-13);
  // the stop behind the first boundary finds the bunch astride the second one
  place({1, 1.005}, particles);
  expect_near(stops(2), {ahead1, behind1, behind(behind1, 1.015 / beta)}, 1e-13);
  // a start astride the boundary
  place({0.005}, particles);
  expect_near(stops(1), {1.1 * 0.015 / beta}, 1e-13);
  // the head stands too close, a two hundredth of the bunch, for a stop ahead
  place({0.0101}, particles);
  expect_near(stops(1), {0.0201 / beta + 1e-10 + 0.1 * 0.02 / beta}, 1e-13);
  place({1}, particles);
  trkcom_store.duty_steps = false;
  EXPECT_TRUE(stops(2).empty());
  EXPECT_EQ(step_control.duty_time, 1e300);
}

// A particle beyond 90 degrees of elevation flies back, so that the next boundary lies in its past; particles
// that stand still are expected for ever. Neither may hold up the run.
TEST_F(Duty, LostParticlesHoldUpNothing) {
  place({1, 2}, {0, 0.9});
  ptlcom_store.particle[2].theta = 2;
  EXPECT_EQ(stops(5).size(), 4u);

  place({1, 2}, {0, 0.01});
  trkcom_store.end_time_c0 = 50;
  double next = 0;
  bool first = true, more = true;
  int at_stop = 0;
  log = console_of([&] {
    while (more) {
      trkstp(next, first, more);
      ptlcom_store.ctptcl = next;
      at_stop += step_control.duty_now;
    }
  });
  EXPECT_EQ(at_stop, 2);
  EXPECT_EQ(next, 50);
}

}  // namespace
}  // namespace tessaron::test
