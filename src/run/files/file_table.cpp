#include "run/files/file_table.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "common/freeform.hpp"
#include "common/undefined.hpp"
#include "run/diagnosis.hpp"
#include "run/files/file_table_owner.hpp"
#include "run/files/text_file.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

FileTable filetab_store;
const FileTable& filetab = filetab_store;

namespace {

constexpr int first_deck = 10, last_deck = 19;
constexpr int first_data = 20, last_data = 30;
constexpr int log_stream = 31;

Table<TextFile, log_stream - first_deck + 1, first_deck> files;
/// The line of each level that was left for an included file.
Table<DeckLine, last_deck - first_deck + 2, first_deck - 1> saved;

using FullName = Text<200>;
Table<FullName, log_stream - first_deck + 1, first_deck> names;
/// A person has been told that the file could not be written; a file that is read has nothing to tell.
Table<bool, log_stream - first_deck + 1, first_deck> failure_told;

/// The name as the system wants it: closed by a null character.
struct Path {
  std::array<char, 512> chars{};
};

Status make_path(std::string_view name, Path& path) {
  if (name.find('\0') != std::string_view::npos) return EINVAL;
  if (name.size() >= path.chars.size()) return ENAMETOOLONG;
  std::copy(name.begin(), name.end(), path.chars.begin());
  return ok;
}

/// The directory up to its first blank, a slash and the name; the bare name where no directory is set.
FullName full_name(const Text<80>& directory, std::string_view name) {
  const std::size_t size = name.find_last_not_of(' ') + 1;
  name = name.substr(0, size);
  if (directory == undefined_text) return name;
  std::array<char, 200> full;
  const std::string_view folder = directory.word();
  char* end = std::copy(folder.begin(), folder.end(), full.begin());
  *end++ = '/';
  const std::size_t room = full.size() - folder.size() - 1;
  end = std::copy_n(name.begin(), std::min(room, name.size()), end);
  return std::string_view(full.data(), static_cast<std::size_t>(end - full.data()));
}

/// What was met when files were opened, for the diagnosis of a failed run.
FileTrouble trouble;

Status open_to_read(int stream, const FullName& name) {
  names[stream] = name;
  failure_told[stream] = true;
  Path path;
  bool created = false;
  Status status = make_path(name.view(), path);
  if (status == ok) status = files[stream].open_to_read(path.chars.data(), created);
  if (status != ok || created) trouble = {name, status};
  return status;
}

Status open_to_write(int stream, const FullName& name) {
  names[stream] = name;
  failure_told[stream] = false;
  Path path;
  Status status = make_path(name.view(), path);
  if (status == ok)
    status = files[stream].open_to_write(path.chars.data(), files.run(first_deck, files.capacity));
  if (status == EBUSY) msgout("error: this file is the deck or another output of the run");
  if (status != ok) trouble = {name, status};
  return status;
}

/// Passes the status of a write on; the first failure of a file is told to a person.
Status told_once(int stream, Status status) {
  if (status != ok && !failure_told[stream]) {
    failure_told[stream] = true;
    tell_write_failed(names[stream].view(), status);
  }
  return status;
}

/// Closes a file and tells how much it lacks.
Status close_stream(int stream) {
  const TextFile& file = files[stream];
  const Status status = files[stream].close();
  if (file.lost_lines() == 0) return told_once(stream, status);
  tell_lines_lost(names[stream].view(), file.lost_lines(), file.last_failure());
  return status;
}

/// The lowest free data stream, or 0.
int free_stream() {
  for (int stream = first_data; stream <= last_data; ++stream) {
    if (!filetab.in_use[stream]) return stream;
  }
  return 0;
}

bool is_data_stream(int stream) {
  return stream >= first_data && stream <= last_data && filetab.in_use[stream];
}

void empty_line(DeckLine& line) {
  line.line = "***";
  line.pos = 1;
  line.last = 0;
}

}  // namespace

Status fiinit(std::string_view name) {
  filetab_store.inpath = undefined_text;
  filetab_store.outpath = undefined_text;
  filetab_store.cudeck = first_deck;
  filetab_store.logopen = false;
  filetab_store.in_use.fill(false);
  trouble = {};
  const Status status = open_to_read(first_deck, name);
  if (status != ok) msgout("error in fiinit");
  return status;
}

