#include <cmath>
#include <numeric>

#include "tracking/steps_fixture.hpp"

namespace tessaron::test {
namespace {

void expect_near(const std::vector<double>& got, const std::vector<double>& want, double tolerance) {
  ASSERT_EQ(got.size(), want.size());
  for (std::size_t i = 0; i < want.size(); ++i) EXPECT_NEAR(got[i], want[i], tolerance) << "time " << i;
}

void steps_of(double first, double longest, double factor) {
  trkcom_store.ct_step_first = first;
  trkcom_store.ct_step_max = longest;
  trkcom_store.increase_factor = factor;
}

struct StepRule : Steps {};

TEST_F(StepRule, GrowsToATargetThatThePlanMeets) {
  steps_of(0.25, 1, 2);
  expect_near(times_to(0.75), {0.25, 0.75}, 0);
}

// The plan 0.25, 0.5 has the sum 0.75, and 0.5 + 0.5/4 = 0.625 lies below it: 0.25 * 0.625/0.75.
TEST_F(StepRule, ShrinksThePlanThatOvershoots) {
  steps_of(0.25, 1, 2);
  expect_near(times_to(0.5), {0.25 * 0.625 / 0.75, 0.5}, 1e-15);
}

// Equal steps of 0.3 to 1: four of them have the sum 1.2, reach 1.075, so 0.26875; three of those to the rest
// 0.73125 have the sum 0.80625, reach 0.7984375; and so on.
TEST_F(StepRule, FitsARowOfEqualSteps) {
  steps_of(0.3, 1, 1);
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
  EXPECT_TRUE(more);
  EXPECT_FALSE(first);
}

TEST_F(StepRule, WritesTheStepInFixedColumns) {
  steps_of(0.25, 1, 2);
  ptlcom_store.ctptcl = 9998.5;
  track_to(10000);
  EXPECT_EQ(log, (std::vector<std::string>{
                     "  ctstep= 0.25000 ---> ct=9998.75000", "  ctstep= 0.50000 ---> ct=9999.25000",
                     "  ctstep= 0.75000 ---> ct=**********", "  ctstep= 0.00000 ---> ct=**********"}));
}

// A step that the time does not feel, or the time at the end, would never get there.
TEST_F(StepRule, EndsWhereTheStepsAreTooSmall) {
  for (const double start : {0.0, 10.0}) {
    for (const double size : {1e-300, 1e-17}) {
      ptlcom_store.ctptcl = start;
      steps_of(size, size, 1);
      trkcom_store.ct_step_min = size / 2;
      EXPECT_EQ(track_to(start + 1).size(), 1u) << start << " " << size;
      EXPECT_EQ(log.front(), " step is too small to change the time: tracking ends");
    }
  }
}

/// The plan as its definition says it.
StepPlan summed_plan(double h, double factor, double longest, double distance) {
  StepPlan plan{h, h};
  do {
    plan.last = std::min(plan.last * factor, longest);
    plan.sum += plan.last;
  } while (plan.sum < distance);
  return plan;
}

TEST(StepPlan, EqualsTheSumOfItsSteps) {
  for (const double h : {0.1, 0.05, 1.0 / 3, 0.0012, 0.007, 3e-5, 0.5}) {
    for (const double factor : {1.0, 1.01, 1.3, 2.0, 1e200}) {
      for (const double distance : {0.1, 0.3, 1.0, 12.7, 100.0, 1024.0}) {
        const double longest = std::max(h, 0.1);
        const StepPlan want = summed_plan(h, factor, longest, distance);
        const StepPlan got = plan_steps(h, factor, longest, distance);
        EXPECT_EQ(got.sum, want.sum) << h << " " << factor << " " << distance;
        EXPECT_EQ(got.last, want.last) << h << " " << factor << " " << distance;
      }
    }
  }
}

TEST(StepPlan, OfVeryManyStepsIsFoundAtOnce) {
  for (const double factor : {1.0, 1 + 1e-15, 1 + 1e-9, 1 + 1e-6, 1.5}) {
    const StepPlan plan = plan_steps(1e-9, factor, 1e-3, 1e3);
    EXPECT_GE(plan.sum, 1e3);
    EXPECT_LE(plan.sum, 1e3 + plan.last * (1 + 1e-6)) << factor;
  }
  EXPECT_EQ(plan_steps(1e-300, 1, 1e-300, 1).sum, 1);
}

struct DutyStops : Steps {
  double beta = 1e4 / std::sqrt(1 + 1e8);
  std::vector<double> duty_times(double end) {
    std::vector<double> times;
    const std::vector<Stop> stops = track_to(end);
    for (const Stop& stop : stops) {
      if (stop.duty) times.push_back(stop.ct);
    }
    EXPECT_EQ(stops.back().ct, end);
    return times;
  }
};

// Head at 0.01, tail at -0.01, boundary at 1: the head arrives at 0.99/beta, the tail at 1.01/beta.
TEST_F(DutyStops, LieAheadOfTheHeadAndBehindTheTail) {
  boundaries({1});
  bunch({0, 0.01, -0.01});
  const double ahead = 0.99 / beta - 1e-10 - 0.01 * 0.02 / beta;
  const double tail = 1.01 / beta;
  expect_near(duty_times(2), {ahead, tail + 0.1 * (tail - ahead)}, 1e-13);
  EXPECT_EQ(std::count(log.begin(), log.end(), "  --- duty -------------- 1"), 1);
  EXPECT_EQ(std::count(log.begin(), log.end(), "  --- duty -------------- 2"), 1);
}

TEST_F(DutyStops, OfTheNextBoundaryHaveNoExtraMargin) {
  boundaries({1, 2});
  bunch({0, 0.01, -0.01});
  const double tail = 1.01 / beta, ahead = 1.99 / beta - 0.01 * 0.02 / beta, second_tail = 2.01 / beta;
  const std::vector<double> times = duty_times(3);
  ASSERT_EQ(times.size(), 4u);
  EXPECT_GT(times[1], tail);
  EXPECT_NEAR(times[2], ahead, 1e-13);
  EXPECT_NEAR(times[3], second_tail + 0.1 * (second_tail - ahead), 1e-13);
}

TEST_F(DutyStops, OfABunchThatStartsAstrideLieBehindItsTail) {
  boundaries({0.005});
  bunch({0, 0.01, -0.01});
  expect_near(duty_times(1), {1.1 * 0.015 / beta}, 1e-13);
}

// The head stands 1e-4 m ahead of the boundary, a two hundredth of the bunch: too close for a stop ahead.
TEST_F(DutyStops, OfABunchCloseToABoundaryLieBehindItOnly) {
  boundaries({0.0101});
  bunch({0, 0.01, -0.01});
  expect_near(duty_times(1), {0.0201 / beta + 1e-10 + 0.1 * 0.02 / beta}, 1e-13);
}

// The stop behind the first boundary finds the bunch astride the second one and the run goes on from there.
TEST_F(DutyStops, GoOnWhereTheBunchIsAstrideTheNextBoundary) {
  boundaries({1, 1.005});
  bunch({0, 0.01, -0.01});
  const double ahead = 0.99 / beta - 1e-10 - 0.01 * 0.02 / beta, tail = 1.01 / beta;
  const double behind = tail + 0.1 * (tail - ahead), second_tail = 1.015 / beta;
  expect_near(duty_times(2), {ahead, behind, second_tail + 0.1 * (second_tail - behind)}, 1e-13);
}

TEST_F(DutyStops, AreOnlyMadeWhereTheyAreWanted) {
  boundaries({1});
  bunch({0, 0.01});
  trkcom_store.duty_steps = false;
  EXPECT_TRUE(duty_times(2).empty());
  EXPECT_EQ(step_control.duty_time, 1e300);
}

// The stop can fall on the crossing itself, where the last bit decides on which side the particle is.
TEST_F(DutyStops, OfASingleParticleStandAtEachBoundary) {
  for (int k = 0; k < 200; ++k) {
    for (const double start : {0.0, 1e6}) {
      SetUp();
      boundaries({1, 2.1, 3.7});
      bunch({0.001 * k}, k % 2 == 0 ? 1e4 : 3);
      ptlcom_store.particle[1].phi = k % 3 == 0 ? 0 : 0.3;
      ptlcom_store.ctptcl = start;
      const double speed = (k % 2 == 0 ? beta : 3 / std::sqrt(10)) * std::cos(ptlcom.particle[1].phi);
      const std::vector<double> times = duty_times(start + 5);
      for (const double place : {1.0, 2.1, 3.7}) {
        const double crossing = start + (place - 0.001 * k) / speed;
        double closest = 1;
        for (const double t : times) closest = std::min(closest, std::abs(t - crossing));
        EXPECT_LT(closest, 2e-9) << k << " " << start << " " << place;
      }
    }
  }
}

struct TimeGrid : Steps {
  void SetUp() override {
    Steps::SetUp();
    trkcom_store.use_time_grid = true;
    for (const double ct : {-1.0, 0.1, 0.1, 0.3, 0.300001, 0.7}) {
      trkcom_store.grid[++trkcom_store.ngrid] = ct;
    }
  }
};

TEST_F(TimeGrid, GivesTheStepsUpToTheEndTime) {
  expect_near(times_to(0.6), {0.1, 0.3}, 0);
  EXPECT_EQ(log, (std::vector<std::string>{"  ctstep= 0.10000 ---> ct=   0.10000   (steps_file)",
                                           "  ctstep= 0.20000 ---> ct=   0.30000   (steps_file)"}));
  EXPECT_FALSE(step_control.duty_now);
}

TEST_F(TimeGrid, IsLeftBehindAtItsLastValue) { expect_near(times_to(5), {0.1, 0.3, 0.7}, 0); }

TEST_F(TimeGrid, AlwaysGoesAheadHoweverSmallTheTolerance) {
  trkcom_store.steps_tolerance = 1e-300;
  expect_near(times_to(5), {0.1, 0.3, 0.300001, 0.7}, 0);
}

}  // namespace
}  // namespace tessaron::test
