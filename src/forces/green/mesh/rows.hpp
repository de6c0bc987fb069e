#pragma once
#include <string_view>

#include "beam/bunch_record.hpp"
#include "forces/green/boxes.hpp"

namespace tessaron {

/// Computes the rows of the present block in a group of processes, each its share, before anybody looks them
/// up: those that the group's sources and points need, or all of them where finding that out costs more.
void green_rows_of_block(const ObservationPoints& points, const ParticleTable& particles,
                         const GreenField& source, GreenMesh& mesh);

/// Writes a progress line on the console for the first and the last of `total` items, and in between for
/// each thousandth, or less often where there are many.
void green_progress(std::string_view text, std::int64_t item, std::string_view text2, std::int64_t total);

}  // namespace tessaron
