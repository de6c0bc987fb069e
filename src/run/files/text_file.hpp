#pragma once
#include <sys/stat.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>

#include "common/status.hpp"

namespace tessaron {

/// A sequential text file over a plain descriptor, with one fixed buffer: it never allocates. All start
/// values are zero, so a table of these stays out of the program file. Every status is the `errno` of the
/// operation that failed, and tells of this attempt alone: what a full disk has refused stays in the buffer
/// and is tried again, so that nothing is lost as long as the buffer holds it.
class TextFile {
 public:
  /// What a reader keeps of a line; the rest of a longer line is lost.
  static constexpr std::size_t longest_line = 400;

  /// Opens a file for reading; one that does not exist is created empty, and `created` tells so. Only
  /// regular files are read: a directory, a pipe, a socket or a device fails, and nothing is created then.
  [[nodiscard]] Status open_to_read(const char* path, bool& created);
  /// Opens a file for writing: it is created or emptied. A pipe without a reader fails, it does not wait. A
  /// regular file that one of `others` has open, or that the standard streams go to, fails with EBUSY and
  /// keeps what it holds, whatever its name here and there.
  [[nodiscard]] Status open_to_write(const char* path, std::span<const TextFile> others = {});
  bool is_open() const { return open_; }

  /// Reads the next line, without its end ("\n" or "\r\n") and cut to `longest_line` characters. The view is
  /// good until the next call. At the end of the file `at_end` is true and the line empty.
  [[nodiscard]] Status read_line(std::string_view& line, bool& at_end);
  /// Lines read so far.
  int line_number() const { return line_number_; }

  /// Appends a line, given in parts and with its end: whole, or not at all where the buffer is full and the
  /// file does not take it. It reaches the file when the buffer is full, at `flush` or at `close`, or at once
  /// while earlier lines wait for another attempt.
  [[nodiscard]] Status write(std::initializer_list<std::string_view> parts);
  [[nodiscard]] Status flush();
  /// Empties a file that is being written and goes back to its start.
  [[nodiscard]] Status rewind();
  /// Closes the file, whose unwritten lines are lost then; EBADF if it is not open.
  [[nodiscard]] Status close();

  /// The lines that the file lacks, and why the last of them was refused; they stay until the next opening.
  std::int64_t lost_lines() const { return lost_lines_; }
  Status last_failure() const { return last_failure_; }

 private:
  void start(int descriptor, bool writing);
  [[nodiscard]] bool holds(const struct stat& file) const;
  /// Reads more bytes behind those of the buffer; `end_` stays where the file ends.
  [[nodiscard]] Status fill();
  [[nodiscard]] Status skip_rest_of_line();
  int descriptor_ = 0;
  bool open_ = false, writing_ = false;
  int line_number_ = 0;
  Status failure_ = ok;       ///< of the last attempt to write
  Status last_failure_ = ok;  ///< of the last attempt that failed
  std::int64_t lost_lines_ = 0;
  std::size_t begin_ = 0, end_ = 0;  ///< bytes not yet read, or not yet written
  std::array<char, 65536> buffer_{};
};

}  // namespace tessaron
