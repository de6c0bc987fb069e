#pragma once
#include <cmath>

#include "common/constants.hpp"
#include "common/cores/lanes.hpp"
#include "common/table.hpp"
#include "field/path/path_record.hpp"
#include "field/settings.hpp"
#include "field/slots.hpp"

namespace tessaron {

struct FieldSource;

/// The images in two planes a distance hc apart, up to the height hmax.
struct ImageRow {
  double hc, hmax;

  /// The highest image.
  int last() const {
    const double n = std::abs(hmax / hc);
    return n < 1e9 ? static_cast<int>(n) + 1 : 1000000000;
  }
  double taper(int n) const { return std::cos(n * hc / hmax * pi / 2); }
  static double sign(int n) { return n % 2 == 0 ? 1 : -1; }
};

/// Whether the settings ask for images.
inline bool has_images(const FieldSettings& set) { return set.hc > 0 && std::abs(set.hmax) > set.hc; }

/// The straight way on which a path begins, if it does.
struct Entrance {
  bool known = false;
  double s_st = 0;  ///< its end [m]
  double ez = 0;    ///< z component of its tangent
};
/// Looks for the end of the straight entrance by halving, to the length of the bunch.
Entrance find_entrance(const FieldSettings& set, const PathRecord& path);

/// Nodes of the integral over the bunch: a charge element is y ahead of the observer along the line, and its
/// densities are multiplied by the quadrature weight. The images run over a block of nodes in their inner
/// loop.
struct NodeBlock {
  static constexpr int capacity = 512;  // a multiple of the lanes
  int n = 0;
  Table<double, capacity> y, lambda, lambda_t;
};

/// The field, at r and t, of the source in uniform motion along the straight line of the path at s_st, for a
/// test particle that moves along e. Works on the block.
void fimlin(const FieldSource& source, double t, const Vec3& r, const Vec3& e, double s_st, NodeBlock& block,
            Slots& value);

/// The sum of the images n0..n_last with taper and sign, on an entrance in a plane z = const.
void fimsum(const FieldSource& source, double t, const Vec3& r, const Vec3& e, double s_st, int n0,
            int n_last, const ImageRow& row, NodeBlock& block, Slots& value);

}  // namespace tessaron
