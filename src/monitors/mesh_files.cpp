#include "common/freeform.hpp"
#include "monitors/monitor_outputs.hpp"
#include "run/files/file_table.hpp"

namespace tessaron {

namespace {

/// One column: its count, then its values.
template <class Value>
Status write_column(int stream, int n, const Value& value) {
  Status status = fiwrite(stream, FreeForm(n).view());
  for (int i = 1; i <= n; ++i) keep_first(status, fiwrite(stream, FreeForm(value(i)).view()));
  return status;
}

Status write_mesh(int stream, const Polygon& relpoly, const PathArcs& arcs, int narcs) {
  Status status = write_column(stream, maxcorner, [&](int i) { return relpoly[i].x; });
  keep_first(status, write_column(stream, maxcorner, [&](int i) { return relpoly[i].y; }));
  for (double PathArc::*column : {&PathArc::ct, &PathArc::x, &PathArc::y, &PathArc::kappa}) {
    keep_first(status, write_column(stream, narcs, [&](int i) { return arcs[i].*column; }));
  }
  return status;
}

}  // namespace

void write_mesh_files(const Polygon& relpoly, const PathArcs& arcs, int narcs) {
  constexpr std::int32_t fmt1 = 1;
  for (int number = 1; number <= maxmon; ++number) {
    const Monitor& monitor = montab.entry[number];
    if (!monitor.active || monitor.type != MonitorType::green || monitor.format != fmt1) continue;
    if (monitor.stream == 0) continue;
    if (firewind(monitor.stream) != ok) {
      mondrop(number);
      continue;
    }
    monmsh(number, write_mesh(monitor.stream, relpoly, arcs, narcs));
  }
}

}  // namespace tessaron
