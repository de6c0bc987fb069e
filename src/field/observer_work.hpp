#pragma once
#include "field/images/straight_entrance.hpp"
#include "field/integral/batch.hpp"
#include "field/integral/expansion.hpp"
#include "field/integral/mesh.hpp"
#include "field/path/closest_point.hpp"
#include "field/path/retarded_limits.hpp"
#include "field/source/pole_field.hpp"

namespace tessaron {

/// What the evaluations of one observer after the other work on; nothing in it counts for the next one.
/// Several may evaluate at a time, each with its own.
struct ObserverWork {
  ClosestRecord closest;
  LimitRecord limits;
  ExpansionRecord expansion;
  MeshRecord mesh;
  NodeList nodes;
  NodeBlock entrance;
  AxisGrid axis;
};

}  // namespace tessaron
