#pragma once
#include "lattice/lattice_record.hpp"

namespace tessaron {

/// The lattice as its writers see it: lattice reader, preparation of a run, process group.
extern LatticeRecord latcom_store;

}  // namespace tessaron
