#pragma once
#include "tracking/tracking_record.hpp"

namespace tessaron {

/// The tracking record as its writers see it: the tracker commands and the step loop.
extern TrackingRecord trkcom_store;

/// Marks the stored forces of the step loop as empty.
void forget_forces();

/// Reads the file of a `track_step` block's `time_grid_file` into `grid` and `ngrid`: one value a record, in
/// metres of c t, not decreasing, at most matist - 1 of them.
[[nodiscard]] Status read_time_grid(std::string_view name);

}  // namespace tessaron
