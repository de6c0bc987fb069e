#include "forces/green/sources.hpp"

#include <cmath>

#include "forces/green/mesh/patch.hpp"

namespace tessaron {

namespace {

constexpr int tile = GreenSourceTile::capacity;

/// The lookups of a tile between the stages. Short stages with little to wait for keep the processor busy.
struct Lookups {
  double a[tile], b[tile];     ///< position relative to each source [m]
  int found;                   ///< positions with rows around them
  int source[tile];            ///< whose they are
  GreenCorners corners[tile];  ///< the rows
};

void turn_positions(const GreenSourceTile& t, double x, double y, Lookups& l) {
  for (int k = 0; k < t.n; ++k) {
    const double dx = x - t.x[k], dy = y - t.y[k];
    l.a[k] = t.c[k] * dx + t.s[k] * dy;
    l.b[k] = t.c[k] * dy - t.s[k] * dx;
  }
}

/// A position without rows in this block: its field directly, unless another block has it.
void add_uncovered(const GreenSourceTile& t, const GreenField& source, int k, Cover cover, bool first_pass,
                   const Lookups& l, GreenRow& sum) {
  if (cover == Cover::other_block || (cover == Cover::beyond_mesh && !first_pass)) return;
  GreenRow field;
  source.at(l.a[k], l.b[k], field);
  t.add_field(k, field, sum);
}

void find_rows(const GreenSourceTile& t, const GreenMesh& mesh, const GreenField& source, bool first_pass,
               Lookups& l, GreenRow& sum) {
  GreenPatch patch;
  l.found = 0;
  for (int k = 0; k < t.n; ++k) {
    const double a = l.a[k], b = l.b[k];
    if (!patch.holds(a, b)) [[unlikely]] {
      const Cover cover = take_patch(mesh, a, b, patch);
      if (cover != Cover::inside) {
        add_uncovered(t, source, k, cover, first_pass, l, sum);
        continue;
      }
    }
    l.source[l.found] = k;
    l.corners[l.found++] = patch.corners(mesh, a, b);
  }
}

void add_fields(const GreenSourceTile& t, GreenMesh& mesh, const GreenField& source, const Lookups& l,
                GreenRow& sum) {
  for (int i = 0; i < l.found; ++i) {
    const int k = l.source[i];
    GreenRow field = l.corners[i].weigh();
    if (!has_field(field)) [[unlikely]]
      gmesh2(mesh, source, l.a[k], l.b[k], field);
    t.add_field(k, field, sum);
  }
}

}  // namespace

void GreenSourceTile::add(double place_x, double place_y, double phi, double weight, double ref_phi,
                          double ref_beta) {
  const double cos_phi = std::cos(phi), sin_phi = std::sin(phi);
  const double c0 = std::cos(ref_phi), s0 = std::sin(ref_phi);
  const double gx = (s0 - sin_phi) * ref_beta, gy = -(c0 - cos_phi) * ref_beta;  // what Bz adds to G
  x[n] = place_x, y[n] = place_y, c[n] = cos_phi, s[n] = sin_phi;
  m11[n] = weight * (c0 * cos_phi + s0 * sin_phi);
  m12[n] = weight * (s0 * cos_phi - c0 * sin_phi);
  m13[n] = weight * (c0 * gx + s0 * gy);
  m23[n] = weight * (c0 * gy - s0 * gx);
  w[n++] = weight;
}

void green_add_tile(const GreenSourceTile& sources, GreenMesh& mesh, const GreenField& source,
                    bool first_pass, double x, double y, GreenRow& sum) {
  Lookups l;
  GreenRow total = sum;
  turn_positions(sources, x, y, l);
  find_rows(sources, mesh, source, first_pass, l, total);
  add_fields(sources, mesh, source, l, total);
  sum = total;
}

}  // namespace tessaron
