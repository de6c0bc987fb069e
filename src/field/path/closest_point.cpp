#include "field/path/closest_point.hpp"

#include <algorithm>
#include <cmath>

namespace tessaron {

namespace {

constexpr double at_the_source = 1e-9;  // closer than this to the source nothing is nearer [m]

/// Distance of the observer from the path, and its derivative.
struct Distance {
  double s, value, slope;
};

Distance distance_at(const PathRecord& path, const Vec3& r0, double s) {
  const CurvePoint p = plane_point(path, s);
  const double dx = p.x - r0.x, dy = p.y - r0.y, dz = -r0.z;
  const double value = std::sqrt(dx * dx + dy * dy + dz * dz);
  return {s, value, (p.ex * dx + p.ey * dy) / (value + 1e-100)};
}

/// Minimum of the distance between a and b, from x on: Brent's minimisation with first derivatives. The
/// tolerance of s is tau times the distance; the search ends as well when the bracket gets no shorter, and
/// after 200 passes. Source: Press et al., Numerical Recipes, 2nd ed., sec. 10.3.
double dbrent(const PathRecord& path, const Vec3& r0, double a, double start, double b, double tau) {
  constexpr int itmax = 200;
  const auto distance_at = [&](double s) { return tessaron::distance_at(path, r0, s); };
  Distance x = distance_at(start), w = x, v = x;
  double d = 0, e = 0;
  for (int pass = 1; pass <= itmax; ++pass) {
    const double bracket = b - a, xm = 0.5 * (a + b);
    const double tol1 = tau * x.value, tol2 = 2 * tol1;
    if (std::abs(x.s - xm) <= tol2 - 0.5 * (b - a)) break;
    bool bisect = true;
    if (std::abs(e) > tol1) {
      // Two secant steps; a step must stay in the bracket, go downhill, and be short enough.
      double d1 = 2 * (b - a), d2 = d1;
      if (w.slope != x.slope) d1 = (w.s - x.s) * x.slope / (x.slope - w.slope);
      if (v.slope != x.slope) d2 = (v.s - x.s) * x.slope / (x.slope - v.slope);
      const double u1 = x.s + d1, u2 = x.s + d2;
      const bool ok1 = (a - u1) * (u1 - b) > 0 && x.slope * d1 <= 0;
      const bool ok2 = (a - u2) * (u2 - b) > 0 && x.slope * d2 <= 0;
      const double step_before_last = e;
      e = d;
      if (ok1 || ok2) {
        d = ok1 && ok2 ? (std::abs(d1) < std::abs(d2) ? d1 : d2) : ok1 ? d1 : d2;
        if (std::abs(d) <= std::abs(0.5 * step_before_last)) {
          const double u = x.s + d;
          if (u - a < tol2 || b - u < tol2) d = std::copysign(tol1, xm - x.s);
          bisect = false;
        }
      }
    }
    if (bisect) {
      e = x.slope >= 0 ? a - x.s : b - x.s;
      d = 0.5 * e;
    }
    const bool smallest_step = std::abs(d) < tol1;
    const Distance u = distance_at(x.s + (smallest_step ? std::copysign(tol1, d) : d));
    if (smallest_step && u.value > x.value) break;
    if (u.value <= x.value) {
      (u.s >= x.s ? a : b) = x.s;
      v = w, w = x, x = u;
    } else {
      (u.s < x.s ? a : b) = u.s;
      if (u.value <= w.value || w.s == x.s) {
        v = w, w = u;
      } else if (u.value < v.value || v.s == x.s || v.s == w.s) {
        v = u;
      }
    }
    if (!(b - a < bracket)) break;
  }
  return x.s;
}

/// The same minimum by Newton's method for e . (r - r0) = 0, from `start` on. It is taken only where the
/// distance d has no other minimum. From the closest point on, the part of the way along e(s) grows by the
/// cosine of the largest turn on the path at least, and what d takes back by the bend of e(s) grows by d
/// kappa at most: so the cosine must be the larger one.
bool newton(const PathRecord& path, const Vec3& r0, double low, double start, double high, double& s) {
  constexpr int most_steps = 8;
  if (path.query != PathQuery::stretches || !(path.forward > 0)) return false;
  s = start;
  for (int n = 1; n <= most_steps; ++n) {
    const CurvePoint p = path_at(path, s);
    const double dx = p.x - r0.x, dy = p.y - r0.y;
    const double growth = 1 + p.kappa * (p.ex * dy - p.ey * dx);
    const double step = (p.ex * dx + p.ey * dy) / growth;
    s -= step;
    if (!(s > low && s < high && growth > 0)) return false;
    const double distance = std::sqrt(dx * dx + dy * dy + r0.z * r0.z);
    // The next step would be smaller than this one squared, over the radius: rounding.
    if (std::abs(step) <= 1e-8 * distance || std::abs(step) <= 1e-16 * std::abs(s)) {
      return distance * path.largest_kappa < path.forward;
    }
  }
  return false;
}

}  // namespace

void fclini(const PathRecord& path, const Vec3& r0, double s_low, double s_high, double tau,
            ClosestRecord& closest) {
  const bool within = s_low < r0.x && r0.x < s_high;
  const double start = within ? r0.x : 0.5 * (s_low + s_high);
  double s;
  if (!newton(path, r0, s_low, start, s_high, s)) {
    s = dbrent(path, r0, s_low, start, s_high, tau);
    // On a path that turns far the start may lead to another pass than that of the source, which is at 0.
    const double here = distance_at(path, r0, s).value, source = distance_at(path, r0, 0).value;
    const bool source_is_nearer = here > 1.001 * source + at_the_source;
    if (source_is_nearer && s_low < 0 && 0 < s_high) s = dbrent(path, r0, s_low, 0, s_high, tau);
  }
  const CurvePoint p = plane_point(path, s);
  const double dx = p.x - r0.x, dy = p.y - r0.y;
  // One correction; the factor 2 damps it where the path bends towards the observer.
  s -= (p.ex * dx + p.ey * dy) / (1 + 2 * p.kappa * (p.ex * dy - p.ey * dx));
  closest.s_c = s;
  closest.path = pthval(path, s);
  fobset(r0, closest);
}

void fobset(const Vec3& r, ClosestRecord& closest) {
  closest.r0 = r;
  closest.d = norm(r - vec3(closest.path.r));
}

}  // namespace tessaron
