#include "monitors/monitors.hpp"

#include <array>
#include <string_view>

#include "beam/bunch_record.hpp"
#include "common/freeform.hpp"
#include "lattice/lattice_record.hpp"
#include "monitors/monitor_outputs.hpp"
#include "monitors/monitors_owner.hpp"
#include "run/deck.hpp"
#include "run/diagnosis.hpp"
#include "run/files/file_table.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

constinit MonitorTable montab_store;
const MonitorTable& montab = montab_store;

namespace {

constexpr std::string_view now = "now";
constexpr std::string_view all = "all";

/// The number of one of the named formats.
Status named_format(const Text<80>& text, std::int32_t& format) {
  constexpr std::array<std::string_view, 4> names = {"fmt0", "fmt1", "fmt2", "fmt3"};
  for (std::size_t k = 0; k < names.size(); ++k) {
    if (text == names[k]) {
      format = static_cast<std::int32_t>(k);
      return ok;
    }
  }
  return failed;
}

Status read_type(const Text<80>& text, MonitorType& type) {
  constexpr std::array<std::string_view, 4> names = {"phase", "steps", "subbunch", "green"};
  for (std::size_t k = 0; k < names.size(); ++k) {
    if (text == names[k]) {
      type = static_cast<MonitorType>(k);
      return ok;
    }
  }
  return failed;
}

Status read_particle(const Text<80>& text, std::int32_t& particle) {
  if (text == all) {
    particle = 0;
    return ok;
  }
  const Status status = read_integer(text.view(), particle);
  return status == ok && particle < 1 ? failed : status;
}

Status read_time_step(const Text<80>& text, Monitor& monitor) {
  monitor.step_known = true;
  if (text == all) {
    monitor.time_step = 0;
    return ok;
  }
  const Status status = read_real(text.view(), monitor.time_step);
  return status == ok && monitor.time_step < 0 ? failed : status;
}

using OnlineKeys = KeyTable<11>;

/// The three keys of a time.
struct TimeKeys {
  std::string_view c0, marker, shift;
};

/// A time: a number, or a marker of the lattice and a shift from it. As long as the marker's time is not
/// known, `time` holds the shift.
Status read_time(const OnlineKeys& keys, const TimeKeys& names, double& time, Text<80>& marker, bool& known) {
  double shift = 0;
  if (keys.seen(names.shift)) {
    if (const Status status = keys.real(names.shift, shift); status != ok) return status;
  }
  known = keys.seen(names.c0);
  if (known) return keys.real(names.c0, time);
  if (!keys.seen(names.marker)) return failed;
  marker = keys.value(names.marker);
  time = shift;
  return ok;
}

Status read_start_time(const OnlineKeys& keys, Monitor& monitor) {
  if (keys.seen("start_time_c0") && keys.value("start_time_c0") == now) {
    monitor.start_marker = now;
    monitor.start_time = 0;
    return ok;
  }
  return read_time(keys, {"start_time_c0", "start_time_marker", "start_time_shift_c0"}, monitor.start_time,
                   monitor.start_marker, monitor.start_known);
}

/// Turns what the block says into a fresh entry.
Status read_entry(const OnlineKeys& keys, Monitor& monitor) {
  monitor.name = keys.value("name");
  monitor.active = true;
  Status status = ok;
  if (keys.seen("type")) status = keys.judged("type", read_type(keys.value("type"), monitor.type));
  if (status == ok && keys.seen("format")) {
    status = named_format(keys.value("format"), monitor.format);
    if (status != ok) status = keys.integer("format", monitor.format);
  }
  if (status == ok && keys.seen("particle")) {
    status = keys.judged("particle", read_particle(keys.value("particle"), monitor.particle));
  }
  if (status == ok) status = read_start_time(keys, monitor);
  if (status == ok) {
    status = read_time(keys, {"end_time_c0", "end_time_marker", "end_time_shift_c0"}, monitor.end_time,
                       monitor.end_marker, monitor.end_known);
  }
  if (status == ok && keys.seen("time_step_c0")) {
    status = keys.judged("time_step_c0", read_time_step(keys.value("time_step_c0"), monitor));
  }
  return status;
}

/// The entry for a new monitor: that of an active one of the same name, which is stopped, or the first that
/// is free.
Status take_entry(const Text<80>& name, int& number) {
  for (number = 1; number <= maxmon; ++number) {
    if (montab.entry[number].active && montab.entry[number].name == name) return monoff(number);
  }
  for (number = 1; number <= maxmon; ++number) {
    if (!montab.entry[number].active) return ok;
  }
  return failed;
}

Status read_online_monitor() {
  OnlineKeys keys({"name", "type", "format", "particle", "start_time_c0", "start_time_marker",
                   "start_time_shift_c0", "end_time_c0", "end_time_marker", "end_time_shift_c0",
                   "time_step_c0"});
  Status status = keys.read();
  if (status != ok) return status;
  if (!keys.seen("name")) {
    tell_person(FreeForm("an online_monitor without a name is ignored at", position_text(deck_place()).view())
                    .items());
    return ok;
  }
  int number = 0;
  status = take_entry(keys.value("name"), number);
  if (status != ok) return status;
  Monitor monitor;
  status = read_entry(keys, monitor);
  if (status == ok) montab_store.entry[number] = monitor;
  return status;
}

Status read_monitor() {
  KeyTable<2> keys({"format", "name"});
  Status status = keys.read();
  if (status != ok || !keys.seen("name")) return status != ok ? status : failed;
  std::int32_t format = 1;
  if (keys.seen("format")) status = keys.judged("format", named_format(keys.value("format"), format));
  return status == ok ? monwrt(keys.value("name").view(), format) : status;
}

/// Adds the time of the first boundary with this marker to a shift. False if there is none.
bool add_marker_time(const Text<80>& marker, double& time) {
  for (int i = 1; i <= latcom.nlat; ++i) {
    if (latcom.marker[i] == marker) {
      time += latcom.tbnd[i];
      return true;
    }
  }
  return false;
}

void settle_times(Monitor& monitor) {
  if (!monitor.start_known) {
    monitor.start_known = add_marker_time(monitor.start_marker, monitor.start_time);
    if (!monitor.start_known && monitor.start_marker == now) {
      monitor.start_time = ptlcom.ctptcl;
      monitor.start_known = true;
    }
    if (!monitor.start_known) msgout("warning: unknown marker for online_monitor");
  }
  if (!monitor.end_known) {
    monitor.end_known = add_marker_time(monitor.end_marker, monitor.end_time);
    if (!monitor.end_known) msgout("warning: unknown marker for online_monitor");
  }
}

}  // namespace

