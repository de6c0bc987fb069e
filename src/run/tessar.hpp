#pragma once

namespace tessaron {

/// The main operation: reads the deck `tessar.in` of the working directory once, from the first command to
/// the last, and carries it out. A failure shows on the console and in the log, never in the exit status.
void tessar();

/// Writes the program's name, release and capacities.
void banner();

}  // namespace tessaron
