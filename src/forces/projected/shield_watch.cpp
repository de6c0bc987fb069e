#include "forces/projected/shield_watch.hpp"

#include <algorithm>
#include <cmath>

#include "common/freeform.hpp"
#include "forces/force_settings.hpp"
#include "lattice/lattice_record.hpp"
#include "run/diagnosis.hpp"

namespace tessaron {

namespace {

bool told = false;  // in the present tracking run

/// The smallest radius of the arcs that begin before s [m], 0 if there is none.
double smallest_radius(double s) {
  double smallest = 0;
  for (int k = 1; k <= latcom.narc && latcom.curv[k].s < s; ++k) {
    const double r = std::abs(latcom.curv[k].r);
    if (r > 0 && (smallest == 0 || r < smallest)) smallest = r;
  }
  return smallest;
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

}  // namespace

void begin_shield_watch() { told = false; }

void watch_shield(const ShieldedKernel& kernel) {
  const ForceSettings& f = force_settings;
  // As a pre-conditioner of another model the force is an estimate only.
  if (told || f.force_type != ForceType::projected) return;
  if (!(0 < f.shield && f.shield < f.shield_max) || kernel.end >= kernel.grid.nsam - 1) return;
  const double R = smallest_radius(kernel.s), sigma_z = bunch_length(kernel.grid, kernel.current);
  if (!(f.shield < 20 * std::cbrt(R * sigma_z * sigma_z))) return;
  told = true;
  tell_person(
      FreeForm("planes", f.shield, "m apart: the kernel ends", kernel.end * kernel.grid.h,
               "m ahead of the observer, before the bunch does, so that most of the shielding is lost; "
               "write shield_reach = bunch in the forces block")
          .items());
}

}  // namespace tessaron
