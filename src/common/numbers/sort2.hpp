#pragma once

namespace tessaron {

/// Sorts `key`, a table of n reals counted from 1, into ascending order and moves `other` along with it:
/// quicksort for two tables with the median of three as partitioning element, insertion sort for a stretch of
/// at most 7 elements, the larger part pushed on a stack of 50 entries ("NSTACK too small in sort2" and a
/// pause when that overflows). Ties may end in any order. `key` and `other` point to element 1. Source:
/// Sedgewick, Comm. ACM 21 (1978) 847; Press et al., Numerical Recipes, 2nd ed., sec. 8.2.
void sort2(int n, double* key, double* other);

}  // namespace tessaron
