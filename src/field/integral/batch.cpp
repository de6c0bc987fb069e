#include "field/integral/batch.hpp"

#include <algorithm>
#include <cmath>

#include "common/constants.hpp"
#include "common/lanes.hpp"
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
  double s_c, d2, ex, ey, e0x, e0y;
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
  k.ex = x.e.x, k.ey = x.e.y, k.e0x = x.e0.x, k.e0y = x.e0.y;
  k.across = x.across, k.kappa = x.kappa;
  k.c0 = x.c0, k.c1 = x.c1, k.c2 = x.c2, k.k1 = x.k1, k.k2 = x.k2;
  k.a0 = x.a0, k.a1 = x.a1, k.b1 = x.b1, k.b2_density = x.b2, k.p0 = x.p0, k.p1 = x.p1, k.p2 = x.p2;
  return k;
}

/// The sums over the nodes, one partial sum in each lane.
struct LaneSums {
  Lanes fx{}, fy{}, fz{}, bx{}, by{}, bz{}, phi{}, phi_t{}, ax{}, ay{}, ax_t{}, ay_t{};
};

/// Four points of the path.
struct PathLanes {
  Lanes x, y, ex, ey, kappa;
};

/// Nodes that do not lie on one stretch, or on one that turns far: point by point.
[[gnu::noinline]] void path_one_by_one(const PathRecord& path, const double* s, double out[5][lane_count]) {
  for (int lane = 0; lane < lane_count; ++lane) {
    const CurvePoint p = path_at(path, s[lane]);
    out[0][lane] = p.x, out[1][lane] = p.y, out[2][lane] = p.ex, out[3][lane] = p.ey, out[4][lane] = p.kappa;
  }
}

TESSARON_LANES_INLINE PathLanes path_lanes(const PathRecord& path, const PathStretch& stretch,
                                           const double* node) {
  const double furthest = std::max(std::abs(node[0] - stretch.s), std::abs(node[lane_count - 1] - stretch.s));
  if (!(node[lane_count - 1] < stretch.end) || !(0.5 * std::abs(stretch.kappa) * furthest <= small_angle)) {
    double out[5][lane_count];
    path_one_by_one(path, node, out);
    return {lanes_at(out[0]), lanes_at(out[1]), lanes_at(out[2]), lanes_at(out[3]), lanes_at(out[4])};
  }
  const Lanes u = lanes_at(node) - stretch.s;
  if (stretch.kappa == 0) {
    return {stretch.x + u * stretch.ex, stretch.y + u * stretch.ey, lanes_of(stretch.ex),
            lanes_of(stretch.ey), lanes_of(0)};
  }
  Lanes sh, ch;
  small_sin_cos(0.5 * (stretch.kappa * u), sh, ch);
  const Lanes chord = stretch.two_by_kappa == 0 ? u : stretch.two_by_kappa * sh;
  const Lanes along = chord * ch, beside = chord * sh;
  const Lanes cosine = 1.0 - 2.0 * (sh * sh), sine = 2.0 * (sh * ch);
  return {stretch.x + (along * stretch.ex - beside * stretch.ey),
          stretch.y + (along * stretch.ey + beside * stretch.ex), cosine * stretch.ex - sine * stretch.ey,
          cosine * stretch.ey + sine * stretch.ex, lanes_of(stretch.kappa)};
}

