#pragma once
#include <cmath>
#include <vector>

#include "forces/projected/kernel/kernel.hpp"

// The retarded integral of a line charge on a curved orbit by brute force: the orbit is laid out forwards in
// the laboratory, every source point is looked at from the observer, and the integral is done adaptively in
// extended precision. Nothing is shared with the walk that is tested but the field function's formula.

namespace tessaron::reference {

using Real = long double;

struct Segment {
  double length, radius;  ///< radius > 0 turns clockwise, 0 for a straight
};

/// An orbit that comes from infinity along the x axis and turns into its first segment at the origin.
struct Orbit {
  struct Place {
    Real x, y, angle;
  };
  std::vector<Segment> segments;
  std::vector<Place> starts{{0, 0, 0}};
  std::vector<Real> joints{0};

  explicit Orbit(const std::vector<Segment>& of) : segments(of) {
    for (const Segment& segment : of) {
      starts.push_back(along(starts.back(), segment.length, segment.radius));
      joints.push_back(joints.back() + segment.length);
    }
  }
  static Place along(const Place& from, Real l, Real r) {
    if (r == 0) return {from.x + l * std::cos(from.angle), from.y + l * std::sin(from.angle), from.angle};
    const Real angle = from.angle - l / r, half = (angle + from.angle) / 2,
               chord = 2 * r * std::sin(l / (2 * r));
    return {from.x + chord * std::cos(half), from.y + chord * std::sin(half), angle};
  }
  Place at(Real s) const {
    if (s <= 0) return {s, 0, 0};
    std::size_t k = 0;
    while (k < segments.size() && s > joints[k + 1]) ++k;
    return along(starts[k], s - joints[k], k < segments.size() ? segments[k].radius : 0.0);
  }
  int m() const { return static_cast<int>(segments.size()); }
  /// The table that the walk reads; the last segment must be an arc.
  CurvatureTable table() const {
    CurvatureTable curv{};
    for (int k = 0; k <= m(); ++k) {
      const auto i = static_cast<std::size_t>(k);
      curv[k + 1] = {static_cast<double>(joints[i]), k < m() ? segments[i].radius : 0.0};
    }
    return curv;
  }
};

/// What one observer sees of the orbit.
struct Observer {
  const Orbit& orbit;
  Real s_ref, gamma, sigma, h;
  Orbit::Place here = orbit.at(s_ref);
  Real C = 1 / (gamma * gamma), beta = std::sqrt(1 - C);

  Real distance(Real P) const {
    const Orbit::Place there = orbit.at(s_ref + P);
    return std::hypot(std::hypot(there.x - here.x, there.y - here.y), h);
  }
  Real Q(Real P) const { return P + beta * distance(P); }
  /// The field function of a unit charge, as field along the observer's tangent; see csrker.
  Real field(Real P) const {
    const Orbit::Place there = orbit.at(s_ref + P);
    const Real c = std::cos(here.angle), s = std::sin(here.angle), D = distance(P), q = P + beta * D;
    const Real dx = there.x - here.x, dy = there.y - here.y, turn = there.angle - here.angle;
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

/// Gauss's rule of ten points on an interval that is halved until both halves agree with the whole.
template <class Function>
Real gauss10(const Function& f, Real a, Real b) {
  static constexpr Real x[5] = {0.148874338981631210885L, 0.433395394129247190799L, 0.679409568299024406234L,
                                0.865063366688984510732L, 0.973906528517171720078L};
  static constexpr Real w[5] = {0.295524224714752870174L, 0.269266719309996355091L, 0.219086362515982043996L,
                                0.149451349150580593146L, 0.066671344308688137594L};
  const Real centre = (a + b) / 2, half = (b - a) / 2;
  Real sum = 0;
  for (int i = 0; i < 5; ++i) sum += w[i] * (f(centre - half * x[i]) + f(centre + half * x[i]));
  return sum * half;
}
template <class Function>
Real adaptive(const Function& f, Real a, Real b, Real whole, Real tolerance, int depth = 30) {
  const Real centre = (a + b) / 2, left = gauss10(f, a, centre), right = gauss10(f, centre, b);
  if (depth == 0 || std::abs(left + right - whole) <= tolerance) return left + right;
  return adaptive(f, a, centre, left, tolerance / 2, depth - 1) +
         adaptive(f, centre, b, right, tolerance / 2, depth - 1);
}

/// K(s) in V/m per coulomb for one image distance.
inline double kernel(const Orbit& orbit, double s_ref, double gamma, double sigma, double s, double h) {
  const Observer observer{orbit, s_ref, gamma, sigma, h};
  const Real last = observer.Q(0), from = observer.path_of(s - 9 * sigma);
  if (last < s - 9 * sigma) return 0;
  const Real to = last <= s + 9 * sigma ? Real{-1e-12} * sigma : observer.path_of(s + 9 * sigma);
  const auto f = [&](Real P) { return observer.integrand(P, s); };
  std::vector<Real> cuts{from};
  for (const Real joint : orbit.joints)
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
      if (b > a) sum += adaptive(f, a, b, gauss10(f, a, b), 1e-10L / (sigma * sigma));
      a = b;
    }
  }
  return static_cast<double>(sum / 1.1126500560536184e-10L);
}

}  // namespace tessaron::reference
