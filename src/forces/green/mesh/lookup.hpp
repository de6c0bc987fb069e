#pragma once
#include "forces/green/mesh/mesh.hpp"

namespace tessaron {

/// How a position lies to the present block of the mesh.
enum class Cover {
  inside,        ///< the block has the field
  other_block,   ///< the strip belongs to another block
  beside_lines,  ///< the strip is the block's, but b is beyond its lines' ends: no block has the field
  beyond_mesh,   ///< a is beyond the first or last line
};

/// Finds the strip k with line[k].x <= x < line[k+1].x; the last line belongs to the strip below it. False if
/// x is not within the lines.
bool fmesh2(const GreenMesh& mesh, double x, int& k);

/// The field at (a, b), bilinear between the two rows next to b on the two lines next to a. Rows that hold no
/// field yet get theirs from the source. `field` is set for Cover::inside alone.
Cover gmesh2(GreenMesh& mesh, const GreenField& source, double a, double b, GreenRow& field);

/// Wants the rows that `gmesh2` at (a, b) takes: those without a field are marked and listed. Several threads
/// may want rows at a time.
Cover gmesh1(GreenMesh& mesh, double a, double b);

}  // namespace tessaron
