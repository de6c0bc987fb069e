#include "forces/green_sources.hpp"

#include <algorithm>
#include <cmath>

#include "forces/green_patch.hpp"

namespace tessaron {

namespace {

constexpr int tile = 128;  ///< points that go through the stages together

/// One tile between the stages. Short stages with little to wait for keep the processor busy.
struct Tile {
  int n;
  double a[tile], b[tile];     ///< position relative to the source [m]
  int found;                   ///< points with rows around them
  int point[tile];             ///< which point of the tile
  GreenCorners corners[tile];  ///< its rows
};

void turn_positions(const GreenSourceTerm& source, const double* x, const double* y, Tile& t) {
  for (int e = 0; e < t.n; ++e) {
    const double dx = x[e] - source.x, dy = y[e] - source.y;
    t.a[e] = source.c * dx + source.s * dy;
    t.b[e] = source.c * dy - source.s * dx;
  }
}

/// A position without rows in this block: its field directly, unless another block has it.
void add_uncovered(const GreenSourceTerm& source, Cover cover, bool first_pass, double a, double b,
                   GreenRow& sum) {
  if (cover == Cover::other_block || (cover == Cover::beyond_mesh && !first_pass)) return;
  GreenRow field;
  green_mesh.field(a, b, field);
  source.add(field, sum);
}

void find_rows(const GreenSourceTerm& source, bool first_pass, GreenRow* sum, GreenPatch& patch, Tile& t) {
  t.found = 0;
  for (int e = 0; e < t.n; ++e) {
    const double a = t.a[e], b = t.b[e];
    if (!patch.holds(a, b)) [[unlikely]] {
      const Cover cover = take_patch(green_mesh, a, b, patch);
      if (cover != Cover::inside) {
        add_uncovered(source, cover, first_pass, a, b, sum[e]);
        continue;
      }
    }
    t.point[t.found] = e;
    t.corners[t.found++] = patch.corners(green_mesh, a, b);
  }
}

void add_fields(const GreenSourceTerm& source, const Tile& t, GreenRow* sum) {
  for (int k = 0; k < t.found; ++k) {
    const int e = t.point[k];
    GreenRow field = t.corners[k].weigh();
    if (!has_field(field)) [[unlikely]]
      gmesh2(t.a[e], t.b[e], field);
    source.add(field, sum[e]);
  }
}

}  // namespace

GreenSourceTerm::GreenSourceTerm(double place_x, double place_y, double phi, double weight, double ref_phi,
                                 double ref_beta)
    : x(place_x), y(place_y), c(std::cos(phi)), s(std::sin(phi)), w(weight) {
  const double c0 = std::cos(ref_phi), s0 = std::sin(ref_phi);
  const double gx = (s0 - s) * ref_beta, gy = -(c0 - c) * ref_beta;  // what Bz adds to G
  m11 = w * (c0 * c + s0 * s);
  m12 = w * (s0 * c - c0 * s);
  m13 = w * (c0 * gx + s0 * gy);
  m21 = -m12;
  m22 = m11;
  m23 = w * (c0 * gy - s0 * gx);
}

void green_add_source(const GreenSourceTerm& source, bool first_pass, const GreenPoints& points) {
  const GreenSourceTerm term = source;  // a copy that the sums cannot alias
  GreenPatch patch;
  Tile t;
  const std::size_t n = points.sum.size();
  for (std::size_t base = 0; base < n; base += tile) {
    t.n = static_cast<int>(std::min<std::size_t>(tile, n - base));
    GreenRow* sum = points.sum.data() + base;
    turn_positions(term, points.x.data() + base, points.y.data() + base, t);
    find_rows(term, first_pass, sum, patch, t);
    add_fields(term, t, sum);
  }
}

}  // namespace tessaron