/// Adds four nodes. `Plane`: the observer lies in the plane of the path. `Subtract`: the expansion is taken
/// off. `Potentials`: these are wanted as well. The formulas are those of `zfint`, each term times the weight
/// w; what is subtracted over rho^n is added up as it stands, not as a difference to the part over R^n.
template <bool Plane, bool Subtract, bool Potentials>
TESSARON_LANES_INLINE void add_batch(const Fixed& k, const PathLanes& p, const Lanes& s, const Lanes& w,
                                     LaneSums& sum) {
  const Lanes rx = k.x0 - p.x, ry = k.y0 - p.y;
  Lanes r2 = rx * rx + ry * ry;
  if constexpr (!Plane) r2 = r2 + k.z0 * k.z0;
  const Lanes r = sqrt_of(r2), inv_r = 1.0 / r, inv_r3 = inv_r * (inv_r * inv_r);

  // The density at the retarded time.
  const Lanes tau = k.t0 - r * k.inv_c - s * k.inv_vel, u = tau * k.inv_sigmat;
  const Lanes gauss = k.amplitude * exp_of_negative(-0.5 * (u * u));
  const auto inside = abs_of(tau) < k.t_end;
  const Lanes lambda = inside ? gauss - k.offset + k.parabola * (tau * tau) : lanes_of(0);
  const Lanes lambda_t = inside ? 2.0 * k.parabola * tau - gauss * (u * k.inv_sigmat) : lanes_of(0);
  const Lanes n = lambda + r * (lambda_t * k.inv_c);

  const Lanes cz = p.ex * ry - p.ey * rx;  // e x R; its other parts are (e_y, -e_x) z0
  const Lanes dx = k.e0x - p.ex, dy = k.e0y - p.ey;
  const Lanes bend = k.curvature * (p.kappa * lambda);  // times (-e_y, e_x): the curvature term

  if (k.drag != 0) {
    const Lanes pull = w * (k.drag * (lambda_t * inv_r));
    sum.fx += pull * p.ex;
    sum.fy += pull * p.ey;
  }
  if constexpr (!Subtract) {
    const Lanes wn = w * (n * inv_r3);
    const Lanes wb = k.beta_s * wn, wf = k.beta0 * wb, wc = k.b2 * wn, wk = w * (bend * inv_r);
    sum.fx += wf * (dy * cz) + wc * rx + wk * p.ey;
    sum.fy += wc * ry - wf * (dx * cz) - wk * p.ex;
    sum.bz += wb * cz;
    if constexpr (!Plane) {
      sum.fz += (wc - wf * (dx * p.ex + dy * p.ey)) * k.z0;
      sum.bx += wb * p.ey * k.z0;
      sum.by -= wb * p.ex * k.z0;
    }
    if constexpr (Potentials) {
      const Lanes wl = w * (lambda * inv_r), wl_t = w * (lambda_t * inv_r);
      sum.phi += wl;
      sum.phi_t += wl_t;
      sum.ax += (k.beta_s * wl) * p.ex;
      sum.ay += (k.beta_s * wl) * p.ey;
      sum.ax_t += (k.beta_s * wl_t) * p.ex;
      sum.ay_t += (k.beta_s * wl_t) * p.ey;
    }
  } else {
    const Lanes y = s - k.s_c, y2 = y * y, rho = sqrt_of(y2 + k.d2);
    const Lanes inv_rho = 1.0 / rho, inv_rho3 = inv_rho * (inv_rho * inv_rho);
    const Lanes nh = k.a0 + k.a1 * y;
    const Lanes lh = k.a0 + k.b1 * y + k.b2_density * rho;
    const Lanes cpz = k.c0.z + k.c1.z * y + k.c2.z * y2;
    const Lanes wn = w * (n * inv_r3), wh = w * (nh * inv_rho3);
    const Lanes wb = k.beta_s * wn, wf = k.beta0 * wb, wc = k.b2 * wn;
    const Lanes hb = k.beta0 * wh, hf = k.beta0_2 * wh, hc = k.u0 * wh;
    const Lanes wk = w * (bend * inv_r), hk = (k.curvature0 * w) * (lh * inv_rho), half_y2 = 0.5 * y2;
    sum.fx += (wf * (dy * cz) + wc * rx + wk * p.ey) +
              (hf * (k.k1.x * y + k.k2.x * y2) + hc * (k.across.x - k.ex * y - k.kappa.x * half_y2) -
               hk * k.kappa.x);
    sum.fy += (wc * ry - wf * (dx * cz) - wk * p.ex) +
              (hf * (k.k1.y * y + k.k2.y * y2) + hc * (k.across.y - k.ey * y - k.kappa.y * half_y2) -
               hk * k.kappa.y);
    sum.bz += wb * cz + hb * cpz;
    if constexpr (!Plane) {
      sum.fz +=
          (wc - wf * (dx * p.ex + dy * p.ey)) * k.z0 + (hf * (k.k1.z * y + k.k2.z * y2) + hc * k.across.z);
      sum.bx += wb * (p.ey * k.z0) + hb * (k.c0.x + k.c1.x * y);
      sum.by += hb * (k.c0.y + k.c1.y * y) - wb * (p.ex * k.z0);
    }
    if constexpr (Potentials) {
      const Lanes mh = k.p0 + k.p1 * y + k.p2 * rho;
      const Lanes wl = w * (lambda * inv_r), wl_t = w * (lambda_t * inv_r);
      const Lanes hl = w * (lh * inv_rho), hl_t = w * (mh * inv_rho);
      sum.phi += wl + hl;
      sum.phi_t += wl_t + hl_t;
      sum.ax += p.ex * (k.beta_s * wl) + k.ex * (k.beta0 * hl);
      sum.ay += p.ey * (k.beta_s * wl) + k.ey * (k.beta0 * hl);
      sum.ax_t += p.ex * (k.beta_s * wl_t) + k.ex * (k.beta0 * hl_t);
      sum.ay_t += p.ey * (k.beta_s * wl_t) + k.ey * (k.beta0 * hl_t);
    }
  }
}

