#pragma once
#include "beam/bunch_record.hpp"
#include "beam/force_table.hpp"
#include "forces/projected/convolution.hpp"
#include "forces/projected/current/line_current.hpp"
#include "forces/projected/wake.hpp"

namespace tessaron {

/// What one evaluation of the projected force leaves to look at.
struct Force1Results {
  const LineGrid& grid;
  double sig;                ///< rms length of a particle, in c t [m]
  Series curr, wsum, field;  ///< line current [A], total kernel [V/m per coulomb], force [1/m]
  const SmoothedWake* wake;  ///< null without a wake
};

/// Writes the log lines and the files `fc1_*.dat` of one evaluation into the output path.
[[nodiscard]] Status force1_diagnostics(const Force1Results& results, int n, const ParticleTable& particles,
                                        const ForceTable& forces);

}  // namespace tessaron
