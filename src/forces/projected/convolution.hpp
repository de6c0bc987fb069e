#pragma once
#include <cstdint>

#include "common/numbers/fourier.hpp"

namespace tessaron {

/// A run of reals with an index range of its own, lo .. hi.
template <class Real>
struct Indexed {
  Real* cells;  ///< the entry lo
  int lo, hi;
  Real& operator[](int i) const { return cells[i - lo]; }
};
using Series = Indexed<const double>;
using Output = Indexed<double>;

/// Convolution of two series:
///     c(m) = factor  Sum_j a(m stride - j) b(j),   m = c.lo .. c.hi,
/// j running over the indices at which both a and b exist; an empty sum gives 0. Long ones of stride 1 go
/// through Fourier transforms: the error is a few roundings of the largest results, not of each.
/// \param stride  every how many steps of a and b a result is wanted, at least 1
void convol(Series a, Series b, Output c, std::int64_t stride, double factor, ConvolutionWork& work);

/// The same, every sum written out.
void convol_direct(Series a, Series b, Output c, std::int64_t stride, double factor);

}  // namespace tessaron
