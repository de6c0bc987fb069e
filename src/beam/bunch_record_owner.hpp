#pragma once
#include "beam/bunch_record.hpp"

namespace tessaron {

/// The bunch as its writers see it: particle input, preparation of a run, step loop, process group.
extern ParticleRecord ptlcom_store;

}  // namespace tessaron
