#include "field/integral/integrand.hpp"

#include <cmath>

#include "common/constants.hpp"
#include "field/path/path_query.hpp"
#include "field/source/velocity_terms.hpp"

namespace tessaron {

namespace {

constexpr double c = speed_of_light;

/// The source at s as the observer sees it.
struct SourcePoint {
  double y, rho;  // from the closest point
  double beta;
  Vec3 e, e_prime;
  Vec3 r, cv;       // R and e x R
  double distance;  // |R|
  double lambda, lambda_t;
  double n;  // lambda + R lambda_t / c
};

SourcePoint source_point(const FieldSource& source, const ExpansionRecord& x, double s) {
  const PathPoint at = pthval(source.path, s);
  SourcePoint p;
  p.y = s - x.s_c;
  p.rho = std::sqrt(p.y * p.y + x.d * x.d);
  p.beta = source.path.beta;
  p.e = vec3(at.e);
  p.e_prime = vec3(at.e_prime);
  p.r = 1e-6 * p.rho < x.eps ? x.rp(p.y) : x.r0 - vec3(at.r);
  p.cv = cross(p.e, p.r);
  p.distance = norm(p.r);
  const Density l = lamget(source.profile, source.path, s, x.t0 - p.distance / c);
  p.lambda = l.lambda;
  p.lambda_t = l.lambda_t;
  p.n = l.lambda + p.distance * l.lambda_t / c;
  return p;
}

void plain_form(const ExpansionRecord& x, const SourcePoint& p, double b2, Slots& value) {
  const double r = p.distance, r3 = r * r * r;
  value.cb = (p.beta * p.n / r3) * p.cv;
  value.force = (x.beta0 * p.beta * p.n / r3) * cross(x.e0 - p.e, p.cv);
  if (!x.flags.nogamma2) value.force += (b2 * p.n / r3) * p.r;
  if (!x.flags.notalman) value.force -= (x.beta0 * p.beta * p.lambda / r) * p.e_prime;
  value.phi = p.lambda / r;
  value.phi_t = p.lambda_t / r;
  value.a = p.e * (p.beta * p.lambda / (c * r));
  value.a_t = p.e * (p.beta * p.lambda_t / (c * r));
}

void subtracted_form(const ExpansionRecord& x, const SourcePoint& p, double b2, Slots& value) {
  const double r = p.distance, r3 = r * r * r, beta2 = x.beta0 * x.beta0;
  const double g1 = 1 / r - 1 / p.rho, g3 = 1 / r3 - 1 / (p.rho * p.rho * p.rho);
  const double nh = x.nh(p.y), lh = x.lh(p.y, p.rho), mh = x.mh(p.y, p.rho);
  const Vec3 rp = x.rp(p.y), cp = x.cp(p.y), kp = x.kp(p.y);
  value.cb = (x.beta0 * nh * cp + p.beta * p.n * p.cv) / r3 - x.beta0 * nh * g3 * cp;
  value.force =
      (x.beta0 * p.beta * p.n * cross(x.e0 - p.e, p.cv) + beta2 * nh * kp) / r3 - beta2 * nh * g3 * kp;
  if (!x.flags.nogamma2) {
    value.force += (x.u0 * nh * rp + b2 * p.n * p.r) / r3 - x.u0 * nh * g3 * rp;
  }
  if (!x.flags.notalman) {
    value.force +=
        beta2 * lh * g1 * x.kappa - (beta2 * lh * x.kappa + x.beta0 * p.beta * p.lambda * p.e_prime) / r;
  }
  value.phi = (p.lambda + lh) / r - lh * g1;
  value.phi_t = (p.lambda_t + mh) / r - mh * g1;
  value.a = (p.e * (p.beta * p.lambda) + x.e * (x.beta0 * lh)) / (c * r) - x.e * (x.beta0 * lh * g1 / c);
  value.a_t = (p.e * (p.beta * p.lambda_t) + x.e * (x.beta0 * mh)) / (c * r) - x.e * (x.beta0 * mh * g1 / c);
}

}  // namespace

void zfint(const FieldSource& source, const ExpansionRecord& x, double s, Slots& value) {
  const SourcePoint p = source_point(source, x, s);
  const VelocityTerms v = velocity_terms(source.path.gam, p.beta, x.gamma0, x.beta0);
  if (!x.pole || s < x.s_p || s > x.s_e) {
    plain_form(x, p, v.b2, value);
  } else {
    subtracted_form(x, p, v.b2, value);
  }
  value.force += (v.b1 * (p.lambda_t / c) / p.distance) * p.e;
}

}  // namespace tessaron
