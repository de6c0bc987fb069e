#include "field/ffield.hpp"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>

#include "common/constants.hpp"
#include "field/images/mirror.hpp"
#include "field/integral/quadrature.hpp"
#include "field/source_field.hpp"

namespace tessaron {

namespace {

constexpr double c = speed_of_light;

}  // namespace

void fzint(const FieldSource& source, ObserverWork& work, double t, const Vec3& r, double gamma,
           const Vec3& e, bool image, Slots& result) {
  const FieldSettings& set = source.settings;
  const bool transverse = source.shape.method != Method::line && !(image && set.mirror_1d);
  const ForceFlags flags{set.notalman, set.nogamma2, transverse || set.poleex_1d};
  f12ini(source.path, t, r, set.slow - set.rintma, set.shigh + c * set.sigmat * set.xnsigt,
         (set.xnsigt + 0.1) * set.sigmat, 14989622.9 * set.sigmat, work.limits);
  ziini(source, flags, work.closest, work.limits, gamma, e, work.expansion);
  result = {};
  fzpole(work.expansion, result);
  if (transverse && !set.poleex_1d) {
    Slots pole;
    fzSP(source.shape, work.expansion, work.axis, pole);
    result += pole;
  }
  zipnts(source, work.limits, work.expansion, work.mesh);
  wint1(source, work.expansion, work.mesh, work.nodes, result);
  result = coulomb_constant * result;
}

FieldResult ffield(const FieldSource& source, ObserverWork& work, double t, const double r[3], double gamma,
                   const double n[3]) {
  assert(source.complete);
  FieldResult result{};
  const PathRecord& path = source.path;
  if (!(path.beta > 0)) return result;           // a charge at rest has no line density and no retarded path
  if (!std::isfinite(t + r[0] + r[1] + r[2])) {  // nor has a lost particle a closest point
    std::fill_n(result.force, 3, std::nan(""));
    return result;
  }
  const FieldSettings& set = source.settings;
  const Vec3 observer = vec3(r);
  fclini(path, observer, set.slow, set.shigh, set.relacc * 1e-12, work.closest);
  const Vec3 e_c = vec3(work.closest.path.e);
  Slots sum;
  fmirr(source, work, t, observer, path.gam, e_c, sum);

  // From a test particle that moves along the path to the true one.
  const double beta = std::sqrt(1 - 1 / (gamma * gamma));
  sum.force += cross(beta * vec3(n) - path.beta * e_c, sum.cb);
  if (set.nopotential) sum = {sum.force, sum.cb, 0, {}, 0, {}};
  return std::bit_cast<FieldResult>(sum);
}

void complete_source(FieldSource& source) {
  const FieldSettings& set = source.settings;
  lamini(set.q0, set.sigmat, set.xnsigt, source.profile);
  if (has_images(set)) source.entrance = find_entrance(set, source.path);
  source.complete = true;
}

}  // namespace tessaron
