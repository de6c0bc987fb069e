#include "field/path/retarded_limits.hpp"

#include <algorithm>
#include <cmath>

#include "common/console.hpp"
#include "common/constants.hpp"
#include "field/path/sight.hpp"

namespace tessaron {

namespace {

/// Looks at the observer from points of the path, and says by how much the event (t_seen, r0) is later than
/// the arrival there of what the path's particle sends at s. Times are c t.
struct Lookout {
  const PathRecord& path;
  Sight sight;
  double ct_per_s;  // of the path's clock
  double inv_beta;

  double delay(double s, const Sighting& seen, double ct_seen) const {
    return ct_seen - s * ct_per_s - seen.distance;
  }
};

/// Root of the delay between lo and hi, where it has different signs, by Newton steps that are replaced by
/// bisection where they leave the bracket or do not shrink. All slopes and values are taken times R, which
/// leaves one division in a step. Source: Press et al., Numerical Recipes, 2nd ed., sec. 9.4 (rtsafe).
double safe_root(Lookout& lookout, double ct_seen, double lo, double hi, bool rising, double acc,
                 const char* warning) {
  constexpr int most_evaluations = 100;
  double below = rising ? lo : hi, above = rising ? hi : lo;
  double s = 0.5 * (lo + hi), step = std::abs(hi - lo), step_before = step;
  for (int n = 1; n <= most_evaluations; ++n) {
    const Sighting seen = lookout.sight.from(s);
    const double delay = lookout.delay(s, seen, ct_seen), value = delay * seen.distance;
    if (delay == 0) return s;  // as every root that is met but for rounding
    const double slope = seen.along - lookout.inv_beta * seen.distance;
    if (n > 1) (delay < 0 ? below : above) = s;
    const bool leaves = ((s - above) * slope - value) * ((s - below) * slope - value) >= 0;
    const double before_last = step_before;
    step_before = step;
    double next;
    if (leaves || std::abs(2 * value) > std::abs(before_last * slope)) {
      step = 0.5 * (above - below);
      next = below + step;
      if (next == below) return next;
    } else {
      step = value / slope;
      next = s - step;
      if (next == s) return next;
    }
    s = next;
    if (std::abs(step) < acc) return s;
  }
  console_line(warning);
  return s;
}

/// The root on the straight extension of the path at a, in closed form: the s at which
/// beta sqrt((S_o - s)^2 + rho^2) = S - s.
double straight_root(const PathRecord& path, double a, const Vec3& r0, double t_seen) {
  const PathPoint at = pthval(path, a);
  const Vec3 p = r0 - vec3(at.r), e = vec3(at.e);
  const double along = dot(e, p);
  const Vec3 across = p - e * along;
  const double beta2 = path.beta * path.beta, gamma2 = path.gam * path.gam;
  const double s_o = a + along, s = a + (t_seen - at.t) * speed_of_light * path.beta;
  const double b = (s_o * beta2 - s) * gamma2;
  const double root = b * b - gamma2 * (s * s - (s_o * s_o + dot(across, across)) * beta2);
  return -b - std::sqrt(std::max(root, 0.0));  // the root's argument is a sum of squares but for rounding
}

/// A point of the path and how the observer is seen from there.
struct End {
  double s;
  Sighting seen;
};

/// One limit, between lo and hi; where the signal comes from further back, from the extension at `a`.
double limit(Lookout& lookout, const Vec3& r0, double t_seen, double a, const End& lo, const End& hi,
             double acc, const char* warning) {
  const double ct_seen = speed_of_light * t_seen;
  const double at_lo = lookout.delay(lo.s, lo.seen, ct_seen);
  if (at_lo == 0) return lo.s;
  const double at_hi = lookout.delay(hi.s, hi.seen, ct_seen);
  if (at_hi == 0) return hi.s;
  if ((at_lo < 0) != (at_hi < 0)) return safe_root(lookout, ct_seen, lo.s, hi.s, at_lo < 0, acc, warning);
  if (std::abs(at_hi) <= std::abs(at_lo)) return hi.s;
  return straight_root(lookout.path, a, r0, t_seen);
}

}  // namespace

void f12ini(const PathRecord& path, double t0, const Vec3& r0, double s_a, double s_b, double dt, double acc,
            LimitRecord& limits) {
  limits = {r0, t0, dt, s_b, s_b};
  Lookout lookout{path, Sight(path, r0), speed_of_light / path.vel, 1 / path.beta};
  const End low{s_a, lookout.sight.from(s_a)}, high{s_b, lookout.sight.from(s_b)};
  limits.s1 =
      limit(lookout, r0, t0 - dt, s_a, low, high, acc, "warning fld_s1_s2/f12ini: s1 accuracy not reached");
  if (limits.s1 == s_b) return;
  const End next = limits.s1 > s_a ? End{limits.s1, lookout.sight.from(limits.s1)} : low;
  limits.s2 =
      limit(lookout, r0, t0 + dt, s_a, next, high, acc, "warning fld_s1_s2/f12ini: s2 accuracy not reached");
}

}  // namespace tessaron
