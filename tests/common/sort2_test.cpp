#include "common/sort2.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

using namespace tessaron;

namespace {

using Pairs = std::vector<std::pair<double, double>>;

/// Key i of n in an order that a quicksort with the median of three may stumble on.
struct Order {
  const char* name;
  std::function<double(int i, int n)> key;
};
std::mt19937 generator(7);
const Order orders[] = {
    {"random", [](int, int) { return std::uniform_real_distribution<>(-1, 1)(generator); }},
    {"few different", [](int, int) { return static_cast<double>(generator() % 3); }},
    {"ascending", [](int i, int) { return static_cast<double>(i); }},
    {"descending", [](int i, int) { return static_cast<double>(-i); }},
    {"equal", [](int, int) { return 4.0; }},
    {"organ pipe", [](int i, int n) { return static_cast<double>(std::min(i, n - i)); }},
    {"sawtooth", [](int i, int) { return static_cast<double>(i % 17); }},
    {"alternating", [](int i, int n) { return static_cast<double>(i % 2 == 0 ? i : n - i); }},
    {"one stray", [](int i, int n) { return i == n / 2 ? 1e9 : static_cast<double>(i); }},
};

TEST(Sort2, OrdersTheKeysAndKeepsEachPairTogether) {
  for (const Order& order : orders) {
    for (const int n : {0, 1, 2, 3, 7, 8, 9, 50, 1000, 20000}) {
      std::vector<double> key, other;
      Pairs pairs;
      for (int i = 0; i < n; ++i) {
        key.push_back(order.key(i, n));
        other.push_back(1000.0 + i);  // different for all: shows where a key came from
        pairs.emplace_back(key.back(), other.back());
      }
      sort2(n, key.data(), other.data());
      EXPECT_TRUE(std::is_sorted(key.begin(), key.end())) << order.name << " " << n;
      Pairs sorted;
      for (int i = 0; i < n; ++i)
        sorted.emplace_back(key[static_cast<std::size_t>(i)], other[static_cast<std::size_t>(i)]);
      std::sort(pairs.begin(), pairs.end());
      std::sort(sorted.begin(), sorted.end());
      EXPECT_EQ(sorted, pairs) << order.name << " " << n;
    }
  }
}

TEST(Sort2, TouchesNothingBesideTheTable) {
  std::vector<double> key = {9, 5, 3, 8, -1}, other = {1, 2, 3, 4, 5};
  sort2(3, key.data() + 1, other.data() + 1);
  EXPECT_EQ(key, (std::vector<double>{9, 3, 5, 8, -1}));
  EXPECT_EQ(other, (std::vector<double>{1, 3, 2, 4, 5}));
}

TEST(Sort2, EndsOnKeysThatAreNoNumbers) {
  std::vector<double> key(500, std::nan("")), other(500, 1.0);
  for (std::size_t i = 0; i < key.size(); i += 3) key[i] = static_cast<double>(i % 7);
  sort2(500, key.data(), other.data());
  EXPECT_EQ(std::count_if(key.begin(), key.end(), [](double k) { return k == k; }), 167);
}

}  // namespace
