#include "forces/green_lookup.hpp"

#include <algorithm>
#include <cmath>

#include "common/console.hpp"
#include "forces/green_mesh_owner.hpp"

namespace tessaron {

namespace {

GreenMesh& mesh = green_mesh_store;

/// Rows `place` and `place` + 1 of the table stand around b, with the weights 1 - t and t.
struct RowPair {
  int place;
  double t;
};

/// The rows around b, which lies within the line's ends.
inline RowPair rows_around(const GreenStretches& s, double b, std::int64_t gbase) {
  const int k = (b >= s.yb[1]) + (b >= s.yb[2]);
  const int last = static_cast<int>(s.jb[k + 1] - s.jb[k]);
  const double v = (b - s.yb[k]) * s.per_metre[k];
  int j = static_cast<int>(v);
  double t = v - j;
  if (j >= last) {  // on the stretch's end row, or a rounding error beyond it
    j = last - 1;
    t = 1;
  }
  return {static_cast<int>(s.jb[k] - gbase) + j, t};
}

/// A strip between two lines with all that a lookup needs, kept as long as positions stay in it.
struct Strip {
  int k = 0;
  double from = 1, to = 0;  ///< range in a; nothing lies in the empty one
  double blo = 0, bhi = 0;  ///< range in b that both lines have
  double per_width = 0;
  Cover cover = Cover::beyond_mesh;  ///< of all positions within blo..bhi
  GreenStretches outer[2];
  const GreenStretches* line[2] = {nullptr, nullptr};

  bool holds(double a) const { return a >= from && a < to; }