Status moninit() {
  montab_store = {};
  green_observe(write_mesh_files);
  return ok;
}

Status monblk() {
  const Status status = read_monitor();
  if (status != ok) msgout("error in monitor");
  return status;
}

Status onlblk() {
  const Status status = read_online_monitor();
  if (status != ok) msgout("error in monitor");
  return status;
}

Status monchk() {
  for (int i = 1; i <= maxmon; ++i) {
    Monitor& monitor = montab_store.entry[i];
    if (!monitor.active || monitor.accepted) continue;
    settle_times(monitor);
    const bool particle_exists = monitor.type != MonitorType::phase || monitor.particle <= ptlcom.npart;
    const bool accepted = monitor.start_known && monitor.end_known && monitor.step_known && particle_exists;
    monitor.accepted = monitor.active = accepted;
    if (accepted) {
      monitor.count = 0;
    } else {
      msgout(name_line("warning: online_monitor=", monitor.name, " is not active").view());
    }
  }
  return ok;
}

Status monoff(int number) {
  Status status = ok;
  for (int i = 1; i <= maxmon; ++i) {
    Monitor& monitor = montab_store.entry[i];
    if ((number != 0 && number != i) || !monitor.active) continue;
    monitor.active = false;
    if (monitor.stream != 0) add_size(status, ficlos(monitor.stream));
  }
  return status;
}

}  // namespace tessaron
