#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>

#include "beam/particles.hpp"
#include "common/freeform.hpp"
#include "lattice/lattice_record.hpp"
#include "run/line_writer.hpp"
#include "tracking/steps.hpp"
#include "tracking/tracking_record.hpp"

namespace tessaron {

namespace {

StepControl control;
constexpr double no_duty_time = 1e300;

/// One blank, "ctstep=", the step, " ---> ct=", the time, and where the step comes from.
void log_step(double next, const char* origin) {
  std::array<char, 72> text;
  text.fill(' ');
  char* c = text.data();
  std::memcpy(c, " ctstep=", 8);
  put_fixed(c + 8, 8, 5, next - ptlcom.ctptcl);
  std::memcpy(c + 16, " ---> ct=", 9);
  put_fixed(c + 25, 10, 5, next);
  std::memcpy(c + 35, origin, std::strlen(origin));
  msgout({text.data(), text.size()});
}

/// The largest step that the bend of the orbit allows: a fraction of the overtaking length of a bunch of the
/// rms length sigma in an arc of radius R, (24 R^2 sigma)^(1/3).
double arc_limit() {
  const int section = ptlcom.npart > 0 ? ptlcom.section[1] : 0;
  const double R = section >= 1 && section <= latcom.nlat ? latcom.bnd[section].r : 0;
  if (R == 0) return 1e300;
  const double rms_long = beam_sizes(ptlcom.npart, ptlcom.particle, ptlcom.source).rms_long;
  if (rms_long == 0) return 1e300;
  return trkcom.arc_factor * std::pow(24 * R * R * rms_long, 0.3333333);
}

/// Sets the next duty stop. A stop can be due only behind the present time: the crossings of a bunch without
/// length, or times far from zero, can make it fall on the present time itself, and then it is put as closely
/// behind it as the time resolves.
void set_stop(DutyPhase phase, int boundary, double time) {
  const double ct = ptlcom.ctptcl;
  const double resolved = ct + std::max(1e-10, 8 * std::numeric_limits<double>::epsilon() * std::abs(ct));
  control.duty_phase = phase;
  control.duty_boundary = boundary;
  control.duty_time = time > ct ? time : resolved;
}

void set_no_stop() {
  control.duty_time = no_duty_time;
  control.duty_boundary = 0;
}

/// The stop behind a boundary that particles have crossed or are about to cross.
void set_stop_behind(const DutyState& duty) {
  set_stop(DutyPhase::behind, duty.dfirst, duty.tmax + 0.1 * (duty.tmax - ptlcom.ctptcl));
}

/// The duty stop of a bunch that comes from anywhere: at the start of a run, or astride a boundary.
void set_fresh_stop(const DutyState& duty) {
  if (!duty.have) return set_no_stop();
  if (duty.dfirst != duty.dlast) return set_stop_behind(duty);
  const double length = duty.tmax - duty.tmin;
  const double ahead = duty.tmin - 1e-10 - 0.01 * length;
  if (ahead > ptlcom.ctptcl) return set_stop(DutyPhase::ahead, duty.dfirst, ahead);
  set_stop(DutyPhase::behind, duty.dfirst, duty.tmax + 1e-10 + 0.1 * length);
}

/// At a stop behind a boundary: the next one lies ahead of the next boundary.
void set_stop_ahead(const DutyState& duty) {
  const double ahead = duty.tmin - 0.01 * (duty.tmax - duty.tmin);
  set_stop(DutyPhase::ahead, duty.dfirst, ahead > ptlcom.ctptcl ? ahead : duty.tmin);
}

/// The present time is a duty stop: picks the next one.
void leave_stop() {
  msgout(FreeForm("--- duty --------------", static_cast<std::int32_t>(control.duty_phase)));
  const DutyState duty = next_duty();
  if (!duty.have) return set_no_stop();
  // A bunch without length that was to stop ahead of its boundary can be found just behind it.
  const bool still_ahead = control.duty_phase == DutyPhase::ahead && duty.dfirst <= control.duty_boundary;
  if (still_ahead) return set_stop_behind(duty);
  if (duty.dfirst == duty.dlast) return set_stop_ahead(duty);
  set_fresh_stop(duty);
}

/// The first value of the grid that lies ahead, as long as it does not pass the end time.
void follow_grid(double& next, bool& more) {
  const double ct = ptlcom.ctptcl;
  const auto grid = trkcom.grid.run(1, trkcom.ngrid);
  const auto g = std::ranges::find_if(
      grid, [ct](double value) { return value >= ct + trkcom.steps_tolerance && value > ct; });
  more = g != grid.end() && *g <= trkcom.end_time_c0;
  next = more ? *g : ct;
  if (more) log_step(next, "   (steps_file)");
}

/// The next step on the way to a target ahead: it grows up to its limits; a row of such steps that would
/// overshoot the target by more than a quarter of its last step shrinks in proportion. The present time comes
/// back if the steps are too small to reach the target: its last bit does not feel them.
double next_towards(double target) {
  const double ct = ptlcom.ctptcl;
  const double longest = std::min(trkcom.ct_step_max, arc_limit());
  const double grown = std::max(control.last_ctstep * trkcom.increase_factor, trkcom.ct_step_min);
  const double h = std::min(grown, longest);
  if (ct + h >= target) return target;
  const StepPlan plan = plan_steps(h, trkcom.increase_factor, longest, target - ct);
  if (target + plan.last == target) return ct;
  const double reach = target - ct + 0.25 * plan.last;
  return reach < plan.sum ? ct + h * reach / plan.sum : ct + h;
}

void adapt_step(double& next, bool first, bool& more) {
  if (first) {
    control.last_ctstep = trkcom.ct_step_first / trkcom.increase_factor;
    set_fresh_stop(trkcom.duty_steps ? next_duty() : DutyState{});
  }
  const double ct = ptlcom.ctptcl;
  control.duty_now = ct == control.duty_time;
  if (control.duty_now) leave_stop();

  const double target = std::min(control.duty_time, trkcom.end_time_c0);
  more = target > ct;
  next = more ? next_towards(target) : ct;
  if (more && !(next > ct)) {
    msgout("step is too small to change the time: tracking ends");
    next = ct;
    more = false;
  }
  control.last_ctstep = next - ct;
  log_step(next, "");
}

}  // namespace

const StepControl& step_control = control;

void trkstp(double& next, bool& first, bool& more) {
  if (trkcom.use_time_grid) {
    control.duty_now = false;
    follow_grid(next, more);
  } else {
    adapt_step(next, first, more);
  }
  first = false;
}

}  // namespace tessaron
