#pragma once
#include <cstdint>

#include "beam/bunch_record.hpp"

namespace tessaron {

/// Where a duty stop lies.
enum class DutyPhase : std::int32_t {
  ahead = 1,   ///< before the head of the bunch reaches a duty boundary
  behind = 2,  ///< behind the tail's passage
};

/// Step control, kept between the calls of `trkstp`. Owner: tracking/step_control.cpp.
struct StepControl {
  double last_ctstep = 0;    ///< size of the step chosen last [m]
  double duty_time = 1e300;  ///< time of the next duty stop, 1e300 if there is none
  DutyPhase duty_phase = DutyPhase::ahead;
  std::int32_t duty_boundary = 0;  ///< the boundary that the next duty stop is about
  bool duty_now = false;           ///< the present time is a duty stop
};
extern const StepControl& step_control;

/// Runs one step from `ctptcl` to `next`, a predictor-corrector over the self force; returns the step error.
/// `next` equal to `ctptcl` makes the forces at the start available and moves nothing.
double trkadv(double next);

/// Picks the next time, by the time grid or by the adaptive rule, and logs it; `more` false ends the step
/// loop. The size of an adaptive step does not follow the error: it follows the growth limit, the bend of the
/// orbit and the length of the bunch, and it stops at the end time and on both sides of a duty boundary. A
/// step that is too small to change the time ends the loop with a line of its own.
void trkstp(double& next, bool& first, bool& more);

/// Compares the older particle table a with the newer b over the source particles: rms differences of place
/// and of momentum in units of the bunch's own rms length and momentum spread.
struct StepError {
  double position, momentum;
};
StepError step_error(int n, const ParticleTable& a, const ParticleTable& b, const FlagTable& source);

/// The row of two steps or more that leads to a target: `sum` of the steps h, then each longer by
/// `increase_factor` but not above `longest`, until the sum reaches `distance`; `last` is the last of them.
/// [m]
struct StepPlan {
  double sum, last;
};
StepPlan plan_steps(double h, double increase_factor, double longest, double distance);

/// The next duty boundary above number `passed` and when the bunch passes it, without self force. Particles
/// whose orbit does not reach a boundary do not count for its times, nor do crossings that do not lie ahead
/// of the present time.
struct DutyState {
  bool have = false;
  std::int32_t dfirst = 0, dlast = 0;  ///< equal: no particle has crossed the boundary dfirst yet
  double tmin = 0, tmax = 0;           ///< first and last crossing of boundary dfirst
};
DutyState next_duty(int passed = 0);

}  // namespace tessaron
