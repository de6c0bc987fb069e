#pragma once
#include <string_view>

#include "common/status.hpp"
#include "common/table.hpp"
#include "common/text.hpp"

namespace tessaron {

/// The line that the deck reader works on. `pos` is the place of the next unread character, `last` that of
/// the last non-blank one, both counted from 1; the line is used up when `pos` is greater than `last`.
struct DeckLine {
  Text<400> line;
  int pos = 1;
  int last = 0;
};

/// All open files of the run: a stack of deck files (streams 10 to 19), a pool of data streams (20 to 30) and
/// the log. Owner: run/files/file_table.cpp.
struct FileTable {
  int cudeck = 9;    ///< current deck stream; 9 when the deck has ended
  Text<80> inpath;   ///< directory of files that are read; "undefined" for none
  Text<80> outpath;  ///< directory of files that are written
  bool logopen = false;
  Table<bool, 11, 20> in_use;  ///< data streams in use
};
extern const FileTable& filetab;
/// The top-level deck has come to its end.
inline bool deck_ended() { return filetab.cudeck < 10; }

/// Start of the table: no directories, no log, the top-level deck `name` open as stream 10.
[[nodiscard]] Status fiinit(std::string_view name);
/// Pushes the current line and makes `name`, under `inpath`, the current deck file; with the name
/// "*** initialize ***" it only empties the line.
[[nodiscard]] Status fiio1(std::string_view name, DeckLine& line);
/// Closes the current deck file and restores the line of the file before; at the end of the top-level deck
/// the line becomes "exit".
[[nodiscard]] Status fiio2(DeckLine& line);
/// Closes all deck files. The status is the count of failed closes.
[[nodiscard]] Status fiexit();
/// The stream of the current deck file.
[[nodiscard]] Status fiunit(int& stream);

/// Takes the lowest free data stream and opens `name` in it under `outpath`, for writing: the file is created
/// or emptied. Status 1 without a message when all 11 are in use; else the open's code. A deck file that is
/// being read and a file that another stream writes are refused, with a message and EBUSY.
[[nodiscard]] Status fiopno(std::string_view name, int& stream);
/// The same under `inpath`, for reading; a file that does not exist is created empty.
[[nodiscard]] Status fiopni(std::string_view name, int& stream);
/// Closes a data stream; status 1 if it is not in use.
[[nodiscard]] Status ficlos(int stream);

/// Writes one line, whole and as it is, to a data stream. It may wait in the stream's buffer: a full disk is
/// met here, by `fiflush` or at the close. Every write tries again what an earlier one could not do, and its
/// status is that of this attempt. Standard error tells the first failure of a file, and how many lines it
/// lacks when it is closed.
[[nodiscard]] Status fiwrite(int stream, std::string_view line);
/// Hands what was written to a data stream to the operating system, so that a person can look at it while the
/// run goes on.
[[nodiscard]] Status fiflush(int stream);
/// Reads the next line of a stream without its end ("\n" or "\r\n"), cut to the characters that the reader
/// keeps (400). The view is good until the next read. At the end of the file `at_end` is true.
[[nodiscard]] Status firead(int stream, std::string_view& line, bool& at_end);
/// Goes back to the start of a data stream that is written and empties it.
[[nodiscard]] Status firewind(int stream);

/// The block reader of `io_path`.
[[nodiscard]] Status iopath();

/// Writes a line to the log if it is open (through `msgout` alone).
void log_line(std::string_view text);

/// A line of a file of the table, and how standard error writes it: "tessar.in:12", or the file alone while
/// no line of it was read.
struct FilePlace {
  int stream = 0, line = 0;
};
using Position = Text<240>;
Position position_text(const FilePlace& place);
/// Where reading of an open file stands.
FilePlace file_place(int stream);
/// Where reading of the deck stands: in the innermost of the included files. One that could not be opened is
/// named by the line that asked for it.
FilePlace deck_place();

/// The last file that could not be opened (`code` is that of the open), or that did not exist and was created
/// empty for its reader (`code` is 0). The name is blank if there was none.
struct FileTrouble {
  Text<200> name;
  Status code = ok;
};
const FileTrouble& file_trouble();

/// Flushes and closes every open file (end of the run). The status is that of the log.
Status close_all_files();

}  // namespace tessaron
