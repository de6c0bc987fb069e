#include "lattice/lattice_record_owner.hpp"

namespace tessaron {

LatticeRecord latcom_store;
const LatticeRecord& latcom = latcom_store;

}  // namespace tessaron
