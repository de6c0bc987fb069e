#pragma once
#include "beam/particles.hpp"
#include "forces/projected/current/line_current.hpp"
#include "lattice/arc_position.hpp"

namespace tessaron {

/// What the guards of the projected force look at in an evaluation.
struct WatchedEvaluation {
  const LineGrid& grid;
  Series current;                ///< line current on the grid
  int end;                       ///< last point of the kernel ahead of the observer, in steps
  const ArcPosition& reference;  ///< of the bunch on the orbit
  double gamma;
  const ParticleTable& particles;
};

/// Tells on standard error where the projected force stops being true, with sigma the rms length of the bunch
/// and R the smallest radius upstream; in a tracking run at most once of the planes, and once of the line
/// that it takes the bunch for.
///
/// Planes a distance h apart change the field of those behind the source where
///     h < 20 (R sigma^2)^(1/3)
/// (for the scale: Murphy, Krinsky and Gluckstern, Particle Accelerators 57, 9, 1997). A kernel that ends
/// before the bunch does loses that. In an arc nothing of weight is lost by one that reaches over three rms
/// lengths, where few particles lie so far apart; in a drift it is.
///
/// The line leaves out the field of uniform motion: with r the rms radius,
///     E_0 / E_csr = 0.785 ln(gamma sigma / r) (R / sigma)^(2/3) / gamma^2
/// of the largest field of radiation, told above 3 percent; docs/projected.md derives it. And the bunch must
/// be thin: its rms width w, less what follows from the place along the bunch, as in a compressor, is told
/// above
///     w = 0.3 (R sigma^2)^(1/3)
/// (Derbenev et al., TESLA-FEL 95-05). Both sizes are those of at most a thousand source particles.
void watch_projected(const WatchedEvaluation& evaluation);
/// A tracking run begins.
void begin_projected_watch();

}  // namespace tessaron
