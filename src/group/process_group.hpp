#pragma once
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "common/status.hpp"
#include "common/text.hpp"

namespace tessaron {

/// The process group that shares the work of the force models. One source file implements it for one process,
/// where all of it does nothing; another one over MPI takes its place. Calls on "both sides", the master
/// and the workers, are collective: every process reaches them in the same order.

/// Who this process is. Owner: `pgstart`, before the main operation; it never changes afterwards.
struct ProcessIdentity {
  bool master = true;           ///< reads the deck and writes all output
  std::int32_t own_number = 1;  ///< counted from 1
  std::int32_t group_size = 1;
};
ProcessIdentity pgflags();

/// Joins the group and sets the identity; `pgend` leaves it in order.
void pgstart(int* argc, char*** argv);
void pgend();
/// Ends the whole group at once, wherever its processes are, with exit status 0: behind a fatal stop.
void pgabort();
/// The master leaves ahead of the end of its work, since it was asked to: the workers are sent home, or ended
/// at once if they are at work.
void pgquit();

/// The master sends a command string to all workers.
void pgstr(std::string_view text);
/// A worker waits for the command string.
void pgrecv(Text<80>& text);
/// Both sides: `size` bytes pass from the master to all. For records that are copied as they lie in memory.
void pgbytes(void* data, std::size_t size);
/// The master's side of it, for data that it may only read.
void pgsend(const void* data, std::size_t size);
/// Both sides: rows of reals pass from the master to all. `capacity` is the room in rows.
void pgrows(double* array, int row_length, int rows, int capacity);
/// Both sides: rows of reals are summed element by element over the group; the sum arrives on the master.
void pgsum(double* array, int row_length, int rows);
/// Both sides: flags are merged by a logical or on the master.
void pgorf(bool* flags, int count);
/// Both sides: flags pass from the master to all.
void pgflg(bool* flags, int count, int capacity);

/// Work items are numbered from 1 and shared round-robin over the group.
inline bool own_item(std::int64_t item, const ProcessIdentity& id) {
  return item % id.group_size + 1 == id.own_number;
}

}  // namespace tessaron
