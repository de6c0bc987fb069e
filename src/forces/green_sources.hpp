#pragma once
#include <span>

#include "forces/green_lookup.hpp"

namespace tessaron {

/// The double loop of the Green's function models: the field of all sources at all points.

/// Observation points in the order in which they are worked through. It pays if neighbours in the table are
/// neighbours on the mesh.
struct GreenPoints {
  std::span<const double> x, y;  ///< lab place [m]
  std::span<GreenRow> sum;       ///< field sums, along and across the reference direction
};

/// What one source adds to a point: the field (F1, F2, Bz) at the point's position relative to it, which
/// holds for a test particle with the source's direction, turned to the reference direction and corrected to
/// a test particle that moves that way. With G in lab axes, phi the source's angle:
///     Gx = cos phi F1 - sin phi F2 + (sin phi_ref - sin phi) beta_ref Bz
///     Gy = sin phi F1 + cos phi F2 - (cos phi_ref - cos phi) beta_ref Bz
/// all of it times a weight and turned by -phi_ref makes one matrix m.
struct GreenSourceTerm {
  GreenSourceTerm(double x, double y, double phi, double weight, double ref_phi, double ref_beta);
  void add(const GreenRow& f, GreenRow& sum) const {
    sum.f1 += m11 * f.f1 + m12 * f.f2 + m13 * f.bz;
    sum.f2 += m21 * f.f1 + m22 * f.f2 + m23 * f.bz;
    sum.bz += w * f.bz;
  }

  double x, y, c, s;  ///< lab place [m], cosine and sine of its angle
  double m11, m12, m13, m21, m22, m23, w;
};

/// Adds the field of one source to all points that the present block covers, as `gmesh2` would for each. A
/// position that no block covers is computed directly, once: in the block that has its strip, or in the
/// first pass.
void green_add_source(const GreenSourceTerm& source, bool first_pass, const GreenPoints& points);

}  // namespace tessaron
