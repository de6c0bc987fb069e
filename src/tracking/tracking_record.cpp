#include "tracking/tracking_record.hpp"

#include "tracking/tracking_record_owner.hpp"

namespace tessaron {

TrackingRecord trkcom_store;
const TrackingRecord& trkcom = trkcom_store;

Status trkini() {
  trkcom_store = TrackingRecord{};
  forget_forces();
  return ok;
}

void clear_integrated_step_error() { trkcom_store.integrated_step_error = 0; }

void add_step_error(double step_error) { trkcom_store.integrated_step_error += step_error; }

}  // namespace tessaron
