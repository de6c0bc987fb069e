#pragma once
#include "common/status.hpp"
#include "common/table.hpp"
#include "forces/projected/convolution.hpp"
#include "forces/projected/current/line_current.hpp"

namespace tessaron {

/// What a wake is brought to the grid on.
struct WakeWork {
  Table<double, nsamax> gauss;  ///< weights of the Gaussian
  Table<double, nsamax> wake;   ///< the wake on its coarse step
};

/// A wake table brought to the rms length s1 of the line grid and to a step that suits it.
class SmoothedWake {
 public:
  /// Convolves the wake table of the settings with a Gaussian, so that its rms length `sigwak` becomes s1 (it
  /// is left as it is where it is longer), and thins it out. Fails with a line where a work array is too
  /// short. The wake stands in `work` from then on.
  [[nodiscard]] Status prepare(const LineGrid& grid, WakeWork& work, ConvolutionWork& convolution);

  /// First and last offset at which the wake can act, in grid steps. ia need not be in the range of an int.
  double ia() const { return ia_; }
  int ib() const { return ib_; }

  /// The wake at the offset i h of the observer behind its source [V/m per coulomb].
  double operator()(int i) const;

 private:
  Series wake2_{nullptr, 0, 0};  ///< the wake on its coarse step
  double cs_ = 1;                ///< that step [m]
  double h_ = 0;
  double ia_ = 0;
  int ib_ = -1;
};

}  // namespace tessaron
