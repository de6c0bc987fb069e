#include "forces/field_settings.hpp"

#include <cmath>

#include "field/ffield.hpp"
#include "forces/force_settings.hpp"

namespace tessaron {

double gamma_of(const Particle& particle) { return std::sqrt(particle.p * particle.p + 1); }

double beta_of(const Particle& particle) { return particle.p / gamma_of(particle); }

void pass_field_settings(const Particle& reference) {
  const ForceSettings& s = force_settings;
  finit("q0", 1);
  finit("xnsigt", 5);
  finit("relacc", 0.0001);
  finit("zsymmetry", 1);
  finit("1dmirror", 1);
  finit("hc", s.shield);
  finit("hmax", s.shield_max);
  finit("rintmi", s.rintmi);
  finit("notalman", 0);
  finit("nogamma2", 0);
  finit("1dpoleex", 0);
  finit("method", static_cast<double>(s.shape_code));
  finit("sigmat", s.sigma_long / (speed_of_light * beta_of(reference)));
  if (s.shape_code == Shape::sphere) {
    finit("sigmaz", s.sigma_vert);
  } else if (s.shape_code == Shape::ellipsoid) {
    // The order matters: a positive `sigmar` chooses the elliptical model, `sigmaz` then only fills it in.
    finit("sigmar", s.sigma_rad);
    finit("sigmaz", s.sigma_vert);
  }
}

}  // namespace tessaron
