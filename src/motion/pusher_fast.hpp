#pragma once
#include "motion/equations_of_motion.hpp"

namespace tessaron::pusher {

/// How a segment is integrated. `plain` takes the equations of motion as they stand and is the yardstick;
/// `fast` gives the result of the same Runge-Kutta steps, to rounding, from closed forms where force or field
/// vanish and from few sines and cosines elsewhere.
enum class Way { plain, fast };

/// One segment with the way of integration given; `lattice_step` takes the fast one.
template <Way way>
void segment_step(Particle& state, std::int32_t& section, bool& crossing, double& t, double t_end,
                  const ForceInterval* force);

/// What is left of a crossing that ends a track: the entry edge of the section that the particle is in now.
void finish_crossing(Particle& state, std::int32_t section);

/// What lengths L >= 0 in the plane ask of the number of Runge-Kutta steps: 0.02 rad of bend, 0.04 m of
/// drift, or 0.02 of strength times length in a multipole at most. Real is a number or several.
template <class Real>
[[gnu::always_inline]] inline Real steps_needed(const SectionField& field, const Real& L,
                                                const Real& radius) {
  if (field.K != 0) return L / (0.02 * radius);
  if (field.order >= 2 && field.strength != 0) return L * std::abs(field.strength) / 0.02;
  return L / 0.04;
}

inline constexpr double most_steps = 1e6;  ///< of one segment

/// The number of steps of one particle.
int step_count(const SectionField& field, double L, double rho_p);

/// An angle near a base whose sine and cosine are known. A small difference comes from the addition theorem
/// with the series
///     sin d = d - d^3/3! + ... + d^9/9!     1 - cos d = d^2/2! - ... - d^8/8!
/// whose next terms lie below 3e-17 of the result for |d| < 0.05. A larger one moves the base.
class TurningAngle {
 public:
  TurningAngle(double base, double cosine, double sine) : base_(base), cos_(cosine), sin_(sine) {}

  void at(double angle, double& cosine, double& sine) {
    const double d = angle - base_, q = d * d;
    if (!(q < 0.05 * 0.05)) {
      base_ = angle;
      cosine = cos_ = std::cos(angle);
      sine = sin_ = std::sin(angle);
      return;
    }
    // In pairs of terms, which a processor works out side by side.
    const double qq = q * q;
    const double s = d - d * q * ((1.0 / 6 - q * (1.0 / 120)) + qq * (1.0 / 5040 - q * (1.0 / 362880)));
    const double v = q * ((0.5 - q * (1.0 / 24)) + qq * (1.0 / 720 - q * (1.0 / 40320)));
    cosine = cos_ - (cos_ * v + sin_ * s);
    sine = sin_ - (sin_ * v - cos_ * s);
  }

 private:
  double base_, cos_, sin_;
};

/// `nstep` Runge-Kutta steps from t1 to t2 in the plane frame, in place. `u` holds the direction at the start
/// and at the end.
void fast_plane(const RhsCommon& c, ForceKind kind, double t1, double t2, int nstep, Coordinates& y,
                Direction& u);

/// The same on an arc. Of `u` the elevation is brought to the end of the steps; the horizontal direction is
/// left to the caller, who turns the frame.
void fast_arc(const RhsCommon& c, ForceKind kind, double t1, double t2, int nstep, Coordinates& y,
              Direction& u);

}  // namespace tessaron::pusher
