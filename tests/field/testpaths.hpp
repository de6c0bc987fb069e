#pragma once
#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "field/ffield.hpp"
#include "field/path/path_build.hpp"
#include "field/source_field.hpp"

namespace tessaron::test {

/// A stretch of an orbit: its length and its curvature, > 0 to the left.
struct Section {
  double length, kappa;
};

/// An orbit of arcs and straight lines through its own origin at s = 0, which lies `ahead` metres behind the
/// first section's start; the x axis is the direction there. Straight before the first section and behind the
/// last. This geometry shares no code with the library's path.
class Orbit {
 public:
  Orbit(double first, std::vector<Section> sections) : first_(first), sections_(std::move(sections)) {
    // Walk from the first section, then move everything so that s = 0 is the origin.
    const Pose p = raw(0);
    shift_ = p;
  }
  struct Pose {
    double x, y, phi;
  };
  Pose at(double s) const {
    const Pose p = raw(s);
    const double dx = p.x - shift_.x, dy = p.y - shift_.y, c = std::cos(shift_.phi), n = std::sin(shift_.phi);
    return {c * dx + n * dy, -n * dx + c * dy, p.phi - shift_.phi};
  }
  /// The boundaries of the sections.
  std::vector<double> boundaries() const {
    std::vector<double> s{first_};
    for (const Section& section : sections_) s.push_back(s.back() + section.length);
    return s;
  }

 private:
  Pose raw(double s) const {
    Pose p{0, 0, 0};
    double u = s - first_;
    if (u <= 0) return {u, 0, 0};
    for (const Section& section : sections_) {
      const double step = std::min(u, section.length);
      advance(p, step, section.kappa);
      u -= step;
      if (u <= 0) return p;
    }
    advance(p, u, 0);
    return p;
  }
  static void advance(Pose& p, double length, double kappa) {
    const double turn = kappa * length;
    const double chord = turn == 0 ? length : length * std::sin(turn / 2) / (turn / 2);
    p.x += chord * std::cos(p.phi + turn / 2);
    p.y += chord * std::sin(p.phi + turn / 2);
    p.phi += turn;
  }
  double first_;
  std::vector<Section> sections_;
  Pose shift_{0, 0, 0};
};

/// The source that a test sets up, and what its observers work on.
inline FieldSource source;
inline ObserverWork work;

inline double beta_of(double gamma) { return std::sqrt((gamma - 1) * (gamma + 1)) / gamma; }

/// Hands an orbit to the library as the path of a particle of this gamma that stands at its origin at ct = 0.
inline void use_orbit(const Orbit& orbit, double gamma) {
  static BoundaryPoints rows;
  const double beta = beta_of(gamma);
  const std::vector<double> bounds = orbit.boundaries();
  int n = 0;
  for (const double s : bounds) {
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
