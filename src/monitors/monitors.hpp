#pragma once
#include <cstdint>
#include <string_view>

#include "common/status.hpp"
#include "common/table.hpp"
#include "common/text.hpp"

namespace tessaron {

/// Monitors: the results of a run. `monitor` writes the bunch at once; `online_monitor` defines an entry of
/// `montab` that writes during tracking, whenever the bunch time has reached the next point of its output
/// grid, until its end time. The life of an entry: defined by `onlblk` (active), settled or rejected by
/// `monchk` (accepted), worked by `monpre` and `monstp` around each step, stopped by `monoff`.

/// What an online monitor writes.
enum class MonitorType : std::int32_t {
  phase = 0,     ///< the bunch, one numbered file per output, or one particle, one line per output
  steps = 1,     ///< the history of the step loop
  subbunch = 2,  ///< the sub-bunch sizes
  green = 3,     ///< the meshes of the Green's function model; written by its mesh builder during the step
};

/// One online monitor.
struct Monitor {
  Text<80> name;   ///< of the file
  int stream = 0;  ///< open data stream, 0 if none
  MonitorType type = MonitorType::phase;
  std::int32_t format = 1;    ///< 0 to 3 for fmt0 to fmt3, or any integer of the deck
  std::int32_t particle = 0;  ///< 0 for all, or a particle number
  std::int32_t count = 0;     ///< outputs made so far
  bool active = false;
  bool accepted = false;           ///< `monchk` has settled its times
  Status mesh_failure = ok;        ///< first failed write to the mesh file of this step
  bool open_failure_told = false;  ///< a person has been told that a file of it could not be opened
  bool start_known = false, end_known = false, step_known = false;
  double start_time = 0, end_time = 0, time_step = 0;  ///< c t [m]; while not known, the shift from a marker
  Text<80> start_marker, end_marker;
};
inline constexpr int maxmon = 10;
/// Owner: monitors/.
struct MonitorTable {
  Table<Monitor, maxmon> entry;
};
extern const MonitorTable& montab;

[[nodiscard]] Status moninit();
/// The block reader of `monitor`: writes the bunch at once.
[[nodiscard]] Status monblk();
/// The block reader of `online_monitor`. A block without a name has no effect; one with the name of an active
/// monitor replaces it.
[[nodiscard]] Status onlblk();
/// Resolves the times of the online monitors before a tracking run. A monitor that lacks a time or names a
/// particle that does not exist is rejected with a warning; the run goes on.
[[nodiscard]] Status monchk();

/// The hooks of the step loop ahead of a step to `next` [m] and behind a step. Their status is the sum of the
/// sizes of all codes met, so that codes never cancel out.
[[nodiscard]] Status monpre(double next);
[[nodiscard]] Status monstp();
/// Stops monitor `number`, or all with 0, and closes its file.
[[nodiscard]] Status monoff(int number);

/// Writes one whole bunch file in `fmt0` to `fmt3`; with any other format it stays empty. A person is told
/// that it cannot be opened; with `open_failure_told`, the memory of a series of files, once for all of them.
[[nodiscard]] Status monwrt(std::string_view name, std::int32_t format, bool* open_failure_told = nullptr);
/// Writes the records of particles first..last to an open stream and flushes it, with the bunch time ahead of
/// each if `time_column` is set. Every record is tried; the status is the first that failed.
[[nodiscard]] Status monrec(int stream, int first, int last, std::int32_t format, bool time_column);
/// Takes in the code of a write to the mesh file of a `green` monitor, made outside the hooks: the next
/// `monstp` reports it.
void monmsh(int number, Status code);
/// Makes a monitor inactive whose mesh file failed to rewind, and closes the file.
void mondrop(int number);

}  // namespace tessaron
