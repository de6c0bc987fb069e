#pragma once
#include <cstdint>
#include <string_view>

#include "common/status.hpp"
#include "common/table.hpp"
#include "common/text.hpp"

namespace tessaron {

enum class MonitorType : std::int32_t { phase = 0, steps = 1, subbunch = 2, green = 3 };

/// One online monitor.
struct Monitor {
  Text<80> name;
  int stream = 0;  ///< open data stream, 0 if none
  MonitorType type = MonitorType::phase;
  std::int32_t format = 1;    ///< 0 to 3 for fmt0 to fmt3, or any integer of the deck
  std::int32_t particle = 0;  ///< 0 for all, or a particle number
  std::int32_t count = 0;     ///< outputs made so far
  bool active = false;
  bool accepted = false;  ///< `monchk` has settled its times
  bool start_known = false, end_known = false, step_known = false;
  double start_time = 0, end_time = 0, time_step = 0;  ///< c t [m]; while not known, the shift from a marker
  Text<80> start_marker, end_marker;
};
inline constexpr int maxmon = 10;
/// Owner: beam/monitors*.cpp.
struct MonitorTable {
  Table<Monitor, maxmon> entry;
};
extern const MonitorTable& montab;

[[nodiscard]] Status moninit();
/// The block reader of `monitor`: writes the bunch at once.
[[nodiscard]] Status monblk();
/// The block reader of `online_monitor`.
[[nodiscard]] Status onlblk();
/// Resolves the times of the online monitors before a tracking run.
[[nodiscard]] Status monchk();
/// The hooks of the step loop ahead of a step to `next` and behind a step.
[[nodiscard]] Status monpre(double next);
[[nodiscard]] Status monstp();
/// Stops monitor `number`, or all with 0.
[[nodiscard]] Status monoff(int number);
/// Writes one whole bunch file.
[[nodiscard]] Status monwrt(std::string_view name, std::int32_t format);
/// Writes particle records first..last to an open stream.
[[nodiscard]] Status monrec(int stream, int first, int last, std::int32_t format, bool time_column);
/// Makes a monitor inactive whose file failed outside the hooks (the mesh files of `green` monitors).
void mondrop(int number);

}  // namespace tessaron
