#include "forces/models.hpp"

namespace tessaron {

Status force1(const ParticleTable&, const SectionTable&, ForceTable&) { return failed; }

}  // namespace tessaron
