#include "field/integral/batch.hpp"

#include <algorithm>
#include <cmath>

#include "common/constants.hpp"
#include "common/cores/lanes.hpp"
#include "field/path/path_query.hpp"
#include "field/source/velocity_terms.hpp"

namespace tessaron {

namespace {

constexpr double c = speed_of_light;

/// What one source and observer fix. A tangent has no z part, nor have e, kappa and e0, so C2 is along z and
/// K1, K2 follow.
struct Fixed {
  const PathRecord* path;
  bool potentials;
  double inv_c, inv_vel;
  double t0, x0, y0, z0;
  // profile
  double sigmat, inv_sigmat, t_end, amplitude, offset, parabola;
  // speeds: each product once, and 0 where the force leaves a term out
  double beta_s, beta0, beta0_beta_s, beta0_2, curvature, curvature0, u0, b2;
  // expansion
  double drag;  // B1 / c
  double s_c, d2, e_x, e_y, e0x, e0y;
  Vec3 across, kappa, c0, c1, c2, k1, k2;
  double a0, a1, b1, b2_density, p0, p1, p2;
};

Fixed fix(const FieldSource& source, const ExpansionRecord& x) {
  const PathRecord& path = source.path;
  const ProfileRecord& profile = source.profile;
  const VelocityTerms v = velocity_terms(path.gam, path.beta, x.gamma0, x.beta0);
  Fixed k;
  k.path = &path;
  k.potentials = !source.settings.nopotential;
  k.inv_c = 1 / c;
  k.inv_vel = 1 / path.vel;
  k.t0 = x.t0, k.x0 = x.r0.x, k.y0 = x.r0.y, k.z0 = x.r0.z;
  k.sigmat = profile.sigmat, k.inv_sigmat = 1 / profile.sigmat;
  k.t_end = profile.xnsigt > 0 ? profile.t_length() : HUGE_VAL;
  k.amplitude = profile.a / path.beta, k.offset = profile.b / path.beta, k.parabola = profile.d / path.beta;
  k.beta_s = path.beta, k.beta0 = x.beta0;
  k.beta0_beta_s = x.beta0 * path.beta, k.beta0_2 = x.beta0 * x.beta0;
  k.curvature = x.flags.notalman ? 0 : k.beta0_beta_s;
  k.curvature0 = x.flags.notalman ? 0 : k.beta0_2;
  k.u0 = x.flags.nogamma2 ? 0 : x.u0;
  k.b2 = x.flags.nogamma2 ? 0 : v.b2;
  k.drag = v.b1 / c;
  k.s_c = x.s_c, k.d2 = x.d * x.d;
  k.e_x = x.e.x, k.e_y = x.e.y, k.e0x = x.e0.x, k.e0y = x.e0.y;
  k.across = x.across, k.kappa = x.kappa;
  k.c0 = x.c0, k.c1 = x.c1, k.c2 = x.c2, k.k1 = x.k1, k.k2 = x.k2;
  k.a0 = x.a0, k.a1 = x.a1, k.b1 = x.b1, k.b2_density = x.b2, k.p0 = x.p0, k.p1 = x.p1, k.p2 = x.p2;
  return k;
}

/// Nodes and what the stages of the sum find out about them. Each stage is a loop of its own over all nodes:
/// a processor then works on several batches at a time instead of waiting for the long chain of one.
struct NodeColumns {
  static constexpr int capacity = NodeList::capacity + 2 * lane_count;
  int n;  // with the copies of the last node that fill up the batches
  alignas(32) double s[capacity], weight[capacity];
  alignas(32) double ex[capacity], ey[capacity], kappa[capacity];  // the path there
  alignas(32) double rx[capacity], ry[capacity];                   // R in the plane
  alignas(32) double r[capacity], inv_r[capacity];
  alignas(32) double lambda[capacity], lambda_t[capacity];
  alignas(32) double density[capacity];  // lambda + R lambda_t / c
};

/// Four points of the path.
struct PathLanes {
  Lanes x, y, ex, ey, kappa;
};

/// Nodes that do not lie on one stretch, or far around an arc: point by point.
[[gnu::noinline]] void path_one_by_one(const PathRecord& path, const double* s, double out[5][lane_count]) {
  for (int lane = 0; lane < lane_count; ++lane) {
    const CurvePoint p = path_at(path, s[lane]);
    out[0][lane] = p.x, out[1][lane] = p.y, out[2][lane] = p.ex, out[3][lane] = p.ey, out[4][lane] = p.kappa;
  }
}

TESSARON_LANES_INLINE PathLanes path_lanes(const PathRecord& path, const PathStretch& stretch,
                                           const double* node) {
  const double furthest = std::max(std::abs(node[0] - stretch.s), std::abs(node[lane_count - 1] - stretch.s));
  if (!(node[lane_count - 1] < stretch.end) || !(std::abs(stretch.kappa) * furthest <= small_angle)) {
    double out[5][lane_count];
    path_one_by_one(path, node, out);
    return {lanes_at(out[0]), lanes_at(out[1]), lanes_at(out[2]), lanes_at(out[3]), lanes_at(out[4])};
  }
  const Lanes u = lanes_at(node) - stretch.s, theta = stretch.kappa * u, q = theta * theta;
  const SmallArc<Lanes> arc = small_arc(q);
  const Lanes rest = q * arc.sine_rest, along = u + u * rest, beside = (u * theta) * arc.versine;
  const Lanes cosine = 1.0 - q * arc.versine, sine = theta + theta * rest;
  return {stretch.x + (along * stretch.ex - beside * stretch.ey),
          stretch.y + (along * stretch.ey + beside * stretch.ex), cosine * stretch.ex - sine * stretch.ey,
          cosine * stretch.ey + sine * stretch.ex, lanes_of(stretch.kappa)};
}

/// The path at the nodes, and the observer as seen from there.
TESSARON_CLONES void look_from_nodes(const Fixed& k, NodeColumns& at) {
  const PathRecord& path = *k.path;
  const PathStretch* stretch = &path.stretch[path_stretch(path, at.s[0])];
  const double x0 = k.x0, y0 = k.y0, z2 = k.z0 * k.z0;
  for (int i = 0; i < at.n; i += lane_count) {
    if (!(at.s[i] < stretch->end)) stretch = &path.stretch[path_stretch(path, at.s[i])];
    const PathLanes p = path_lanes(path, *stretch, at.s + i);
    const Lanes rx = x0 - p.x, ry = y0 - p.y, r = sqrt_of((rx * rx + ry * ry) + z2);
    put_lanes(p.ex, at.ex + i);
    put_lanes(p.ey, at.ey + i);
    put_lanes(p.kappa, at.kappa + i);
    put_lanes(rx, at.rx + i);
    put_lanes(ry, at.ry + i);
    put_lanes(r, at.r + i);
    put_lanes(1.0 / r, at.inv_r + i);
  }
}

/// The density at the retarded time.
TESSARON_CLONES void densities_at_nodes(const Fixed& fixed, NodeColumns& at) {
  const Fixed k = fixed;
  for (int i = 0; i < at.n; i += lane_count) {
    const Lanes r = lanes_at(at.r + i);
    const Lanes tau = k.t0 - r * k.inv_c - lanes_at(at.s + i) * k.inv_vel, u = tau * k.inv_sigmat;
    const Lanes gauss = k.amplitude * exp_of_negative(-0.5 * (u * u));
    const auto inside = abs_of(tau) < k.t_end;
    const Lanes lambda = inside ? gauss - k.offset + k.parabola * (tau * tau) : lanes_of(0);
    const Lanes lambda_t = inside ? 2.0 * k.parabola * tau - gauss * (u * k.inv_sigmat) : lanes_of(0);
    put_lanes(lambda, at.lambda + i);
    put_lanes(lambda_t, at.lambda_t + i);
    put_lanes(lambda + r * (lambda_t * k.inv_c), at.density + i);
  }
}

/// The sums over the nodes, one partial sum in each lane.
struct LaneSums {
  Lanes fx{}, fy{}, fz{}, bx{}, by{}, bz{}, phi{}, phi_t{}, ax{}, ay{}, ax_t{}, ay_t{};
};

/// Four nodes, and what the terms of the integrand there have in common.
struct NodeBatch {
  Lanes w;                    // the weight
  Lanes s, ex, ey, rx, ry;    // the path, and R in its plane
  Lanes inv_r, inv_r3;        // 1/R, 1/R^3
  Lanes lambda, lambda_t, n;  // n = lambda + R lambda_t / c
  Lanes cz;                   // e x R; its other parts are (e_y, -e_x) z0
  Lanes dx, dy;               // e0 - e
  Lanes bend;                 // times (-e_y, e_x): the curvature term
};

/// The four nodes from i on, those from `last` on with the weight 0.
TESSARON_LANES_INLINE NodeBatch node_batch(const Fixed& k, const NodeColumns& at, int i, int last) {
  NodeBatch p;
  const Lanes number = lanes_of(i) + first_numbers;
  p.w = number < lanes_of(last) ? lanes_at(at.weight + i) : lanes_of(0);
  p.s = lanes_at(at.s + i);
  p.ex = lanes_at(at.ex + i), p.ey = lanes_at(at.ey + i);
  p.rx = lanes_at(at.rx + i), p.ry = lanes_at(at.ry + i);
  p.inv_r = lanes_at(at.inv_r + i), p.inv_r3 = p.inv_r * (p.inv_r * p.inv_r);
  p.lambda = lanes_at(at.lambda + i), p.lambda_t = lanes_at(at.lambda_t + i), p.n = lanes_at(at.density + i);
  p.cz = p.ex * p.ry - p.ey * p.rx;
  p.dx = k.e0x - p.ex, p.dy = k.e0y - p.ey;
  p.bend = k.curvature * (lanes_at(at.kappa + i) * p.lambda);
  return p;
}

/// The formulas are those of `zfint`, each term times the weight w. `Plane`: the observer lies in the plane
/// of the path. `Potentials`: these are wanted as well.
template <bool Plane, bool Potentials>
TESSARON_LANES_INLINE void add_plain_form(const Fixed& k, const NodeBatch& p, LaneSums& sum) {
  const Lanes wn = p.w * (p.n * p.inv_r3);
  const Lanes wb = k.beta_s * wn, wf = k.beta0 * wb, wc = k.b2 * wn, wk = p.w * (p.bend * p.inv_r);
  sum.fx += wf * (p.dy * p.cz) + wc * p.rx + wk * p.ey;
  sum.fy += wc * p.ry - wf * (p.dx * p.cz) - wk * p.ex;
  sum.bz += wb * p.cz;
  if constexpr (!Plane) {
    sum.fz += (wc - wf * (p.dx * p.ex + p.dy * p.ey)) * k.z0;
    sum.bx += wb * p.ey * k.z0;
    sum.by -= wb * p.ex * k.z0;
  }
  if constexpr (Potentials) {
    const Lanes wl = p.w * (p.lambda * p.inv_r), wl_t = p.w * (p.lambda_t * p.inv_r);
    sum.phi += wl;
    sum.phi_t += wl_t;
    sum.ax += (k.beta_s * wl) * p.ex;
    sum.ay += (k.beta_s * wl) * p.ey;
    sum.ax_t += (k.beta_s * wl_t) * p.ex;
    sum.ay_t += (k.beta_s * wl_t) * p.ey;
  }
}

/// The same with the expansion taken off. What is subtracted over rho^n is added up as it stands, not as a
/// difference to the part over R^n.
template <bool Plane, bool Potentials>
TESSARON_LANES_INLINE void add_subtracted_form(const Fixed& k, const NodeBatch& p, LaneSums& sum) {
  const Lanes y = p.s - k.s_c, y2 = y * y, rho = sqrt_of(y2 + k.d2);
  const Lanes inv_rho = 1.0 / rho, inv_rho3 = inv_rho * (inv_rho * inv_rho);
  const Lanes nh = k.a0 + k.a1 * y;
  const Lanes lh = k.a0 + k.b1 * y + k.b2_density * rho;
  const Lanes cpz = k.c0.z + k.c1.z * y + k.c2.z * y2;
  const Lanes wn = p.w * (p.n * p.inv_r3), wh = p.w * (nh * inv_rho3);
  const Lanes wb = k.beta_s * wn, wf = k.beta0 * wb, wc = k.b2 * wn;
  const Lanes hb = k.beta0 * wh, hf = k.beta0_2 * wh, hc = k.u0 * wh;
  const Lanes wk = p.w * (p.bend * p.inv_r), hk = (k.curvature0 * p.w) * (lh * inv_rho), half_y2 = 0.5 * y2;
  sum.fx += (wf * (p.dy * p.cz) + wc * p.rx + wk * p.ey) +
            (hf * (k.k1.x * y + k.k2.x * y2) + hc * (k.across.x - k.e_x * y - k.kappa.x * half_y2) -
             hk * k.kappa.x);
  sum.fy += (wc * p.ry - wf * (p.dx * p.cz) - wk * p.ex) +
            (hf * (k.k1.y * y + k.k2.y * y2) + hc * (k.across.y - k.e_y * y - k.kappa.y * half_y2) -
             hk * k.kappa.y);
  sum.bz += wb * p.cz + hb * cpz;
  if constexpr (!Plane) {
    sum.fz +=
        (wc - wf * (p.dx * p.ex + p.dy * p.ey)) * k.z0 + (hf * (k.k1.z * y + k.k2.z * y2) + hc * k.across.z);
    sum.bx += wb * (p.ey * k.z0) + hb * (k.c0.x + k.c1.x * y);
    sum.by += hb * (k.c0.y + k.c1.y * y) - wb * (p.ex * k.z0);
  }
  if constexpr (Potentials) {
    const Lanes mh = k.p0 + k.p1 * y + k.p2 * rho;
    const Lanes wl = p.w * (p.lambda * p.inv_r), wl_t = p.w * (p.lambda_t * p.inv_r);
    const Lanes hl = p.w * (lh * inv_rho), hl_t = p.w * (mh * inv_rho);
    sum.phi += wl + hl;
    sum.phi_t += wl_t + hl_t;
    sum.ax += p.ex * (k.beta_s * wl) + k.e_x * (k.beta0 * hl);
    sum.ay += p.ey * (k.beta_s * wl) + k.e_y * (k.beta0 * hl);
    sum.ax_t += p.ex * (k.beta_s * wl_t) + k.e_x * (k.beta0 * hl_t);
    sum.ay_t += p.ey * (k.beta_s * wl_t) + k.e_y * (k.beta0 * hl_t);
  }
}

/// The part of the force along the path that goes with the change of the density.
TESSARON_LANES_INLINE void add_drag(const Fixed& k, const NodeBatch& p, LaneSums& sum) {
  if (k.drag == 0) return;
  const Lanes pull = p.w * (k.drag * (p.lambda_t * p.inv_r));
  sum.fx += pull * p.ex;
  sum.fy += pull * p.ey;
}

template <bool Plane, bool Subtract, bool Potentials>
TESSARON_LANES_INLINE void add_run(const Fixed& fixed, const NodeColumns& at, int first, int last,
                                   LaneSums& total) {
  const Fixed k = fixed;
  LaneSums sum = total;
  for (int i = first; i < last; i += lane_count) {
    const NodeBatch p = node_batch(k, at, i, last);
    add_drag(k, p, sum);
    if constexpr (Subtract) {
      add_subtracted_form<Plane, Potentials>(k, p, sum);
    } else {
      add_plain_form<Plane, Potentials>(k, p, sum);
    }
  }
  total = sum;
}

template <bool Plane, bool Potentials>
TESSARON_LANES_INLINE void add_kind(const Fixed& k, const NodeColumns& at, int first, int last, bool subtract,
                                    LaneSums& sum) {
  subtract ? add_run<Plane, true, Potentials>(k, at, first, last, sum)
           : add_run<Plane, false, Potentials>(k, at, first, last, sum);
}

/// What a run adds up to, before the factors that all nodes share.
struct RunSums {
  double fx, fy, fz, bx, by, bz, phi, phi_t, ax, ay, ax_t, ay_t;
};

TESSARON_CLONES void sum_run(const Fixed& k, const NodeColumns& at, int first, int last, bool subtract,
                             RunSums& out) {
  LaneSums sum;
  if (k.z0 == 0) {
    k.potentials ? add_kind<true, true>(k, at, first, last, subtract, sum)
                 : add_kind<true, false>(k, at, first, last, subtract, sum);
  } else {
    k.potentials ? add_kind<false, true>(k, at, first, last, subtract, sum)
                 : add_kind<false, false>(k, at, first, last, subtract, sum);
  }
  out = {sum_of(sum.fx), sum_of(sum.fy), sum_of(sum.fz),   sum_of(sum.bx),
         sum_of(sum.by), sum_of(sum.bz), sum_of(sum.phi),  sum_of(sum.phi_t),
         sum_of(sum.ax), sum_of(sum.ay), sum_of(sum.ax_t), sum_of(sum.ay_t)};
}

/// Adds the nodes from `first` to before `last`, which are all of one kind.
void add_part(const Fixed& k, const NodeColumns& columns, int first, int last, bool subtract, Slots& result) {
  if (first == last) return;
  RunSums sum;
  sum_run(k, columns, first, last, subtract, sum);
  result.force += Vec3{sum.fx, sum.fy, sum.fz};
  result.cb += Vec3{sum.bx, sum.by, sum.bz};
  result.phi += sum.phi;
  result.phi_t += sum.phi_t;
  result.a += Vec3{sum.ax / c, sum.ay / c, 0};
  result.a_t += Vec3{sum.ax_t / c, sum.ay_t / c, 0};
}

/// Copies the nodes, and the last one until a batch that begins at any of them is full.
void fill_columns(const NodeList& list, NodeColumns& columns) {
  int n = list.n;
  std::copy_n(list.s.run(1, n).data(), n, columns.s);
  std::copy_n(list.weight.run(1, n).data(), n, columns.weight);
  for (; n < list.n + lane_count - 1 || n % lane_count != 0; ++n) {
    columns.s[n] = columns.s[n - 1];
    columns.weight[n] = 0;
  }
  columns.n = n;
}

}  // namespace

void add_nodes(const FieldSource& source, const ExpansionRecord& x, const NodeList& list, Slots& result) {
  if (list.n == 0) return;
  const Fixed k = fix(source, x);
  NodeColumns columns;
  fill_columns(list, columns);
  look_from_nodes(k, columns);
  densities_at_nodes(k, columns);
  // The nodes ascend: first those before the range of subtraction, then those in it.
  const double *s = columns.s, *end = s + list.n;
  const double* from = x.pole ? std::lower_bound(s, end, x.s_p) : end;
  const double* to = x.pole ? std::upper_bound(from, end, x.s_e) : end;
  const int first = static_cast<int>(from - s), last = static_cast<int>(to - s);
  add_part(k, columns, 0, first, false, result);
  add_part(k, columns, first, last, true, result);
  add_part(k, columns, last, list.n, false, result);
}

}  // namespace tessaron
