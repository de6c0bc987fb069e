#include "beam/bunch_record.hpp"

#include "beam/bunch_record_owner.hpp"

namespace tessaron {

constinit ParticleRecord ptlcom_store{};
const ParticleRecord& ptlcom = ptlcom_store;

}  // namespace tessaron
