#pragma once
#include "beam/bunch_record.hpp"

namespace tessaron {

struct FieldSource;

/// Gives a source the settings of the models: a Gaussian sub-bunch of 1 C with the present sizes, cut off at
/// five standard deviations, with the image charges of the shielding. The rms duration follows from the
/// speed of the reference particle. The path and its limits are added by `setpth`.
void pass_field_settings(const Particle& reference, FieldSource& source);

/// The speed of a particle in units of c.
double beta_of(const Particle& particle);
/// Its Lorentz factor.
double gamma_of(const Particle& particle);

}  // namespace tessaron
