#pragma once
#include <array>
#include <span>

namespace tessaron {

/// The longest cyclic convolution.
inline constexpr int longest_cycle = 131072;

/// Complex numbers as two plain arrays, so that neighbours are worked on side by side. They are a few cache
/// lines longer than their numbers: runs that are read together would otherwise lie a power of two apart, all
/// in the same few places of a processor's cache.
template <int N>
struct ComplexArray {
  alignas(64) std::array<double, N + 72> re, im;
};

/// What convolutions work on, all zero at start. The roots of unity stay from one to the next.
struct ConvolutionWork {
  static constexpr int longest = longest_cycle / 2;
  ComplexArray<longest> series[2], scratch[2];  ///< the two series and their transforms
  ComplexArray<longest / 2 + 1> roots;          ///< exp(-2 pi i k / roots_of), k = 0 .. roots_of / 2
  int roots_of;
};

/// Cyclic convolution of two real series by discrete Fourier transforms,
///     c(m) = Sum_j a((m - j) mod n) b(j),   m = first .. first + c.size() - 1.
/// \param n     length of the cycle: a power of two, 4 .. longest_cycle
/// \param a, b  at most n reals each, from index 0 on; what is missing is 0
///
/// Each sum is wrong by a few roundings of the product of the root sums of squares of a and b: what is small
/// beside the largest results has fewer valid digits than the sum written out. A series of zeros gives zeros.
/// Works on two cores.
///
/// Sources: Van Loan, Computational Frameworks for the Fast Fourier Transform, SIAM (1992), sec. 1.7 (the
/// autosort algorithm of Stockham) and 4.3 (two real series in one complex one).
void cyclic_convolution(int n, std::span<const double> a, std::span<const double> b, int first,
                        std::span<double> c, ConvolutionWork& work);

}  // namespace tessaron
