#include "lattice/lattice_record_owner.hpp"

namespace tessaron {

LatticeRecord latcom_store;
const LatticeRecord& latcom = latcom_store;

void lattim(std::int32_t i, double ct) { latcom_store.tbnd[i] = ct; }

void latplc() { latcom_store.latready = true; }

}  // namespace tessaron
