#include <algorithm>

#include "common/end_request.hpp"
#include "lattice/lattice_record.hpp"
#include "motion/pusher.hpp"
#include "tracking/steps.hpp"

namespace tessaron {

namespace {

int highest_duty_boundary() {
  for (int i = latcom.nlat; i >= 1; --i) {
    if (latcom.duty[i]) return i;
  }
  return 0;
}

/// The smallest duty boundary that a section can still meet, up to the highest one; 0 behind that.
class DutyAhead {
 public:
  explicit DutyAhead(int last) : last_(last) {
    for (int i = last, duty = last; i >= 1; --i) {
      if (latcom.duty[i]) duty = i;
      ahead_[i] = duty;
    }
  }
  int operator()(int section) const { return section >= 1 && section <= last_ ? ahead_[section] : 0; }

 private:
  int last_;
  Table<int, maxlat> ahead_;
};

/// The times at which the particles that have `boundary` as their next duty boundary meet it; false if none
/// of them does. A particle whose orbit cannot reach the boundary does not count, nor does a crossing that
/// does not lie ahead.
bool passage(const DutyAhead& ahead, int boundary, double& tmin, double& tmax) {
  bool have = false;
  for (int i = 1; i <= ptlcom.npart && !end_requested(); ++i) {
    double t = 0;
    if (ahead(ptlcom.section[i]) != boundary) continue;
    if (!track_to_boundary(ptlcom.particle[i], ptlcom.section[i], ptlcom.ctptcl, boundary, t)) continue;
    if (!(t > ptlcom.ctptcl)) continue;
    tmin = have ? std::min(tmin, t) : t;
    tmax = have ? std::max(tmax, t) : t;
    have = true;
  }
  obey_end_request();
  return have;
}

}  // namespace

DutyState next_duty(int passed) {
  DutyState state;
  const int last = highest_duty_boundary();
  if (last == 0) return state;

  const DutyAhead ahead(last);
  int first_section = latcom.nlat + 1;
  for (int i = 1; i <= ptlcom.npart; ++i) {
    first_section = std::min(first_section, static_cast<int>(ptlcom.section[i]));
    state.dlast = std::max(state.dlast, ptlcom.section[i]);
  }
  // A boundary that nobody behind it can reach is passed over: lost particles hold up no stop of the others.
  for (int boundary = ahead(std::max(first_section, passed + 1)); boundary != 0;
       boundary = ahead(boundary + 1)) {
    if (!passage(ahead, boundary, state.tmin, state.tmax)) continue;
    state.have = true;
    state.dfirst = boundary;
    state.dlast = std::max(state.dlast, boundary);
    break;
  }
  return state;
}

}  // namespace tessaron
