#include "field/source/profile.hpp"

#include "common/console.hpp"
#include "common/constants.hpp"
#include "field/path/closest_point.hpp"
#include "field/source/error_function.hpp"

namespace tessaron {

namespace {

ProfileRecord record;
constexpr double sqrt_two_pi = 2.5066282746310002;

}  // namespace

const ProfileRecord& profile = record;

void lamini(double q, double sigmat, double xnsigt) {
  if (sigmat == 0) fatal_stop("error in fld_bunch/lamini: sigmat.eq.0");
  if (q == record.q && sigmat == record.sigmat && xnsigt == record.xnsigt) return;
  record = {q, sigmat, xnsigt, 0, 0, 0};
  if (!(xnsigt > 0)) {
    record.a = q / speed_of_light / (sqrt_two_pi * sigmat);
    return;
  }
  const double n = xnsigt, edge = std::exp(-n * n / 2);
  const double cut_off = edge > 0 ? 2 * n * sigmat * (1 + n * n / 3) * edge : 0;
  const double inside = static_cast<double>(erff(static_cast<float>(n / 1.4142135623730951)));
  record.a = q / speed_of_light / (sqrt_two_pi * sigmat * inside - cut_off);
  record.b = edge > 0 ? (1 + n * n / 2) * record.a * edge : 0;
  record.d = record.a * edge / (2 * sigmat * sigmat);
}

Density lamget(double s, double t) {
  const PathSample& at = pthval(s, 3);
  const double tau = t - at.point.t;
  if (record.outside(tau)) return {};
  const double u = tau / record.sigmat, gauss = record.a * std::exp(-u * u / 2);
  return {(gauss - record.b + record.d * tau * tau) / at.beta,
          (-gauss * u / record.sigmat + 2 * record.d * tau) / at.beta};
}

DensityDerivatives lamder(double s, double t) {
  const double sigmat = record.sigmat, sigmas = speed_of_light * sigmat;
  const double gamma_before = pthval(s - sigmas, 3).point.gamma;
  const PathSample& at = pthval(s, 3);
  const double tau = t - at.point.t;
  if (record.outside(tau)) return {};
  const double u = tau / sigmat, gauss = record.a * std::exp(-u * u / 2);
  const double gamma = at.point.gamma, beta = at.beta;
  // Logarithmic derivative of beta along the path.
  const double g = (gamma - gamma_before) / (gamma * (gamma * gamma - 1)) / sigmas;
  DensityDerivatives l;
  l.lambda = (gauss - record.b + record.d * tau * tau) / beta;
  l.lambda_t = (-gauss * u / sigmat + 2 * record.d * tau) / beta;
  l.lambda_tt = (2 * record.d + gauss * (u * u - 1) / (sigmat * sigmat)) / beta;
  l.lambda_ttt = gauss * u * (3 - u * u) / (sigmat * sigmat * sigmat) / beta;
  l.lambda_s = -l.lambda_t / (beta * speed_of_light) - g * l.lambda;
  l.lambda_st = -l.lambda_tt / (beta * speed_of_light) - g * l.lambda_t;
  l.lambda_stt = -l.lambda_ttt / (beta * speed_of_light) - g * l.lambda_tt;
  return l;
}

}  // namespace tessaron
