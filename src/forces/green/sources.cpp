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
  int beyond;                  ///< positions that no block covers, to be computed in this pass
  int beyond_source[tile];     ///< whose they are
};

void turn_positions(const GreenSourceTile& t, double x, double y, Lookups& l) {
  for (int k = 0; k < t.n; ++k) {
    const PlanePoint from_source = t.turned(k, x, y);
    l.a[k] = from_source.x, l.b[k] = from_source.y;
  }
}

void find_rows(const GreenSourceTile& t, const GreenMesh& mesh, bool first_pass, Lookups& l) {
  GreenPatch patch;
  l.found = l.beyond = 0;
  for (int k = 0; k < t.n; ++k) {
    const double a = l.a[k], b = l.b[k];
    if (!patch.holds(a, b)) [[unlikely]] {
      const Cover cover = take_patch(mesh, a, b, patch);
      if (cover != Cover::inside) {
        const bool due = cover == Cover::beside_lines || (cover == Cover::beyond_mesh && first_pass);
        if (due) l.beyond_source[l.beyond++] = k;
        continue;
      }
    }
    l.source[l.found] = k;
    l.corners[l.found++] = patch.corners(mesh, a, b);
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

GreenRow green_tile_field(const GreenSourceTile& sources, GreenMesh& mesh, const GreenField& source,
                          bool first_pass, double x, double y, MissingRow missing) {
  Lookups l;
  GreenRow sum{};
  turn_positions(sources, x, y, l);
  find_rows(sources, mesh, first_pass, l);
  for (int i = 0; i < l.found; ++i) sources.add_field(l.source[i], l.corners[i].weigh(), sum);
  if (missing == MissingRow::want && !has_field(sum)) {
    for (int i = 0; i < l.found; ++i) {
      const int k = l.source[i];
      if (!has_field(l.corners[i].weigh())) gmesh1(mesh, l.a[k], l.b[k]);
    }
    return sum;
  }
  for (int i = 0; i < l.beyond; ++i) {
    const int k = l.beyond_source[i];
    GreenRow field;
    source.at(l.a[k], l.b[k], field);
    sources.add_field(k, field, sum);
  }
  return sum;
}

void green_want_rows(const GreenSourceTile& sources, GreenMesh& mesh, double x, double y, int every) {
  for (int k = 0; k < sources.n; k += every) {
    const PlanePoint from_source = sources.turned(k, x, y);
    gmesh1(mesh, from_source.x, from_source.y);
  }
}

}  // namespace tessaron
