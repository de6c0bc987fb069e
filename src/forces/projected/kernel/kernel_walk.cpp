#include "forces/projected/kernel/kernel_walk.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tessaron {

namespace {

constexpr double four_pi_eps0_sqrt_2pi = 2.7890000902742743e-10;  ///< [As/(Vm)]

/// 1 - beta without cancellation.
double one_minus_beta(double gamma, double beta) {
  return gamma > 500.0 ? (0.125 / (gamma * gamma) + 0.5) / (gamma * gamma) : 1.0 - beta;
}

CsrPass make_pass(Csr1d& record, int n, double h, double step_factor) {
  CsrPass pass;
  pass.gamma = record.gamma;
  pass.C = 1.0 / (record.gamma * record.gamma);
  pass.beta = std::sqrt(1.0 - pass.C);
  pass.h = h;
  pass.sigma = record.sigma;
  pass.lo = record.s_lo - 5.0 * record.sigma;
  pass.hi = record.s_hi + 5.0 * record.sigma;
  pass.step = step_factor * record.sigma;
  pass.s_lo = record.s_lo;
  pass.ds = n > 1 ? (record.s_hi - record.s_lo) / (n - 1) : 0.0;
  pass.n = n;
  pass.array = record.array.run(1, n).data();
  pass.gaussian.set_step(-pass.ds / pass.sigma);
  return pass;
}

/// The entry of the table that holds the observer, 0 if there is none: the last one that begins before s_ref.
int observer_entry(const CurvatureTable& curv, int narc, double s_ref) {
  int k = 0;
  for (int j = 1; j <= narc && curv[j].s < s_ref; ++j) k = j;
  return k;
}

/// Walks back from the observer to the start of the endless straight, or until nothing more can arrive.
void walk(const CurvatureTable& curv, int k, double s_ref, const CsrPass& pass) {
  CsrSource state{0, 0, 0, 1, 0};
  bool on = true;
  const double back = s_ref - curv[k].s, r = curv[k].r;
  if (r == 0) {
    // A straight adds nothing at an observer who looks back along it.
    state = {-back, -back, 0, 1, 0};
    if (one_minus_beta(pass.gamma, pass.beta) * back < pass.lo) return;
  } else if (pass.h == 0) {
    on = csrobs(pass, back, r, state);
  } else {
    on = csrarc(pass, back, r, state);
  }
  for (int j = k - 1; j >= 1 && on; --j) {
    const double l = curv[j + 1].s - curv[j].s;
    on = curv[j].r == 0 ? csrdrf(pass, l, state) : csrarc(pass, l, curv[j].r, state);
  }
  if (on) (void)csrdrf(pass, std::numeric_limits<double>::infinity(), state);
}

}  // namespace

void csrpth(const CurvatureTable& curv, int m, Csr1d& record, int n, double h, double step_factor) {
  const std::span<double> array = record.array.run(1, n);
  record.done = true;
  std::ranges::fill(array, 0.0);
  const int k = observer_entry(curv, m + 1, record.s_ref);
  if (k == 0 || m == 0) return;

  const CsrPass pass = make_pass(record, n, h, step_factor);
  walk(curv, k, record.s_ref, pass);
  const double sigma = record.sigma;
  const double scale = 1.0 / (four_pi_eps0_sqrt_2pi * sigma * sigma * sigma);
  for (double& value : array) value *= scale;
}

}  // namespace tessaron
