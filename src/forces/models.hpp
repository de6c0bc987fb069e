#pragma once
#include "beam/bunch_record.hpp"
#include "beam/force_table.hpp"
#include "forces/force_settings.hpp"

namespace tessaron {

struct ProjectedWork;
struct FieldWork;
struct GreenWork;

/// The projected force: the line current on the orbit convolved with the kernel of coherent synchrotron
/// radiation on a curved path and, optionally, a wake.
[[nodiscard]] Status force1(const ParticleTable& particles, const SectionTable& sections, ProjectedWork& work,
                            ForceTable& forces);
/// The direct force: every sub-bunch on every particle.
[[nodiscard]] Status force2(const ParticleTable& particles, const SectionTable& sections, double ct,
                            FieldWork& fields, ForceTable& forces);
/// The Green's function forces (types csr_p_to_m, csr_g_to_p, csr_g_to_m).
[[nodiscard]] Status force3(ForceType type, const ParticleTable& particles, const SectionTable& sections,
                            double ct, FieldWork& fields, GreenWork& work, ForceTable& forces);

}  // namespace tessaron
