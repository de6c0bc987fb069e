#include "beam/ptlcom.hpp"

#include "beam/ptlcom_owner.hpp"

namespace tessaron {

constinit ParticleRecord ptlcom_store{};
const ParticleRecord& ptlcom = ptlcom_store;

}  // namespace tessaron
