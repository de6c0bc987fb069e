#pragma once
#include "field/path/path.hpp"
#include "forces/fields/source_fields.hpp"
#include "forces/force_settings.hpp"
#include "forces/green/boxes.hpp"
#include "forces/green/polygon.hpp"
#include "forces/green/sources.hpp"

namespace tessaron {

/// The mean of the source particles: place and momentum weighted by charge (by its size where the charges
/// cancel to rounding), the direction without weights, in the plane, with the charge 1. Its section is the
/// smallest one of the sources, moved up to the first boundary that lies ahead of the mean.
struct MeanSource {
  Particle particle;
  std::int32_t section;
};
MeanSource mean_source(const ParticleTable& particles, const SectionTable& sections);

/// What is known of a mesh that is kept for the next evaluation at the same time.
struct KeptMesh {
  double ct;                  ///< c t of the mesh [m]
  bool ok;                    ///< there is one
  MeanSource mean;            ///< the particle on whose path its rows are computed
  double ref_phi, ref_gamma;  ///< the motion for which the sums hold
};

/// What the evaluations of the mesh and Green's models work on, all zero at start.
struct GreenWork {
  ObservationPoints points;
  BoxMesh boxes;
  SortSpace sort;

  std::int32_t nsource;
  Table<TurnedSource, maxprt> sources;
  std::int32_t ntile;
  Table<GreenSourceTile, maxprt / GreenSourceTile::capacity + 1> tiles;
  Table<GreenRow, maxprt> part;  ///< sums of some tiles at all points, tile by tile

  Polygon meshpoly;  ///< around the points
  Polygon relpoly;   ///< around the points as the sources see them
  PathArcs arcs;     ///< of the path of the mean
  GreenMesh mesh;
  KeptMesh kept;
};

/// Field sums of the points [1/m] with one field for all sources: that of a sub-bunch on the path of the mean
/// particle, tabulated and taken to each source by a shift and a turn. The mesh stays for further evaluations
/// at the same time.
/// \param source     has its settings, and is given the path of the mean
/// \param reference  out: the motion for which the sums hold; `beta` is given
void green_sums(ForceType type, const ParticleTable& particles, const SectionTable& sections, double ct,
                FieldSource& source, ObserverTeam& team, ReferenceMotion& reference, GreenWork& work);

/// Who is told of each new mesh before it is filled: the polygon that it covers, and the sections of constant
/// curvature of the path. The monitors stand above the forces and hand their writer down through this.
using MeshObserver = void (*)(const Polygon& relpoly, const PathArcs& arcs, int narcs);
void green_observe(MeshObserver observer);

/// Rows that one block of the mesh may have from now on, `maxgre` at start. A smaller number splits a mesh
/// into more blocks, with the same forces.
void green_set_capacity(std::int32_t rows);

}  // namespace tessaron
