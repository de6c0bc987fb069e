#pragma once
#include <span>

namespace tessaron {

/// Sorts reals into ascending order by their bits, 11 at a time from the lowest up: six passes whatever the
/// order they come in, where a comparison sort takes log2(n) of them. -0 comes ahead of 0, what is not a
/// number at an end.
/// \param scratch  as many reals, changed
/// Source: Knuth, The Art of Computer Programming, vol. 3, 2nd ed., sec. 5.2.5.
void radix_sort(std::span<double> values, std::span<double> scratch);

}  // namespace tessaron
