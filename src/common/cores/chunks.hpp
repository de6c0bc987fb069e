#pragma once
#include <algorithm>
#include <cstdint>

#include "common/table.hpp"

namespace tessaron {

/// Work on many things, shared among the cores of the machine.
///
/// The things 1..n are cut into chunks, and a chunk is worked on by one thread from its first thing to its
/// last. The cut follows from the amount of work alone, never from the number of threads. So every digit of a
/// result is the same for any number of threads, one included, as long as a chunk
///   - writes what belongs to its own things, or
///   - leaves a partial sum in a place of its own; these are added in the order of the chunks afterwards.
/// Chunks touch neither files nor a shared record. What one writes on the console waits until all before it
/// have ended, and so does a fatal stop: the console, too, is the same for any number of threads.

/// The things first..last, none if last < first.
struct Chunk {
  int number;  ///< 1 .. count
  int first, last;
  int size() const { return last - first + 1; }
};

inline constexpr int most_chunks = 64;  ///< more of them keep more cores busy, and cost more partial sums

/// A cut of 1..n into chunks of nearly equal size.
struct Chunks {
  int n;
  int count;  ///< at least 1

  /// As many chunks as there are `smallest` things in n, within 1..most.
  static Chunks of(int n, int smallest, int most = most_chunks) {
    return {n, std::clamp(n / smallest, 1, most)};
  }

  Chunk operator[](int number) const { return {number, end(number - 1) + 1, end(number)}; }

 private:
  int end(int number) const { return static_cast<int>(std::int64_t{n} * number / count); }
};

/// A piece of work of a given number, with what it needs to know.
using Task = void (*)(const void* about, int number);

/// Calls task(about, k) for k = 1..count, in any order and several at a time; returns when all have ended.
/// Within a task everything is done by the thread itself.
void share(Task task, const void* about, int count);

/// Calls work(chunk) for every chunk, in any order and several at a time; returns when all have ended. A
/// single chunk is worked on by the caller alone.
template <class Work>
void over_chunks(const Chunks& chunks, const Work& work) {
  struct About {
    const Chunks& chunks;
    const Work& work;
  } const about{chunks, work};
  share(
      [](const void* p, int number) {
        const About& a = *static_cast<const About*>(p);
        a.work(a.chunks[number]);
      },
      &about, chunks.count);
}

/// Runs `run` with a team of threads at hand for all that it shares. OpenMP makes the team: a thread for each
/// core that the process is bound to, or what OMP_NUM_THREADS and its like say. Without OpenMP, and outside
/// of this call, work is done by the caller alone.
void with_threads(void (*run)(void*), void* about);
template <class Run>
void with_threads(Run run) {
  with_threads([](void* p) { (*static_cast<Run*>(p))(); }, &run);
}

inline constexpr int most_threads = 256;  ///< a larger team is made no use of

/// Threads of the team: 1 outside of with_threads.
int thread_count();
/// The number of the calling thread, 1 .. thread_count().
int this_thread();
/// Returns when all pieces before the one that the calling thread works on have ended; at once outside of
/// shared work. The console asks ahead of all that it writes.
void await_turn();

/// A thing that each thread needs one of for itself, such as room to work in.
template <class T>
struct PerThread {
  Table<T, most_threads> of;
  T& mine() { return of[this_thread()]; }
};

}  // namespace tessaron
