#pragma once

namespace tessaron {

/// The progress line of a tracking run: bunch time, end time, share done, time left, and how many threads are
/// at work if there are several. It stands on standard error, and only where that is a terminal: there the
/// run overwrites it a few times a second at most, and wipes it ahead of every console line that goes to a
/// terminal too.

/// A tracking run from `start` to `end`, both c t [m], begins.
void progress_start(double start, double end);
/// The bunch has come to the time ct.
void progress_step(double ct);
/// The run is over, or something else is to be written to the terminal: the line goes away.
void progress_wipe();

}  // namespace tessaron
