#include "forces/projected/wake.hpp"

#include <algorithm>
#include <cmath>

#include "forces/force_settings.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

Status too_long(std::string_view message) {
  msgout(message);
  return failed;
}

/// Gaussian weights of rms length sg on the step st, their sum in gsum. A Gaussian shorter than the step is
/// the single weight 1; sg is 0 then.
Status gaussian_weights(double& sg, double st, Table<double, nsamax>& cells, Series& gwak, double& gsum) {
  if (sg < st || !(sg > 0)) {
    sg = 0;
    cells[1] = 1;
    gwak = {&cells[1], 0, 0};
    gsum = 1;
    return ok;
  }
  const double reach = std::round(5.0 * sg / st);
  if (!(2.0 * reach + 1.0 <= nsamax)) return too_long("error in wake convolution: ng2-ng1+1.gt.nsamax");
  const int ng = static_cast<int>(reach);
  gwak = {&cells[1], -ng, ng};
  gsum = 0;
  for (int j = -ng; j <= ng; ++j) {
    const double u = j * st / sg, weight = std::exp(-0.5 * u * u);
    cells[j + ng + 1] = weight;
    gsum += weight;
  }
  return ok;
}

}  // namespace

Status SmoothedWake::prepare(const LineGrid& grid, WakeWork& work, ConvolutionWork& convolution) {
  const double sw = force_settings.sigwak, st = force_settings.stpwak, s1 = grid.s1;
  const double L = (grid.n2 - grid.n1) * grid.h, low = std::max(-5.0 * s1, -L);

  double sg = sw < s1 ? std::sqrt(s1 * s1 - sw * sw) : 0.0, gsum = 1;
  Series gwak{};
  if (const Status status = gaussian_weights(sg, st, work.gauss, gwak, gsum); status != ok) return status;

  const double st2 = std::sqrt(sg * sg + sw * sw);
  const double kk = std::clamp(std::trunc(0.2 * st2 / st), 1.0, 1e12);
  const double a = std::trunc(0.99999999 - low / st), b = std::trunc(0.99999999 + L / st);
  const double first = std::floor(-a / kk), last = std::ceil(b / kk);
  if (!(last - first + 1.0 <= nsamax))
    return too_long("error in wake convolution: n2wak2-n1wak2+1.gt.nsamax");

  const int n1wak2 = static_cast<int>(first), n2wak2 = static_cast<int>(last);
  const int n1wak = force_settings.n1wak, n2wak = force_settings.n2wak;
  const Output wake2{&work.wake[1], n1wak2, n2wak2};
  convol({wake_table.run(1, n2wak - n1wak + 1).data(), n1wak, n2wak}, gwak, wake2,
         static_cast<std::int64_t>(kk), 1.0 / gsum, convolution);
  wake2_ = {wake2.cells, n1wak2, n2wak2};
  cs_ = kk * st;
  h_ = grid.h;
  ia_ = -std::round(5.0 * st2 / grid.h);
  ib_ = grid.n2 - grid.n1;
  return ok;
}

double SmoothedWake::operator()(int i) const {
  const double d = i * h_ / cs_, cell = std::trunc(d);
  if (!(cell >= wake2_.lo && cell < wake2_.hi)) return 0.0;
  const int j = static_cast<int>(cell);
  // Cut towards 0: ahead of the source t is negative, and the cell behind the point is continued.
  const double t = d - j;
  return (1.0 - t) * wake2_[j] + t * wake2_[j + 1];
}

}  // namespace tessaron
