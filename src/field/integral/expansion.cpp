#include "field/integral/expansion.hpp"

#include <algorithm>
#include <cmath>

#include "common/constants.hpp"
#include "field/path/path_query.hpp"

namespace tessaron {

namespace {

constexpr double c = speed_of_light;
constexpr double largest_near_radius =
    0.046415888336127795;        // cube root of 1e-4, in units of the bunch length
constexpr double tiny = 1e-100;  // keeps a division by a distance finite

void set_vectors(const PathPoint& at, ExpansionRecord& x) {
  const Vec3 path_e_prime = vec3(at.e_prime), p0 = x.r0 - vec3(at.r);
  x.across = p0 - x.e * dot(x.e, p0);
  x.kappa = path_e_prime - x.e * dot(x.e, path_e_prime);
  x.c0 = cross(x.e, x.across);
  x.c1 = cross(x.kappa, x.across);
  x.c2 = 0.5 * cross(x.e, x.kappa);
  x.k1 = cross(x.c0, x.kappa);
  x.k2 = cross(x.c1, x.kappa);
}

/// The interval around s_c that is replaced by a closed form.
void set_near_interval(const FieldSource& source, const LimitRecord& limits, ExpansionRecord& x) {
  const double radius = 1e6 * x.eps + source.path.beta * c * x.sigmat *
                                          std::min(std::cbrt(source.settings.relacc), largest_near_radius);
  x.near = false;
  x.n1 = x.n2 = x.s_c;
  if (!(radius > x.d)) return;
  const double w = std::sqrt(radius * radius - x.d * x.d);
  x.n1 = x.s_c - w;
  x.n2 = x.s_c + w;
  x.near = x.n1 < x.n2 && x.n1 <= limits.s2 && x.n2 >= limits.s1;
}

void set_retarded_densities(const FieldSource& source, ExpansionRecord& x) {
  const double delta = x.d / c;
  const DensityDerivatives l = lamder(source.profile, source.path, x.s_c, x.t0 - delta);
  x.a0 = -(l.lambda + l.lambda_t * delta);
  x.a1 = -(l.lambda_s + l.lambda_st * delta);
  x.b1 = -l.lambda_s;
  x.b2 = l.lambda_t / c;
  x.p0 = -(l.lambda_t + l.lambda_tt * delta);
  x.p1 = -l.lambda_st;
  x.p2 = l.lambda_tt / c;
}

/// lambda + R lambda_t / c at one end of the near interval, y from the closest point.
double true_density(const FieldSource& source, const ExpansionRecord& x, double s, double y, double radius) {
  const PathPoint at = pthval(source.path, s);
  Vec3 p = x.r0 - vec3(at.r);
  const Vec3 across = cross(vec3(at.e), p);
  const double largest = std::min(std::max({across.x, across.y, across.z}), radius);
  if (1e-6 * largest < x.eps) p = x.rp(y);
  const double r = norm(p);
  const Density l = lamget(source.profile, source.path, s, x.t0 - r / c);
  return l.lambda + r * l.lambda_t / c;
}

/// Coefficient of y^2 in the subtracted density, so that it fits the true one at the ends of the near
/// interval.
void set_second_order(const FieldSource& source, ExpansionRecord& x) {
  const double w = (x.n2 - x.n1) / 2, radius = std::sqrt(w * w + x.d * x.d);
  const double at_n1 = x.a0 - x.a1 * w + true_density(source, x, x.n1, -w, radius);
  const double at_n2 = x.a0 + x.a1 * w + true_density(source, x, x.n2, w, radius);
  x.a2 = (at_n2 + at_n1) / (2 * w * w);
}

/// The sums of the first kind: integrals of the approximants over the range of subtraction.
struct PoleSums {
  double q0 = 0, q1 = 0, q2 = 0, p0 = 0, p1 = 0;
};

/// They are short of 2 ln(1/d) and 2/d^2, the part that is singular in d.
PoleSums sums_without_core(const ExpansionRecord& x) {
  const double y1 = x.s_p - x.s_c, y2 = x.s_e - x.s_c, d2 = x.d * x.d;
  const double rho1 = std::sqrt(y1 * y1 + d2), rho2 = std::sqrt(y2 * y2 + d2);
  const double l = std::log((rho1 - y1) * (rho2 + y2));
  const double i0 = 1 / ((y1 - rho1) * rho1) - 1 / ((y2 + rho2) * rho2);
  const double i1 = 1 / rho1 - 1 / rho2;
  const double i2 = l + y1 / rho1 - y2 / rho2;
  const double i3 = rho2 - rho1 + d2 * (1 / rho2 - 1 / rho1);
  return {x.a1 * i1 + x.a0 * i0, x.a1 * i2 + x.a0 * i1, x.a1 * i3 + x.a0 * i2,
          x.a0 * l + x.b1 * (rho2 - rho1) + x.b2 * (y2 - y1),
          x.p0 * l + x.p1 * (rho2 - rho1) + x.p2 * (y2 - y1)};
}

PoleSums pole_sums(const ExpansionRecord& x) {
  const bool extract = x.flags.extract;
  PoleSums sum;
  if (x.pole) sum = sums_without_core(x);
  // On the line itself the field of a line charge has no value; `tiny` gives a finite one.
  const double d = std::max(x.d, tiny), lr = 2 * std::log(1 / d), two_by_d2 = 2 / (d * d);
  if (x.pole && extract && x.d <= 0.01 * x.beta0 * c * x.sigmat) {
    // The next line but one, expanded for small d: a0 + lambda tends to (d/c)^2 lambda_tt / 2.
    const double delta = x.d / c, z = delta * delta * std::log(x.d + 1e-300);
    sum.q0 += x.l_tt * 1.1126500560536183e-17;  // 1 / c^2
    sum.q1 -= x.l_stt * z;
    sum.q2 -= x.l_tt * z;
    sum.p0 -= x.l_tt * z;
    sum.p1 -= x.l_ttt * z;
  } else if (x.pole && extract) {
    sum.q0 += two_by_d2 * (x.a0 + x.l0);
    sum.q1 += (x.a1 + x.l_s) * lr;
    sum.q2 += (x.a0 + x.l0) * lr;
    sum.p0 += (x.a0 + x.l0) * lr;
    sum.p1 += (x.p0 + x.l_t) * lr;
  } else if (x.pole) {
    sum.q0 += two_by_d2 * x.a0;
    sum.q1 += x.a1 * lr;
    sum.q2 += x.a0 * lr;
    sum.p0 += x.a0 * lr;
    sum.p1 += x.p0 * lr;
  } else if (x.d > 0 && x.l0 != 0) {
    sum = {two_by_d2 * x.l0, x.l_s * lr, x.l0 * lr, x.l0 * lr, x.l_t * lr};
  }
  return sum;
}

void add_pole(const ExpansionRecord& x, Slots& result) {
  const PoleSums sum = pole_sums(x);
  const double beta2 = x.beta0 * x.beta0;
  result.cb -= x.beta0 * (sum.q2 * x.c2 + sum.q1 * x.c1 + sum.q0 * x.c0);
  result.force -= beta2 * (sum.q1 * x.k1 + sum.q2 * x.k2);
  if (!x.flags.nogamma2) {
    result.force -= x.u0 * (sum.q0 * x.across - sum.q1 * x.e - (0.5 * sum.q2) * x.kappa);
  }
  if (!x.flags.notalman) result.force += beta2 * sum.p0 * x.kappa;
  result.phi -= sum.p0;
  result.a -= x.e * (x.beta0 * sum.p0 / c);
  result.phi_t -= sum.p1;
  result.a_t -= x.e * (x.beta0 * sum.p1 / c);
}

void add_near_interval(const ExpansionRecord& x, Slots& result) {
  const double dn = x.n2 - x.s_c, d = x.d;
  double j1 = 0, j2 = 2.0 / 3, j3 = 0, j4 = dn * dn;
  if (!(1e20 * d <= dn)) {
    const double q = dn / d, g = std::sqrt(1 + q * q), q3 = (q / g) * (q / g) * (q / g);
    j1 = 2 * d * (std::log(q + g) - q / g);
    j2 = 2 * q3 / 3;
    j3 = j1 - d * j2;
    j4 = d * (d * q * q * (q / g) - 1.5 * j1);
  }
  const double y = 3 * dot(x.across, -0.5 * x.kappa) / (d + tiny);
  const double t0 = (j2 * x.a0 * y + j1 * x.a2) / (d + tiny);
  const double t1 = j3 * x.a1 * y;
  const double t2 = j3 * x.a0 * y + j4 * x.a2;
  if (!x.flags.nogamma2) result.force += x.u0 * (t0 * x.across - t1 * x.e - (0.5 * t2) * x.kappa);
  result.cb += x.beta0 * (t2 * x.c2 + t1 * x.c1 + t0 * x.c0);
}

}  // namespace

void ziini(const FieldSource& source, const ForceFlags& flags, const ClosestRecord& closest,
           const LimitRecord& limits, double gamma0, const Vec3& e0, ExpansionRecord& x) {
  const FieldSettings& set = source.settings;
  x = {};
  x.t0 = limits.t0;
  x.r0 = limits.r0;
  x.gamma0 = gamma0;
  x.u0 = 1 / (gamma0 * gamma0);
  x.beta0 = std::sqrt(1 - x.u0);
  x.e0 = e0;
  x.sigmat = set.sigmat;
  x.flags = flags;
  x.s_c = closest.s_c;
  x.d = closest.d;
  x.e = vec3(closest.path.e);
  x.pole = limits.s1 < x.s_c && x.s_c < limits.s2;
  x.eps = 1e-16 * std::max({norm(x.r0), norm(vec3(closest.path.r)), std::abs(x.s_c), x.d});
  set_vectors(closest.path, x);
  set_near_interval(source, limits, x);
  if (x.pole) {
    set_retarded_densities(source, x);
    const double range = std::max(0.1 * (x.s_c - limits.s1), x.beta0 * c * (set.xnsigt * set.sigmat));
    x.s_p = std::min(std::max(limits.s1, x.s_c - range), limits.s2);
    x.s_e = limits.s2;
    if (x.near) set_second_order(source, x);
  }
  if (flags.extract) {
    const DensityDerivatives l = lamder(source.profile, source.path, x.s_c, x.t0);
    x.l0 = l.lambda;
    x.l_t = l.lambda_t;
    x.l_tt = l.lambda_tt;
    x.l_ttt = l.lambda_ttt;
    x.l_s = l.lambda_s;
    x.l_stt = l.lambda_stt;
  }
}

void fzpole(const ExpansionRecord& x, Slots& result) {
  if (x.pole || x.flags.extract) add_pole(x, result);
  if (x.near) add_near_interval(x, result);
}

}  // namespace tessaron
