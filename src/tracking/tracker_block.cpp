#include <array>
#include <string_view>

#include "common/freeform.hpp"
#include "run/deck.hpp"
#include "run/line_writer.hpp"
#include "tracking/tracking_record_owner.hpp"

namespace tessaron {

namespace {

constexpr std::array<std::string_view, 4> names = {"end_time_c0", "delta_time_c0", "end_time_marker",
                                                   "end_time_shift_c0"};
using Keys = KeyTable<names.size()>;

Status take_real(const Keys& keys, std::string_view name, double& setting) {
  return keys.seen(name) ? keys.real(name, setting) : ok;
}

}  // namespace

Status tracker() {
  TrackingRecord& t = trkcom_store;
  t.end_time_c0 = t.delta_time_c0 = t.end_time_shift_c0 = undefined_real;
  t.end_time_marker = undefined_text;

  Keys keys(names);
  Status status = keys.read();
  if (status == ok) status = take_real(keys, "end_time_c0", t.end_time_c0);
  if (status == ok) status = take_real(keys, "delta_time_c0", t.delta_time_c0);
  if (status == ok && keys.seen("end_time_marker")) t.end_time_marker = keys.value("end_time_marker");
  if (status == ok) status = take_real(keys, "end_time_shift_c0", t.end_time_shift_c0);
  if (status != ok) msgout("error in tracker");
  return status;
}

Status track_accuracy() {
  Status status = getspc("{");
  int depth = 1;
  while (status == ok && depth > 0) {
    Text<80> token;
    status = getcmd(token);
    if (status != ok) break;
    if (token == "{") ++depth;
    if (token == "}") --depth;
  }
  if (status != ok) msgout("error in lyrass");
  return status;
}

}  // namespace tessaron
