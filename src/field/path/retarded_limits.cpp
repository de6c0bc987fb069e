#include "field/path/retarded_limits.hpp"

#include <algorithm>
#include <cmath>

#include "common/console.hpp"
#include "common/constants.hpp"

namespace tessaron {

namespace {

/// By how much the event (t_seen, r0) is later than the arrival there of what the path's particle sends at s.
struct Delay {
  double value;  ///< [s]
  double slope;  ///< its derivative with respect to s, < 0 [s/m]
};

struct DelayFunction {
  const PathRecord& path;
  Vec3 r0;
  double t_seen;
  double inv_beta;

  Delay operator()(double s) const {
    const CurvePoint p = plane_point(path, s);
    const double dx = p.x - r0.x, dy = p.y - r0.y, dz = -r0.z;
    const double distance = std::sqrt(dx * dx + dy * dy + dz * dz);
    return {t_seen - s / path.vel - distance / speed_of_light,
            (-inv_beta - (p.ex * dx + p.ey * dy) / (distance + 1e-100)) / speed_of_light};
  }
};

/// Root between lo and hi, where f has the values f_lo and f_hi of different sign, by Newton steps that are
/// replaced by bisection where they leave the bracket or do not shrink. Source: Press et al., Numerical
/// Recipes, 2nd ed., sec. 9.4 (rtsafe).
double safe_root(const DelayFunction& f, double lo, double hi, double f_lo, double acc, const char* warning) {
  constexpr int most_evaluations = 100;
  double below = f_lo < 0 ? lo : hi, above = f_lo < 0 ? hi : lo;
  double s = 0.5 * (lo + hi), step = std::abs(hi - lo), step_before = step;
  for (int n = 1; n <= most_evaluations; ++n) {
    const Delay at = f(s);
    if (n > 1) (at.value < 0 ? below : above) = s;
    const bool leaves = ((s - above) * at.slope - at.value) * ((s - below) * at.slope - at.value) >= 0;
    const double before_last = step_before;
    step_before = step;
    double next;
    if (leaves || std::abs(2 * at.value) > std::abs(before_last * at.slope)) {
      step = 0.5 * (above - below);
      next = below + step;
      if (next == below) return next;
    } else {
      step = at.value / at.slope;
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

/// One limit, between lo and hi; where the signal comes from further back, from the extension at `a`.
double limit(const DelayFunction& f, double a, double lo, double hi, double acc, const char* warning) {
  const double f_lo = f(lo).value;
  if (f_lo == 0) return lo;
  const double f_hi = f(hi).value;
  if (f_hi == 0) return hi;
  if ((f_lo < 0) != (f_hi < 0)) return safe_root(f, lo, hi, f_lo, acc, warning);
  if (std::abs(f_hi) <= std::abs(f_lo)) return hi;
  return straight_root(f.path, a, f.r0, f.t_seen);
}

}  // namespace

void f12ini(const PathRecord& path, double t0, const Vec3& r0, double s_a, double s_b, double dt, double acc,
            LimitRecord& limits) {
  limits = {r0, t0, dt, s_b, s_b};
  const double inv_beta = 1 / path.beta;
  limits.s1 = limit({path, r0, t0 - dt, inv_beta}, s_a, s_a, s_b, acc,
                    "warning fld_s1_s2/f12ini: s1 accuracy not reached");
  if (limits.s1 == s_b) return;
  limits.s2 = limit({path, r0, t0 + dt, inv_beta}, s_a, std::max(s_a, limits.s1), s_b, acc,
                    "warning fld_s1_s2/f12ini: s2 accuracy not reached");
}

}  // namespace tessaron
