#pragma once
#include <array>
#include <cmath>
#include <cstddef>

/// Quadrature for the tests' references, in extended precision: Gauss's rule of ten points on intervals that
/// are halved until both halves agree with the whole.
namespace tessaron::test {

using Real = long double;
template <std::size_t N>
using Values = std::array<Real, N>;

template <std::size_t N>
Values<N> operator+(const Values<N>& a, const Values<N>& b) {
  Values<N> sum;
  for (std::size_t j = 0; j < N; ++j) sum[j] = a[j] + b[j];
  return sum;
}

/// The integrals of f, which gives N values at a time, from a to b.
template <std::size_t N, class Function>
Values<N> gauss10(const Function& f, Real a, Real b) {
  static constexpr Real x[5] = {0.148874338981631210885L, 0.433395394129247190799L, 0.679409568299024406234L,
                                0.865063366688984510732L, 0.973906528517171720078L};
  static constexpr Real w[5] = {0.295524224714752870174L, 0.269266719309996355091L, 0.219086362515982043996L,
                                0.149451349150580593146L, 0.066671344308688137594L};
  const Real centre = (a + b) / 2, half = (b - a) / 2;
  Values<N> sum{};
  for (std::size_t i = 0; i < 5; ++i) {
    const Values<N> at = f(centre - half * x[i]) + f(centre + half * x[i]);
    for (std::size_t j = 0; j < N; ++j) sum[j] += half * w[i] * at[j];
  }
  return sum;
}

/// The same, exact to about `tolerance` for each value.
template <std::size_t N, class Function>
Values<N> adaptive(const Function& f, Real a, Real b, const Values<N>& tolerance, const Values<N>& whole,
                   int depth = 40) {
  const Real centre = (a + b) / 2;
  const Values<N> left = gauss10<N>(f, a, centre), right = gauss10<N>(f, centre, b), sum = left + right;
  bool good = depth == 0;
  for (std::size_t j = 0; j < N && !good; ++j) {
    if (!(std::abs(sum[j] - whole[j]) <= tolerance[j])) break;
    good = j + 1 == N;
  }
  if (good) return sum;
  return adaptive(f, a, centre, tolerance, left, depth - 1) +
         adaptive(f, centre, b, tolerance, right, depth - 1);
}

}  // namespace tessaron::test
