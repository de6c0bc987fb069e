#include "field/path/closest_point.hpp"

#include <algorithm>
#include <cmath>

namespace tessaron {

namespace {

constexpr double at_the_source = 1e-9;  // closer than this to the source nothing is nearer [m]

PathQuery query = PathQuery::stretches;

struct Cache {
  bool valid = false;
  int level = 0;
  double s = 0;
  PathSample sample;
};
Cache cache;

ClosestRecord record;
double previous_answer = 0;

/// Distance of the observer from the path, and its derivative.
struct Distance {
  double s, value, slope;
};

Distance distance_at(double s) {
  const PlanePoint p = plane_point(s);
  const double dx = p.x - record.r0.x, dy = p.y - record.r0.y, dz = -record.r0.z;
  const double value = std::sqrt(dx * dx + dy * dy + dz * dz);
  return {s, value, (p.ex * dx + p.ey * dy) / (value + 1e-100)};
}

/// Minimum of the distance between a and b, from x on: Brent's minimisation with first derivatives. The
/// tolerance of s is tau times the distance; the search ends as well when the bracket gets no shorter, and
/// after 200 passes. Source: Press et al., Numerical Recipes, 2nd ed., sec. 10.3.
double dbrent(double a, double start, double b, double tau) {
  constexpr int itmax = 200;
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
bool newton(double low, double start, double high, double& s) {
  constexpr int most_steps = 8;
  if (query != PathQuery::stretches || !(pthcom.forward > 0)) return false;
  s = start;
  for (int n = 1; n <= most_steps; ++n) {
    const PlanePoint p = path_at(pthcom, s);
    const double dx = p.x - record.r0.x, dy = p.y - record.r0.y;
    const double growth = 1 + p.kappa * (p.ex * dy - p.ey * dx);
    const double step = (p.ex * dx + p.ey * dy) / growth;
    s -= step;
    if (!(s > low && s < high && growth > 0)) return false;
    const double distance = std::sqrt(dx * dx + dy * dy + record.r0.z * record.r0.z);
    // The next step would be smaller than this one squared, over the radius: rounding.
    if (std::abs(step) <= 1e-8 * distance || std::abs(step) <= 1e-16 * std::abs(s)) {
      return distance * pthcom.largest_kappa < pthcom.forward;
    }
  }
  return false;
}

}  // namespace

const ClosestRecord& closest = record;
const PathQuery& path_query = query;

const PathSample& pthval(double s, int level) {
  if (cache.valid && level <= cache.level && s == cache.s) return cache.sample;
  cache.level = level <= 3 ? 3 : level <= 7 ? 7 : level <= 15 ? 15 : 31;
  if (query == PathQuery::stretches) {
    pathfn(s, cache.level, cache.sample.point);
  } else {
    pathfn_by_coefficients(s, cache.sample.point);
  }
  const double gamma = cache.sample.point.gamma;
  cache.sample.beta = std::sqrt(1 - 1 / (gamma * gamma));
  cache.s = s;
  cache.valid = true;
  return cache.sample;
}

void pcclr() { cache.valid = false; }

void use_path_query(PathQuery chosen) {
  query = chosen;
  pcclr();
}

PlanePoint plane_point_by_coefficients(double s) {
  PathPoint p;
  pathfn_by_coefficients(s, p);
  return {p.r[0], p.r[1], p.e[0], p.e[1], p.e[0] * p.e_prime[1] - p.e[1] * p.e_prime[0]};
}

void fclini(const Vec3& r0, double s_low, double s_high, double tau) {
  record.r0 = r0;
  record.tau = tau;
  const bool warm = s_low < previous_answer && previous_answer < s_high;
  const double start = warm ? previous_answer : 0.5 * (s_low + s_high);
  double s;
  if (!newton(s_low, start, s_high, s)) {
    s = dbrent(s_low, start, s_high, tau);
    // On a path that turns far the start may lead to another pass than that of the source, which is at 0.
    const bool source_is_nearer = distance_at(s).value > 1.001 * distance_at(0).value + at_the_source;
    if (source_is_nearer && s_low < 0 && 0 < s_high) s = dbrent(s_low, 0, s_high, tau);
  }
  const PlanePoint p = plane_point(s);
  const double dx = p.x - r0.x, dy = p.y - r0.y;
  // One correction; the factor 2 damps it where the path bends towards the observer.
  s -= (p.ex * dx + p.ey * dy) / (1 + 2 * p.kappa * (p.ex * dy - p.ey * dx));
  record.s_c = s;
  record.path = pthval(s, 31);
  record.d = norm(vec3(record.path.point.r) - r0);
  previous_answer = s;
}

void fobset(const Vec3& r) {
  record.r0 = r;
  record.d = norm(r - vec3(record.path.point.r));
}

}  // namespace tessaron
