#pragma once
#include <cstdint>

#include "beam/bunch_record.hpp"
#include "motion/run_preparation.hpp"

namespace tessaron {

struct FieldSource;

/// Builds the path from the rows of a tracked reference particle, one for each boundary, in the order of
/// time. `setpth` is the tracking of that particle and this.
void build_path(const Particle& particle, const BoundaryPoints& rows, std::int32_t nlat, double ct,
                FieldSource& source);

}  // namespace tessaron
