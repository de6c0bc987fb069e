#pragma once
#include "forces/green/mesh/lookup.hpp"

namespace tessaron {

/// The double loop of the Green's function models: the field of all sources at all points. Sources go in
/// tiles, point by point: neighbours within a tile then see the point in the same place of the mesh.

/// Some sources, and what each adds to a point: the field (F1, F2, Bz) at the point's position relative to
/// it, which holds for a test particle with the source's direction, turned to the reference direction and
/// corrected to a test particle that moves that way. With G in lab axes, phi the source's angle:
///     Gx = cos phi F1 - sin phi F2 + (sin phi_ref - sin phi) beta_ref Bz
///     Gy = sin phi F1 + cos phi F2 - (cos phi_ref - cos phi) beta_ref Bz
/// Turned by -phi_ref and times the source's weight:
///     f1 += m11 F1 + m12 F2 + m13 Bz,   f2 += m11 F2 - m12 F1 + m23 Bz,   bz += w Bz
struct GreenSourceTile {
  static constexpr int capacity = 128;
  int n;
  double x[capacity], y[capacity], c[capacity], s[capacity];  ///< lab place [m], direction
  double m11[capacity], m12[capacity], m13[capacity], m23[capacity], w[capacity];

  bool full() const { return n == capacity; }
  void add(double place_x, double place_y, double phi, double weight, double ref_phi, double ref_beta);
  /// The position relative to source k of the point at (x, y) [m].
  PlanePoint turned(int k, double px, double py) const {
    const double dx = px - x[k], dy = py - y[k];
    return {c[k] * dx + s[k] * dy, c[k] * dy - s[k] * dx};
  }
  /// Adds the field of source k.
  void add_field(int k, const GreenRow& f, GreenRow& sum) const {
    sum.f1 += m11[k] * f.f1 + m12[k] * f.f2 + m13[k] * f.bz;
    sum.f2 += m11[k] * f.f2 - m12[k] * f.f1 + m23[k] * f.bz;
    sum.bz += w[k] * f.bz;
  }
};

/// What to do where a row has no field: want it, and leave the rest for later; or take it as it is, since all
/// rows that were wanted have been computed.
enum class MissingRow { want, accept };

/// The field of a tile of sources at the point at (x, y), as far as the present block has it, as `gmesh2`
/// would find it for each. A position that no block covers is computed directly, once: in the block that has
/// its strip, or in the first pass. No field (`has_field`) where a row is missing.
GreenRow green_tile_field(const GreenSourceTile& sources, GreenMesh& mesh, const GreenField& source,
                          bool first_pass, double x, double y, MissingRow missing);

/// Wants the rows that the tile takes for the point at (x, y): those of the first source and of each
/// `every`-th one behind it.
void green_want_rows(const GreenSourceTile& sources, GreenMesh& mesh, double x, double y, int every);

}  // namespace tessaron
