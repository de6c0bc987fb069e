#pragma once
#include <cstdint>

namespace tessaron {

/// Whether a point that is no farther than section i stands before boundary i: on the near side of the
/// boundary's line, or in an arc more than a quarter of a turn before its end, where the line runs on through
/// other parts of the orbit. On the boundary itself counts as behind it.
bool stands_before(double x, double y, std::int32_t i);

/// The section of a point: the first one whose boundary has it on the near side of its line, nlat + 1 behind
/// them all. The line of an arc's face parts the plane as the orbit runs only up to half a turn. A point
/// between the faces of an arc of more than a quarter of a turn is therefore put there if that arc is nearer
/// to it than the orbit of the section that the lines give.
std::int32_t section_at(double x, double y);

}  // namespace tessaron
