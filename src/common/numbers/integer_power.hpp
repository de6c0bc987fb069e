#pragma once
#include <complex>
#include <cstdint>

namespace tessaron {

/// (x + iz)^n, the exact integer power, in place. Real is a number or several.
template <class Real>
[[gnu::always_inline]] inline void raise_to_power(Real& x, Real& z, std::int32_t n) {
  Real re = Real{} + 1.0, im{}, a = x, b = z;
  for (; n > 0; n /= 2) {
    if (n % 2 == 1) {
      const Real next = re * a - im * b;
      im = re * b + im * a;
      re = next;
    }
    const Real square = a * a - b * b;
    b = 2.0 * a * b;
    a = square;
  }
  x = re;
  z = im;
}

/// z^n, the exact integer power.
inline std::complex<double> integer_power(std::complex<double> z, std::int32_t n) {
  double re = z.real(), im = z.imag();
  raise_to_power(re, im, n);
  return {re, im};
}

}  // namespace tessaron
