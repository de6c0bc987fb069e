#pragma once
#include <span>

namespace tessaron {

/// The longest cyclic convolution.
inline constexpr int longest_cycle = 131072;

/// Cyclic convolution of two real series by discrete Fourier transforms,
///     c(m) = Sum_j a((m - j) mod n) b(j),   m = first .. first + c.size() - 1.
/// \param n     length of the cycle: a power of two, 4 .. longest_cycle
/// \param a, b  at most n reals each, from index 0 on; what is missing is 0
///
/// Each sum is wrong by a few roundings of the product of the root sums of squares of a and b: what is small
/// beside the largest results has fewer valid digits than the sum written out. A series of zeros gives zeros.
/// Works on two cores; one call at a time.
///
/// Sources: Van Loan, Computational Frameworks for the Fast Fourier Transform, SIAM (1992), sec. 1.7 (the
/// autosort algorithm of Stockham) and 4.3 (two real series in one complex one).
void cyclic_convolution(int n, std::span<const double> a, std::span<const double> b, int first,
                        std::span<double> c);

}  // namespace tessaron
