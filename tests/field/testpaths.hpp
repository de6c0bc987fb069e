#pragma once
#include <cmath>

#include "field/ffield.hpp"
#include "field/path/path_build.hpp"
#include "field/source_field.hpp"
#include "support/hand_orbit.hpp"

namespace tessaron::test {

using Orbit = HandOrbit<>;

/// The source that a test sets up, and what its observers work on.
inline FieldSource source;
inline ObserverWork work;

inline double beta_of(double gamma) { return std::sqrt((gamma - 1) * (gamma + 1)) / gamma; }

/// Hands an orbit to the library as the path of a particle of this gamma that stands at its origin at ct = 0.
inline void use_orbit(const Orbit& orbit, double gamma) {
  static BoundaryPoints rows;
  const double beta = beta_of(gamma);
  int n = 0;
  for (const double s : orbit.joints()) {
    const Orbit::Pose p = orbit.at(s);
    rows[++n] = {p.x, p.y, 0, 0, p.phi, 0, s / beta};
  }
  build_path({0, 0, 0, gamma * beta, 0, 0, 1}, rows, n, 0, source);
}

/// The settings that the force models give, for a source of charge 1 and rms length sigma.
inline void use_source(double sigma, double gamma, double relacc = 1e-4, double rintmi = 1e-6) {
  finit(source, "q0", 1);
  finit(source, "xnsigt", 5);
  finit(source, "relacc", relacc);
  finit(source, "zsymmetry", 1);
  finit(source, "1dmirror", 1);
  finit(source, "hc", 0);
  finit(source, "hmax", 0.5);
  finit(source, "rintmi", rintmi);
  finit(source, "notalman", 0);
  finit(source, "nogamma2", 0);
  finit(source, "1dpoleex", 0);
  finit(source, "method", 0);
  finit(source, "sigmat", sigma / (299792458.0 * beta_of(gamma)));
}
inline void use_summation(Summation way, int refinement = 1) {
  source.settings.summation = way;
  source.settings.refinement = refinement;
}
inline void use_round(double size) {
  finit(source, "method", 2);
  finit(source, "sigmaz", size);
}
inline void use_ellipse(double radial, double vertical) {
  finit(source, "method", 3);
  finit(source, "sigmar", radial);
  finit(source, "sigmaz", vertical);
}

/// The field at (x, y, z) at time ct = 0 on a test particle along x.
inline FieldResult field(double x, double y, double z, double gamma, double direction = 0, double ct = 0) {
  const double r[3] = {x, y, z}, n[3] = {std::cos(direction), std::sin(direction), 0};
  finit(source, "check", 0);
  return ffield(source, work, ct / 299792458.0, r, gamma, n);
}

}  // namespace tessaron::test
