#pragma once
#include "forces/force_work.hpp"

namespace tessaron {

/// What the evaluations of this process work on. Owner: the dispatch, which hands its parts down; `grnrst`
/// forgets the mesh in it.
extern ForceWork force_work_store;

}  // namespace tessaron
