#pragma once
#include <cstdint>

#include "beam/bunch_record.hpp"
#include "common/constants.hpp"
#include "common/cores/chunks.hpp"
#include "common/table.hpp"
#include "field/observer_work.hpp"
#include "field/source_record.hpp"

namespace tessaron {

/// What the field evaluations of the threads work on.
using ObserverTeam = PerThread<ObserverWork>;

/// A test particle in the plane of the lattice: what `csr_p_to_p` and `csr_p_to_m` want to know the field
/// for.
struct FieldObserver {
  double x, y;   ///< [m]
  double phi;    ///< direction [rad]
  double gamma;  ///< Lorentz factor
};

/// A field, or a sum of fields, in the plane of the lattice.
struct PlaneField {
  double x, y;  ///< force per unit charge [V/m]
  double bz;    ///< c times the vertical magnetic field [V/m]
};

/// What field evaluations work on: room for each thread; observers, pairs and sums of the models that have a
/// path for each source. All zero at start.
struct FieldWork {
  static constexpr int most_pairs = 8192;  ///< at a time: 30 ms of work
  ObserverTeam team;
  Table<PlaneField, most_pairs> pair;  ///< fields of the pairs at hand

  std::int32_t n;  ///< observers of this process
  Table<FieldObserver, maxprt> observer;
  Table<PlaneField, maxprt> sum;  ///< of the fields of all sources there
  void clear() { n = 0; }
  void add(const FieldObserver& at) { observer[++n] = at; }
};

/// Sums for each observer the fields of all source particles, each a sub-bunch on the path of its own, times
/// their charges. The sources are added in their order. The threads share the pairs of a source and an
/// observer, some sources at a time.
/// \param settings  of the field, for all sources
/// \param told      called behind each particle, source or not, by its number
/// \param work      has the observers, is given the sums
void sum_source_fields(const ParticleTable& particles, const SectionTable& sections, double ct,
                       const FieldSource& settings, void (*told)(std::int32_t particle), FieldWork& work);

}  // namespace tessaron
