#include <array>
#include <cmath>

#include "beam/bunch_record.hpp"
#include "common/freeform.hpp"
#include "forces/force_settings.hpp"
#include "monitors/monitor_outputs.hpp"
#include "monitors/monitors_owner.hpp"
#include "run/diagnosis.hpp"
#include "run/files/file_table.hpp"
#include "tracking/steps.hpp"
#include "tracking/tracking_record.hpp"

namespace tessaron {

namespace {

/// Opens the file of a monitor, unless it is open; a monitor whose file cannot be opened is switched off.
Status open_file(Monitor& monitor, const Text<80>& name) {
  if (monitor.stream != 0) return ok;
  int stream = 0;
  const Status status = fiopno(name.view(), stream);
  if (status == ok) {
    monitor.stream = stream;
  } else {
    monitor.active = false;
    tell_monitor_failed(name.view(), status);
  }
  return status;
}

/// Writes a line of a table that a person may look at while the run goes on.
Status write_through(int stream, std::string_view line) {
  const Status status = fiwrite(stream, line);
  return status == ok ? fiflush(stream) : status;
}

/// A real in 15 columns behind a blank, as the step and sub-bunch tables have it.
char* put_column(char* out, double value) {
  *out = ' ';
  put_scientific(out + 1, 15, 7, value);
  return out + 16;
}

/// The state of the step loop: 69 columns.
Status write_step(int stream) {
  std::array<char, 69> line;
  char* out = put_column(line.data(), ptlcom.ctptcl);
  out = put_column(out, trkcom.integrated_step_error);
  *out++ = ' ';
  *out++ = step_control.duty_now ? '1' : '0';
  for (int type = 1; type <= 5; ++type, out += 7) {
    *out = ' ';
    put_integer(out + 1, 6, force_settings.force_calls[type]);
  }
  return write_through(stream, {line.data(), line.size()});
}

/// The sub-bunch sizes: 64 columns.
Status write_subbunch(int stream) {
  std::array<char, 64> line;
  char* out = put_column(line.data(), ptlcom.ctptcl);
  out = put_column(out, force_settings.sigma_long);
  out = put_column(out, force_settings.sigma_rad);
  put_column(out, force_settings.sigma_vert);
  return write_through(stream, {line.data(), line.size()});
}

/// Writes one line to the file of a monitor that keeps its file open.
Status write_line(Monitor& monitor) {
  if (const Status status = open_file(monitor, monitor.name); status != ok) return status;
  switch (monitor.type) {
    case MonitorType::phase:
      return monrec(monitor.stream, monitor.particle, monitor.particle, monitor.format, true);
    case MonitorType::steps:
      return write_step(monitor.stream);
    case MonitorType::subbunch:
      return write_subbunch(monitor.stream);
    case MonitorType::green:
      break;
  }
  return ok;
}

/// The name of the file of the present output of a series.
Text<80> output_name(const Monitor& monitor) {
  constexpr std::int32_t first_second_time = 10000;
  if (monitor.count == first_second_time) tell_numbers_go_round(monitor.name.view());
  return numbered_name(monitor.name, monitor.count);
}

/// Makes one output of a monitor that writes behind a step.
Status make_output(Monitor& monitor) {
  if (monitor.type != MonitorType::phase || monitor.particle != 0) return write_line(monitor);
  return monwrt(output_name(monitor).view(), monitor.format, &monitor.open_failure_told);
}

/// Finishes the mesh file that was opened ahead of the step.
Status finish_mesh_file(Monitor& monitor) {
  if (monitor.stream == 0) return ok;
  Status sum = monitor.mesh_failure;
  monitor.mesh_failure = ok;
  add_size(sum, fiwrite(monitor.stream, FreeForm(ptlcom.ctptcl).view()));
  const Status closed = ficlos(monitor.stream);
  monitor.stream = 0;
  if (closed != ok) monitor.active = false;
  add_size(sum, closed);
  return sum;
}

Status open_mesh_file(Monitor& monitor) {
  if (monitor.stream == 0) return open_file(monitor, output_name(monitor));
  monitor.active = false;
  return failed;
}

}  // namespace

bool output_due(Monitor& monitor, double t) {
  const double due = monitor.start_time + monitor.count * monitor.time_step;
  if (!(due <= t)) return false;
  if (monitor.time_step > 0) {
    const double late = t - due;
    const double steps = std::trunc(late / monitor.time_step);
    // A step of next to nothing can go into the delay more often than a real can tell.
    monitor.start_time += std::isfinite(steps) ? steps * monitor.time_step : late;
  }
  ++monitor.count;
  return true;
}

Status monpre(double next) {
  Status sum = ok;
  for (int i = 1; i <= maxmon; ++i) {
    Monitor& monitor = montab_store.entry[i];
    if (!monitor.active || monitor.type != MonitorType::green || next > monitor.end_time) continue;
    if (output_due(monitor, next)) add_size(sum, open_mesh_file(monitor));
  }
  return sum;
}

Status monstp() {
  Status sum = ok;
  for (int i = 1; i <= maxmon; ++i) {
    Monitor& monitor = montab_store.entry[i];
    if (!monitor.active) continue;
    if (monitor.type == MonitorType::green) {
      add_size(sum, finish_mesh_file(monitor));
    } else if (monitor.end_time < ptlcom.ctptcl) {
      add_size(sum, monoff(i));
    } else if (output_due(monitor, ptlcom.ctptcl)) {
      add_size(sum, make_output(monitor));
    }
  }
  return sum;
}

void monmsh(int number, Status code) { keep_first(montab_store.entry[number].mesh_failure, code); }

void mondrop(int number) {
  Monitor& monitor = montab_store.entry[number];
  monitor.active = false;
  if (monitor.stream != 0) (void)ficlos(monitor.stream);
  monitor.stream = 0;
}

}  // namespace tessaron