  /// Takes strip `index`.
  void take(int index) {
    const GreenLine &left = mesh.line[index], &right = mesh.line[index + 1];
    k = index;
    from = left.x;
    to = right.x;
    cover = index >= mesh.gfirst && index < mesh.glast ? Cover::inside : Cover::other_block;
    if (cover == Cover::other_block) return;
    blo = std::max(left.ylo, right.ylo);
    bhi = std::min(left.yhi, right.yhi);
    per_width = left.per_width;
    for (int side = 0; side < 2; ++side) {
      const int i = index + side;
      if (mesh.is_inner(i)) {
        line[side] = &mesh.inner[i - mesh.iline1 + 1];
      } else {
        green_stretches(mesh, i, outer[side]);
        line[side] = &outer[side];
      }
    }
  }
};

/// Brings the strip to a: neighbouring positions are in the same strip or in one nearby.
inline bool move_to(double a, Strip& strip) {
  if (strip.holds(a)) return true;
  int k;
  if (!fmesh2(a, k)) return false;
  strip.take(k);
  return true;
}

/// The lookup in a strip that belongs to the block.
inline bool look_up(const Strip& strip, double a, double b, GreenRow& field) {
  if (!(b >= strip.blo && b <= strip.bhi)) return false;
  const RowPair left = rows_around(*strip.line[0], b, mesh.gbase);
  const RowPair right = rows_around(*strip.line[1], b, mesh.gbase);
  const bool present = mesh.gflag[left.place] & mesh.gflag[left.place + 1] & mesh.gflag[right.place] &
                       mesh.gflag[right.place + 1];
  if (!present) [[unlikely]] {
    for (int d = 0; d < 2; ++d) {
      if (!mesh.gflag[left.place + d]) green_fill_row(strip.k, left.place + d + mesh.gbase);
      if (!mesh.gflag[right.place + d]) green_fill_row(strip.k + 1, right.place + d + mesh.gbase);
    }
  }
  const double wx = (strip.to - a) * strip.per_width;
  const double w01 = wx * left.t, w00 = wx - w01;
  const double w11 = (1 - wx) * right.t, w10 = (1 - wx) - w11;
  const GreenRow &r00 = mesh.gtab[left.place], &r01 = mesh.gtab[left.place + 1];
  const GreenRow &r10 = mesh.gtab[right.place], &r11 = mesh.gtab[right.place + 1];
  field.f1 = (w00 * r00.f1 + w01 * r01.f1) + (w10 * r10.f1 + w11 * r11.f1);
  field.f2 = (w00 * r00.f2 + w01 * r01.f2) + (w10 * r10.f2 + w11 * r11.f2);
  field.bz = (w00 * r00.bz + w01 * r01.bz) + (w10 * r10.bz + w11 * r11.bz);
  return true;
}

}  // namespace

bool fmesh2(double x, int& k) {
  const int n = mesh.nxg;
  if (n < 2 || !(x >= mesh.line[1].x && x <= mesh.line[n].x)) return false;
  int i = mesh.xgidx[green_search_cell(mesh, x) + 1];
  while (i > 1 && mesh.line[i].x > x) --i;  // a rounding error may have picked the cell above
  while (i <= n && mesh.line[i].x <= x) ++i;
  k = std::min(i, n) - 1;
  if (k < 1 || !(mesh.line[k].x <= x && x <= mesh.line[k + 1].x)) {
    fatal_stop("fmesh2: there is something wrong");
  }
  return true;
}

void green_fill_row(int i, std::int64_t j) {
  GreenStretches stretches;
  green_stretches(mesh, i, stretches);
  const int place = static_cast<int>(j - mesh.gbase);
  mesh.field(mesh.line[i].x, green_row_place(stretches, j), mesh.gtab[place]);
  mesh.gflag[place] = true;
}

Cover gmesh2(double a, double b, GreenRow& field) {
  Strip strip;
  if (!move_to(a, strip)) return Cover::beyond_mesh;
  if (strip.cover != Cover::inside) return strip.cover;
  return look_up(strip, a, b, field) ? Cover::inside : Cover::beside_lines;
}

Cover gmesh1(double a, double b) {
  Strip strip;
  if (!move_to(a, strip)) return Cover::beyond_mesh;
  if (strip.cover != Cover::inside) return strip.cover;
  if (!(b >= strip.blo && b <= strip.bhi)) return Cover::beside_lines;
  for (const GreenStretches* line : strip.line) {
    const int place = rows_around(*line, b, mesh.gbase).place;
    mesh.gflag[place] = mesh.gflag[place + 1] = true;
  }
  return Cover::inside;
}

GreenSourceTerm green_source_term(double x, double y, double phi, double weight, double ref_phi,
                                  double ref_beta) {
  const double c = std::cos(phi), s = std::sin(phi), c0 = std::cos(ref_phi), s0 = std::sin(ref_phi);
  // The field in lab axes, G = (c f1 - s f2 + vx bz, s f1 + c f2 + vy bz), turned by -ref_phi.
  const double vx = (s0 - s) * ref_beta, vy = -(c0 - c) * ref_beta;
  GreenSourceTerm term{};
  term.x = x, term.y = y, term.c = c, term.s = s;
  term.m11 = weight * (c0 * c + s0 * s);
  term.m12 = weight * (s0 * c - c0 * s);
  term.m13 = weight * (c0 * vx + s0 * vy);
  term.m21 = weight * (c0 * s - s0 * c);
  term.m22 = weight * (c0 * c + s0 * s);
  term.m23 = weight * (c0 * vy - s0 * vx);
  term.w = weight;
  return term;
}

void green_add_source(const GreenSourceTerm& source, bool first_pass, const GreenPoints& points) {
  Strip strip;
  const std::size_t n = points.sum.size();
  for (std::size_t e = 0; e < n; ++e) {
    const double dx = points.x[e] - source.x, dy = points.y[e] - source.y;
    const double a = source.c * dx + source.s * dy, b = source.c * dy - source.s * dx;
    GreenRow f;
    if (!move_to(a, strip)) {
      if (!first_pass) continue;
      mesh.field(a, b, f);
    } else if (strip.cover == Cover::other_block) {
      continue;
    } else if (!look_up(strip, a, b, f)) {
      mesh.field(a, b, f);
    }
    GreenRow& sum = points.sum[e];
    sum.f1 += source.m11 * f.f1 + source.m12 * f.f2 + source.m13 * f.bz;
    sum.f2 += source.m21 * f.f1 + source.m22 * f.f2 + source.m23 * f.bz;
    sum.bz += source.w * f.bz;
  }
}

}  // namespace tessaron
