#pragma once
#include "common/table.hpp"
#include "field/integral/expansion.hpp"

namespace tessaron {

inline constexpr int maxpnt = 10000;  ///< mesh points

/// The mesh of the field integral: points in descending order of s. Owner: `zipnts`.
struct MeshRecord {
  int ipnt = 0;
  Table<double, maxpnt> point;    ///< [m]
  Table<bool, maxpnt> integrate;  ///< the stretch from point i to point i + 1 counts; else it is a gap
};

/// Lays the mesh between the limits for the observer of an expansion. One pass: the steps follow
/// from the distance, the bunch length and the corners of the path, and nothing is refined afterwards. Too
/// many points stop the program.
void zipnts(const FieldSource& source, const LimitRecord& limits, const ExpansionRecord& expansion,
            MeshRecord& mesh);

}  // namespace tessaron
