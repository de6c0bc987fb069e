#pragma once
#include <span>

namespace tessaron {

/// Natural cubic spline through values y(1) .. y(n) at the abscissas 1 .. n (cells count from 0 in the
/// spans).
///     y2(1) = y2(n) = 0,   y2(i-1)/6 + 2 y2(i)/3 + y2(i+1)/6 = y(i+1) + y(i-1) - 2 y(i)
/// \param y   the values
/// \param y2  gets the second derivatives
/// \param ratio  room for the elimination; both at least as long as y
void splcof(std::span<const double> y, std::span<double> y2, std::span<double> ratio);

/// The spline at x: y(1) below the first abscissa, y(n) from the last one on.
double splval(std::span<const double> y, std::span<const double> y2, double x);

}  // namespace tessaron
