#pragma once
#include <cmath>
#include <vector>

#include "forces/projected/kernel/kernel.hpp"
#include "support/gauss.hpp"
#include "support/hand_orbit.hpp"

// The retarded integral of a line charge on a curved orbit by brute force: the orbit is laid out forwards in
// the laboratory, every source point is looked at from the observer, and the integral is done adaptively in
// extended precision. Nothing is shared with the walk that is tested but the field function's formula.

namespace tessaron::reference {

using test::Real;

using Orbit = test::HandOrbit<Real>;
/// An orbit that comes from infinity along the x axis; radii > 0 turn clockwise, 0 is a straight.
inline Orbit orbit_of(std::vector<test::Section> sections) {
  for (test::Section& section : sections)
    if (section.kappa != 0) section.kappa = -1 / section.kappa;
  return {0, sections};
}
/// Sections of an orbit, and the table of them that the walk reads; the last section must be an arc.
inline int m_of(const Orbit& orbit) { return static_cast<int>(orbit.sections().size()); }
inline CurvatureTable table_of(const Orbit& orbit) {
  CurvatureTable curv{};
  int k = 0;
  for (const test::Section& section : orbit.sections()) {
    const double start = static_cast<double>(orbit.joints()[static_cast<std::size_t>(k)]);
    curv[++k] = {start, section.kappa == 0 ? 0 : -1 / section.kappa};
  }
  curv[k + 1] = {static_cast<double>(orbit.joints().back()), 0};
  return curv;
}

/// What one observer sees of the orbit.
struct Observer {
  const Orbit& orbit;
  Real s_ref, gamma, sigma, h;
  Orbit::Pose here = orbit.at(s_ref);
  Real C = 1 / (gamma * gamma), beta = std::sqrt(1 - C);

  Real distance(Real P) const {
    const Orbit::Pose there = orbit.at(s_ref + P);
    return std::hypot(std::hypot(there.x - here.x, there.y - here.y), h);
  }
  Real Q(Real P) const { return P + beta * distance(P); }
  /// The field function of a unit charge, as field along the observer's tangent; see csrker.
  Real field(Real P) const {
    const Orbit::Pose there = orbit.at(s_ref + P);
    const Real c = std::cos(here.phi), s = std::sin(here.phi), D = distance(P), q = P + beta * D;
    const Real dx = there.x - here.x, dy = there.y - here.y, turn = there.phi - here.phi;
    const Real R0 = dx * c + dy * s, R1 = dy * c - dx * s, T0 = std::cos(turn), T1 = std::sin(turn);
    const Real W = -(R0 * T0 + R1 * T1) / D, E = 1 - beta * W;
    const Real Z = beta * (W - (1 - T0) * beta + R0 / D) - C;
    return Z / D + (h > 0 ? E * C / std::sqrt(q * q + h * h * C) : -E * C / q);
  }
  Real integrand(Real P, Real s) const {
    const Real u = (Q(P) - s) / sigma;
    return -field(P) * u * std::exp(-u * u / 2) / (sigma * sigma * std::sqrt(2 * std::acos(Real{-1})));
  }
  /// Where Q reaches a value, on the part of the path behind the observer.
  Real path_of(Real value) const {
    Real below = -1, above = 0;
    while (Q(below) > value) below *= 2;
    for (int i = 0; i < 200; ++i) {
      const Real middle = (below + above) / 2;
      (Q(middle) < value ? below : above) = middle;
    }
    return below;
  }
};

/// K(s) in V/m per coulomb for one image distance.
inline double kernel(const Orbit& orbit, double s_ref, double gamma, double sigma, double s, double h) {
  const Observer observer{orbit, s_ref, gamma, sigma, h};
  const Real last = observer.Q(0), from = observer.path_of(s - 9 * sigma);
  if (last < s - 9 * sigma) return 0;
  const Real to = last <= s + 9 * sigma ? Real{-1e-12} * sigma : observer.path_of(s + 9 * sigma);
  const auto f = [&](Real P) { return test::Values<1>{observer.integrand(P, s)}; };
  const test::Values<1> tolerance{1e-10L / (sigma * sigma) / 1000};
  std::vector<Real> cuts{from};
  for (const Real joint : orbit.joints())
    if (joint - s_ref > from && joint - s_ref < to) cuts.push_back(joint - s_ref);
  cuts.push_back(to);
  // Pieces even in Q, so that no feature of the Gaussian is missed.
  Real sum = 0;
  constexpr int pieces = 24;
  for (std::size_t k = 0; k + 1 < cuts.size(); ++k) {
    const Real Qa = observer.Q(cuts[k]), Qb = observer.Q(cuts[k + 1]);
    Real a = cuts[k];
    for (int i = 1; i <= pieces; ++i) {
      const Real b = i == pieces ? cuts[k + 1] : observer.path_of(Qa + (Qb - Qa) * i / pieces);
      if (b > a) sum += test::adaptive(f, a, b, tolerance, test::gauss10<1>(f, a, b))[0];
      a = b;
    }
  }
  return static_cast<double>(sum / 1.1126500560536184e-10L);
}

}  // namespace tessaron::reference
