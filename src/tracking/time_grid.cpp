#include "run/files/data_file.hpp"
#include "run/line_writer.hpp"
#include "tracking/tracking_record_owner.hpp"

namespace tessaron {

namespace {

Status read_values(int stream) {
  TrackingRecord& t = trkcom_store;
  t.ngrid = 0;
  for (;;) {
    double value = 0;
    bool at_end = false;
    const Status status = read_reals(stream, {&value, 1}, at_end);
    if (status != ok) return status;
    if (at_end) return t.ngrid > 0 ? ok : failed;
    if (t.ngrid > 0 && value < t.grid[t.ngrid]) {
      msgout("values in time_grid_file not increasing");
      return failed;
    }
    if (t.ngrid + 1 >= matist) {
      msgout("too many points in time_grid_file: increase matist");
      return failed;
    }
    t.grid[++t.ngrid] = value;
  }
}

}  // namespace

Status read_time_grid(std::string_view name) {
  return read_data_file(name, "read time_grid_file", read_values);
}

}  // namespace tessaron
