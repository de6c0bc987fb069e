#include "common/chunks.hpp"

#ifdef _OPENMP
#include <omp.h>

#include <atomic>
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
thread_local bool at_work;  ///< on a piece: what it wants to share it does itself

constexpr std::uint64_t next_job = std::uint64_t{1} << 32;
constexpr std::uint64_t closed = next_job / 2 - 1;  ///< in the lower half: more than any job has

/// Takes and does pieces of the job until there are none; returns the last ticket seen.
std::uint64_t work_off() {
  std::uint64_t seen = ticket.load();
  for (;;) {
    const int taken = static_cast<int>(seen % next_job);
    const Task todo = task.load();
    const void* const what = about.load();
    if (taken >= count.load()) return seen;
    if (!ticket.compare_exchange_strong(seen, seen + 1)) continue;
    at_work = true;
    todo(what, taken + 1);
    at_work = false;
    if (unfinished.fetch_sub(1) == 1) unfinished.notify_one();
    seen = ticket.load();
  }
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
  if (pieces == 1 || members < 2 || at_work) {
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
#pragma omp parallel
  {
    if (omp_get_thread_num() == 0) {
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

#else

void share(Task task, const void* about, int count) {
  for (int k = 1; k <= count; ++k) task(about, k);
}
void with_threads(void (*run)(void*), void* about) { run(about); }
int thread_count() { return 1; }

#endif

}  // namespace tessaron
