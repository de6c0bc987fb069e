#include "run/diagnosis.hpp"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>

#include "common/freeform.hpp"
#include "run/files/file_table.hpp"
#include "run/progress.hpp"
#include "run/refusal.hpp"

namespace tessaron {

namespace {

/// One line for standard error. Bytes that a terminal would obey are shown as question marks, tabs as blanks.
class Line {
 public:
  Line& operator<<(std::string_view text) {
    for (const char c : text.substr(0, chars_.size() - 1 - size_)) {
      const auto code = static_cast<unsigned char>(c);
      chars_[size_++] = c == '\t' ? ' ' : code < 32 || code == 127 ? '?' : c;
    }
    return *this;
  }
  void write() {
    progress_wipe();
    chars_[size_++] = '\n';
    if (::write(STDERR_FILENO, chars_.data(), size_) < 0) return;  // nobody to tell
  }

 private:
  std::array<char, 800> chars_;
  std::size_t size_ = 0;
};

/// What the code of a failed opening means to a person.
const char* reason(int code) {
  if (code == failed) return "too many files are open";
  if (code == EBUSY) return "it is the deck or another output of the run";
  return std::strerror(code);
}

/// Names the word that a reader could not take, unless it is the command that is named already.
void name_refused_word(Line& line, const Refusal& refused, std::string_view doing) {
  const std::string_view word = refused.word.view();
  const bool has_tab = word.find('\t') != std::string_view::npos;
  const bool is_command = doing.substr(std::min(doing.size(), doing.find(' ') + 1)) == word;
  if (!word.empty() && (has_tab || !is_command)) {
    line << ", at the word \"" << word << "\"" << (refused.in_data_file ? " of " : "");
  } else if (refused.in_data_file) {
    line << ", in ";
  }
  if (refused.in_data_file) line << refused.position.view();
  if (has_tab) line << " with a tab in it: blanks, commas and semicolons part words, tabs do not";
}

}  // namespace

void tell_where_run_stopped(std::string_view doing) {
  Line line;
  const Refusal& refused = refusal();
  const bool in_deck = !refused.position.blank() && !refused.in_data_file;
  line << "tessaron: stopped at " << (in_deck ? refused.position : position_text(deck_place())).view();
  line << " (" << doing << ")";
  name_refused_word(line, refused, doing);
  const FileTrouble& trouble = file_trouble();
  if (!trouble.name.blank()) {
    if (trouble.code != 0) {
      line << "; cannot open " << trouble.name.view() << ": " << reason(trouble.code);
    } else {
      line << "; " << trouble.name.view() << " did not exist and was created empty";
    }
  }
  line.write();
}

void tell_run_ended(std::string_view signal, std::string_view place, std::string_view doing, double ct) {
  Line line;
  line << "tessaron: ended by " << signal << " at " << place << " (" << doing
       << "), ct =" << FreeForm(rounded(ct)).view() << " m";
  line.write();
}

void hint_at_missing_file() {
  const FileTrouble& trouble = file_trouble();
  if (trouble.name.blank() || trouble.code != 0 || ::isatty(STDERR_FILENO) != 1) return;
  Line line;
  line << "tessaron: " << trouble.name.view() << " did not exist and was created empty";
  line.write();
}

void tell_no_command() {
  Line line;
  line << "tessaron: tessar.in ";
  line << (file_trouble().name == "tessar.in" ? "did not exist and was created empty" : "holds no command");
  line << ": nothing was done";
  line.write();
}

void tell_argument_refused(std::string_view word) {
  Line line;
  line << "tessaron: unknown argument \"" << word
       << "\": the program takes none and reads the deck tessar.in in its working directory";
  line.write();
}

void tell_person(std::string_view text) {
  Line line;
  line << "tessaron: " << text;
  line.write();
}

double rounded(double value) {
  std::array<char, 32> digits;
  const auto end =
      std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::scientific, 3)
          .ptr;
  std::from_chars(digits.data(), end, value);
  return value;
}

void tell_write_failed(std::string_view name, int code) {
  Line line;
  line << "tessaron: cannot write " << name << ": " << std::strerror(code) << "; every write tries again";
  line.write();
}

void tell_lines_lost(std::string_view name, std::int64_t lines, int code) {
  Line line;
  line << "tessaron:" << FreeForm(lines).view() << (lines == 1 ? " line of " : " lines of ") << name
       << " could not be written: " << std::strerror(code);
  line.write();
}

void tell_monitor_failed(std::string_view name, int code) {
  Line line;
  line << "tessaron: monitor file " << name << " failed: " << reason(code);
  line.write();
}

void tell_numbers_go_round(std::string_view name) {
  Line line;
  line << "tessaron: monitor " << name
       << ": the numbers of its files go round after 9999, and its first files are written over";
  line.write();
}

}  // namespace tessaron
