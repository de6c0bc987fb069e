#pragma once
#include "common/constants.hpp"
#include "common/numbers/fourier.hpp"
#include "common/table.hpp"
#include "forces/projected/current/charge_smoothing.hpp"
#include "forces/projected/current/line_moments.hpp"
#include "forces/projected/kernel/kernel.hpp"
#include "forces/projected/wake.hpp"

namespace tessaron {

/// What an evaluation of the projected force works on, all zero at start. Nothing of it counts for the next
/// evaluation.
struct ProjectedWork {
  Table<double, maxprt> offset;  ///< z of the particles [m of c t] from particle 1, positive towards the tail
  Table<double, maxprt> charge;  ///< that makes the line current [C], at `offset` or at `place`
  Table<double, maxprt> place;   ///< of the charges where they are smoothed [m]
  SmoothingWork smoothing;
  LineMoments moments;

  Csr1d csr;  ///< kernel of coherent synchrotron radiation [V/m per coulomb]
  KernelWork kernel;
  WakeWork wake;
  ConvolutionWork convolution;

  Table<double, nsamax> current;  ///< line current [A]
  Table<double, nsamax> total;    ///< total kernel [V/m per coulomb]
  Table<double, nsamax> force;    ///< on the grid [1/m]
};

}  // namespace tessaron
