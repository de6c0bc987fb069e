#pragma once
#include <cstdint>
#include <span>

#include "beam/bunch_record.hpp"
#include "common/cores/chunks.hpp"
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

/// Adds the fields of all source particles, each a sub-bunch on the path of its own, times their charges to
/// the sums: sums[k] belongs to observers[k]. The sources are added in their order. The threads share the
/// pairs of a source and an observer, some sources at a time.
/// \param settings  of the field, for all sources
/// \param told      called behind each particle, source or not, by its number
void add_source_fields(const ParticleTable& particles, const SectionTable& sections, double ct,
                       const FieldSource& settings, std::span<const FieldObserver> observers,
                       ObserverTeam& team, void (*told)(std::int32_t particle), std::span<PlaneField> sums);

}  // namespace tessaron
