#pragma once
#include "forces/fields/source_fields.hpp"
#include "forces/green/evaluation.hpp"
#include "forces/projected/projected_work.hpp"

namespace tessaron {

/// What an evaluation of the self force works on, all zero at start. It is large: who evaluates owns one and
/// passes its parts down. Of one evaluation nothing counts for the next but the field mesh that is kept.
struct ForceWork {
  ProjectedWork projected;
  FieldWork fields;
  GreenWork green;
};

/// Forgets the field mesh kept from the last evaluation.
void grnrst();
/// Whether a field mesh is kept: an evaluation at the same time may use it again.
bool green_kept();

}  // namespace tessaron
