#include "driver/group_transfer.hpp"

#include <type_traits>

#include "beam/bunch_record_owner.hpp"
#include "forces/force_settings_owner.hpp"
#include "forces/force_work.hpp"
#include "group/process_group.hpp"
#include "lattice/lattice_record_owner.hpp"

namespace tessaron {

namespace {

template <class Record>
void broadcast(Record& record) {
  static_assert(std::is_trivially_copyable_v<Record>);
  pgbytes(&record, sizeof record);
}

template <class Cells>
void broadcast_run(Cells cells) {
  pgbytes(cells.data(), cells.size_bytes());
}

}  // namespace

void pgsetup() {
  broadcast(latcom_store);
  broadcast(force_settings_store);
  broadcast_run(subbunch_table_store.run(1, force_settings_store.subbunch_rows));
  if (force_settings_store.wake_used) {
    broadcast_run(wake_table_store.run(1, force_settings_store.n2wak - force_settings_store.n1wak + 1));
  }
  broadcast(ptlcom_store.npart);
  broadcast_run(ptlcom_store.source.run(1, ptlcom_store.npart));
  broadcast_run(ptlcom_store.test.run(1, ptlcom_store.npart));
  broadcast(ptlcom_store.reference_momentum);
  broadcast(ptlcom_store.total_charge);
  broadcast(ptlcom_store.charge_sign);
  // Whether a mesh is kept decides the course of the next evaluation, so that all processes have to agree.
  bool kept = green_kept();
  broadcast(kept);
  if (!kept) grnrst();
}

}  // namespace tessaron
