#pragma once
#include <cstdint>
#include <limits>

#include "forces/green/mesh/lines.hpp"
#include "forces/whole_part.hpp"

namespace tessaron {

/// The mesh on which the field of one sub-bunch, the Green's function, is tabulated. Coordinates (a, b) are
/// relative to the sub-bunch: a along its motion, b across it in the plane [m]. The mesh consists of lines of
/// constant a, each with rows of its own in b, and covers a convex polygon. Rows hold the field once somebody
/// asked next to them. A mesh with more rows than the table is worked through in blocks of whole lines that
/// overlap in one line, since a strip needs both of its lines.

/// The field at a mesh point for a test particle with the sub-bunch's direction and speed.
struct GreenRow {
  double f1, f2;  ///< force per unit charge along and across the sub-bunch's motion [V/m]
  double bz;      ///< c times the vertical magnetic field [V/m]

  void operator+=(const GreenRow& other) {
    f1 += other.f1;
    f2 += other.f2;
    bz += other.bz;
  }
};
static_assert(sizeof(GreenRow) == 3 * sizeof(double));
/// What the mesh tabulates.
struct GreenField {
  virtual void at(double a, double b, GreenRow& field) const = 0;

 protected:
  ~GreenField() = default;
};

/// Rows along b on a line: up to three stretches of even rows, coarse, fine, coarse. Neighbours share their
/// end row. Stretch k (0, 1, 2) reaches from yb[k] to yb[k+1] with the rows jb[k] .. jb[k+1]; one that is
/// absent has no length and no rows.
struct GreenStretches {
  double yb[4];         ///< [m]
  std::int64_t jb[4];   ///< running row numbers
  double per_metre[3];  ///< inverse distance of rows [1/m]
};

/// Line i. Its rows are numbered through the whole mesh, from line[i-1].gend + 1 on.
struct GreenLine {
  double x;           ///< place a [m]
  double ylo, yhi;    ///< ends in b [m]
  double per_width;   ///< inverse distance to the next line [1/m]
  double per_metre;   ///< inverse distance of rows on an outer line [1/m]
  std::int64_t gend;  ///< number of its last row
};

inline constexpr int maxhlp = 100;     ///< inner lines
inline constexpr int maxxgidx = 1000;  ///< cells of the line search

/// A mesh: `gmesh0` lays it, lookups fill its rows.
struct GreenMesh {
  int nxg;                                   ///< lines
  Table<GreenLine, maxgreline + 1, 0> line;  ///< 1..nxg; gend of line 0 is 0
  int iline1, iline2;                        ///< first and last inner line
  Table<GreenStretches, maxhlp> inner;       ///< inner line iline1 + k - 1 in cell k
  Table<std::int32_t, maxxgidx> xgidx;       ///< start lines for the search of a strip
  double cells_per_metre;                    ///< 999 cells over the range of the lines [1/m]
  std::int64_t ngreen;                       ///< rows of the whole mesh

  int gfirst, glast;      ///< lines of the present block
  std::int64_t gbase;     ///< row j of the mesh sits at place j - gbase of the table
  std::int32_t nblock;    ///< rows of the block
  std::int32_t capacity;  ///< rows that a block may have

  Table<GreenRow, maxgre> gtab;  ///< 1..nblock
  Table<bool, maxgre> gflag;     ///< the place holds a field, or is wanted

  // A mesh of many blocks would spend its time on emptying them, so the places in use are remembered.
  std::int32_t nempty;   ///< places 1..nempty have been emptied, apart from those in use
  std::int32_t nused;    ///< places in use, listed in `used`
  std::int32_t nfilled;  ///< the first of these hold their fields, the others are wanted
  bool all_used;         ///< any place may be in use (rows of a group)
  Table<std::int32_t, maxgre> used;

  GreenLines laid;  ///< the lines while the mesh is being laid

  bool is_inner(int i) const { return i >= iline1 && i <= iline2; }
  bool more() const { return glast < nxg; }
  /// A row without a field is no number, so that a lookup finds it in its result.
  void empty(int place) {
    gtab[place].f1 = std::numeric_limits<double>::quiet_NaN();
    gflag[place] = false;
  }
};

/// What a mesh is laid for.
struct GreenMeshPlan {
  const Polygon& relpoly;  ///< where fields are going to be asked for
  const PathArcs& arcs;    ///< the path of the sub-bunch
  int narcs;
  double sigma_long, sigma_rad;  ///< [m]
  bool shielded;
  std::int32_t capacity = maxgre;  ///< rows of a block, up to maxgre
};

/// Lays the mesh and goes to its first block. A mesh that does not fit its capacities stops the run.
/// \return true if lines remain for further blocks.
bool gmesh0(const GreenMeshPlan& plan, GreenMesh& mesh);
/// Goes to the next block. The rows of the one before are lost.
bool gmesh0_next(GreenMesh& mesh);

/// The cell of `xgidx` before the one in which the search of a strip for x starts, 0..999; x is within the
/// lines.
inline int green_search_cell(const GreenMesh& mesh, double x) {
  return static_cast<int>(whole_part(mesh.cells_per_metre * (x - mesh.line[1].x), 0, maxxgidx - 1));
}
/// The stretches of line i; an outer line has the last one alone.
void green_stretches(const GreenMesh& mesh, int i, GreenStretches& stretches);
/// Place b of row j [m].
double green_row_place(const GreenStretches& stretches, std::int64_t j);

}  // namespace tessaron
