#include "tracking/force_watch.hpp"

#include <cstdint>

#include "common/freeform.hpp"
#include "forces/projected/projected_watch.hpp"
#include "run/diagnosis.hpp"
#include "tracking/tracking_record.hpp"

namespace tessaron {

namespace {

std::int64_t failed_evaluations = 0;  // of the present run

}  // namespace

void begin_force_watch() {
  failed_evaluations = 0;
  begin_projected_watch();
  if (!starts_with_old_forces()) return;
  tell_person(
      "tracking starts with forces that were stored before the latest particles, lattice or forces; for fresh "
      "ones start at another time, or track by 1e-9 m with forces { type = none } ahead");
}

void note_failed_evaluation(double ct) {
  if (++failed_evaluations > 1) return;
  tell_person(FreeForm("the self force failed at ct =", rounded(ct),
                       "m and counts as 0 there: the bunch is not to be trusted from there on")
                  .items());
}

void end_force_watch() {
  if (failed_evaluations == 0) return;
  tell_person(FreeForm("failed evaluations of the self force:", failed_evaluations).items());
}

}  // namespace tessaron
