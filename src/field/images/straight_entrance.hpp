#pragma once
#include <cmath>

#include "common/constants.hpp"
#include "field/images/mirror.hpp"

namespace tessaron {

/// The images in two planes a distance hc apart, up to the height hmax.
struct ImageRow {
  double hc, hmax;

  /// The highest image.
  int last() const {
    const double n = std::abs(hmax / hc);
    return n < 1e9 ? static_cast<int>(n) + 1 : 1000000000;
  }
  double taper(int n) const { return std::cos(n * hc / hmax * pi / 2); }
  static double sign(int n) { return n % 2 == 0 ? 1 : -1; }
};

}  // namespace tessaron
