#pragma once
#include <cstdint>

#include "common/constants.hpp"
#include "common/status.hpp"
#include "common/table.hpp"
#include "common/text.hpp"

namespace tessaron {

inline constexpr int ilalen = 1000;  ///< private integers of all elements
inline constexpr int rlalen = 1000;  ///< private reals of all elements

/// A field boundary: a straight line in the orbit plane with a point of the design orbit on it.
struct Boundary {
  double x = 0, y = 0;    ///< point of the design orbit on the boundary [m]
  double tx = 0, ty = 0;  ///< unit tangent of the orbit there
  double nx = 0, ny = 0;  ///< unit normal of the boundary line
  double s = 0;           ///< path length from the origin [m]
  double r = 0;  ///< radius of the section that ends here [m], 0 for a straight one; > 0 turns clockwise
};

enum class ElementClass : std::int32_t { discrete = 0, field = 1 };

/// What section i or boundary i carries. Its private data end at `iend` and `rend` of the pools and begin
/// behind those of boundary i-1.
struct Element {
  ElementClass kind = ElementClass::field;
  std::int32_t subtype =
      0;  ///< field: 0 arc or straight, 1 multipole. discrete: 1 linear map, others stored only
  std::int32_t iend = 0;
  std::int32_t rend = 0;
};

/// One pair of the curvature table: the radius holds from this path coordinate on, 0 for a straight.
struct Curvature {
  double s = 0;
  double r = 0;
};

/// The lattice of the run. Section i is the stretch of orbit before boundary i; 1 lies before the first
/// boundary, nlat + 1 behind the last.
/// Owner: the lattice reader; the preparation of a run adds arcs, times and `latready` by the operations
/// below.
struct LatticeRecord {
  std::int32_t nlat = 0;
  std::int32_t ipool_used = 0;
  std::int32_t rpool_used = 0;
  bool latready = false;  ///< particles have been placed in sections of this lattice
  Table<Boundary, maxlat> bnd;
  Table<Text<80>, maxlat> marker;
  Table<bool, maxlat> duty;  ///< the step loop stops around this boundary
  Table<Element, maxlat> elem;
  Table<std::int32_t, ilalen> ipool;
  Table<double, rlalen> rpool;

  // settled by the preparation of a run, through the operations below
  std::int32_t narc = 0;
  Table<Boundary, maxlat> arc;    ///< each change of radius from the first arc's start to the last arc's end
  Table<Curvature, maxlat> curv;  ///< 1..narc
  Table<double, maxlat> tbnd;     ///< time (c t) at which the reference particle meets boundary i [m]
};
extern const LatticeRecord& latcom;

/// Builds the arc list and the curvature table from the boundaries.
void latarc();
/// The reference particle meets boundary i at the time ct [m]; 0 until this has been found out.
void lattim(std::int32_t i, double ct);
/// The particles have been placed in the sections of this lattice.
void latplc();

}  // namespace tessaron
