#pragma once
#include "beam/ptlcom.hpp"
#include "common/text.hpp"

namespace tessaron {

enum class ParticleFormat { fmt1 = 1, fmt2 = 2, umbra = 3 };
enum class MomentumMode { reference_particle = 1, average = 2, number = 3 };

/// Empties the store: total charge, reference point, npart and the valid flag of the sections.
[[nodiscard]] Status ptlini();
/// The block reader of `particles`.
[[nodiscard]] Status ptlblk();
/// Reads the array in `fmt1` or `fmt2`; `key` gets the token that ended it.
[[nodiscard]] Status ptlarr(Text<80>& key);
/// Reads the array in `umbra` format.
[[nodiscard]] Status ptlumb(Text<80>& key);
/// Converts the table from file-frame differences to the internal form.
[[nodiscard]] Status ptlset(ParticleFormat format, MomentumMode mode);

struct BeamSizes {
  double rms_long, rms_rad, rms_vert;  ///< [m]
};
/// Charge-weighted rms sizes of a particle table over the particles with the source flag, about their centre:
/// along the direction of particle 1, across it in the plane, out of the plane.
BeamSizes beam_sizes(int n, const ParticleTable& particles, const FlagTable& source);

}  // namespace tessaron