/// All nodes of a run, whose number is a multiple of four.
template <bool Plane, bool Subtract, bool Potentials>
TESSARON_LANES_INLINE void add_run(const Fixed& fixed, const double* s, const double* w, int n,
                                   LaneSums& total) {
  const Fixed k = fixed;
  LaneSums sum = total;
  const PathRecord& path = *k.path;
  const PathStretch* stretch = &path.stretch[path_stretch(path, s[0])];
  for (int i = 0; i < n; i += lane_count) {
    if (!(s[i] < stretch->end)) stretch = &path.stretch[path_stretch(path, s[i])];
    add_batch<Plane, Subtract, Potentials>(k, path_lanes(path, *stretch, s + i), lanes_at(s + i),
                                           lanes_at(w + i), sum);
  }
  total = sum;
}

template <bool Plane>
TESSARON_LANES_INLINE void add_kind(const Fixed& k, const double* s, const double* w, int n, bool subtract,
                                    LaneSums& sum) {
  if (k.potentials) {
    subtract ? add_run<Plane, true, true>(k, s, w, n, sum) : add_run<Plane, false, true>(k, s, w, n, sum);
  } else {
    subtract ? add_run<Plane, true, false>(k, s, w, n, sum) : add_run<Plane, false, false>(k, s, w, n, sum);
  }
}

/// What a run adds up to, before the factors that all nodes share.
struct RunSums {
  double fx, fy, fz, bx, by, bz, phi, phi_t, ax, ay, ax_t, ay_t;
};

TESSARON_CLONES void sum_run(const Fixed& k, const double* s, const double* w, int n, bool subtract,
                             RunSums& out) {
  LaneSums sum;
  k.z0 == 0 ? add_kind<true>(k, s, w, n, subtract, sum) : add_kind<false>(k, s, w, n, subtract, sum);
  out = {sum_of(sum.fx), sum_of(sum.fy), sum_of(sum.fz),   sum_of(sum.bx),
         sum_of(sum.by), sum_of(sum.bz), sum_of(sum.phi),  sum_of(sum.phi_t),
         sum_of(sum.ax), sum_of(sum.ay), sum_of(sum.ax_t), sum_of(sum.ay_t)};
}

/// Adds n nodes that are all of one kind.
void add_part(const Fixed& k, const double* s, const double* w, int n, bool subtract, Slots& result) {
  if (n <= 0) return;
  // Copied, so that nodes of weight 0 can fill the last batch up.
  alignas(32) double s_full[NodeList::capacity + lane_count], w_full[NodeList::capacity + lane_count];
  std::copy_n(s, n, s_full);
  std::copy_n(w, n, w_full);
  for (; n % lane_count != 0; ++n) {
    s_full[n] = s_full[n - 1];
    w_full[n] = 0;
  }
  RunSums sum;
  sum_run(k, s_full, w_full, n, subtract, sum);
  result.force += Vec3{sum.fx, sum.fy, sum.fz};
  result.cb += Vec3{sum.bx, sum.by, sum.bz};
  result.phi += sum.phi;
  result.phi_t += sum.phi_t;
  result.a += Vec3{sum.ax / c, sum.ay / c, 0};
  result.a_t += Vec3{sum.ax_t / c, sum.ay_t / c, 0};
}

}  // namespace

void add_nodes(const FieldSource& source, const ExpansionRecord& x, const NodeList& list, Slots& result) {
  const Fixed k = fix(source, x);
  const double* s = list.s.run(1, list.n).data();
  const double* w = list.weight.run(1, list.n).data();
  // The nodes ascend: first those before the range of subtraction, then those in it.
  const double* from = x.pole ? std::lower_bound(s, s + list.n, x.s_p) : s + list.n;
  const double* to = x.pole ? std::upper_bound(from, s + list.n, x.s_e) : s + list.n;
  const auto add = [&](const double* first, const double* last, bool subtract) {
    add_part(k, first, w + (first - s), static_cast<int>(last - first), subtract, result);
  };
  add(s, from, false);
  add(from, to, true);
  add(to, s + list.n, false);
}

}  // namespace tessaron
