#pragma once
#include <cstdint>

#include "beam/force_table.hpp"
#include "common/constants.hpp"
#include "common/status.hpp"
#include "common/table.hpp"
#include "common/text.hpp"
#include "common/undefined.hpp"

namespace tessaron {

/// Settings of the step loop and the end of the run. Owner: the tracker commands; `trkrep` settles the end
/// time.
struct TrackingRecord {
  double end_time_c0 = undefined_real;        ///< time to track to, c t [m]
  double delta_time_c0 = undefined_real;      ///< time to track by [m]
  Text<80> end_time_marker = undefined_text;  ///< marker of the boundary to track to
  double end_time_shift_c0 = undefined_real;  ///< added to the marker's time [m]
  bool precondition = true;                   ///< predictor run with a cheap force model first
  std::int32_t maxit = 3;                     ///< most iterations of the corrector
  double error_per_ct = 0.001;                ///< limit of step error per step length
  double error_weight_momentum = 1.0;
  double ct_step_max = 0.1, ct_step_min = 0.01, ct_step_first = 0.1;  ///< [m]
  bool duty_steps = true;          ///< stop the steps around duty boundaries
  double increase_factor = 2.0;    ///< largest growth from one step to the next
  double arc_factor = 0.5;         ///< fraction of the overtaking length allowed as a step
  double steps_tolerance = 1e-05;  ///< [m]
  bool use_time_grid = false;
  std::int32_t ngrid = 0;
  Table<double, matist> grid;  ///< [m]
  double integrated_step_error = 0;
};
extern const TrackingRecord& trkcom;

/// Forces that the step loop keeps between steps, and the times at which they are valid.
/// Owner: tracking/step.cpp.
struct ForceTimes {
  double fpre_time = undefined_real;        ///< of the pre-conditioning model
  double ftrk_time = undefined_real;        ///< of the deck's model
  bool fpre_old = false, ftrk_old = false;  ///< stored before the latest particles, lattice or forces
};
extern const ForceTimes& force_times;
/// The latest forces of the deck's model.
const ForceTable& ftrk();

/// A `particles`, `lattice` or `forces` command: the stored forces keep their times, but are old from now on.
void age_forces();
/// Whether a run that starts now takes old forces as those at its start.
bool starts_with_old_forces();

/// Start-up: the defaults above.
[[nodiscard]] Status trkini();
/// The block readers of `track_step`, `tracker` and `track_accuracy` (which is read over).
[[nodiscard]] Status track_step();
[[nodiscard]] Status tracker();
[[nodiscard]] Status track_accuracy();
/// Works out the end time and reports the settings.
[[nodiscard]] Status trkrep();

/// The sum of step errors: a `particles` command sets it to 0, the run driver adds each step's error.
void clear_integrated_step_error();
void add_step_error(double step_error);

}  // namespace tessaron
