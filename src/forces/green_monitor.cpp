#include "forces/green_monitor.hpp"

#include "beam/monitors.hpp"
#include "common/freeform.hpp"
#include "run/filetab.hpp"

namespace tessaron {

namespace {

/// One column: its count, then its values. A write that fails shows again when the file is closed.
template <class Value>
Status write_column(int stream, int n, const Value& value) {
  Status status = fiwrite(stream, FreeForm(n).view());
  for (int i = 1; i <= n && status == ok; ++i) status = fiwrite(stream, FreeForm(value(i)).view());
  return status;
}

void write_mesh(int stream, const Polygon& relpoly, const PathArcs& arcs, int narcs) {
  Status status = write_column(stream, maxcorner, [&](int i) { return relpoly[i].x; });
  if (status == ok) status = write_column(stream, maxcorner, [&](int i) { return relpoly[i].y; });
  for (double PathArc::*column : {&PathArc::ct, &PathArc::x, &PathArc::y, &PathArc::kappa}) {
    if (status == ok) status = write_column(stream, narcs, [&](int i) { return arcs[i].*column; });
  }
}

}  // namespace

void green_monitors(const Polygon& relpoly, const PathArcs& arcs, int narcs) {
  constexpr std::int32_t fmt1 = 1;
  for (int number = 1; number <= maxmon; ++number) {
    const Monitor& monitor = montab.entry[number];
    if (!monitor.active || monitor.type != MonitorType::green || monitor.format != fmt1) continue;
    if (monitor.stream == 0) continue;
    if (firewind(monitor.stream) != ok) {
      mondrop(number);
      continue;
    }
    write_mesh(monitor.stream, relpoly, arcs, narcs);
  }
}

}  // namespace tessaron
