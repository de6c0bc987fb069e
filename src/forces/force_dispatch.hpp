#pragma once
#include "beam/bunch_record.hpp"
#include "beam/force_table.hpp"
#include "forces/force_settings.hpp"

namespace tessaron {

/// One self-force evaluation: the forces on all particles of a table at the common time ct. On failure the
/// table is zero.
[[nodiscard]] Status forcei(ForceType type, const ParticleTable& particles, const SectionTable& sections,
                            double ct, ForceTable& forces);

/// Updates the sub-bunch sizes for this time and bunch.
[[nodiscard]] Status frcsub(ForceType type, const ParticleTable& particles, double ct);

/// The part of an evaluation that all processes of a group run, each with the whole bunch. On a worker `type`
/// and `ct` are those of the master.
[[nodiscard]] Status frcims(ForceType type, const ParticleTable& particles, const SectionTable& sections,
                            double ct, ForceTable& forces);

}  // namespace tessaron
