#include "forces/projected/current/even_gaussian.hpp"

#include <cmath>

#include "common/cores/clones.hpp"

namespace tessaron {

namespace {

/// Points that are worked on together: their running factors do not wait for each other.
constexpr int lanes = 8;

/// Running factors f q^l, l = 0 .. lanes-1, and q^lanes.
struct RunningFactors {
  std::array<double, lanes> value;
  double advance;
  RunningFactors(double f, double q) {
    const double q2 = q * q, q4 = q2 * q2;
    value = {f, f * q, f * q2, f * q2 * q, f * q4, f * q4 * q, f * q4 * q2, f * q4 * q2 * q};
    advance = q4 * q4;
  }
};

}  // namespace

void EvenGaussian::set_step(double du) {
  du_ = du;
  const double size = std::abs(du);
  tabled_ = size >= 0.05 && size <= 1.0;
  if (!tabled_) return;
  for (int k = -reach; k <= reach; ++k) {
    const auto cell = static_cast<std::size_t>(k + reach);
    place_[cell] = k * du;
    gauss_[cell] = std::exp(-0.5 * (k * du) * (k * du));
  }
}

TESSARON_CLONES
void EvenGaussian::add(double* row, double w, double uc, int first, int last) const {
  if (!tabled_ || first < -reach || last > reach) {
    for (int k = first; k <= last; ++k) {
      const double u = uc + k * du_;
      row[k] += w * std::exp(-0.5 * u * u);
    }
    return;
  }
  const double c = uc * du_;
  RunningFactors run(w * std::exp(-0.5 * uc * uc - first * c), std::exp(-c));
  const double* __restrict gauss = gauss_.data() + reach + first;
  double* __restrict out = row + first;
  const int n = last - first + 1;
  int i = 0;
  for (; i + lanes <= n; i += lanes) {
    for (int l = 0; l < lanes; ++l) out[i + l] += run.value[l] * gauss[i + l];
    for (int l = 0; l < lanes; ++l) run.value[l] *= run.advance;
  }
  for (int l = 0; i < n; ++i, ++l) out[i] += run.value[l] * gauss[i];
}

TESSARON_CLONES
void EvenGaussian::add_slope(double* row, double w, double uc, int first, int last) const {
  if (!tabled_ || first < -reach || last > reach) {
    for (int k = first; k <= last; ++k) {
      const double u = uc + k * du_;
      row[k] -= w * u * std::exp(-0.5 * u * u);
    }
    return;
  }
  const double c = uc * du_;
  RunningFactors run(w * std::exp(-0.5 * uc * uc - first * c), std::exp(-c));
  const double* __restrict gauss = gauss_.data() + reach + first;
  const double* __restrict place = place_.data() + reach + first;
  double* __restrict out = row + first;
  const int n = last - first + 1;
  int i = 0;
  for (; i + lanes <= n; i += lanes) {
    for (int l = 0; l < lanes; ++l) out[i + l] -= run.value[l] * gauss[i + l] * (uc + place[i + l]);
    for (int l = 0; l < lanes; ++l) run.value[l] *= run.advance;
  }
  for (int l = 0; i < n; ++i, ++l) out[i] -= run.value[l] * gauss[i] * (uc + place[i]);
}

}  // namespace tessaron
