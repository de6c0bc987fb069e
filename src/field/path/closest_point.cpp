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

/// What Brent's search knows after some passes.
struct Search {
  double a, b;          // the minimum lies between them
  Distance x, w, v;     // the nearest point so far, the second nearest, and the one that was it before
  double d = 0, e = 0;  // the last step and the one before it
};

/// Sets the next step by the shorter of two secants of the slope; false where none will do: it must stay
/// between a and b, go downhill, and be at most half as long as the step before the last.
bool step_by_secants(Search& at, double tol1) {
  const Distance &x = at.x, &w = at.w, &v = at.v;
  if (!(std::abs(at.e) > tol1)) return false;
  double d1 = 2 * (at.b - at.a), d2 = d1;
  if (w.slope != x.slope) d1 = (w.s - x.s) * x.slope / (x.slope - w.slope);
  if (v.slope != x.slope) d2 = (v.s - x.s) * x.slope / (x.slope - v.slope);
  const double u1 = x.s + d1, u2 = x.s + d2;
  const bool ok1 = (at.a - u1) * (u1 - at.b) > 0 && x.slope * d1 <= 0;
  const bool ok2 = (at.a - u2) * (u2 - at.b) > 0 && x.slope * d2 <= 0;
  const double step_before_last = at.e;
  at.e = at.d;
  if (!ok1 && !ok2) return false;
  at.d = ok1 && ok2 ? (std::abs(d1) < std::abs(d2) ? d1 : d2) : ok1 ? d1 : d2;
  if (!(std::abs(at.d) <= std::abs(0.5 * step_before_last))) return false;
  const double u = x.s + at.d, tol2 = 2 * tol1;
  if (u - at.a < tol2 || at.b - u < tol2) at.d = std::copysign(tol1, 0.5 * (at.a + at.b) - x.s);
  return true;
}

/// Sets the next step to the middle of the side that goes downhill.
void step_by_bisection(Search& at) {
  at.e = at.x.slope >= 0 ? at.a - at.x.s : at.b - at.x.s;
  at.d = 0.5 * at.e;
}

/// Takes in a new point: the bracket closes around the nearest one.
void take_point(Search& at, const Distance& u) {
  Distance &x = at.x, &w = at.w, &v = at.v;
  if (u.value <= x.value) {
    (u.s >= x.s ? at.a : at.b) = x.s;
    v = w, w = x, x = u;
    return;
  }
  (u.s < x.s ? at.a : at.b) = u.s;
  if (u.value <= w.value || w.s == x.s) {
    v = w, w = u;
  } else if (u.value < v.value || v.s == x.s || v.s == w.s) {
    v = u;
  }
}

/// Minimum of the distance between a and b, from `start` on: Brent's minimisation with first derivatives. The
/// tolerance of s is tau times the distance; the search ends as well when the bracket gets no shorter, and
/// after 200 passes. Source: Press et al., Numerical Recipes, 2nd ed., sec. 10.3.
double dbrent(const PathRecord& path, const Vec3& r0, double a, double start, double b, double tau) {
  constexpr int itmax = 200;
  const Distance first = distance_at(path, r0, start);
  Search at{a, b, first, first, first};
  for (int pass = 1; pass <= itmax; ++pass) {
    const double bracket = at.b - at.a, xm = 0.5 * (at.a + at.b);
    const double tol1 = tau * at.x.value, tol2 = 2 * tol1;
    if (std::abs(at.x.s - xm) <= tol2 - 0.5 * (at.b - at.a)) break;
    if (!step_by_secants(at, tol1)) step_by_bisection(at);
    const bool smallest_step = std::abs(at.d) < tol1;
    const Distance u = distance_at(path, r0, at.x.s + (smallest_step ? std::copysign(tol1, at.d) : at.d));
    if (smallest_step && u.value > at.x.value) break;
    take_point(at, u);
    if (!(at.b - at.a < bracket)) break;
  }
  return at.x.s;
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
