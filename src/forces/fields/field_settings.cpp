#include "forces/fields/field_settings.hpp"

#include <cmath>

#include "field/ffield.hpp"
#include "field/source_record.hpp"
#include "forces/force_settings.hpp"

namespace tessaron {

double gamma_of(const Particle& particle) { return std::sqrt(particle.p * particle.p + 1); }

double beta_of(const Particle& particle) { return particle.p / gamma_of(particle); }

void pass_field_settings(const Particle& reference, FieldSource& source) {
  const ForceSettings& s = force_settings;
  finit(source, "q0", 1);
  finit(source, "xnsigt", 5);
  finit(source, "relacc", 0.0001);
  finit(source, "zsymmetry", 1);
  finit(source, "1dmirror", 1);
  finit(source, "hc", s.shield);
  finit(source, "hmax", s.shield_max);
  finit(source, "rintmi", s.rintmi);
  finit(source, "notalman", 0);
  finit(source, "nogamma2", 0);
  finit(source, "nopotential", 1);
  finit(source, "1dpoleex", 0);
  finit(source, "method", static_cast<double>(s.shape_code));
  finit(source, "sigmat", s.sigma_long / (speed_of_light * beta_of(reference)));
  if (s.shape_code == Shape::sphere) {
    finit(source, "sigmaz", s.sigma_vert);
  } else if (s.shape_code == Shape::ellipsoid) {
    // The order matters: a positive `sigmar` chooses the elliptical model, `sigmaz` then only fills it in.
    finit(source, "sigmar", s.sigma_rad);
    finit(source, "sigmaz", s.sigma_vert);
  }
}

}  // namespace tessaron
