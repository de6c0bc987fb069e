#pragma once
#include <algorithm>
#include <cstdint>
#include <limits>
#include <string_view>

#include "forces/green/evaluation.hpp"
#include "monitors/monitors.hpp"

namespace tessaron {

/// Writes the polygon that a mesh covers and the path's sections of constant curvature to the open files of
/// the `green` monitors, over what an earlier evaluation of the same step wrote: one number a line, each
/// column behind its count: a and b of the corners; c t, x, y and curvature of the sections.
void write_mesh_files(const Polygon& relpoly, const PathArcs& arcs, int narcs);

/// Adds the size of a code to a sum of sizes: never negative, nothing cancels, nothing overflows.
inline void add_size(Status& sum, Status code) {
  const std::int64_t size = code < 0 ? -std::int64_t{code} : std::int64_t{code};
  sum = static_cast<Status>(std::min<std::int64_t>(sum + size, std::numeric_limits<Status>::max()));
}

/// An output of an online monitor is due at time `t` [m]: steps its output grid on and counts the output.
/// The grid points are start_time + k time_step; those that a long step has jumped over are dropped, by
/// moving the start, and not made up for later. With a time step of 0 every time from the start on is due.
bool output_due(Monitor& monitor, double t);

/// The name of the file of one output: the count as `_0001` ahead of the first point of the name, or at its
/// end if it has none; cut to 80 characters.
Text<80> numbered_name(const Text<80>& name, std::int32_t count);

/// A message about a file: the first 20 characters of its name, blanks included, between two texts.
Text<72> name_line(std::string_view before, const Text<80>& name, std::string_view after);

}  // namespace tessaron
