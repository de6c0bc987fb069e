#pragma once
#include "beam/bunch_record.hpp"
#include "common/constants.hpp"
#include "common/table.hpp"

namespace tessaron {

struct FieldSource;
struct PathRecord;

/// One point of the reference path at path length s: 11 reals. The path is planar; a tangent has no z part.
struct PathPoint {
  double t;  ///< time at which the path's particle is at s, 0 at the path's origin [s]
  double gamma;
  double r[3];        ///< [m]
  double e[3];        ///< unit tangent
  double e_prime[3];  ///< de/ds [1/m]; exactly 0 on a straight stretch
};

/// Builds the path of a particle from the lattice: a planar copy of it tracked through all boundaries without
/// self force. The path frame has its origin at the particle and the x axis along its direction. The limits
/// of the path go to the source's settings.
void setpth(const Particle& particle, std::int32_t section, std::int32_t nlat, double ct,
            FieldSource& source);

/// The path at any real s.
void pathfn(const PathRecord& path, double s, PathPoint& point);

/// Brings a particle's values into the path frame: position r, unit direction n, time t [s].
void pthfrm(const PathRecord& path, double x, double y, double z, double phi, double theta, double ct,
            double r[3], double n[3], double& t);
/// Turns the plane part of a vector back into the plane of the lattice, in place.
void pthlab(const PathRecord& path, double v[3]);

/// One stretch of constant curvature in the path frame, from this row on.
struct PathArc {
  double ct, x, y, kappa;
};
using PathArcs = Table<PathArc, maxlat + 3>;
/// The sections of constant curvature of the path.
void patharcs(const PathRecord& path, PathArcs& rows, int& count);

}  // namespace tessaron
