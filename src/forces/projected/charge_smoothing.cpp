#include "forces/projected/charge_smoothing.hpp"

#include <algorithm>
#include <cmath>

#include "common/sort2.hpp"

namespace tessaron {

namespace {

Table<double, maxprt> coordinate, charge;  ///< the charges, sorted
Table<double, maxprt + 1> running_sum;     ///< S(j + 1) = x_1 + .. + x_j

/// Copies the m slots that are not empty; false if their charges differ.
bool collect(int n, const ForceTable& pad, int& m) {
  m = 0;
  for (int i = 1; i <= n; ++i) {
    if (pad[i].across == 0) continue;
    ++m;
    coordinate[m] = pad[i].along;
    charge[m] = pad[i].across;
    if (charge[m] != charge[1]) return false;
  }
  return true;
}

/// Half the width of the range about j: w in the bunch's middle, falling to 0 at both ends.
double half_width(int j, int m, double w) {
  const auto taper = [w](double neighbours) {
    const double a = neighbours / (2.0 * w);
    return a > 2.0 ? 1.0 : a - 0.25 * a * a;
  };
  return std::min(taper(j - 1) * w, taper(m - j) * w);
}

/// A(j, w): the mean over j-half .. j+half, interpolated between two whole numbers of neighbours.
double moving_average(int j, int m, double w) {
  const double half = half_width(j, m, w);
  if (!(half > 1.0)) return coordinate[j];
  const int k = static_cast<int>(half);
  const double t = k + 1 - half;
  const auto& S = running_sum;
  return t * (S[j + k + 1] - S[j - k]) / (2 * k + 1) +
         (1.0 - t) * (S[j + k + 2] - S[j - k - 1]) / (2 * k + 3);
}

}  // namespace

void chgsmt(int n, double par1, double par2, ForceTable& pad) {
  if (std::round(par1) == 0 || !(std::round(par2) >= 2)) return;
  int m = 0;
  if (!collect(n, pad, m) || m == 0) return;

  sort2(m, &coordinate[1], &charge[1]);
  running_sum[1] = 0;
  for (int j = 1; j <= m; ++j) running_sum[j + 1] = running_sum[j] + coordinate[j];

  for (int j = 1; j <= m; ++j) {
    pad[j].across = charge[j];
    pad[j].up = 0.66666666666666663 * moving_average(j, m, 0.4 * par2) +
                0.33333333333333331 * moving_average(j, m, 0.75 * par2);
  }
  for (int j = m + 1; j <= n; ++j) {
    pad[j].across = 0;
    pad[j].up = coordinate[1];
  }
}

}  // namespace tessaron
