#include "common/cores/chunks.hpp"

#ifdef _OPENMP
#include <omp.h>

#include <atomic>
#include <limits>
#include <thread>
#endif

namespace tessaron {

#ifdef _OPENMP

namespace {

// OpenMP's own loops let threads that wait turn in circles. On a machine that has other work to do as well
// these take the time away from those they wait for, and a loop of a millisecond takes ten. Here whoever
// waits sleeps after a moment, and nobody waits for a thread that has not begun: the caller does its share in
// the meantime.

/// The job at hand: `task` for the numbers below `count`.
std::atomic<Task> task;
std::atomic<const void*> about;
std::atomic<int> count;

/// The job's number in the upper half, in the lower one how many of its pieces have been taken. Who raises it
/// takes the next piece; the job has not changed since the ticket was read, then.
std::atomic<std::uint64_t> ticket;
std::atomic<int> unfinished;  ///< pieces
std::atomic<int> members;     ///< of the team, 0 without one
std::atomic<bool> over;
thread_local int number = 1;  ///< of this thread
thread_local int at_work;     ///< on this piece: what it wants to share it does itself; 0 without one

/// The piece that each thread is about to take or works on.
constexpr int no_piece = std::numeric_limits<int>::max();
Table<std::atomic<int>, most_threads> present;

constexpr std::uint64_t next_job = std::uint64_t{1} << 32;
constexpr std::uint64_t closed = next_job / 2 - 1;  ///< in the lower half: more than any job has

/// Takes and does pieces of the job until there are none; returns the last ticket seen. A thread tells which
/// piece it has ahead of taking it: the later ones must not overlook it.
std::uint64_t work_off() {
  std::atomic<int>& mine = present[number];
  std::uint64_t seen = ticket.load();
  for (;;) {
    const int taken = static_cast<int>(seen % next_job);
    const Task todo = task.load();
    const void* const what = about.load();
    if (taken >= count.load()) break;
    const int piece = taken + 1;
    mine = piece;
    if (!ticket.compare_exchange_strong(seen, seen + 1)) continue;
    at_work = piece;
    todo(what, piece);
    at_work = 0;
    if (unfinished.fetch_sub(1) == 1) unfinished.notify_one();
    seen = ticket.load();
  }
  mine = no_piece;
  return seen;
}

/// Returns when the value is no longer `old`: asks for a while, letting others have the core, then sleeps.
template <class Value>
void await_change(const std::atomic<Value>& value, Value old) {
  for (int patience = 100; patience > 0 && value.load() == old; --patience) std::this_thread::yield();
  value.wait(old);
}

void serve() {
  for (;;) {
    const std::uint64_t seen = work_off();
    if (over) return;  // asked after the ticket was read: the end changes both
    await_change(ticket, seen);
  }
}

}  // namespace

void share(Task todo, const void* what, int pieces) {
  if (pieces == 1 || members < 2 || at_work != 0) {
    for (int k = 1; k <= pieces; ++k) todo(what, k);
    return;
  }
  const std::uint64_t job = (ticket / next_job + 1) * next_job;
  ticket = job + closed;  // from here on nobody takes a piece by an old ticket
  task = todo;
  about = what;
  count = pieces;
  unfinished = pieces;
  ticket = job;
  ticket.notify_all();
  work_off();
  for (int left; (left = unfinished.load()) > 0;) await_change(unfinished, left);
}

void with_threads(void (*run)(void*), void* what) {
  if (members > 0 || omp_get_max_threads() == 1) return run(what);
  over = false;
  count = 0;
  for (int k = 1; k <= most_threads; ++k) present[k] = no_piece;
#pragma omp parallel num_threads(std::min(omp_get_max_threads(), most_threads))
  {
    number = omp_get_thread_num() + 1;
    if (number == 1) {
      members = omp_get_num_threads();
      run(what);
      members = 0;
      over = true;
      ++ticket;
      ticket.notify_all();
    } else {
      serve();
    }
  }
}

int thread_count() { return std::max(1, members.load()); }
int this_thread() { return number; }

void await_turn() {
  if (at_work == 0) return;
  for (int k = 1; k <= members; ++k) {
    while (present[k] < at_work) std::this_thread::yield();
  }
}

#else

void share(Task task, const void* about, int count) {
  for (int k = 1; k <= count; ++k) task(about, k);
}
void with_threads(void (*run)(void*), void* about) { run(about); }
int thread_count() { return 1; }
int this_thread() { return 1; }
void await_turn() {}

#endif

}  // namespace tessaron
