#pragma once
#include <span>

#include "forces/green_mesh.hpp"

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
bool fmesh2(double x, int& k);

/// The field at (a, b), bilinear between the two rows next to b on the two lines next to a. Rows that hold no
/// field yet get theirs. `field` is set for Cover::inside alone.
Cover gmesh2(double a, double b, GreenRow& field);

/// Marks the rows that `gmesh2` at (a, b) is going to need.
Cover gmesh1(double a, double b);

/// Computes row j of line i, given by its running number, and marks it.
void green_fill_row(int i, std::int64_t j);

/// Observation points in the order in which they are worked through: neighbours in the table are neighbours
/// on the mesh.
struct GreenPoints {
  std::span<const double> x, y;  ///< lab place [m]
  std::span<GreenRow> sum;       ///< field sums, along and across the reference direction
};

/// What one source adds to a point: its charge times the field, turned to the reference direction and
/// corrected to a test particle with that direction:
///     f1 += m11 F1 + m12 F2 + m13 Bz,   f2 += m21 F1 + m22 F2 + m23 Bz,   bz += w Bz
struct GreenSourceTerm {
  double x, y, c, s;  ///< lab place [m], cosine and sine of its angle
  double m11, m12, m13, m21, m22, m23, w;
};
GreenSourceTerm green_source_term(double x, double y, double phi, double weight, double ref_phi,
                                  double ref_beta);

/// Adds the field of one source to all points that the present block covers, as `gmesh2` would for each. A
/// position that the mesh does not cover at all is computed directly, once: in the block that has its strip,
/// or in the first pass.
void green_add_source(const GreenSourceTerm& source, bool first_pass, const GreenPoints& points);

}  // namespace tessaron
