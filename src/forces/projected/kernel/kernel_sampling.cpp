#include <algorithm>
#include <cmath>
#include <cstdint>
#include <span>

#include "common/console.hpp"
#include "common/cores/chunks.hpp"
#include "common/end_request.hpp"
#include "common/freeform.hpp"
#include "forces/projected/kernel/kernel_walk.hpp"
#include "forces/projected/spline.hpp"

namespace tessaron {

namespace {

constexpr int points_worth_a_thread = 2000;

void copy_head(const Csr1d& from, Csr1d& to) {
  to.sigma = from.sigma;
  to.gamma = from.gamma;
  to.s_ref = from.s_ref;
  to.s_lo = from.s_lo;
  to.s_hi = from.s_hi;
  to.done = false;
  to.shield = from.shield;
  to.shield_max = from.shield_max;
}

void warn_of_capacity(double nnt) {
  console_line("warning from csr3: nnt.gt.narcsr");
  console_line("using csr2");
  console_line(FreeForm("nnt  =", static_cast<std::int64_t>(std::min(nnt, 9e18))).items());
  console_line(FreeForm("narcsr=", std::int32_t{narcsr}).items());
  console_line("narcsr in force1_params");
}

/// Results on a grid of nt + 4 points, one step wider than the range at both ends, and a spline through them.
void sample_coarsely(const CurvatureTable& curv, int m, Csr1d& record, int n, int nt, KernelWork& work) {
  const double range = record.s_hi - record.s_lo, d = range / (n - 1), ds = range / (nt + 1);
  copy_head(record, work.coarse);
  work.coarse.s_lo = record.s_lo - ds;
  work.coarse.s_hi = record.s_hi + ds;
  const int points = nt + 4;
  csr2(curv, m, work.coarse, points, work);

  const std::span<const double> y = work.coarse.array.run(1, points);
  const std::span<double> y2 = work.curvature.run(1, points);
  splcof(y, y2, work.ratio.run(1, points));
  for (int i = n; i >= 1; --i) record.array[i] = splval(y, y2, ((i - 1) * d + ds) / ds + 1.0);
  record.done = true;
}

/// Adds the field of the two images of number i: their sign alternates, a cosine fades them out.
void add_image(double i, const Csr1d& image, int n, Csr1d& record) {
  const double fade = std::cos(i * record.shield / record.shield_max * pi / 2.0);
  const double weight = (std::fmod(i, 2.0) == 0 ? 2.0 : -2.0) * fade;
  const std::span<double> sum = record.array.run(1, n);
  const std::span<const double> field = image.array.run(1, n);
  for (std::size_t k = 0; k < sum.size(); ++k) sum[k] += weight * field[k];
}

}  // namespace

void csr2(const CurvatureTable& curv, int m, Csr1d& record, int n, KernelWork& work, double step_factor) {
  const double h0 = record.shield, hm = record.shield_max;
  csrpth(curv, m, record, n, 0.0, step_factor);
  if (!(hm > 0 && h0 > 0 && hm > h0)) return;

  // The walks of some images at a time; their arrays are added one after the other.
  constexpr int images_at_once = KernelWork::images_at_once;
  const double images = std::round(hm / h0);
  for (double i = 1; i <= images && !end_requested(); i += images_at_once) {
    const int some = static_cast<int>(std::min<double>(images_at_once, images - i + 1.0));
    over_chunks(Chunks::of(some, 1 + points_worth_a_thread / n), [&](const Chunk& chunk) {
      for (int k = chunk.first; k <= chunk.last; ++k) {
        copy_head(record, work.image[k]);
        csrpth(curv, m, work.image[k], n, (i + k - 1.0) * h0, step_factor);
      }
    });
    for (int k = 1; k <= some; ++k) add_image(i + k - 1.0, work.image[k], n, record);
  }
}

void csr3(const CurvatureTable& curv, int m, Csr1d& record, int n, KernelWork& work) {
  if (record.done) return;
  const double range = record.s_hi - record.s_lo, unit = 0.2 * record.sigma;
  if (n < 11 || unit <= std::abs(range / (n - 1))) return csr2(curv, m, record, n, work);

  const double nt = std::trunc(range / unit), nnt = nt + 2.0;
  if (nnt > narcsr) {
    warn_of_capacity(nnt);
  } else if (nt >= 0 && nt + 4.0 < n) {
    return sample_coarsely(curv, m, record, n, static_cast<int>(nt), work);
  }
  csr2(curv, m, record, n, work);
}

}  // namespace tessaron
