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

/// The shortest way of a stop from a crossing: what the time resolves well, 1e-10 m at least. It counts for a
/// bunch without length.
double least_distance(double ct) {
  return std::max(1e-10, 8 * std::numeric_limits<double>::epsilon() * std::abs(ct));
}

struct Stop {
  DutyPhase phase;
  int boundary;
  double time;
};

/// The stop behind a boundary that particles have crossed or are about to cross.
Stop stop_behind(const DutyState& duty) {
  const double margin = std::max(0.1 * (duty.tmax - ptlcom.ctptcl), least_distance(duty.tmax));
  return {DutyPhase::behind, duty.dfirst, duty.tmax + margin};
}

/// The duty stop of a bunch that comes from anywhere: at the start of a run, or astride a boundary.
Stop fresh_stop(const DutyState& duty) {
  if (duty.dfirst != duty.dlast) return stop_behind(duty);
  const double length = duty.tmax - duty.tmin;
  const double ahead = duty.tmin - least_distance(duty.tmin) - 0.01 * length;
  if (ahead > ptlcom.ctptcl) return {DutyPhase::ahead, duty.dfirst, ahead};
  return {DutyPhase::behind, duty.dfirst, duty.tmax + least_distance(duty.tmax) + 0.1 * length};
}

/// The stop that follows on the present one. Ahead of a boundary that is very close it lies half-way there.
Stop following_stop(const DutyState& duty) {
  if (control.duty_phase == DutyPhase::ahead && duty.dfirst <= control.duty_boundary)
    return stop_behind(duty);
  if (duty.dfirst != duty.dlast) return stop_behind(duty);
  const double ct = ptlcom.ctptcl;
  const double margin = std::max(0.01 * (duty.tmax - duty.tmin), least_distance(duty.tmin));
  const double ahead = duty.tmin - margin > ct ? duty.tmin - margin : 0.5 * (ct + duty.tmin);
  return ahead > ct && ahead < duty.tmin ? Stop{DutyPhase::ahead, duty.dfirst, ahead} : stop_behind(duty);
}

/// What has been set since a particle crossed a boundary last. Ahead of such a crossing each stop is set once
/// at most, in the order of the boundaries: a run cannot wait for ever for a particle that does not come.
struct {
  std::int64_t crossings = 0;                 ///< grows by one with each crossing of a particle
  int highest_ahead = 0, highest_behind = 0;  ///< boundaries of the stops
  int passed = 0;                             ///< boundaries up to here get no further stop

  void update(bool first) {
    std::int64_t sum = 0;
    for (int i = 1; i <= ptlcom.npart; ++i) sum += ptlcom.section[i];
    if (first || sum != crossings) highest_ahead = highest_behind = passed = 0;
    crossings = sum;
  }
  /// Notes a stop; false if it has been set before.
  bool take(const Stop& stop) {
    int& highest = stop.phase == DutyPhase::ahead ? highest_ahead : highest_behind;
    if (stop.boundary <= highest) return false;
    highest = stop.boundary;
    return true;
  }
} progress;

void set_no_stop() {
  control.duty_time = no_duty_time;
  control.duty_boundary = 0;
}

/// Sets the next duty stop by a rule.
void set_stop(Stop (*rule)(const DutyState&), bool first) {
  progress.update(first);
  for (DutyState duty; (duty = next_duty(progress.passed)).have; progress.passed = duty.dfirst) {
    const Stop stop = rule(duty);
    if (!progress.take(stop)) continue;
    control.duty_phase = stop.phase;
    control.duty_boundary = stop.boundary;
    control.duty_time = stop.time;
    return;
  }
  set_no_stop();
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
    set_no_stop();
    if (trkcom.duty_steps) set_stop(fresh_stop, true);
  }
  const double ct = ptlcom.ctptcl;
  control.duty_now = ct == control.duty_time;
  if (control.duty_now) {
    msgout(FreeForm("--- duty --------------", static_cast<std::int32_t>(control.duty_phase)));
    set_stop(following_stop, false);
  }

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
