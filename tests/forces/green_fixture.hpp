#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace tessaron::test {

struct Random {
  std::mt19937 engine{17};
  double uniform(double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(engine);
  }
  double log_uniform(double low, double high) { return std::exp(uniform(std::log(low), std::log(high))); }
};

}  // namespace tessaron::test
