#include "common/numbers/sort2.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>
#include <vector>

#include "common/numbers/radix_sort.hpp"

using namespace tessaron;

namespace {

using Pairs = std::vector<std::pair<double, double>>;

// Orders that a quicksort with the median of three may stumble on.
TEST(Sort2, OrdersTheKeysAndKeepsEachPairTogether) {
  std::mt19937 generator(7);
  double (*const orders[])(int i, int n, unsigned random) = {
      [](int, int, unsigned random) { return 1e-9 * random; },
      [](int, int, unsigned random) { return 1.0 * (random % 3); },  // few different keys
      [](int i, int, unsigned) { return 1.0 * i; },
      [](int i, int, unsigned) { return -1.0 * i; },
      [](int, int, unsigned) { return 4.0; },
      [](int i, int n, unsigned) { return 1.0 * std::min(i, n - i); },  // an organ pipe
      [](int i, int, unsigned) { return 1.0 * (i % 17); },
      [](int i, int n, unsigned) { return i % 2 == 0 ? 1.0 * i : 1.0 * (n - i); },
      [](int i, int n, unsigned) { return i == n / 2 ? 1e9 : 1.0 * i; },  // one stray
      [](int, int, unsigned random) {
        return std::ldexp((random & 1 ? 1.0 : -1.0) * random, -(random % 97));
      },
  };
  for (const auto& order : orders) {
    for (const int n : {0, 1, 2, 3, 7, 8, 9, 50, 1000, 40000}) {
      std::vector<double> key, other;
      Pairs pairs, sorted;
      for (int i = 0; i < n; ++i) {
        key.push_back(order(i, n, static_cast<unsigned>(generator())));
        other.push_back(1000.0 + i);  // different for all: shows where a key came from
        pairs.emplace_back(key.back(), other.back());
      }
      std::vector<double> plain = key, scratch = key;
      radix_sort(plain, scratch);
      sort2(n, key.data(), other.data());
      EXPECT_EQ(plain, key) << "radix_sort " << &order - orders << " " << n;
      EXPECT_TRUE(std::is_sorted(key.begin(), key.end())) << &order - orders << " " << n;
      for (std::size_t i = 0; i < key.size(); ++i) sorted.emplace_back(key[i], other[i]);
      std::sort(pairs.begin(), pairs.end());
      std::sort(sorted.begin(), sorted.end());
      EXPECT_EQ(sorted, pairs) << &order - orders << " " << n;
    }
  }
}

}  // namespace
