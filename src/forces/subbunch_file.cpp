#include <array>

#include "forces/block_files.hpp"
#include "forces/force_settings_owner.hpp"
#include "run/files/data_file.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

Status refuse(const char* message) {
  msgout(message);
  return failed;
}

bool sizes_positive(const SubbunchRow& row) {
  const ForceSettings& f = force_settings;
  return (!f.long_from_file || row.sigma_long > 0) && (!f.rad_from_file || row.sigma_rad > 0) &&
         (!f.vert_from_file || row.sigma_vert > 0);
}

Status read_rows(int stream) {
  std::int32_t& rows = force_settings_store.subbunch_rows;
  rows = 0;
  for (;;) {
    std::array<double, 4> number;
    bool at_end = false;
    const Status status = read_reals(stream, number, at_end);
    if (status != ok) return status;
    if (at_end) return rows > 0 ? ok : failed;

    const SubbunchRow row{number[0], number[1], number[2], number[3]};
    if (rows > 0 && row.ct < subbunch_table[rows].ct) {
      return refuse("first column with c*time is not increasing");
    }
    if (!sizes_positive(row)) return refuse("file with nonepositive subbunch length");
    if (rows + 1 >= matist) return refuse("too many points in file: increase matist");
    subbunch_table_store[++rows] = row;
  }
}

}  // namespace

Status read_subbunch_file(std::string_view name) {
  return read_data_file(name, "read subbunch properties", read_rows);
}

}  // namespace tessaron
