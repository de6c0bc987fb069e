#include "forces/models.hpp"

namespace tessaron {

Status force3(ForceType, const ParticleTable&, const SectionTable&, double, ForceTable&) { return failed; }

void grnrst() {}

}  // namespace tessaron
