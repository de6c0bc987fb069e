#include <cmath>

#include "forces/force_dispatch.hpp"
#include "tracking/steps_fixture.hpp"

namespace tessaron {

namespace {
/// A force model for these tests: a drag -k p along the motion, with a list of its calls, type and time.
using Calls = std::vector<std::pair<int, double>>;
struct Drag {
  double k = 0.2;
  Calls calls;
};
Drag drag;
}  // namespace

Status forcei(ForceType type, const ParticleTable& particles, const SectionTable&, double ct,
              ForceTable& forces) {
  drag.calls.push_back({static_cast<int>(type), ct});
  for (int i = 1; i <= ptlcom.npart; ++i) forces[i] = {-drag.k * particles[i].p, 0, 0};
  return ok;
}

namespace test {
namespace {

struct Advance : Steps {
  /// Two particles under a model.
  void model(int type, bool precondition, int maxit, double error_per_ct = 1e-3) {
    SetUp();
    drag = {};
    bunch({0, 0.001}, 1000);
    ptlcom_store.particle[2].p = 1001;
    force_settings_store.force_type = static_cast<ForceType>(type);
    trkcom_store.precondition = precondition;
    trkcom_store.maxit = maxit;
    trkcom_store.error_per_ct = error_per_ct;
  }
  double advance(double next) {
    double err = 0;
    drag.calls.clear();
    log = console_of([&] { err = trkadv(next); });
    return err;
  }
  Calls calls_of(double next) {
    advance(next);
    return drag.calls;
  }
};

// The forces at the start of a step are those at the end of the step before.
TEST_F(Advance, CallsTheModelsInOrder) {
  model(0, true, 3);
  EXPECT_EQ(advance(0.5), 0);
  EXPECT_TRUE(drag.calls.empty() && log.empty());
  EXPECT_EQ(ptlcom.ctptcl, 0.5);
  EXPECT_NEAR(ptlcom.particle[1].x, 0.5 * 1000 / std::sqrt(1e6 + 1), 1e-14);

  model(1, true, 1);
  EXPECT_EQ(calls_of(0), (Calls{{1, 0}}));
  EXPECT_EQ(calls_of(0), Calls{});
  EXPECT_EQ(calls_of(0.5), (Calls{{1, 0.5}, {1, 0.5}}));
  EXPECT_EQ(force_times.ftrk_time, 0.5);
  EXPECT_EQ(calls_of(1), (Calls{{1, 1}, {1, 1}}));

  for (const auto& [type, pre] : {std::pair{2, 4}, {3, 5}, {4, 1}, {5, 1}}) {
    model(type, true, 1);
    EXPECT_EQ(calls_of(0), (Calls{{pre, 0}, {type, 0}}));
    EXPECT_EQ(calls_of(0.5), (Calls{{pre, 0.5}, {pre, 0.5}, {type, 0.5}}));
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0].substr(0, 43), "                 *** step_error/step_time= ");
    EXPECT_EQ(log[1].substr(0, 43), "                     step_error/step_time= ");
    EXPECT_EQ(calls_of(1), (Calls{{pre, 1}, {pre, 1}, {type, 1}}));
  }
  model(4, false, 3, 1e-30);
  EXPECT_EQ(calls_of(0), (Calls{{4, 0}}));
  EXPECT_EQ(calls_of(0.5), (Calls{{4, 0.5}, {4, 0.5}, {4, 0.5}}));
  EXPECT_EQ(log.size(), 3u);
}

// Predictor: the force falls to zero, p1 = p (1 - kh/2). Corrector: the trapezoid of k p and k p1. The
// pre-conditioned model starts from the end force of the cheap one, p2; its own force stays one pass behind:
// that of its predictor p3.
TEST_F(Advance, OneStepIsPredictorAndTrapezoid) {
  const double p = 1000, a = 0.2 * 0.5 / 2;
  const double p1 = p * (1 - a), p2 = p - a * (p + p1), p3 = p - a * (p + p2), p4 = p - a * (p + p3);
  struct Case {
    int type;
    bool precondition;
    double end, force_of;
  };
  for (const Case& c : {Case{1, false, p2, p2}, Case{4, false, p2, p1}, Case{4, true, p4, p3}}) {
    model(c.type, c.precondition, 1);
    advance(0.5);
    EXPECT_NEAR(ptlcom.particle[1].p, c.end, 1e-12 * p);
    EXPECT_NEAR(ftrk()[1].along, -0.2 * c.force_of, 1e-12 * p) << c.type;
  }
  EXPECT_EQ(force_times.fpre_time, 0.5);
}

TEST_F(Advance, ConvergesWithOrderTwoToTheExponentialDecay) {
  std::vector<double> errors;
  for (const int steps : {8, 16, 32}) {
    model(1, true, 50, 1e-13);
    for (int k = 1; k <= steps; ++k) advance(2.0 * k / steps);
    errors.push_back(std::abs(ptlcom.particle[1].p / 1000 - std::exp(-drag.k * 2)));
  }
  EXPECT_NEAR(errors[0] / errors[1], 4, 0.1);
  EXPECT_NEAR(errors[1] / errors[2], 4, 0.1);
}

TEST_F(Advance, PassesUntilTheErrorIsSmallOrThePassesAreSpent) {
  model(1, true, 5, 1e10);
  EXPECT_EQ(calls_of(0.1).size(), 3u) << "start, predictor, one pass";
  trkcom_store.error_per_ct = 1e-300;
  EXPECT_EQ(calls_of(0.2).size(), 6u) << "predictor, five passes";
  model(1, true, 50, 1e-6);
  const double err = advance(0.3);
  EXPECT_GT(err, 0);
  EXPECT_LE(err / 0.3, 1e-6);
  model(1, true, 10, 1e-300);
  ptlcom_store.npart = 1;
  EXPECT_EQ(calls_of(0.1).size(), 3u) << "one particle has no step error";
}

TEST_F(Advance, TakesAStepErrorApartIntoPlaceAndMomentum) {
  static ParticleTable a, b;
  static FlagTable source;
  // Along the flight of particle 1: 0 and 2, rms 1; p: 10 and 16, rms 3. The third one is no source.
  b[1] = {0, 0, 0, 10, 0.5, 0, 1};
  b[2] = {2 * std::cos(0.5), 2 * std::sin(0.5), 5, 16, 0, 0, 7};
  b[3] = {9, 9, 9, 99, 0, 0, 1};
  a = b;
  a[1].x += 0.1;
  a[1].y -= 0.3;
  a[1].p += 0.5;
  a[2].z = a[3].x = 77;
  source[1] = source[2] = true;
  const StepError error = step_error(3, a, b, source);
  EXPECT_NEAR(error.position, std::sqrt((0.01 + 0.09) / 2), 1e-14);
  EXPECT_NEAR(error.momentum, std::sqrt(0.25 / 2) / 3, 1e-14);
  b[2].p = 10;
  EXPECT_EQ(step_error(3, a, b, source).position, 0) << "no momentum spread";
}

}  // namespace
}  // namespace test
}  // namespace tessaron
