#pragma once

namespace tessaron {

/// The main operation: reads the deck `tessar.in` of the working directory once, from the first command to
/// the last, and carries it out. A failure shows on the console and in the log, never in the exit status.
void tessar();

/// Everything a process does: joins its group, runs the deck as its master or works for the master, leaves in
/// order. With arguments there is no run: `--help` and `--version` are answered on standard output, any other
/// word is refused on standard error. \return the exit status: 0, or 2 for a refused argument
int run_process(int argc, char** argv);

/// Writes the program's name, release and capacities.
void banner();

}  // namespace tessaron
