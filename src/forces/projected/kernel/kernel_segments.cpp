#include <algorithm>
#include <cmath>

#include "forces/projected/kernel/kernel_walk.hpp"

namespace tessaron {

namespace {

/// More nodes than any segment of a real orbit takes: the end of a walk that does not get on (a step that is
/// nothing beside its coordinate, a radius that is nothing beside the bunch).
constexpr int max_nodes = 1'000'000;

/// Simpson's rule with one deposit per node: the end weights of neighbouring intervals are joined.
class SimpsonDeposit {
 public:
  explicit SimpsonDeposit(const CsrPass& pass) : pass_(pass) {}
  /// One interval: w is a sixth of its length, values at its start (at Q), its middle and its end.
  void interval(double w, double start, double Q, double middle, double Qm, double end) {
    csradd(pass_, w * start + carry_, Q);
    csradd(pass_, 4.0 * w * middle, Qm);
    carry_ = w * end;
  }
  void finish(double Q) { csradd(pass_, carry_, Q); }

 private:
  const CsrPass& pass_;
  double carry_ = 0;
};

/// Where the rising function Q reaches `value` between two coordinates, to a hundredth of sigma.
template <class Function>
double bisect(const Function& Q, double below, double above, double value, double sigma) {
  const double width = 0.01 * sigma;
  while (above - below >= width) {
    const double middle = 0.5 * (below + above);
    if (!(middle > below && middle < above)) break;  // no double between them
    (Q(middle) < value ? below : above) = middle;
  }
  return 0.5 * (below + above);
}

/// A straight through the state. The foot point p0 is where it passes the observer at the distance sqrt(b2).
struct Straight {
  CsrSource near;
  double beta, C, h2;
  double p0, b2;

  Straight(const CsrPass& pass, const CsrSource& state)
      : near(state), beta(pass.beta), C(pass.C), h2(pass.h * pass.h) {
    const double c = near.R0 * near.T0 + near.R1 * near.T1;
    p0 = near.P - c;
    const double b0 = near.R0 - c * near.T0, b1 = near.R1 - c * near.T1;
    // A line through the observer (a chicane comes back to its first line) has b2 = 0, up to rounding. Only
    // log(b2) counts, and its differences, so that any tiny distance gives the integral.
    const double distance2 = near.R0 * near.R0 + near.R1 * near.R1 + h2;
    b2 = std::max({b0 * b0 + b1 * b1 + h2, 1e-25 * distance2, 1e-200});
  }

  double D(double p) const { return std::sqrt((p - p0) * (p - p0) + b2); }
  double Q(double p) const { return p + beta * D(p); }
  /// The inverse of Q(p): P = p0 + gamma^2 (q - beta sqrt(q^2 + b2 C)), q = Q - p0, written for q > 0 so that
  /// nothing cancels.
  double P(double coordinate) const {
    const double q = coordinate - p0, root = beta * std::sqrt(q * q + b2 * C);
    return q > 0 ? p0 + (q * q - beta * beta * b2) / (q + root) : p0 + (q - root) / C;
  }
  /// The variable of integration, dy = dp / D: y = log(b2 / (D - (p - p0))) = log(D + (p - p0)).
  double y(double p) const {
    const double d = p - p0;
    return d < 0 ? std::log(b2 / (D(p) - d)) : std::log(D(p) + d);
  }
  double p_of_y(double value) const {
    const double e = std::exp(value);
    return p0 + 0.5 * (e - b2 / e);
  }
  CsrSource at(double p) const {
    const double d = p - near.P;
    return {p, near.R0 + d * near.T0, near.R1 + d * near.T1, near.T0, near.T1};
  }
  double distance(const CsrSource& source) const {
    return std::sqrt(source.R0 * source.R0 + source.R1 * source.R1 + h2);
  }
};

void integrate_straight(const CsrPass& pass, const Straight& line, double Pb, double Qb, double Qt) {
  const auto g = [&](double p) {
    const CsrSource source = line.at(p);
    return csrker(pass, source, line.distance(source)).g;
  };
  const double dQ = (Qt - Qb) / (std::trunc((Qt - Qb) / pass.step) + 1.0);
  SimpsonDeposit deposit(pass);
  double P = Pb, Q = Qb, y = line.y(Pb), value = g(Pb);
  for (int node = 0; Q < Qt && node < max_nodes; ++node) {
    double Qn = std::min(Q + dQ, Qt);
    double Pn = line.P(Qn);
    // A step that is longer than what is left to the observer is halved.
    if (line.distance(line.at(Pn)) < Pn - P) {
      Pn = P + 0.5 * (Pn - P);
      Qn = line.Q(Pn);
    }
    if (!(Qn > Q)) break;
    const double yn = line.y(Pn);
    const double pm = line.p_of_y(0.5 * (y + yn));
    const double next = g(Pn);
    deposit.interval((yn - y) / 6.0, value, Q, g(pm), line.Q(pm), next);
    P = Pn, Q = Qn, y = yn, value = next;
  }
  deposit.finish(Q);
}

/// An arc from the state back: with d = p - Ps the point at p is
///     R = Rs + r sin(d/r) (T0, T1) + 2 r sin^2(d/(2r)) (T1, -T0),   T turned clockwise by d/r.
struct Arc {
  CsrSource near;
  double r, beta, h2;

