#include <array>
#include <string_view>

#include "common/freeform.hpp"
#include "run/block_values.hpp"
#include "run/line_writer.hpp"
#include "tracking/tracking_record_owner.hpp"

namespace tessaron {

namespace {

constexpr std::array<std::string_view, 12> names = {
    "precondition",    "iterative",   "error_per_ct",   "error_weight_momentum",
    "ct_step_max",     "ct_step_min", "ct_step_first",  "duty_steps",
    "increase_factor", "arc_factor",  "time_grid_file", "steps_tolerance"};
using Keys = KeyTable<names.size()>;

Status take_iterations(const Keys& keys) {
  if (!keys.seen("iterative")) return ok;
  std::int32_t value = 0;
  const Status status = keys.integer("iterative", value);
  if (status != ok) return status;
  if (value <= 0) return keys.judged("iterative", failed);
  trkcom_store.maxit = value;
  return ok;
}

/// The three bounds of the step. A bound that the block gives pulls along those that it does not give.
Status take_step_bounds(const Keys& keys) {
  TrackingRecord& t = trkcom_store;
  Status status = take_real(keys, "ct_step_max", t.ct_step_max, positive);
  if (status != ok) return status;
  if (keys.seen("ct_step_max")) {
    if (!keys.seen("ct_step_min") && t.ct_step_max < t.ct_step_min) t.ct_step_min = t.ct_step_max / 2;
    if (!keys.seen("ct_step_first") && t.ct_step_max < t.ct_step_first) t.ct_step_first = t.ct_step_max;
  }
  status =
      take_real(keys, "ct_step_min", t.ct_step_min, [](double v) { return v > 0 && v < t.ct_step_max; });
  if (status != ok) return status;
  if (keys.seen("ct_step_min") && !keys.seen("ct_step_first") && t.ct_step_first < t.ct_step_min) {
    t.ct_step_first = t.ct_step_min;
  }
  return take_real(keys, "ct_step_first", t.ct_step_first,
                   [](double v) { return v >= t.ct_step_min && v <= t.ct_step_max; });
}

Status take_growth(const Keys& keys) {
  TrackingRecord& t = trkcom_store;
  const Status status =
      take_real(keys, "increase_factor", t.increase_factor, [](double v) { return v >= 1; });
  if (status != ok) return status;
  return take_real(keys, "arc_factor", t.arc_factor, [](double v) { return v > 0 && v <= 1; });
}

/// Takes the keys up one after the other; the first one that fails leaves those behind it as they were.
Status take_up(const Keys& keys) {
  TrackingRecord& t = trkcom_store;
  take_flag(keys, "precondition", t.precondition);
  Status status = take_iterations(keys);
  if (status == ok) status = take_real(keys, "error_per_ct", t.error_per_ct, positive);
  if (status == ok) {
    status =
        take_real(keys, "error_weight_momentum", t.error_weight_momentum, [](double v) { return v >= 0; });
  }
  if (status == ok) status = take_step_bounds(keys);
  if (status == ok) {
    take_flag(keys, "duty_steps", t.duty_steps);
    status = take_growth(keys);
  }
  if (status == ok && keys.seen("time_grid_file")) {
    t.use_time_grid = true;
    status = read_time_grid(keys.value("time_grid_file").view());
  }
  if (status == ok) status = take_real(keys, "steps_tolerance", t.steps_tolerance, positive);
  return status;
}

}  // namespace

Status track_step() {
  trkcom_store.use_time_grid = false;
  Keys keys(names);
  Status status = keys.read();
  if (status == ok) status = take_up(keys);
  if (status != ok) msgout("error in track_step");
  return status;
}

}  // namespace tessaron
