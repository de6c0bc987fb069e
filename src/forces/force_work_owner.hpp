#pragma once
#include "forces/force_work.hpp"

namespace tessaron {

/// What the evaluations of this process work on. Owner: the dispatch.
extern ForceWork force_work_store;

}  // namespace tessaron
