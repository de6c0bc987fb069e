#pragma once
#include "lattice/lattice_record.hpp"

namespace tessaron {

/// The lattice as its writers see it: the folder lattice, and the driver's group transfer.
extern LatticeRecord latcom_store;

}  // namespace tessaron
