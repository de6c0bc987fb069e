#include "field/ffield.hpp"

#include <algorithm>
#include <bit>
#include <cmath>

#include "common/constants.hpp"
#include "field/images/mirror.hpp"
#include "field/integral/expansion.hpp"
#include "field/integral/mesh.hpp"
#include "field/integral/quadrature.hpp"
#include "field/path/closest_point.hpp"
#include "field/path/retarded_limits.hpp"
#include "field/settings.hpp"
#include "field/source/pole_field.hpp"
#include "field/source/profile.hpp"
#include "field/source_field.hpp"

namespace tessaron {

namespace {

constexpr double c = speed_of_light;

}  // namespace

void fzint(double t, const Vec3& r, double gamma, const Vec3& e, Slots& result, bool image) {
  const FieldSettings& set = field_settings;
  const bool transverse = subbunch_shape.method != Method::line && !(image && set.mirror_1d);
  ziflag("extract", transverse || set.poleex_1d);
  f12ini(t, r, set.slow - set.rintma, set.shigh + c * set.sigmat * set.xnsigt,
         (set.xnsigt + 0.1) * set.sigmat, 14989622.9 * set.sigmat);
  ziini(t, r, gamma, e, set.sigmat, set.xnsigt, set.relacc);
  result = {};
  fzpole(result);
  if (transverse && !set.poleex_1d) {
    Slots pole;
    fzSP(pole);
    result += pole;
  }
  zipnts(t, r);
  wint1(result);
  result = coulomb_constant * result;
}

void ffield(double t, const double r[3], double gamma, const double n[3], FieldResult& result) {
  const FieldSettings& set = field_settings;
  finit("check", 0);
  pcclr();
  result = {};
  if (!(pthcom.beta > 0)) return;                // a charge at rest has no line density and no retarded path
  if (!std::isfinite(t + r[0] + r[1] + r[2])) {  // nor has a lost particle a closest point
    std::fill_n(result.force, 3, std::nan(""));
    return;
  }
  lamini(set.q0, set.sigmat, set.xnsigt);
  const Vec3 observer = vec3(r);
  fclini(observer, set.slow, set.shigh, set.relacc * 1e-12);
  ziflag("notalman", set.notalman);
  ziflag("nogamma2", set.nogamma2);
  ziflag("extract", set.poleex_1d);

  const double gamma_c = closest.path.point.gamma, beta_c = closest.path.beta;
  const Vec3 e_c = vec3(closest.path.point.e);
  Slots sum;
  fmirr(t, observer, gamma_c, e_c, sum, set.hc, set.hmax, set.zsymmetry);

  // From a test particle that moves along the path to the true one.
  const double beta = std::sqrt(1 - 1 / (gamma * gamma));
  sum.force += cross(beta * vec3(n) - beta_c * e_c, sum.cb);
  result = std::bit_cast<FieldResult>(sum);
}

}  // namespace tessaron