Status fiio1(std::string_view name, DeckLine& line) {
  if (name == "*** initialize ***") {
    empty_line(line);
    return ok;
  }
  if (filetab.cudeck >= last_deck) {
    msgout("error in fiio1: too many files");
    return failed;
  }
  saved[filetab.cudeck] = line;
  const int stream = ++filetab_store.cudeck;
  empty_line(line);
  const Status status = open_to_read(stream, full_name(filetab.inpath, name));
  if (status != ok) msgout("error in fiio1: cannot open file");
  return status;
}

Status fiio2(DeckLine& line) {
  const int stream = filetab.cudeck;
  if (stream < first_deck) {
    msgout("error in fiio2: no file to close");
    return failed;
  }
  if (const Status status = files[stream].close(); status != ok) {
    msgout("error in fiio2: cannot close file");
    return status;
  }
  --filetab_store.cudeck;
  if (stream == first_deck) {
    line.line = "exit";
    line.pos = 1;
    line.last = 4;
  } else {
    line = saved[filetab.cudeck];
  }
  return ok;
}

Status fiexit() {
  Status failures = 0;
  for (int stream = filetab.cudeck; stream >= first_deck; --stream) {
    if (files[stream].close() != ok) {
      ++failures;
      msgout("error in fiexit");
    }
  }
  filetab_store.cudeck = first_deck - 1;
  return failures;
}

Status fiunit(int& stream) {
  stream = filetab.cudeck;
  return ok;
}

Status fiopno(std::string_view name, int& stream) {
  stream = free_stream();
  if (stream == 0) return failed;
  const Status status = open_to_write(stream, full_name(filetab.outpath, name));
  filetab_store.in_use[stream] = status == ok;
  return status;
}

Status fiopni(std::string_view name, int& stream) {
  stream = free_stream();
  if (stream == 0) return failed;
  const Status status = open_to_read(stream, full_name(filetab.inpath, name));
  filetab_store.in_use[stream] = status == ok;
  return status;
}

Status ficlos(int stream) {
  if (!is_data_stream(stream)) return failed;
  filetab_store.in_use[stream] = false;
  return close_stream(stream);
}

Status fiwrite(int stream, std::string_view line) {
  if (!is_data_stream(stream)) return failed;
  return told_once(stream, files[stream].write({line, "\n"}));
}

Status fiflush(int stream) {
  return is_data_stream(stream) ? told_once(stream, files[stream].flush()) : failed;
}

Status firead(int stream, std::string_view& line, bool& at_end) {
  if (stream >= first_deck && stream <= last_data) return files[stream].read_line(line, at_end);
  // Behind the end of the top-level deck there is nothing but the end of a file.
  line = {};
  at_end = true;
  return ok;
}

Status firewind(int stream) {
  return is_data_stream(stream) ? told_once(stream, files[stream].rewind()) : failed;
}

Status open_log(std::string_view name) {
  const Status status = open_to_write(log_stream, full_name(filetab.outpath, name));
  filetab_store.logopen = status == ok;
  return status;
}

Status close_log() {
  filetab_store.logopen = false;
  return close_stream(log_stream);
}

void log_line(std::string_view text) {
  if (!filetab.logopen) return;
  TextFile& log = files[log_stream];
  // Line by line, so that a person can follow the run.
  Status status = log.write({text.empty() ? "" : " ", text, "\n"});
  if (status == ok) status = log.flush();
  (void)told_once(log_stream, status);
}

FilePlace file_place(int stream) { return {stream, files[stream].line_number()}; }

FilePlace deck_place() {
  int level = std::max(filetab.cudeck, first_deck);
  if (level > first_deck && !files[level].is_open()) --level;
  return file_place(level);
}

Position position_text(const FilePlace& place) {
  std::array<char, 240> chars;
  const std::string_view name = names[place.stream].view();
  char* end = std::copy(name.begin(), name.end(), chars.begin());
  if (place.line > 0) {
    std::array<char, 16> number;
    put_integer(number.data(), 16, place.line);
    *end++ = ':';
    end = std::copy(std::find_if(number.begin(), number.end(), [](char c) { return c != ' '; }), number.end(),
                    end);
  }
  return std::string_view(chars.data(), static_cast<std::size_t>(end - chars.data()));
}

const FileTrouble& file_trouble() { return trouble; }

Status close_all_files() {
  for (int stream = first_deck; stream <= last_data; ++stream) {
    if (files[stream].is_open()) (void)close_stream(stream);
  }
  filetab_store.in_use.fill(false);
  return filetab.logopen ? close_log() : ok;
}

}  // namespace tessaron
