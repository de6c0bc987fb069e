#pragma once
#include <string_view>

namespace tessaron {

/// Writes one free-form line to the console (standard output): a blank, the text, the line's end; an empty
/// text gives an empty line. The line is handed to the operating system at once. Nothing is written while the
/// console is silent. The log does not get the line. In work that threads share, lines come in the order of
/// its pieces.
void console_line(std::string_view text);

/// Makes this process write nothing to the console (workers of a process group).
void console_silence();

/// A pause: writes the message and waits until the operator enters a line on the console (standard input); at
/// the input's end it goes on at once. A silent process, or one that has been asked to end, goes on at once.
void pause_for_operator(std::string_view message);

/// A fatal stop: writes the line unless it is empty, calls the stop hook and ends the process with exit
/// status 0.
[[noreturn]] void fatal_stop(std::string_view line = {});

/// What is called ahead of every console line: it takes a progress line off the terminal.
void set_line_hook(void (*hook)());

/// What a fatal stop calls ahead of its end: it closes the files, tells a person where the run stood, ends a
/// process group.
void set_stop_hook(void (*hook)(std::string_view line));

}  // namespace tessaron
