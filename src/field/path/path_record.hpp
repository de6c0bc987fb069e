#pragma once
#include "common/constants.hpp"
#include "common/table.hpp"

namespace tessaron {

inline constexpr int maxnode = maxlat + 1;  ///< boundaries, and the place of the reference particle

struct PathVector {
  double x = 0, y = 0;
};

/// A stretch of the path between two nodes: an arc or a straight line.
struct PathSegment {
  double start = 0, end = 0;  ///< path coordinates of its ends [m]
  double kappa = 0;           ///< |curvature| [1/m]
  double inv_sin = 0;         ///< 1 / sin(kappa L), where the segment is neither straight nor flat
};

/// The same stretch as the curve is evaluated: from a base point on it, with a signed curvature. The base is
/// the end that looks towards the reference particle, so rounding grows away from the bunch and not towards
/// it.
struct PathStretch {
  double s = 0;             ///< path coordinate of the base [m]
  double x = 0, y = 0;      ///< the base [m]
  double ex = 1, ey = 0;    ///< unit tangent at the base
  double kappa = 0;         ///< curvature, > 0 turns to the left; exactly 0 on a straight stretch [1/m]
  double two_by_kappa = 0;  ///< 2 / kappa, 0 where a chord is as long as its arc to rounding
  double end = 0;           ///< path coordinate at which the next stretch begins [m]
  double same_from = 0;     ///< down to here the path stays straight, or curved [m]
};

/// By which formulas a path is read: those of the curve's stretches, or the interval coefficients (the slow
/// way, for comparison).
enum class PathQuery { stretches, coefficients };

/// The reference path of a source. Owner: `setpth`.
struct PathRecord {
  double org_x = 0, org_y = 0, org_phi = 0;  ///< origin and direction of the path frame in the orbit plane
  double rot[2][2] = {{1, 0}, {0, 1}};       ///< rotation from the plane to the path frame
  double gam = 1;                            ///< gamma of the path's particle
  double vel = 0;                            ///< its speed [m/s]
  double beta = 0;                           ///< sqrt(1 - 1/gam^2), as the field library takes it from gamma
  double t_org = 0;                          ///< time of the path's origin [s]
  int nnode = 0;
  int knode = 0;                               ///< the node at which the reference particle stands
  Table<double, maxnode> snode;                ///< path coordinate of a node, rising
  Table<PathVector, maxnode> e;                ///< unit tangent there
  Table<PathVector, maxnode> r;                ///< position there
  Table<PathSegment, maxnode> seg;             ///< segment from node i to i + 1
  Table<bool, maxnode> straight;               ///< its kappa is 0
  Table<bool, maxnode> flat;                   ///< it turns by less than 2.45e-08 rad
  Table<int, 100> bucket;                      ///< where the search in `snode` starts
  double bucket_scale = 0;                     ///< buckets per metre
  Table<PathStretch, maxnode + 1, 0> stretch;  ///< segment i; 0 and nnode are the straight extensions
  double forward = -1;                         ///< smallest cosine between two directions on the path
  double largest_kappa = 0;                    ///< sharpest bend [1/m]
  PathQuery query = PathQuery::stretches;
};

}  // namespace tessaron
