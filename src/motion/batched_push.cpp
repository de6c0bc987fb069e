#include "motion/batched_push.hpp"

#include <cmath>

#include "common/cores/lane_angles.hpp"
#include "common/numbers/integer_power.hpp"
#include "motion/pusher_fast.hpp"

namespace tessaron::pusher {

namespace {

static_assert(batch_size == lane_count);

/// The coordinates of a batch, and their rates.
struct LaneCoordinates {
  Lanes x, y, z, p, phi, theta;
};

/// What one batch adds to its section: the force along the motion at both times, and the local radius.
struct Batch {
  Lanes fa, fb;
  Lanes rho_p;
  double per_time;  ///< 1/(tb - ta) of the force
};

/// All lanes of a comparison hold.
TESSARON_LANES_INLINE bool all(const LaneBits& holds) {
  return (holds[0] & holds[1] & holds[2] & holds[3]) != 0;
}

struct LaneSpeed {
  Lanes beta, gamma_inverse;
};

/// Momenta that a whole push keeps above `series_from`, or any.
enum class Momenta { large, any };
constexpr double series_from = 100;

/// beta = p/sqrt(p^2 + 1) and 1/gamma. For large p the series in q = 1/p^2 costs one division and no root:
///     beta = 1 - q/2 + 3 q^2/8 - 5 q^3/16 + ...,     the next term below 3e-17
template <Momenta momenta>
TESSARON_LANES_INLINE LaneSpeed speed(const Lanes& p) {
  if constexpr (momenta == Momenta::large) {
    const Lanes inverse = 1.0 / p, q = inverse * inverse;
    const Lanes beta = 1.0 - q * (0.5 - q * (0.375 - q * 0.3125));
    return {beta, inverse * beta};
  }
  const Lanes gamma_inverse = 1.0 / sqrt_of(p * p + 1.0);
  return {p * gamma_inverse, gamma_inverse};
}

TESSARON_LANES_INLINE LaneCoordinates ahead(const LaneCoordinates& y, double h, const LaneCoordinates& rate) {
  return {y.x + h * rate.x, y.y + h * rate.y,     y.z + h * rate.z,
          y.p + h * rate.p, y.phi + h * rate.phi, y.theta + h * rate.theta};
}

/// Self force along the motion at time t, linear between the two given times.
TESSARON_LANES_INLINE Lanes force_at(const RhsCommon& c, const Batch& batch, double t) {
  const double w = (c.tb - t) * batch.per_time, v = 1 - w;
  return batch.fa * w + batch.fb * v;
}

/// `nstep` classical Runge-Kutta steps from t1 to t2, in place; rhs(t, y) gives the rates.
template <class Rhs>
TESSARON_LANES_INLINE void steps(LaneCoordinates& y, double t1, double t2, int nstep, const Rhs& rhs) {
  const double h = (t2 - t1) / nstep;
  double t = t1;
  for (int step = 1; step <= nstep; ++step) {
    const double middle = t + 0.5 * h;
    const LaneCoordinates k1 = rhs(t, y);
    const LaneCoordinates k2 = rhs(middle, ahead(y, 0.5 * h, k1));
    const LaneCoordinates k3 = rhs(middle, ahead(y, 0.5 * h, k2));
    const LaneCoordinates k4 = rhs(t + h, ahead(y, h, k3));
    y = ahead(y, h / 6, ahead(ahead(ahead(k1, 2, k2), 2, k3), 1, k4));
    t += h;
  }
}

/// A drift keeps its direction, and p depends on time alone: a step is a sum of speeds.
template <bool with_force, Momenta momenta>
TESSARON_LANES_INLINE void drift(const BatchSection& s, const Batch& batch, int nstep, LaneCoordinates& y,
                                 const LaneAngles& phi, const LaneAngles& theta) {
  Lanes path;
  if constexpr (with_force) {
    const RhsCommon& c = s.common;
    const double h = (s.t1 - s.t0) / nstep;
    Lanes sum = lanes_of(0);
    double t = s.t0;
    for (int step = 1; step <= nstep; ++step) {
      const Lanes f1 = force_at(c, batch, t), f2 = force_at(c, batch, t + 0.5 * h),
                  f4 = force_at(c, batch, t + h);
      sum += speed<momenta>(y.p).beta + 2.0 * speed<momenta>(y.p + 0.5 * h * f1).beta +
             2.0 * speed<momenta>(y.p + 0.5 * h * f2).beta + speed<momenta>(y.p + h * f2).beta;
      y.p += h / 6 * (f1 + 4.0 * f2 + f4);
      t += h;
    }
    path = h / 6 * sum;
  } else {
    path = speed<momenta>(y.p).beta * (s.t1 - s.t0);
  }
  y.x += path * theta.cosine * phi.cosine;
  y.y += path * theta.cosine * phi.sine;
  y.z += path * theta.sine;
}

/// An arc: x and y are the deviation from the circle of radius rho_p while it is integrated, in a frame that
/// turns with the direction; behind it the chord of the circle is added.
template <bool with_force, Momenta momenta>
TESSARON_LANES_INLINE void arc(const BatchSection& s, const Batch& batch, int nstep, LaneCoordinates& y,
                               const LaneAngles& phi, const LaneAngles& theta) {
  const LaneCoordinates start = y;
  y.x = y.y = lanes_of(0);
  if constexpr (with_force) {
    steps(
        y, s.t0, s.t1, nstep, [&](double t, const LaneCoordinates& at) __attribute__((always_inline)) {
          const LaneSpeed v = speed<momenta>(at.p);
          LaneCoordinates rate;
          rate.phi = -s.common.K * v.gamma_inverse;
          rate.theta = lanes_of(0);
          rate.x = v.beta * theta.cosine + (batch.rho_p + at.y) * rate.phi;
          rate.y = -at.x * rate.phi;
          rate.z = v.beta * theta.sine;
          rate.p = force_at(s.common, batch, t);
          return rate;
        });
  } else {
    const LaneSpeed v = speed<momenta>(y.p);
    y.z += v.beta * theta.sine * (s.t1 - s.t0);
    y.phi -= s.common.K * v.gamma_inverse * (s.t1 - s.t0);
  }
  const LaneAngles half = angles_of(0.5 * (y.phi - start.phi));
  const Lanes chord = -2.0 * batch.rho_p * half.sine;
  const Lanes cM = phi.cosine * half.cosine - phi.sine * half.sine;
  const Lanes sM = phi.sine * half.cosine + phi.cosine * half.sine;
  const Lanes cphi = cM * half.cosine - sM * half.sine, sphi = sM * half.cosine + cM * half.sine;
  const Lanes dx = y.x, dy = y.y;
  y.x = start.x + chord * cM + (dx * cphi - dy * sphi);
  y.y = start.y + chord * sM + (dx * sphi + dy * cphi);
}

/// Sines and cosines of angles near a base, as `TurningAngle` takes them; the base stays.
TESSARON_LANES_INLINE LaneAngles near(const Lanes& angle, const Lanes& base, const LaneAngles& at_base) {
  const Lanes d = angle - base, q = d * d;
  if (!all(q < 0.05 * 0.05)) return angles_of(angle);
  const Lanes qq = q * q;
  const Lanes s = d - d * q * ((1.0 / 6 - q * (1.0 / 120)) + qq * (1.0 / 5040 - q * (1.0 / 362880)));
  const Lanes v = q * ((0.5 - q * (1.0 / 24)) + qq * (1.0 / 720 - q * (1.0 / 40320)));
  return {at_base.sine - (at_base.sine * v - at_base.cosine * s),
          at_base.cosine - (at_base.cosine * v + at_base.sine * s)};
}

/// A multipole: `plane_rates` for a force along the motion.
template <bool with_force, Momenta momenta>
TESSARON_LANES_INLINE void multipole(const BatchSection& s, const Batch& batch, int nstep, LaneCoordinates& y,
                                     const LaneAngles& phi0, const LaneAngles& theta0) {
  const RhsCommon& c = s.common;
  const LaneSpeed start = speed<momenta>(y.p);
  const Lanes phi_base = y.phi, theta_base = y.theta;
  const double gr = c.gradient.real(), gi = c.gradient.imag();
  steps(
      y, s.t0, s.t1, nstep, [&](double t, const LaneCoordinates& at) __attribute__((always_inline)) {
        const LaneSpeed v = with_force ? speed<momenta>(at.p) : start;
        const LaneAngles phi = near(at.phi, phi_base, phi0), theta = near(at.theta, theta_base, theta0);
        Lanes X = (at.y - c.y0) * c.cos_Theta - (at.x - c.x0) * c.sin_Theta, Z = at.z - c.z0;
        if (c.order > 2) raise_to_power(X, Z, c.order - 1);
        const Lanes Wr = X * gr - Z * gi, Wi = X * gi + Z * gr;
        const Lanes sin_d = c.sin_Theta * phi.cosine - c.cos_Theta * phi.sine;
        const Lanes cos_d = c.cos_Theta * phi.cosine + c.sin_Theta * phi.sine;
        const Lanes tangent = theta.cosine == 0.0 ? lanes_of(0) : theta.sine / theta.cosine;
        LaneCoordinates rate;
        rate.x = v.beta * theta.cosine * phi.cosine;
        rate.y = v.beta * theta.cosine * phi.sine;
        rate.z = v.beta * theta.sine;
        rate.p = with_force ? force_at(c, batch, t) : lanes_of(0);
        rate.phi = -(Wr + Wi * sin_d * tangent) * v.gamma_inverse;
        rate.theta = Wi * cos_d * v.gamma_inverse;
        return rate;
      });
}

/// One component of a batch's particles.
TESSARON_LANES_INLINE Lanes component(const Particle* q, double Particle::*of) {
  return Lanes{q[0].*of, q[1].*of, q[2].*of, q[3].*of};
}

TESSARON_LANES_INLINE LaneCoordinates load(const Particle* q) {
  return {component(q, &Particle::x), component(q, &Particle::y),   component(q, &Particle::z),
          component(q, &Particle::p), component(q, &Particle::phi), component(q, &Particle::theta)};
}

TESSARON_LANES_INLINE void store(const LaneCoordinates& y, const Particle* from, Particle* to) {
#pragma GCC unroll 4
  for (int i = 0; i < lane_count; ++i)
    to[i] = {y.x[i], y.y[i], y.z[i], y.p[i], y.phi[i], y.theta[i], from[i].q};
}

/// Nothing is faster than c t: a boundary farther off than the time left is not met.
TESSARON_LANES_INLINE LaneBits out_of_reach(const BatchSection& s, const LaneCoordinates& y) {
  constexpr double margin = 1e-9;
  const Boundary& b = *s.target;
  const double turned = b.tx * b.nx + b.ty * b.ny < 0 ? -1 : 1;
  const Lanes off = (b.x - y.x) * (turned * b.nx) + (b.y - y.y) * (turned * b.ny);
  return off > (s.t1 - s.t0) + margin;
}

TESSARON_LANES_INLINE LaneBits angles_in_reach(const LaneCoordinates& y) {
  return (abs_of(y.phi) < largest_lane_angle) & (abs_of(y.theta) < largest_lane_angle);
}

/// The forces on a batch: those along the motion, and the bits of all others but their signs.
struct LaneForces {
  Lanes along;
  LaneBits others;
};
TESSARON_LANES_INLINE LaneForces forces_of(const Force* f) {
  static_assert(sizeof(Force) == 3 * sizeof(double));
  const double* p = &f->along;
  const Lanes first = lanes_at(p), second = lanes_at(p + 4), third = lanes_at(p + 8);
  constexpr std::int64_t keep = INT64_MAX;
  const LaneBits others = (reinterpret_cast<LaneBits>(first) & LaneBits{0, keep, keep, 0}) |
                          (reinterpret_cast<LaneBits>(second) & LaneBits{keep, keep, 0, keep}) |
                          (reinterpret_cast<LaneBits>(third) & LaneBits{keep, 0, keep, keep});
  return {Lanes{first[0], first[3], second[2], third[1]}, others};
}

/// The Runge-Kutta steps that all lanes take, 0 if they differ or are none of a batch's.
TESSARON_LANES_INLINE int common_steps(const BatchSection& s, const Lanes& path, const Lanes& rho_p) {
  const Lanes needed = steps_needed(s.field, abs_of(path), abs_of(rho_p));
  if (!all(needed < most_steps - 1)) return 0;
  const int n = static_cast<int>(needed[0]) + 1;
  if (!all((needed >= n - 1.0) & (needed < 1.0 * n))) return 0;
  // A step that does not change the time is told, one particle after the other.
  return s.t1 - (s.t1 - s.t0) / (2.0 * n) != s.t1 ? n : 0;
}

/// No stage of a step takes a momentum out of the series' reach: the force is linear in time.
template <bool with_force>
TESSARON_LANES_INLINE bool momenta_stay_large(const BatchSection& s, const Batch& batch, const Lanes& p) {
  if constexpr (!with_force) return all(p > series_from);
  const Lanes f0 = abs_of(force_at(s.common, batch, s.t0)), f1 = abs_of(force_at(s.common, batch, s.t1));
  return all(p - (f0 > f1 ? f0 : f1) * (s.t1 - s.t0) > series_from);
}

/// The steps of a batch; false if its angles have left the reach of the lanes' sines on the way.
template <bool with_force, Momenta momenta>
TESSARON_LANES_INLINE bool push_through(const BatchSection& s, Batch& batch, LaneCoordinates& y) {
  const LaneAngles phi = angles_of(y.phi), theta = angles_of(y.theta);
  const bool bends = s.field.K != 0;
  const Lanes bh = speed<momenta>(y.p).beta * theta.cosine;
  batch.rho_p = bends ? sqrt_of(y.p * y.p + 1.0) * bh / s.field.K : lanes_of(0);
  const int nstep = common_steps(s, bh * (s.t1 - s.t0), batch.rho_p);
  if (nstep == 0) return false;

  if (bends) {
    arc<with_force, momenta>(s, batch, nstep, y, phi, theta);
  } else if (s.common.order < 2 || s.common.gradient == std::complex<double>(0, 0)) {
    drift<with_force, momenta>(s, batch, nstep, y, phi, theta);
  } else {
    multipole<with_force, momenta>(s, batch, nstep, y, phi, theta);
    return all(angles_in_reach(y));
  }
  return true;
}

template <bool with_force>
TESSARON_LANES_INLINE bool push(const BatchSection& s, const Particle* from, Particle* to, const Force* fa,
                                const Force* fb) {
  LaneCoordinates y = load(from);
  LaneBits simple = angles_in_reach(y);
  if (s.target != nullptr) simple &= out_of_reach(s, y);
  Batch batch;
  if constexpr (with_force) {
    const LaneForces a = forces_of(fa), b = forces_of(fb);
    simple &= (a.others | b.others) == 0;
    batch.fa = a.along;
    batch.fb = b.along;
    batch.per_time = 1 / (s.common.tb - s.common.ta);
  }
  if (!all(simple)) return false;
  const bool done = momenta_stay_large<with_force>(s, batch, y.p)
                        ? push_through<with_force, Momenta::large>(s, batch, y)
                        : push_through<with_force, Momenta::any>(s, batch, y);
  if (done) store(y, from, to);
  return done;
}

TESSARON_CLONES bool push_lanes(const BatchSection& s, const Particle* from, Particle* to, const Force* fa,
                                const Force* fb) {
  return fa != nullptr ? push<true>(s, from, to, fa, fb) : push<false>(s, from, to, nullptr, nullptr);
}

}  // namespace

BatchSection batch_section(std::int32_t section, double t0, double t1, const PushForce& force) {
  BatchSection s;
  s.section = section;
  s.t0 = t0;
  s.t1 = t1;
  s.field = section_field(section, true);
  const ForceInterval interval{force.ta, force.tb, {}, {}};
  s.common = rhs_common(s.field, force.fa != nullptr ? &interval : nullptr);
  s.target = section >= 1 && section <= latcom.nlat ? &latcom.bnd[section] : nullptr;
  s.fa = force.fa;
  s.fb = force.fb;
  return s;
}

bool push_batch(const BatchSection& s, int first, const ParticleTable& from, ParticleTable& to) {
  return push_lanes(s, &from[first], &to[first], s.fa ? &(*s.fa)[first] : nullptr,
                    s.fb ? &(*s.fb)[first] : nullptr);
}

}  // namespace tessaron::pusher