  CsrSource at(double p) const {
    const double half = 0.5 * (p - near.P) / r;
    const double s = std::sin(half), c = std::cos(half);
    const double sine = 2.0 * s * c, versine = 2.0 * s * s;  // of d/r
    const double cosine = 1.0 - versine;
    return {p, near.R0 + r * (sine * near.T0 + versine * near.T1),
            near.R1 + r * (sine * near.T1 - versine * near.T0), cosine * near.T0 + sine * near.T1,
            cosine * near.T1 - sine * near.T0};
  }
  double D(const CsrSource& source) const {
    return std::sqrt(source.R0 * source.R0 + source.R1 * source.R1 + h2);
  }
  double Q(double p) const { return p + beta * D(at(p)); }
};

/// A node of the integration along an arc.
struct ArcNode {
  double P, Q;
  CsrField field;
};

ArcNode arc_node(const CsrPass& pass, const Arc& arc, double p) {
  const CsrSource source = arc.at(p);
  const double D = arc.D(source);
  return {p, p + pass.beta * D, csrker(pass, source, D)};
}

void integrate_arc(const CsrPass& pass, const Arc& arc, double Pb, double Pt) {
  // The path length over which the arc itself moves Q by one step.
  const double cube = std::pow(24.0 * arc.r * arc.r * pass.step, 0.33333333);
  SimpsonDeposit deposit(pass);
  ArcNode now = arc_node(pass, arc, Pb);
  for (int node = 0; now.P < Pt && node < max_nodes; ++node) {
    const double E = now.field.E;
    const double dp = E > 0 ? std::min(cube, pass.step / E) : cube;  // E = 0 by rounding, or at the observer
    ArcNode next = arc_node(pass, arc, std::min(now.P + dp, Pt));
    if (next.Q - now.Q > 1.1 * pass.step)
      next = arc_node(pass, arc, now.P + pass.step * (next.P - now.P) / (next.Q - now.Q));
    if (!(next.P > now.P)) break;
    const ArcNode middle = arc_node(pass, arc, 0.5 * (now.P + next.P));
    deposit.interval((next.P - now.P) / 6.0, now.field.f, now.Q, middle.field.f, middle.Q, next.field.f);
    now = next;
  }
  deposit.finish(now.Q);
}

/// The observer's own circle, seen from the observer.
struct ObserverArc {
  double r, beta;
  double A;  ///< 4 r^2 / gamma^2

