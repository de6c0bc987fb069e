#include "forces/projected/spline.hpp"

#include <cmath>
#include <cstddef>

namespace tessaron {

void splcof(std::span<const double> y, std::span<double> y2, std::span<double> ratio) {
  const std::size_t n = y.size();
  if (n == 0) return;
  y2[0] = y2[n - 1] = 0;
  if (n < 3) return;

  // Gauss elimination of the tridiagonal system; ratio(i) is the neighbour's weight over the pivot of row i.
  constexpr double diagonal = 2.0 / 3.0, neighbour = 1.0 / 6.0;
  double before = 0;
  ratio[0] = 0;
  for (std::size_t i = 1; i + 1 < n; ++i) {
    const double pivot = diagonal - neighbour * ratio[i - 1];
    ratio[i] = neighbour / pivot;
    before = (y[i + 1] + y[i - 1] - 2.0 * y[i] - neighbour * before) / pivot;
    y2[i] = before;
  }
  for (std::size_t i = n - 2; i >= 1; --i) y2[i] -= ratio[i] * y2[i + 1];
}

double splval(std::span<const double> y, std::span<const double> y2, double x) {
  const double cell = std::trunc(x);
  if (!(cell >= 1)) return y.front();
  if (cell >= static_cast<double>(y.size())) return y.back();
  const auto i = static_cast<std::size_t>(cell) - 1;
  const double t = x - cell, e = 1.0 - t;
  return e * y[i] + t * y[i + 1] + (e * e - 1.0) * e / 6.0 * y2[i] + (t * t - 1.0) * t / 6.0 * y2[i + 1];
}

}  // namespace tessaron
