#include "common/numbers/fourier.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "common/constants.hpp"
#include "common/cores/chunks.hpp"
#include "common/cores/clones.hpp"

namespace tessaron {

namespace {

struct Complex {
  double re, im;
};
Complex operator+(Complex a, Complex b) { return {a.re + b.re, a.im + b.im}; }
Complex operator-(Complex a, Complex b) { return {a.re - b.re, a.im - b.im}; }
Complex operator*(Complex a, Complex b) { return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re}; }

/// Where complex numbers stand: two plain arrays.
struct Numbers {
  double *re, *im;
  Complex operator[](int i) const { return {re[i], im[i]}; }
  void put(int i, Complex value) const { re[i] = value.re, im[i] = value.im; }
};

template <int N>
Numbers numbers(ComplexArray<N>& array) {
  return {array.re.data(), array.im.data()};
}

/// exp(-2 pi i k / of), k = 0 .. of / 2.
struct Roots {
  Numbers numbers;
  int of;
};

/// Roots of unity of an order that is n or a multiple of it.
Roots roots_for(int n, ConvolutionWork& work) {
  const Numbers roots = numbers(work.roots);
  if (work.roots_of < n) {
    work.roots_of = n;
    for (int k = 0; k <= n / 2; ++k) roots.put(k, {std::cos(two_pi * k / n), -std::sin(two_pi * k / n)});
  }
  return {roots, work.roots_of};
}

/// The transform of four numbers, all but the first turned by w, w^2, w^3.
struct Four {
  Complex y0, y1, y2, y3;
  Four(Complex a, Complex b, Complex c, Complex d, Complex w1, Complex w2, Complex w3) {
    const Complex even = a + c, odd = a - c, sum = b + d, turned{d.im - b.im, b.re - d.re};  // i (b - d)
    y0 = even + sum, y1 = w1 * (odd - turned), y2 = w2 * (even - sum), y3 = w3 * (odd + turned);
  }
};

/// Four numbers `apart` from each other, and s - 1 more sets beside them, all turned by the same w.
TESSARON_CLONES
void turn_together(int s, int apart, Complex w, const double* __restrict re, const double* __restrict im,
                   double* __restrict to_re, double* __restrict to_im) {
  const Complex w2 = w * w, w3 = w * w2;
  for (int q = 0; q < s; ++q) {
    const int b = q + apart, c = b + apart, d = c + apart;
    const Four y({re[q], im[q]}, {re[b], im[b]}, {re[c], im[c]}, {re[d], im[d]}, w, w2, w3);
    to_re[q] = y.y0.re, to_im[q] = y.y0.im;
    to_re[q + s] = y.y1.re, to_im[q + s] = y.y1.im;
    to_re[q + 2 * s] = y.y2.re, to_im[q + 2 * s] = y.y2.im;
    to_re[q + 3 * s] = y.y3.re, to_im[q + 3 * s] = y.y3.im;
  }
}

/// The first stage, where every set has a w of its own.
TESSARON_CLONES
void turn_apart(int apart, int step, const double* __restrict w_re, const double* __restrict w_im,
                const double* __restrict re, const double* __restrict im, double* __restrict to_re,
                double* __restrict to_im) {
  for (int p = 0; p < apart; ++p) {
    const int b = p + apart, c = b + apart, d = c + apart;
    const Complex w{w_re[p * step], w_im[p * step]}, w2 = w * w, w3 = w * w2;
    const Four y({re[p], im[p]}, {re[b], im[b]}, {re[c], im[c]}, {re[d], im[d]}, w, w2, w3);
    to_re[4 * p] = y.y0.re, to_im[4 * p] = y.y0.im;
    to_re[4 * p + 1] = y.y1.re, to_im[4 * p + 1] = y.y1.im;
    to_re[4 * p + 2] = y.y2.re, to_im[4 * p + 2] = y.y2.im;
    to_re[4 * p + 3] = y.y3.re, to_im[4 * p + 3] = y.y3.im;
  }
}

/// One stage: transforms of n numbers, s of them side by side, become transforms of n / 4.
void quarter(int n, int s, int step, Numbers root, Numbers x, Numbers y) {
  const int apart = s * (n / 4);
  if (s == 1) return turn_apart(apart, step, root.re, root.im, x.re, x.im, y.re, y.im);
  for (int p = 0; p < n / 4; ++p)
    turn_together(s, apart, root[p * step], x.re + s * p, x.im + s * p, y.re + 4 * s * p, y.im + 4 * s * p);
}

/// The transform of n numbers, sum x_j exp(-2 pi i j k / n), in place of them.
void transform(int n, const Roots& roots, Numbers x, Numbers other) {
  const int step = roots.of / n;
  const Numbers home = x;
  int s = 1;
  for (int length = n; length > 1; length /= 4, s *= 4) {
    if (length == 2) {
      for (int q = 0; q < s; ++q) {
        const Complex a = x[q], b = x[q + s];
        other.put(q, a + b);
        other.put(q + s, a - b);
      }
    } else {
      quarter(length, s, step * s, roots.numbers, x, other);
    }
    std::swap(x, other);
  }
  if (x.re == home.re) return;
  std::copy_n(x.re, n, home.re);
  std::copy_n(x.im, n, home.im);
}

/// Reals as the real and the imaginary parts of half as many numbers.
void pack(std::span<const double> from, int n, Numbers to) {
  const std::size_t size = from.size();
  for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
    to.re[i] = 2 * i < size ? from[2 * i] : 0.0;
    to.im[i] = 2 * i + 1 < size ? from[2 * i + 1] : 0.0;
  }
}

