#pragma once
#include "field/path/path.hpp"
#include "forces/green/polygon.hpp"

namespace tessaron {

/// The lines of the Green's function mesh: places a along the motion at which the field is tabulated across.
/// They lie dense around the sub-bunch and where wavefronts pass: the field has its structure there.

/// Steps of the mesh [m], from the length of the sub-bunch.
struct MeshSteps {
  double fine;  ///< where the field has structure, 0.2 sigma_long
  double wide;  ///< how far a zone reaches to both sides, 5 sigma_long
  double cap;   ///< largest step: 5 sigma_long, 0.5 sigma_long where image charges shield
};
MeshSteps mesh_steps(double sigma_long, bool shielded);

/// A range of a in which rows and lines are dense.
struct GreenZone {
  double from, to;  ///< [m]
  double step;      ///< largest distance of rows in b [m]
};
struct GreenZones {
  int n = 0;
  Table<GreenZone, maxlat + 4> zone;  ///< 1..n, ascending in `from`
};

/// The zones of a mesh over the polygon: one around the sub-bunch, and one for each place where the path's
/// curvature changed in the past, around the circle that the wavefront from there has reached by now, where
/// that crosses the polygon.
void green_zones(const Polygon& relpoly, const PathArcs& arcs, int narcs, const MeshSteps& steps,
                 GreenZones& zones);

/// Lines 1..n. Their store is a third of the table of rows: a line has three rows at least.
inline constexpr int maxgreline = maxgre / 3;
struct GreenLines {
  int n = 0;
  Table<double, maxgreline> x;  ///< ascending [m]

  double last() const { return x[n]; }
  [[nodiscard]] bool add(double value) {
    if (n >= maxgreline) return false;
    x[++n] = value;
    return true;
  }
};

/// Adds even steps of at most h from the last line to `target`. False if the lines do not fit.
[[nodiscard]] bool gmshst_even(double target, double h, GreenLines& lines);

/// Which ends of a gap get fine steps.
enum class FineEnd { left, right, both };
/// Adds graded steps from the last line to `target`: they begin with about h0 at a fine end, grow by `ratio`
/// from one to the next, and end at h1. A gap that is too short for that has all of them scaled, or fewer.
/// False if the lines do not fit.
[[nodiscard]] bool gmshst(double target, double h0, double h1, double ratio, FineEnd fine, GreenLines& lines);

/// All lines from xmin to xmax: fine steps inside the zones, graded ones between them. False if they do not
/// fit, or if the range is not finite.
[[nodiscard]] bool gmshx(double xmin, double xmax, const MeshSteps& steps, const GreenZones& zones,
                         GreenLines& lines);

/// The range of a that a polygon covers.
void polygon_range(const Polygon& polygon, double& xmin, double& xmax);

}  // namespace tessaron
