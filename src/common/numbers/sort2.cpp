#include "common/numbers/sort2.hpp"

#include <array>
#include <utility>

#include "common/console.hpp"

namespace tessaron {

namespace {

/// Orders elements first..last by insertion.
void insertion_sort(int first, int last, double* key, double* other) {
  for (int j = first + 1; j <= last; ++j) {
    const double a = key[j], b = other[j];
    int i = j - 1;
    for (; i >= first && key[i] > a; --i) {
      key[i + 1] = key[i];
      other[i + 1] = other[i];
    }
    key[i + 1] = a;
    other[i + 1] = b;
  }
}

/// The left part ends at `left_last`, the right one, nowhere below it, begins at `right_first`; what lies
/// between them is in its place.
struct Parts {
  int left_last, right_first;
};

/// Parts elements first..last, at least three, by the median of the first, the middle and the last one.
Parts part_by_median(int first, int last, double* key, double* other) {
  const auto swap = [&](int i, int j) {
    std::swap(key[i], key[j]);
    std::swap(other[i], other[j]);
  };
  // The median is kept at first + 1; the outer two are sentinels for the scans.
  swap(first + (last - first) / 2, first + 1);
  if (key[first] > key[last]) swap(first, last);
  if (key[first + 1] > key[last]) swap(first + 1, last);
  if (key[first] > key[first + 1]) swap(first, first + 1);
  const double a = key[first + 1], b = other[first + 1];
  int i = first + 1, j = last;
  for (;;) {
    do ++i;
    while (key[i] < a);
    do --j;
    while (key[j] > a);
    if (j < i) break;
    swap(i, j);
  }
  key[first + 1] = key[j];
  other[first + 1] = other[j];
  key[j] = a;
  other[j] = b;
  return {j - 1, i};
}

}  // namespace

void sort2(int n, double* key, double* other) {
  constexpr int insertion_limit = 7, stack_size = 50;
  std::array<int, stack_size> stack;
  int depth = 0;
  int first = 0, last = n - 1;
  for (;;) {
    if (last - first < insertion_limit) {
      insertion_sort(first, last, key, other);
      if (depth == 0) return;
      last = stack[static_cast<std::size_t>(--depth)];
      first = stack[static_cast<std::size_t>(--depth)];
      continue;
    }
    const Parts parts = part_by_median(first, last, key, other);
    if (depth + 2 > stack_size) {
      // Both parts cannot be kept: this cannot happen below 2^25 elements, since the smaller part goes first.
      pause_for_operator("NSTACK too small in sort2");
      return;
    }
    if (last - parts.right_first >= parts.left_last - first) {
      stack[static_cast<std::size_t>(depth++)] = parts.right_first;
      stack[static_cast<std::size_t>(depth++)] = last;
      last = parts.left_last;
    } else {
      stack[static_cast<std::size_t>(depth++)] = first;
      stack[static_cast<std::size_t>(depth++)] = parts.left_last;
      first = parts.right_first;
    }
  }
}

}  // namespace tessaron
