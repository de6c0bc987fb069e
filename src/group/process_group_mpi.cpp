// The process group over MPI. Every collective call has the master (rank 0) as its root.

#include <mpi.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <thread>

#include "common/console.hpp"
#include "common/end_request.hpp"
#include "group/process_group.hpp"

namespace tessaron {

namespace {

constexpr int master_rank = 0;
ProcessIdentity identity;
bool workers_at_work = false;  // the master has left them behind in an evaluation

/// A fatal stop of a worker. Where the master meets the same fault it has the time to tell and to end the
/// job; a worker alone with its fault says so itself.
void end_after_worker_stop(std::string_view line) {
  std::this_thread::sleep_for(std::chrono::seconds(2));
  std::fprintf(stderr, "tessaron: process %d: %.*s\n", identity.own_number, static_cast<int>(line.size()),
               line.data());
  pgabort();
}

/// On all, ahead of a sum: waits until every process has done its share. If one of them was asked to end, its
/// share is not whole, and all take the request for their own. A master that was asked to end waits no longer
/// than workers need that were asked as well.
void meet() {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::milliseconds patience{300};
  const int mine = end_signal;
  int common = 0;
  MPI_Request request;
  MPI_Iallreduce(&mine, &common, 1, MPI_INT, MPI_MAX, MPI_COMM_WORLD, &request);
  Clock::time_point asked{};
  for (int done = 0; MPI_Test(&request, &done, MPI_STATUS_IGNORE), done == 0;) {
    if (!identity.master || !end_requested()) continue;
    if (asked == Clock::time_point{}) asked = Clock::now();
    if (Clock::now() - asked < patience) continue;
    workers_at_work = true;
    obey_end_request();
  }
  if (common != 0) request_end(common);
}

}  // namespace

ProcessIdentity pgflags() { return identity; }

void pgstart(int* argc, char*** argv) {
  int provided = 0;  // one thread at a time: a fatal stop comes from the one that meets it
  MPI_Init_thread(argc, argv, MPI_THREAD_SERIALIZED, &provided);
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

void pgquit() {
  if (workers_at_work) return pgabort();
  pgstr("stopp");
  pgend();
}

void pgstr(std::string_view text) {
  Text<80> command = text;
  pgbytes(&command, sizeof command);
}

void pgrecv(Text<80>& text) { pgbytes(&text, sizeof text); }

void pgbytes(void* data, std::size_t size) {
  // A full particle table is far below the limit of an int count, but nothing here depends on it.
  constexpr std::size_t largest = std::size_t{1} << 30;
  auto* bytes = static_cast<std::byte*>(data);
  for (std::size_t done = 0; done < size; done += largest) {
    const auto count = static_cast<int>(std::min(largest, size - done));
    MPI_Bcast(bytes + done, count, MPI_BYTE, master_rank, MPI_COMM_WORLD);
  }
}

// A broadcast takes what may be written on, and only reads it on the process that sends.
void pgsend(const void* data, std::size_t size) { pgbytes(const_cast<void*>(data), size); }

void pgrows(double* array, int row_length, int rows, int capacity) {
  const auto n = static_cast<std::size_t>(std::min(rows, capacity)) * static_cast<std::size_t>(row_length);
  pgbytes(array, n * sizeof(double));
}

void pgsum(double* array, int row_length, int rows) {
  // 300000 particles or 2500000 mesh rows of three reals: the count is far below the limit of an int.
  const int n = row_length * rows;
  meet();
  MPI_Reduce(identity.master ? MPI_IN_PLACE : array, array, n, MPI_DOUBLE, MPI_SUM, master_rank,
             MPI_COMM_WORLD);
}

void pgorf(bool* flags, int count) {
  meet();
  MPI_Reduce(identity.master ? MPI_IN_PLACE : flags, flags, count, MPI_CXX_BOOL, MPI_LOR, master_rank,
             MPI_COMM_WORLD);
}

void pgflg(bool* flags, int count, int capacity) {
  MPI_Bcast(flags, std::min(count, capacity), MPI_CXX_BOOL, master_rank, MPI_COMM_WORLD);
}

}  // namespace tessaron
