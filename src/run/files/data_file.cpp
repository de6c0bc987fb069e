#include "run/files/data_file.hpp"

#include <cstddef>
#include <string_view>

#include "common/freeform.hpp"
#include "run/files/file_table.hpp"
#include "run/line_writer.hpp"
#include "run/refusal.hpp"

namespace tessaron {

namespace {

/// True if nothing but separators of free-form words is left.
bool used_up(std::string_view line) { return line.find_first_not_of(" \t,;\r") == std::string_view::npos; }

/// The next line that holds something, unless the file is at its end.
Status next_line(int stream, std::string_view& line, bool& at_end) {
  Status status = ok;
  do {
    status = firead(stream, line, at_end);
  } while (status == ok && !at_end && used_up(line));
  return status;
}

}  // namespace

Status read_reals(int stream, std::span<double> numbers, bool& at_end) {
  std::string_view line;
  Status status = next_line(stream, line, at_end);
  if (status != ok || at_end) return status;
  for (std::size_t k = 0; k < numbers.size(); ++k) {
    if (used_up(line)) {
      status = next_line(stream, line, at_end);
      if (status != ok || at_end) return status;
    }
    const std::string_view word = next_word(line);
    status = read_real(word, numbers[k]);
    if (status != ok) (void)refuse_data(stream, word);
    if (status != ok) return status;
  }
  return ok;
}

Status read_one(int stream, double& number) {
  bool at_end = false;
  const Status status = read_reals(stream, {&number, 1}, at_end);
  return status == ok && at_end ? failed : status;
}

Status read_one(int stream, std::int32_t& number) {
  std::string_view line;
  bool at_end = false;
  Status status = next_line(stream, line, at_end);
  if (status == ok && at_end) status = failed;
  if (status != ok) return status;
  const std::string_view word = next_word(line);
  status = read_integer(word, number);
  if (status != ok) (void)refuse_data(stream, word);
  return status;
}

Status read_data_file(std::string_view name, std::string_view announcement,
                      Status (*read_items)(int stream)) {
  int stream = 0;
  Status status = fiopni(name, stream);
  if (status != ok) return status;
  msgout(announcement);
  status = read_items(stream);
  // Whatever else is wrong with the file stands at the line that was read last.
  if (status != ok) (void)refuse_data(stream);
  const Status closed = ficlos(stream);
  return status != ok ? status : closed;
}

}  // namespace tessaron
