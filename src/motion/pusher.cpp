#include "motion/pusher.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "lattice/arc.hpp"
#include "lattice/magnet_field.hpp"
#include "motion/pusher_fast.hpp"

namespace tessaron {

namespace pusher {
namespace {

/// A limit this far ahead is none: the search for a boundary goes on until it is found.
constexpr double no_limit = 1e9;  // [m]

/// A motion that approaches a boundary by no more than this part of itself runs along it: the rest is
/// rounding of the angles.
constexpr double along_boundary = 1e-14;

/// Most Runge-Kutta steps of one segment. No magnet that bends a real bunch asks for so many; data that ask
/// for more get this many.

const Boundary* boundary_or_none(std::int64_t i) {
  return i >= 1 && i <= latcom.nlat ? &latcom.bnd[static_cast<int>(i)] : nullptr;
}

/// A boundary as a particle sees it: how far off, along its normal, and the normal turned along the orbit.
struct Sight {
  double distance;  ///< > 0: the particle stands before the boundary [m]
  double nx, ny;
};
Sight sight(const Boundary& b, double x, double y) {
  const double turned = b.tx * b.nx + b.ty * b.ny < 0 ? -1 : 1;
  const double nx = turned * b.nx, ny = turned * b.ny;
  return {(b.x - x) * nx + (b.y - y) * ny, nx, ny};
}

/// Distance to a boundary on a straight way; not a number if the way does not lead there: it runs along the
/// boundary, or away from it.
double straight_distance(const Boundary& b, const Coordinates& y, const Direction& u, bool forward) {
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  const Sight s = sight(b, y.x, y.y);
  const double approach = u.sphi * s.ny + u.cphi * s.nx;
  if (!(std::abs(approach * u.ctheta) > along_boundary)) return nan;
  const double d = s.distance / approach;
  // A particle that has turned over, its elevation beyond 90 degrees, flies against its direction in the
  // plane.
  const bool away = approach * u.ctheta < 0 && (forward ? s.distance > 0 : s.distance < 0);
  return away ? nan : d;
}

/// The circle on which a particle goes through a bending section.
struct Circle {
  bool bends;    ///< false: there is none, the section is straight
  double rho_p;  ///< signed radius [m]
  double turn;   ///< of the design orbit in the section [rad]
};

/// Distance to a boundary on a circle, along the direction of motion; not a number if the circle misses it.
/// Of the two points of the circle on the boundary's line the one counts that is crossed in the orbit's
/// sense. It lies ahead of a particle on the near side of the line. One on the far side has passed it, or
/// has come from behind the line into an arc of half a turn and more: what is nearer to the section holds.
double arc_distance(const Boundary& b, const Coordinates& y, const Direction& u, const Circle& circle,
                    bool forward) {
  const Sight s = sight(b, y.x, y.y);
  const double rho_p = circle.rho_p;
  const double k = 1 / (s.nx * s.nx + s.ny * s.ny);
  const double C =
      k * ((y.y - b.y) * s.ny + (y.x - b.x) * s.nx) / rho_p + k * (u.sphi * s.nx - u.cphi * s.ny);
  if (!(std::abs(C) <= 1)) return std::numeric_limits<double>::quiet_NaN();
  const double D = std::sqrt(1 - C * C);
  const double m = 1 / (u.sphi * u.sphi + u.cphi * u.cphi);
  const double A = C * s.nx + D * s.ny, B = D * s.nx - C * s.ny;  // sine and cosine of phi at the crossing
  const double L = -rho_p * std::atan2((A * u.cphi - B * u.sphi) * m, (A * u.sphi + B * u.cphi) * m);

  // A particle on the boundary itself, to rounding, has reached it: it does not go round once more.
  constexpr double eps = 16 * std::numeric_limits<double>::epsilon();
  const double rounding = eps * (std::abs(rho_p) + std::abs(b.x) + std::abs(b.y));
  const double sense = forward ? 1 : -1, whole = sense * two_pi * std::abs(rho_p);
  if (sense * L >= -rounding) return L;
  const bool behind = sense * s.distance <= 0 && angle_on_arc(sense * L / std::abs(rho_p), circle.turn) < 0;
  return behind ? L : L + whole;
}

ForceKind kind_of(const ForceInterval* force) {
  if (force == nullptr) return ForceKind::none;
  const Force &a = force->fa, &b = force->fb;
  if (a.across != 0 || a.up != 0 || b.across != 0 || b.up != 0) return ForceKind::all;
  return a.along != 0 || b.along != 0 ? ForceKind::along : ForceKind::none;
}

/// The particle's place at the end of an arc: the chord of the clean circle and, turned with the frame, the
/// deviations that were integrated in y.x and y.y. `u` gets the new horizontal direction.
template <Way way>
void leave_arc_frame(const Coordinates& start, double rho_p, Coordinates& y, Direction& u) {
  const double half = 0.5 * (y.phi - start.phi);
  const double Q = -2 * rho_p * std::sin(half);
  double cM, sM;
  if constexpr (way == Way::plain) {
    const double M = 0.5 * (y.phi + start.phi);
    cM = std::cos(M);
    sM = std::sin(M);
    u.cphi = std::cos(y.phi);
    u.sphi = std::sin(y.phi);
  } else {
    const double ch = std::cos(half), sh = std::sin(half);
    cM = u.cphi * ch - u.sphi * sh;
    sM = u.sphi * ch + u.cphi * sh;
    u.cphi = cM * ch - sM * sh;
    u.sphi = sM * ch + cM * sh;
  }
  const double dx = y.x, dy = y.y;
  y.x = start.x + Q * cM + (dx * u.cphi - dy * u.sphi);
  y.y = start.y + Q * sM + (dx * u.sphi + dy * u.cphi);
}

/// The Runge-Kutta steps of a segment from t1 to t2, in place.
template <Way way>
void integrate(const RhsCommon& c, ForceKind kind, double t1, double t2, int nstep, Coordinates& y,
               Direction& u) {
  const Coordinates start = y;
  if (c.K != 0) y.x = y.y = 0;
  if constexpr (way == Way::fast) {
    if (c.K != 0) {
      fast_arc(c, kind, t1, t2, nstep, y, u);
    } else {
      fast_plane(c, kind, t1, t2, nstep, y, u);
    }
  } else {
    auto rhs = [&](double t, const Coordinates& at) {
      return c.K != 0 ? rhs_arc(c, t, at) : rhs_plane(c, t, at);
    };
    rkdumb(y, t1, t2, nstep, rhs);
    u = direction(y);
  }
  if (c.K != 0) leave_arc_frame<way>(start, c.rho_p, y, u);
}

template <Way way>
Coordinates end_rates(const RhsCommon& c, ForceKind kind, double t, const Coordinates& y,
                      const Direction& u) {
  if constexpr (way == Way::plain) return rhs_plane(c, t, y);
  const Speed v = speed(y.p);
  if (kind == ForceKind::none) return plane_rates<ForceKind::none>(c, t, y, u, v);
  if (kind == ForceKind::along) return plane_rates<ForceKind::along>(c, t, y, u, v);
  return plane_rates<ForceKind::all>(c, t, y, u, v);
}

Coordinates coordinates(const Particle& s) { return {s.x, s.y, s.z, s.p, s.phi, s.theta}; }

void store(const Coordinates& y, Particle& s) { s = {y.x, y.y, y.z, y.p, y.phi, y.theta, s.q}; }

/// The entry edge of a bending section.
void cross_entry(Particle& state, const SectionField& field, const Boundary* entry) {
  if (field.K != 0 && entry != nullptr) edge_entry(state, field.K, *entry);
}

/// Where the steps of a segment end, as predicted without self force.
struct Prediction {
  double tc;      ///< end time of the steps
  bool in_reach;  ///< the boundary may be met before the limit
  bool arrives;   ///< the steps end at the boundary
  bool lost;      ///< there is no limit, and the boundary is never met
};

Prediction predict(const Boundary* target, const Coordinates& y, const Direction& u, double bh,
                   const Circle& circle, double t, double t_end) {
  const bool forward = t < t_end;
  if (target == nullptr) return {t_end, false, false, false};
  // Nothing is faster than c t: a boundary farther off than the time left is not met.
  constexpr double margin = 1e-9;
  const double off = sight(*target, y.x, y.y).distance;
  if ((forward ? off : -off) > std::abs(t_end - t) + margin) return {t_end, false, false, false};

  const double d =
      circle.bends ? arc_distance(*target, y, u, circle, forward) : straight_distance(*target, y, u, forward);
  const double tc = t + d / bh;
  const bool arrives = std::isfinite(tc) && (forward ? tc < t_end : tc > t_end);
  if (arrives) return {tc, true, true, false};
  return {t_end, true, false, std::abs(t_end - t) > no_limit};
}

/// The way left, in time, from the end of the steps to the boundary or the limit, along the straight line of
/// the present motion. True if it ends on the boundary.
bool time_left(const Boundary& target, const Prediction& end, const Coordinates& y, const Direction& u,
               const Circle& circle, const Coordinates& rate, double t_end, bool forward, double& e) {
  const Sight s = sight(target, y.x, y.y);
  const double approach = rate.x * s.nx + rate.y * s.ny;
  e = s.distance / approach;
  const bool met = forward ? e <= 0 || end.tc + e < t_end : e >= 0 || end.tc + e > t_end;
  // Cut short by the limit, a particle has passed the boundary only if it moves along the orbit, and does not
  // come round an arc to the boundary yet.
  const auto passed = [&] {
    if (!(approach > along_boundary * std::hypot(rate.x, rate.y, rate.z))) return false;
    return !circle.bends || !((forward ? 1 : -1) * arc_distance(target, y, u, circle, forward) > 0);
  };
  if (std::isfinite(e) && met && (end.arrives || passed())) return true;
  e = t_end - end.tc;
  if (std::abs(e) > no_limit) e = 0;
  return false;
}

}  // namespace

int step_count(const SectionField& field, double L, double rho_p) {
  const double steps = steps_needed(field, std::abs(L), std::abs(rho_p));
  if (std::isnan(steps)) return 1;
  return static_cast<int>(std::min(steps, most_steps - 1)) + 1;
}

template <Way way>
void segment_step(Particle& state, std::int32_t& section, bool& crossing, double& t, double t_end,
                  const ForceInterval* force) {
  if (t == t_end) return;
  const bool forward = t < t_end;
  const std::int64_t ahead_of = section, behind = ahead_of - 1;
  const Boundary* target = boundary_or_none(forward ? ahead_of : behind);
  const Boundary* entry = boundary_or_none(forward ? behind : ahead_of);
  const SectionField field = section_field(section, forward);
  const bool bends = field.K != 0;
  if (crossing) cross_entry(state, field, entry);

  Coordinates y = coordinates(state);
  Direction u = direction(y);
  const Speed v = speed(y.p);
  const double bh = v.beta * u.ctheta;
  const double rho_p = bends ? std::sqrt(y.p * y.p + 1) * bh / field.K : 0;
  const Circle circle{bends, rho_p, bends ? section_turn(section) : 0};
  const Prediction end = predict(target, y, u, bh, circle, t, t_end);
  crossing = false;
  if (end.lost) {
    t = t_end;
    return;
  }

  const int nstep = step_count(field, bh * (end.tc - t), rho_p);
  RhsCommon c = rhs_common(field, force);
  c.rho_p = rho_p;
  const ForceKind kind = kind_of(force);
  if (t + (end.tc - t) / nstep != t) integrate<way>(c, kind, t, end.tc, nstep, y, u);

  t = end.tc;
  if (end.in_reach) {
    const Coordinates rate = end_rates<way>(c, kind, end.tc, y, u);
    double e;
    crossing = time_left(*target, end, y, u, circle, rate, t_end, forward, e);
    t = crossing ? end.tc + e : t_end;
    y = ahead(y, e, rate);
  }
  store(y, state);
  if (crossing) {
    if (bends) edge_exit(state, field.K, *target);
    section += forward ? 1 : -1;
  }
}

template void segment_step<Way::plain>(Particle&, std::int32_t&, bool&, double&, double,
                                       const ForceInterval*);
template void segment_step<Way::fast>(Particle&, std::int32_t&, bool&, double&, double, const ForceInterval*);

void finish_crossing(Particle& state, std::int32_t section) {
  cross_entry(state, section_field(section, true), boundary_or_none(std::int64_t{section} - 1));
}

}  // namespace pusher

void lattice_step(Particle& state, std::int32_t& section, bool& crossing, double& t, double t_end,
                  const ForceInterval* force) {
  pusher::segment_step<pusher::Way::fast>(state, section, crossing, t, t_end, force);
}

bool track_to_boundary(const Particle& state, std::int32_t section, double ct, std::int32_t target,
                       double& t_out) {
  if (section > target || section < 1 || target > latcom.nlat) return false;
  Particle copy = state;
  bool crossing = false;
  double t = ct;
  while (section <= target) {
    lattice_step(copy, section, crossing, t, ct + 1e300, nullptr);
    if (!crossing) return false;
  }
  t_out = t;
  return true;
}

}  // namespace tessaron
