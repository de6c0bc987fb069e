#pragma once
#include <cstdint>
#include <string_view>

namespace tessaron {

/// Tells a person on standard error, in one line, where a run stopped that did not come to its orderly end:
/// the deck file and line that reading stands at and what the run was doing, and, where there is one, the
/// word that a reader refused, with its own file and line, and the file that could not be opened or was
/// missing:
///     tessaron: stopped at tessar.in:12 (command particles); bunch.fmt1 did not exist and was created empty
///     tessaron: stopped at tessar.in:8 (command track_step), at the word "O.1"
///     tessaron: stopped at tessar.in:9 (command forces), at the word "1e-4x" of sizes:3
void tell_where_run_stopped(std::string_view doing);

/// Tells that a signal has ended the run: the place in the deck, what the run was doing, and the bunch time,
/// c t [m], of the last step that was finished:
///     tessaron: ended by SIGTERM at tessar.in:12 (command tracker), ct = 1.25 m
void tell_run_ended(std::string_view signal, std::string_view place, std::string_view doing, double ct);

/// Tells a person at a terminal that a good run met an input file that did not exist: most likely a wrong
/// name, or the wrong folder.
void hint_at_missing_file();

/// Tells that a deck held no command, or was missing, so that nothing was done.
void tell_no_command();

/// Tells that the program takes no arguments, and that this one therefore starts no run.
void tell_argument_refused(std::string_view word);

/// Tells a person what the console does not: `text`, behind the program's name.
void tell_person(std::string_view text);

/// The value as a person wants it in such a line: to four significant digits.
double rounded(double value);

/// Tells that a file could not be written, with the code of the write. The run goes on, and what waits is
/// tried again with the next write.
void tell_write_failed(std::string_view name, int code);
/// Tells how many lines a file lacks that is now closed, and the code of the last write that failed.
void tell_lines_lost(std::string_view name, std::int64_t lines, int code);

/// Tells why the file of a monitor is missing, with the code of its opening; the run goes on.
void tell_monitor_failed(std::string_view name, int code);

/// Tells that the four digits of a monitor's files are used up and begin again.
void tell_numbers_go_round(std::string_view name);

}  // namespace tessaron