/// From the transforms of two packed series that of their packed convolution, in place of a. With E and O the
/// transforms of a series' even and odd places,
///     E = (Z(k) + Z*(n-k)) / 2,   O = (Z(k) - Z*(n-k)) / (2 i),
/// those of the convolution are Ea Eb + w^k Oa Ob and Ea Ob + Oa Eb, w = exp(-2 pi i / n).
void multiply(int n, const Roots& roots, Numbers a, Numbers b) {
  const int step = roots.of / n;
  const auto halves = [](Complex z, Complex mirrored) {
    return std::pair<Complex, Complex>{{0.5 * (z.re + mirrored.re), 0.5 * (z.im - mirrored.im)},
                                       {0.5 * (z.im + mirrored.im), 0.5 * (mirrored.re - z.re)}};
  };
  for (int k = 0; k <= n / 2; ++k) {
    const int m = k == 0 ? 0 : n - k;
    const auto [ea, oa] = halves(a[k], a[m]);
    const auto [eb, ob] = halves(b[k], b[m]);
    const Complex even = ea * eb + roots.numbers[k * step] * (oa * ob), odd = ea * ob + oa * eb;
    a.put(m, {even.re + odd.im, odd.re - even.im});  // the mirrored place first: k = m keeps the last
    a.put(k, {even.re - odd.im, even.im + odd.re});
  }
}

}  // namespace

void cyclic_convolution(int cycle, std::span<const double> a, std::span<const double> b, int first,
                        std::span<double> c, ConvolutionWork& work) {
  const int n = cycle / 2;
  const Roots roots = roots_for(n, work);
  over_chunks({2, 2}, [&](const Chunk& chunk) {
    const int i = chunk.number - 1;
    const Numbers x = numbers(work.series[i]);
    pack(i == 0 ? a : b, n, x);
    transform(n, roots, x, numbers(work.scratch[i]));
  });
  const Numbers z = numbers(work.series[0]);
  multiply(n, roots, z, numbers(work.series[1]));
  // The transform backwards is the one forwards with real and imaginary parts exchanged.
  transform(n, roots, {z.im, z.re}, numbers(work.scratch[0]));
  const double scale = 1.0 / n;
  for (std::size_t i = 0; i < c.size(); ++i) {
    const int place = first + static_cast<int>(i);
    c[i] = scale * (place % 2 == 0 ? z.re : z.im)[place / 2];
  }
}

}  // namespace tessaron
