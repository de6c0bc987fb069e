#include "common/freeform.hpp"
#include "forces/block_files.hpp"
#include "forces/force_settings_owner.hpp"
#include "run/files/data_file.hpp"
#include "run/files/file_table.hpp"
#include "run/line_writer.hpp"
#include "run/refusal.hpp"

namespace tessaron {

namespace {

Status refuse(const char* message) {
  msgout(message);
  return failed;
}

/// Copies comment lines to the log and reads sigwak from the first other line. Lines count up to column 72.
Status read_sigwak(int stream, double& sigwak) {
  for (;;) {
    std::string_view line;
    bool at_end = false;
    const Status status = firead(stream, line, at_end);
    if (status != ok) return status;
    if (at_end) return failed;
    line = line.substr(0, 72);
    if (line.find('!') == std::string_view::npos) {
      const std::string_view word = next_word(line);
      const Status read = read_real(word, sigwak);
      return read == ok ? ok : refuse_data(stream, word);
    }
    msgout(line);
  }
}

Status read_values(int stream, std::int64_t count) {
  for (int k = 1; k <= count; ++k) {
    const Status status = read_one(stream, wake_table_store[k]);
    if (status != ok) return status;
  }
  return ok;
}

Status read_items(int stream) {
  ForceSettings& f = force_settings_store;
  if (read_sigwak(stream, f.sigwak) != ok || !(f.sigwak > 0)) {
    return refuse("error in wake file: ??? sigwak.le.0");
  }
  if (read_one(stream, f.stpwak) != ok || !(f.stpwak > 0)) {
    return refuse("error in wake file: ??? stpwak.le.0");
  }
  if (read_one(stream, f.n1wak) != ok || f.n1wak * f.stpwak > -3 * f.sigwak) {
    return refuse("error in wake file: ??? n1wak*stpwak > -3*sigwak");
  }
  if (read_one(stream, f.n2wak) != ok || f.n2wak * f.stpwak < 3 * f.sigwak) {
    return refuse("error in wake file: ??? n2wak*stpwak < -3*sigwak");
  }
  const std::int64_t count = std::int64_t{f.n2wak} - f.n1wak + 1;
  if (count > narcsr) return refuse("error in wake file: ??? n2wak-n1wak+1.>.narcsr");
  if (read_values(stream, count) != ok) return refuse("error in wake file: ??? data array");
  return ok;
}

}  // namespace

Status read_wake_file(std::string_view name) {
  return read_data_file(name, FreeForm("read wakefile:", name).items(), read_items);
}

}  // namespace tessaron
