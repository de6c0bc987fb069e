#include "field/source/profile.hpp"

#include "common/console.hpp"
#include "common/constants.hpp"
#include "field/source/error_function.hpp"

namespace tessaron {

namespace {

constexpr double sqrt_two_pi = 2.5066282746310002;

}  // namespace

void lamini(double q, double sigmat, double xnsigt, ProfileRecord& profile) {
  if (sigmat == 0) fatal_stop("error in fld_bunch/lamini: sigmat.eq.0");
  if (q == profile.q && sigmat == profile.sigmat && xnsigt == profile.xnsigt) return;
  profile = {q, sigmat, xnsigt, 0, 0, 0};
  if (!(xnsigt > 0)) {
    profile.a = q / speed_of_light / (sqrt_two_pi * sigmat);
    return;
  }
  const double n = xnsigt, edge = std::exp(-n * n / 2);
  const double cut_off = edge > 0 ? 2 * n * sigmat * (1 + n * n / 3) * edge : 0;
  const double inside = static_cast<double>(erff(static_cast<float>(n / 1.4142135623730951)));
  profile.a = q / speed_of_light / (sqrt_two_pi * sigmat * inside - cut_off);
  profile.b = edge > 0 ? (1 + n * n / 2) * profile.a * edge : 0;
  profile.d = profile.a * edge / (2 * sigmat * sigmat);
}

Density lamget(const ProfileRecord& profile, const PathRecord& path, double s, double t) {
  const double tau = t - s / path.vel;
  if (profile.outside(tau)) return {};
  const double u = tau / profile.sigmat, gauss = profile.a * std::exp(-u * u / 2);
  return {(gauss - profile.b + profile.d * tau * tau) / path.beta,
          (-gauss * u / profile.sigmat + 2 * profile.d * tau) / path.beta};
}

DensityDerivatives lamder(const ProfileRecord& profile, const PathRecord& path, double s, double t) {
  const double sigmat = profile.sigmat, tau = t - s / path.vel, beta = path.beta;
  if (profile.outside(tau)) return {};
  const double u = tau / sigmat, gauss = profile.a * std::exp(-u * u / 2);
  DensityDerivatives l;
  l.lambda = (gauss - profile.b + profile.d * tau * tau) / beta;
  l.lambda_t = (-gauss * u / sigmat + 2 * profile.d * tau) / beta;
  l.lambda_tt = (2 * profile.d + gauss * (u * u - 1) / (sigmat * sigmat)) / beta;
  l.lambda_ttt = gauss * u * (3 - u * u) / (sigmat * sigmat * sigmat) / beta;
  // The speed is the same on the whole path: with s only the time of the passage moves.
  l.lambda_s = -l.lambda_t / (beta * speed_of_light);
  l.lambda_st = -l.lambda_tt / (beta * speed_of_light);
  l.lambda_stt = -l.lambda_ttt / (beta * speed_of_light);
  return l;
}

}  // namespace tessaron
