#pragma once
#include <algorithm>
#include <array>
#include <cmath>

#include "support/gauss.hpp"
#include "support/hand_orbit.hpp"

/// A brute-force retarded field of a line charge, written apart from the program: own path, own profile, own
/// quadrature in long double. The reference of the field library's tests.
namespace retarded {

using namespace tessaron::test;
using Vec = std::array<Real, 3>;

inline Vec operator-(const Vec& a, const Vec& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
inline Vec operator*(Real w, const Vec& a) { return {w * a[0], w * a[1], w * a[2]}; }
inline Real dot(const Vec& a, const Vec& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
inline Vec cross(const Vec& a, const Vec& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
inline Real norm(const Vec& a) { return std::sqrt(dot(a, a)); }
inline Real distance(const Vec& a, const Vec& b) { return norm(a - b); }

inline constexpr Real c = 299792458.0L;
inline constexpr Real coulomb_constant = 8987551787.3665428L;

/// A path through the origin along x: an arc of constant signed curvature from `arc_begin` to `arc_end`,
/// straight before and behind; the origin may lie on the arc or on either straight.
struct Path {
  Real curvature, arc_begin, arc_end;
  HandOrbit<Real> orbit{arc_begin,
                        {{static_cast<double>(arc_end - arc_begin), static_cast<double>(curvature)}}};
  Vec direction(Real s) const { return {std::cos(orbit.at(s).phi), std::sin(orbit.at(s).phi), 0}; }
  Vec place(Real s) const { return {orbit.at(s).x, orbit.at(s).y, 0}; }
};

/// A charge of 1 C with the truncated Gaussian time profile a exp(-u^2/2) - b + d tau^2, u = tau/sigma, that
/// vanishes with its slope at |u| = n.
struct Profile {
  Real sigma, n, beta, a, b, d;
  Profile(Real sigma_t, Real cut, Real beta_) : sigma(sigma_t), n(cut), beta(beta_) {
    const Real edge = std::exp(-n * n / 2);
    // The normalisation integral of the three terms over |tau| < n sigma.
    const Real area = std::sqrt(2 * std::acos(-1.0L)) * sigma * std::erf(n / std::sqrt(2.0L)) -
                      (1 + n * n / 2) * edge * 2 * n * sigma +
                      edge / (2 * sigma * sigma) * 2 * std::pow(n * sigma, 3.0L) / 3;
    a = 1 / (c * area);
    b = (1 + n * n / 2) * a * edge;
    d = a * edge / (2 * sigma * sigma);
  }
  Real density(Real tau) const {
    const Real u = tau / sigma;
    return std::abs(u) >= n ? 0 : (a * std::exp(-u * u / 2) - b + d * tau * tau) / beta;
  }
  Real slope(Real tau) const {
    const Real u = tau / sigma;
    return std::abs(u) >= n ? 0 : (-a * u / sigma * std::exp(-u * u / 2) + 2 * d * tau) / beta;
  }
};

struct Field {
  Vec e, cb, a, a_t;
  Real phi, phi_t;
  /// On a charge of this velocity, in units of c.
  Vec force(const Vec& velocity) const { return e + cross(velocity, cb); }
};

/// All slots of the field at the place r and the time t, as integrals over the source point s of the retarded
/// density: Lienard-Wiechert potentials and Jefimenko's fields of a line charge.
///     phi = k Int lambda/R ds,  A = k/c Int beta e lambda/R ds,
///     E = k Int (N R/R^3 - beta e lambda_t/(c R)) ds,  c B = k Int beta N (e x R)/R^3 ds,  N = lambda + R
///     lambda_t/c
class LineCharge {
 public:
  LineCharge(const Path& path, Real gamma, Real sigma_t, Real cut)
      : path_(path), beta_(std::sqrt(1 - 1 / (gamma * gamma))), profile_(sigma_t, cut, beta_) {}

  Field at(Real t, const Vec& r, Real tolerance = 1e-13L) const {
    // The retarded bunch time falls along the path, so that each end of the support is a root by bisection.
    const Real head = root(t, r, -profile_.n * profile_.sigma),
               tail = root(t, r, profile_.n * profile_.sigma);
    const Real first = std::min(head, tail), last = std::max(head, tail);
    // Panels end at the corners of the path and shrink towards the point nearest to the observer.
    const Real near = nearest(r, first, last);
    std::array<Real, 5> cuts = {first, clamp(path_.arc_begin, first, last), clamp(near, first, last),
                                clamp(path_.arc_end, first, last), last};
    std::sort(cuts.begin(), cuts.end());
    const Sum sum = integrate(t, r, cuts, tolerance);
    const auto part = [&](std::size_t i) -> Vec {
      return {coulomb_constant * sum[i], coulomb_constant * sum[i + 1], coulomb_constant * sum[i + 2]};
    };
    return {part(0), part(3), part(6), part(9), coulomb_constant * sum[12], coulomb_constant * sum[13]};
  }

 private:
  using Sum = Values<14>;
  static Real clamp(Real x, Real lo, Real hi) { return std::min(std::max(x, lo), hi); }

  /// The point s at which the retarded bunch time t - R/c - s/(beta c) equals tau.
  Real root(Real t, const Vec& r, Real tau) const {
    const auto excess = [&](Real s) { return t - norm(r - path_.place(s)) / c - s / (beta_ * c) - tau; };
    Real lo = -1, hi = 1;
    while (excess(lo) < 0) lo *= 2;
    while (excess(hi) > 0) hi *= 2;
    for (int i = 0; i < 200; ++i) {
      const Real mid = (lo + hi) / 2;
      (excess(mid) > 0 ? lo : hi) = mid;
    }
    return (lo + hi) / 2;
  }
  /// The nearest point of the path within about a metre of the origin, by a scan and golden section.
  Real nearest(const Vec& r, Real first, Real last) const {
    const auto distance = [&](Real s) { return norm(r - path_.place(s)); };
    Real lo = std::max(first, -1.0L), hi = std::min(last, 1.0L);
    if (lo >= hi) return first;
    for (int i = 0; i < 300; ++i) {
      const Real a = lo + (hi - lo) / 3, b = hi - (hi - lo) / 3;
      (distance(a) < distance(b) ? hi : lo) = distance(a) < distance(b) ? b : a;
    }
    return (lo + hi) / 2;
  }
  Sum integrand(Real t, const Vec& r, Real s) const {
    const Vec e = path_.direction(s), to = r - path_.place(s);
    const Real distance = norm(to), tau = t - distance / c - s / (beta_ * c);
    const Real lambda = profile_.density(tau), lambda_t = profile_.slope(tau);
    const Real n = (lambda + distance * lambda_t / c) / (distance * distance * distance);
    const Vec electric = n * to - (beta_ * lambda_t / (c * distance)) * e;
    const Vec magnetic = (beta_ * n) * cross(e, to);
    const Vec a = (beta_ * lambda / (c * distance)) * e, a_t = (beta_ * lambda_t / (c * distance)) * e;
    return {
        electric[0], electric[1], electric[2], magnetic[0], magnetic[1],       magnetic[2],        a[0], a[1],
        a[2],        a_t[0],      a_t[1],      a_t[2],      lambda / distance, lambda_t / distance};
  }
  /// Each pass finds the scales of the next one, the last one has the tolerance.
  Sum integrate(Real t, const Vec& r, const std::array<Real, 5>& cuts, Real tolerance) const {
    const auto f = [&](Real s) { return integrand(t, r, s); };
    Sum total, allowed;
    allowed.fill(HUGE_VALL);
    for (const Real next : {1e-3L, tolerance, 0.0L}) {
      total = {};
      for (std::size_t i = 0; i + 1 < cuts.size(); ++i) {
        if (!(cuts[i + 1] > cuts[i])) continue;
        const Sum whole = gauss10<14>(f, cuts[i], cuts[i + 1]);
        total = total + adaptive(f, cuts[i], cuts[i + 1], allowed, whole);
      }
      const Real fields = std::abs(total[0]) + std::abs(total[1]) + std::abs(total[2]);
      for (std::size_t j = 0; j < 6; ++j) allowed[j] = next * fields;
      allowed[12] = next * std::abs(total[12]);
      allowed[13] = next * std::abs(total[12]) / profile_.sigma;
    }
    return total;
  }

  Path path_;
  Real beta_;
  Profile profile_;
};

}  // namespace retarded
