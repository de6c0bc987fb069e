#pragma once
#include <cstdint>

#include "beam/bunch_record.hpp"
#include "beam/force_table.hpp"
#include "forces/green/mesh/mesh.hpp"
#include "forces/whole_part.hpp"

namespace tessaron {

/// Where a Green's function force is evaluated: on the nodes of a mesh around the bunch, between which the
/// particles interpolate, and at single particles.

/// Points 1..ne: mesh nodes first, then single particles.
struct ObservationPoints {
  std::int32_t ne;
  Table<PlanePoint, maxprt> relative;  ///< place relative to particle 1, lab axes [m]
  Table<PlanePoint, maxprt> lab;       ///< lab place [m]
  Table<GreenRow, maxprt> sum;         ///< field sums: [V/m], then in units of the force table [1/m]
};

/// A box of the mesh with enough particles in it.
struct ForceBox {
  std::int64_t cell;       ///< number of its lower left node
  std::int32_t corner[4];  ///< observation points: lower left, lower right, upper left, upper right
};
inline constexpr int maxbox = maxprt / 4;

/// The mesh around the bunch: origin at particle 1, u along its direction, v across. `frcbox` makes it.
struct BoxMesh {
  double x, y, c, s;    ///< particle 1: place [m], cosine and sine of its angle
  std::int64_t nu, nv;  ///< cells along and across
  double du, dv;        ///< their sizes [m]
  double umin, vmin, umax, vmax;
  std::int32_t nbox;
  Table<ForceBox, maxbox> box;
  Table<bool, maxprt> inbox;           ///< the particle is in a box
  Table<std::int32_t, maxprt> pindex;  ///< its box, or its own observation point

  std::int64_t cell_along(double u) const { return whole_part((u - umin) / du, 0, nu - 1); }
  std::int64_t cell_across(double v) const { return whole_part((v - vmin) / dv, 0, nv - 1); }
  double u_of(const Particle& p) const { return (p.x - x) * c + (p.y - y) * s; }
  double v_of(const Particle& p) const { return (p.y - y) * c - (p.x - x) * s; }
};

/// Two rows of reals for a sort.
struct SortSpace {
  Table<double, maxprt> key, other;
};

/// Builds the mesh and the observation points (`relative` and `lab`) for the particles with the test flag:
/// each of them, or with `to_mesh` the corners of mesh boxes of `sbox` sigma_long by `rbox` sigma_rad that
/// hold four of them or more, and the particles in no such box.
void frcbox(const ParticleTable& particles, double sigma_long, double sigma_rad, bool to_mesh,
            SortSpace& sort, BoxMesh& mesh, ObservationPoints& points);

/// The motion for which the field sums of the points hold.
struct ReferenceMotion {
  double phi, beta, gamma;
};

/// Takes the forces of the points to the particles: interpolation inside a box, then the turn from the
/// reference direction and speed to the particle's own. With d = phi_ref - phi and the sums (A, B, C):
///     along  = A cos d - B sin d - C beta_ref sin d
///     across = A sin d + B cos d + C (beta_ref cos d - beta)
void frcint(const ParticleTable& particles, const ReferenceMotion& reference, const BoxMesh& mesh,
            const ObservationPoints& points, ForceTable& forces);

}  // namespace tessaron
