#pragma once
#include <cstdint>

#include "beam/ptlcom.hpp"

namespace tessaron {

/// Step control, kept between the calls of `trkstp`. Owner: tracking/trkstp.cpp.
struct StepControl {
  double last_ctstep = 0;    ///< size of the step chosen last [m]
  double duty_time = 1e300;  ///< time of the next duty stop, 1e300 if there is none
  std::int32_t duty_phase =
      1;  ///< 1: ahead of the head's arrival at a duty boundary; 2: behind the tail's passage
  bool duty_pending = false;  ///< a fresh duty evaluation is due
  bool duty_now = false;      ///< the present time is a duty stop
};
extern const StepControl& step_control;

/// Runs one step from `ctptcl` to `next`, a predictor-corrector over the self force; returns the step error.
/// `next` equal to `ctptcl` makes the forces at the start available and moves nothing.
double trkadv(double next);

/// Picks the next time; `more` false ends the step loop.
void trkstp(double& next, bool& first, bool& more);

/// Compares the older particle table a with the newer b over the source particles: rms differences of place
/// and of momentum in units of the bunch's own rms length and momentum spread.
struct StepError {
  double position, momentum;
};
StepError step_error(int n, const ParticleTable& a, const ParticleTable& b, const FlagTable& source);

/// The next duty boundary and when the bunch passes it.
struct DutyState {
  bool have = false;
  std::int32_t dfirst = 0, dlast = 0;  ///< equal: no particle has crossed the boundary dfirst yet
  double tmin = 0, tmax = 0;           ///< first and last crossing of boundary dfirst
};
DutyState next_duty();

}  // namespace tessaron
