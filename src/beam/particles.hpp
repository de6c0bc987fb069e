#pragma once
#include "beam/bunch_record.hpp"
#include "common/text.hpp"

namespace tessaron {

/// Particle input. A `particles` block holds its settings and, as the last of them, the array of particles,
/// most often in a file:
///     particles { format = fmt1  reference_point_phi = 30  array = #file { name = bunch.dat } }
/// The first record is the reference particle in absolute coordinates of the file frame, every other one its
/// difference from the first. While the array is read, a record holds what the file says: the components of
/// the momentum [eV/c] stand in the fields of p, phi and theta. `ptlset` then brings all to the internal
/// form.

/// The layouts of an array.
enum class ParticleFormat {
  fmt1 = 1,   ///< header; x, y, z [m], px, py, pz [eV/c], q [C] along the axes of the file frame
  fmt2 = 2,   ///< the same, differences along the axes of the reference particle (see `particle_frame`)
  umbra = 3,  ///< no header; ten tokens with the beam along z; file frame
};
/// Where the reference momentum comes from; `number` has set it while the block was read.
enum class MomentumMode { reference_particle = 1, average = 2, number = 3 };

/// Empties the store: total charge, reference point, npart and the valid flag of the sections. The reference
/// momentum and the bunch time stay.
[[nodiscard]] Status ptlini();
/// The block reader of `particles`: replaces the bunch. After a failure the table holds the particles read so
/// far as they stand in the file.
[[nodiscard]] Status ptlblk();
/// Reads the array in `fmt1` or `fmt2`; `key` gets the token that ended it.
[[nodiscard]] Status ptlarr(Text<80>& key);
/// The same in `umbra` format.
[[nodiscard]] Status ptlumb(Text<80>& key);
/// Converts the table from file-frame differences to the internal form and folds the sign of the charge out
/// of it. Finite input gives finite numbers: a momentum of 0 has the angles 0, and without particles all
/// derived values are 0.
[[nodiscard]] Status ptlset(ParticleFormat format, MomentumMode mode);

/// The size of a bunch.
struct BeamSizes {
  double rms_long, rms_rad, rms_vert;  ///< [m]
};
/// Charge-weighted rms sizes over the particles 1..n with the source flag, about their centre: along the
/// direction of particle 1 in the plane, across it, out of the plane. The charges have one sign. Without
/// charge all sizes are 0.
BeamSizes beam_sizes(int n, const ParticleTable& particles, const FlagTable& source);

}  // namespace tessaron
