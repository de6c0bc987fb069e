#include "forces/models.hpp"

namespace tessaron {

Status force2(const ParticleTable&, const SectionTable&, double, ForceTable&) { return failed; }

}  // namespace tessaron
