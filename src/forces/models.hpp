#pragma once
#include "beam/bunch_record.hpp"
#include "beam/force_table.hpp"
#include "forces/fields/source_fields.hpp"
#include "forces/force_settings.hpp"

namespace tessaron {

/// The projected force: the line current on the orbit convolved with the kernel of coherent synchrotron
/// radiation on a curved path and, optionally, a wake.
[[nodiscard]] Status force1(const ParticleTable& particles, const SectionTable& sections, ForceTable& forces);
/// The direct force: every sub-bunch on every particle. The fields are evaluated on `team`.
[[nodiscard]] Status force2(const ParticleTable& particles, const SectionTable& sections, double ct,
                            ObserverTeam& team, ForceTable& forces);
/// The Green's function forces (types csr_p_to_m, csr_g_to_p, csr_g_to_m).
[[nodiscard]] Status force3(ForceType type, const ParticleTable& particles, const SectionTable& sections,
                            double ct, ObserverTeam& team, ForceTable& forces);
/// Forgets the field mesh kept from the last evaluation.
void grnrst();
/// Whether a field mesh is kept: an evaluation at the same time may use it again.
bool green_kept();

}  // namespace tessaron
