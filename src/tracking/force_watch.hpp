#pragma once

namespace tessaron {

/// What a person is told on standard error about the forces of a tracking run: forces that are not those of
/// the present bunch, and evaluations that failed.

/// A run begins: tells if it starts with forces that were stored before the latest `particles`, `lattice` or
/// `forces` command.
void begin_force_watch();
/// An evaluation failed at the time ct [m]; the first one of the run is told at once.
void note_failed_evaluation(double ct);
/// The run is over: tells how many evaluations failed, if any.
void end_force_watch();

}  // namespace tessaron