  double Q(double p) const { return p + beta * std::abs(2.0 * r * std::sin(p / (2.0 * r))); }
  /// The field function of circular motion to the leading order of 1/gamma and of the angle.
  double f(double p) const {
    return beta * beta / r * std::sin(p / (2.0 * r)) * (1.0 - A / (p * p + 3.0 * A));
  }
};

void integrate_observer_arc(const CsrPass& pass, const ObserverArc& arc, double Pb, double Pt) {
  const double r24 = 24.0 * arc.r * arc.r;
  const double xb = Pb * Pb * Pb / r24, xt = Pt * Pt * Pt / r24;
  const double count = std::min(std::trunc((xt - xb) / pass.step), max_nodes - 1.0);
  const int N = count >= 0 ? static_cast<int>(count) + 1 : 1;
  const double dx = (xt - xb) / N;

  SimpsonDeposit deposit(pass);
  double p = Pb, value = arc.f(Pb), Q = arc.Q(Pb);
  for (int i = 1; i <= N; ++i) {
    const double pn = i == N ? Pt : -std::cbrt(std::abs(xb + i * dx) * r24);
    const double pm = 0.5 * (p + pn), next = arc.f(pn);
    deposit.interval((pn - p) / 6.0, value, Q, arc.f(pm), arc.Q(pm), next);
    p = pn, value = next, Q = arc.Q(pn);
  }
  deposit.finish(Q);
}

}  // namespace

bool csrdrf(const CsrPass& pass, double l, CsrSource& state) {
  const Straight line(pass, state);
  const double Pn = state.P, Qn = line.Q(Pn);
  bool on = false;
  double Pb = 0, Qb = 0;
  if (std::isfinite(l)) {
    state = line.at(Pn - l);
    Pb = state.P, Qb = line.Q(Pb);
    on = Qb > pass.lo;
    if (Qb >= pass.hi) return on;
  }
  if (!on) Pb = line.P(pass.lo), Qb = pass.lo;
  const bool cut = pass.hi < Qn;
  const double Qt = cut ? pass.hi : Qn, Pt = cut ? line.P(pass.hi) : Pn;
  if (Pb < Pt) integrate_straight(pass, line, Pb, Qb, Qt);
  return on;
}

bool csrarc(const CsrPass& pass, double l, double r, CsrSource& state) {
  const Arc arc{state, r, pass.beta, pass.h * pass.h};
  const auto Q = [&](double p) { return arc.Q(p); };
  const double Ps = state.P, P1 = Ps - l;
  state = arc.at(P1);
  const double Q1 = Q(P1);
  const bool on = Q1 > pass.lo;
  if (Q1 >= pass.hi) return on;
  const double Pt = Q(Ps) <= pass.hi ? Ps : bisect(Q, P1, Ps, pass.hi, pass.sigma);
  const double Pb = on ? P1 : bisect(Q, P1, Pt + 0.01 * pass.sigma, pass.lo, pass.sigma);
  if (Pb < Pt) integrate_arc(pass, arc, Pb, Pt);
  return on;
}

bool csrobs(const CsrPass& pass, double l, double r, CsrSource& state) {
  const ObserverArc arc{r, pass.beta, 4.0 * r * r * pass.C};
  const auto Q = [&](double p) { return arc.Q(p); };
  const double P1 = -l, phi = P1 / r, s = std::sin(0.5 * phi);
  state = {P1, r * std::sin(phi), -2.0 * r * s * s, std::cos(phi), -std::sin(phi)};
  const double Q1 = Q(P1);
  const bool on = Q1 > pass.lo;
  if (Q1 >= pass.hi) return on;
  const double Pt = pass.hi < 0 ? bisect(Q, P1, 0.0, pass.hi, pass.sigma) : 0.0;
  const double Pb = on ? P1 : bisect(Q, P1, Pt + 0.01 * pass.sigma, pass.lo, pass.sigma);
  if (Pt > Pb) integrate_observer_arc(pass, arc, Pb, Pt);
  return on;
}

}  // namespace tessaron
