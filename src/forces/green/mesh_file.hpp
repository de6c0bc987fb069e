#pragma once
#include "field/path/path.hpp"
#include "forces/green/polygon.hpp"

namespace tessaron {

/// Writes the polygon that the mesh covers and the path's sections of constant curvature to the open files of
/// the `green` monitors, over what an earlier evaluation of the same step wrote: one number a line, each
/// column behind its count: a and b of the corners; c t, x, y and curvature of the sections.
void green_monitors(const Polygon& relpoly, const PathArcs& arcs, int narcs);

}  // namespace tessaron
