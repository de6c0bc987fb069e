// The process group over MPI. Every collective call has the master (rank 0) as its root.

#include <mpi.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <thread>
#include <type_traits>

#include "beam/bunch_record_owner.hpp"
#include "common/console.hpp"
#include "forces/force_settings_owner.hpp"
#include "forces/models.hpp"
#include "group/process_group.hpp"
#include "lattice/lattice_record_owner.hpp"

namespace tessaron {

namespace {

constexpr int master_rank = 0;
ProcessIdentity identity;

void broadcast_bytes(void* data, std::size_t size) {
  // A full particle table is far below the limit of an int count, but nothing here depends on it.
  constexpr std::size_t largest = std::size_t{1} << 30;
  auto* bytes = static_cast<std::byte*>(data);
  for (std::size_t done = 0; done < size; done += largest) {
    const auto count = static_cast<int>(std::min(largest, size - done));
    MPI_Bcast(bytes + done, count, MPI_BYTE, master_rank, MPI_COMM_WORLD);
  }
}

template <class Record>
void broadcast(Record& record) {
  static_assert(std::is_trivially_copyable_v<Record>);
  broadcast_bytes(&record, sizeof record);
}

template <class Cells>
void broadcast_run(Cells cells) {
  broadcast_bytes(cells.data(), cells.size_bytes());
}

/// A fatal stop of a worker. Where the master meets the same fault it has the time to tell and to end the
/// job; a worker alone with its fault says so itself.
void end_after_worker_stop(std::string_view line) {
  std::this_thread::sleep_for(std::chrono::seconds(2));
  std::fprintf(stderr, "tessaron: process %d: %.*s\n", identity.own_number, static_cast<int>(line.size()),
               line.data());
  pgabort();
}

}  // namespace

ProcessIdentity pgflags() { return identity; }

void pgstart(int* argc, char*** argv) {
  MPI_Init(argc, argv);
  int rank = 0, size = 1;
  MPI_Comm_rank(MPI_COMM_WORLD, &rank);
  MPI_Comm_size(MPI_COMM_WORLD, &size);
  identity = {rank == master_rank, rank + 1, size};
  if (!identity.master) set_stop_hook(end_after_worker_stop);
}

void pgend() { MPI_Finalize(); }

void pgabort() {
  // With nobody else to end, the job ends in order.
  if (identity.group_size > 1) MPI_Abort(MPI_COMM_WORLD, 0);
  MPI_Finalize();
}

void pgstr(std::string_view text) {
  Text<80> command = text;
  broadcast(command);
}

void pgrecv(Text<80>& text) { broadcast(text); }

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

void pgbunch(std::int32_t& npart, Particle* particles, std::int32_t* sections, double& ct) {
  broadcast(npart);
  broadcast_bytes(particles, static_cast<std::size_t>(npart) * sizeof(Particle));
  broadcast_bytes(sections, static_cast<std::size_t>(npart) * sizeof(std::int32_t));
  broadcast(ct);
}

void pgrows(double* array, int row_length, int rows, int capacity) {
  const auto n = static_cast<std::size_t>(std::min(rows, capacity)) * static_cast<std::size_t>(row_length);
  broadcast_bytes(array, n * sizeof(double));
}

void pgsum(double* array, int row_length, int rows) {
  // 300000 particles or 2500000 mesh rows of three reals: the count is far below the limit of an int.
  const int n = row_length * rows;
  MPI_Reduce(identity.master ? MPI_IN_PLACE : array, array, n, MPI_DOUBLE, MPI_SUM, master_rank,
             MPI_COMM_WORLD);
}

void pgorf(bool* flags, int count) {
  MPI_Reduce(identity.master ? MPI_IN_PLACE : flags, flags, count, MPI_CXX_BOOL, MPI_LOR, master_rank,
             MPI_COMM_WORLD);
}

void pgflg(bool* flags, int count, int capacity) {
  MPI_Bcast(flags, std::min(count, capacity), MPI_CXX_BOOL, master_rank, MPI_COMM_WORLD);
}

}  // namespace tessaron
