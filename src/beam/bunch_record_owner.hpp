#pragma once
#include "beam/bunch_record.hpp"

namespace tessaron {

/// The bunch as its writers see it: the folder beam, and the driver's group transfer.
extern ParticleRecord ptlcom_store;

}  // namespace tessaron
