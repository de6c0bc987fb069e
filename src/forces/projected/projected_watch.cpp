#include "forces/projected/projected_watch.hpp"

#include <algorithm>
#include <cmath>

#include "beam/bunch_record.hpp"
#include "common/freeform.hpp"
#include "forces/force_settings.hpp"
#include "lattice/lattice_record.hpp"
#include "run/diagnosis.hpp"

namespace tessaron {

namespace {

bool told_of_planes = false, told_of_line = false;  // in the present tracking run

constexpr int most_sampled = 1000;  ///< particles that tell the size of a bunch

/// The smallest radius of the arcs that begin before s [m], 0 if there is none.
double smallest_radius(double s) {
  double smallest = 0;
  for (int k = 1; k <= latcom.narc && latcom.curv[k].s < s; ++k) {
    const double r = std::abs(latcom.curv[k].r);
    if (r > 0 && (smallest == 0 || r < smallest)) smallest = r;
  }
  return smallest;
}

/// Whether the path length s lies on an arc.
bool on_arc(double s) {
  int k = 0;
  while (k < latcom.narc && latcom.curv[k + 1].s < s) ++k;
  return k >= 1 && latcom.curv[k].r != 0;
}

/// The rms length of the line current without that of one particle [m of c t].
double bunch_length(const LineGrid& grid, Series current) {
  double sum = 0, first = 0, second = 0;
  for (int k = current.lo; k <= current.hi; ++k) {
    const double z = (k - current.lo) * grid.h;
    sum += current[k];
    first += current[k] * z;
    second += current[k] * z * z;
  }
  if (!(sum > 0)) return 0;
  const double mean = first / sum;
  return std::sqrt(std::max(0.0, second / sum - mean * mean - grid.s1 * grid.s1));
}

struct Section {
  double width, height;  ///< rms [m]
};

/// The rms width, less what is linear in the place along the bunch, and height of the sources.
Section cross_section(const ParticleTable& particles, const ArcPosition& reference) {
  const Particle& origin = particles[1];
  const int step = std::max(1, ptlcom.npart / most_sampled);
  double n = 0, u = 0, v = 0, w = 0, uu = 0, uv = 0, vv = 0, ww = 0;
  for (int i = 1; i <= ptlcom.npart; i += step) {
    if (!ptlcom.source[i] || particles[i].q == 0) continue;
    const double x = particles[i].x - origin.x, y = particles[i].y - origin.y, z = particles[i].z - origin.z;
    const double along = x * reference.tx + y * reference.ty, across = y * reference.tx - x * reference.ty;
    n += 1, u += along, v += across, w += z;
    uu += along * along, uv += along * across, vv += across * across, ww += z * z;
  }
  if (n < 2) return {};
  const auto covariance = [n](double ab, double a, double b) { return ab / n - a / n * (b / n); };
  const double length = covariance(uu, u, u), tilt = covariance(uv, u, v);
  const double straight = covariance(vv, v, v) - (length > 0 ? tilt * tilt / length : 0);
  return {std::sqrt(std::max(0.0, straight)), std::sqrt(std::max(0.0, covariance(ww, w, w)))};
}

void watch_planes(const WatchedEvaluation& e, double R, double sigma) {
  const ForceSettings& f = force_settings;
  if (!(0 < f.shield && f.shield < f.shield_max) || e.end >= e.grid.nsam - 1) return;
  if (!(f.shield < 20 * std::cbrt(R * sigma * sigma))) return;
  if (on_arc(e.reference.s) && e.end * e.grid.h > 3 * sigma) return;
  told_of_planes = true;
  tell_person(FreeForm("planes", f.shield, "m apart: the kernel ends", rounded(e.end * e.grid.h),
                       "m ahead of the observer, before the bunch does, so "
                       "that most of the shielding is lost; "
                       "write shield_reach = bunch in the forces block")
                  .items());
}

void watch_line(const WatchedEvaluation& e, double R, double sigma) {
  const Section section = cross_section(e.particles, e.reference);
  const double r = std::max(std::hypot(section.width, section.height) / std::sqrt(2.0), 0.01 * sigma);
  const double ratio = e.gamma * sigma / r;
  const double share =
      0.785 * 0.5 * std::log1p(ratio * ratio) * std::pow(R / sigma, 2.0 / 3) / (e.gamma * e.gamma);
  const double width = section.width / std::cbrt(R * sigma * sigma);
  if (share > 0.03) {
    tell_person(FreeForm("the projected force leaves out the field of uniform motion, "
                         "at s =",
                         rounded(e.reference.s), "m about", std::round(100 * share),
                         "percent of that of the radiation; the csr_ models have it")
                    .items());
  } else if (width > 0.3) {
    tell_person(FreeForm("the projected force takes the bunch for a line, but at s =", rounded(e.reference.s),
                         "m its rms width is", rounded(section.width), "m, above 0.3 (sigma^2 R)^(1/3)")
                    .items());
  } else {
    return;
  }
  told_of_line = true;
}

}  // namespace

void begin_projected_watch() { told_of_planes = told_of_line = false; }

void watch_projected(const WatchedEvaluation& evaluation) {
  // As a pre-conditioner of another model the force is an estimate only.
  if (force_settings.force_type != ForceType::projected || (told_of_planes && told_of_line)) return;
  const double R = smallest_radius(evaluation.reference.s);
  const double sigma = bunch_length(evaluation.grid, evaluation.current);
  if (!(R > 0) || !(sigma > 0)) return;
  if (!told_of_planes) watch_planes(evaluation, R, sigma);
  if (!told_of_line) watch_line(evaluation, R, sigma);
}

}  // namespace tessaron
