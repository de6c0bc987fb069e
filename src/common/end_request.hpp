#pragma once
#include <atomic>
#include <string_view>

namespace tessaron {

/// The wish of a person or of a batch system that the run end: SIGTERM or SIGINT. The handler does no more
/// than to note the signal, and gives the next one its usual effect, which ends the process at once. Whatever
/// can take long looks at `end_requested` now and then and is then cut short; whoever called it comes to
/// `obey_end_request` before the results that it left are used.

/// The number of the signal, 0 until one has come. Owner: common/end_request.cpp.
extern const std::atomic<int>& end_signal;

/// Whether the run has been asked to end. Once true it stays so. It costs two loads and may be called by any
/// thread.
inline bool end_requested() { return end_signal.load(std::memory_order_relaxed) != 0; }

/// From here on SIGTERM and SIGINT are requests; one that the process was told to ignore stays ignored.
void catch_end_signals();

/// Notes a request that came to another process of the group.
void request_end(int signal);

/// "SIGTERM" or "SIGINT".
std::string_view end_signal_name();

/// Ends the run in order by the hook if it has been asked to end; else, or without a hook, it returns. Called
/// where no other thread of the process is at work.
void obey_end_request();

/// What ends the run: it tells of it, closes the files and ends the process.
void set_end_hook(void (*hook)());

}  // namespace tessaron
