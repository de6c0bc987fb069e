#include "field/images/mirror.hpp"

#include <algorithm>
#include <cmath>

#include "common/constants.hpp"
#include "field/images/straight_entrance.hpp"
#include "field/path/closest_point.hpp"
#include "field/path/retarded_limits.hpp"
#include "field/settings.hpp"
#include "field/source/profile.hpp"
#include "field/source_field.hpp"

namespace tessaron {

namespace {

/// The straight way on which the path begins, if it does.
struct Entrance {
  bool known = false;
  double s_st = 0;  // its end [m]
  double ez = 0;    // z component of its tangent
};

/// Looks for the end of the straight entrance by halving, to the length of the bunch.
Entrance find_entrance() {
  const FieldSettings& set = field_settings;
  const double far = 2 * set.slow - set.shigh;
  const PathPoint start = pthval(far, 31).point;
  const auto straight = [](const PathPoint& p) {
    return p.e_prime[0] == 0 && p.e_prime[1] == 0 && p.e_prime[2] == 0;
  };
  if (!straight(start)) return {};
  double low = far, high = set.shigh;
  Vec3 r_low = vec3(start.r);
  while (high - low > speed_of_light * set.sigmat) {
    const double middle = (low + high) / 2;
    if (!(low < middle && middle < high)) break;
    const PathPoint& p = pthval(middle, 31).point;
    const bool in_line =
        dot(vec3(p.r) - r_low, vec3(start.e)) + low - middle > -1.0000000000000001e-15 * (high - low);
    if (straight(p) && in_line) {
      low = middle;
      r_low = vec3(p.r);
    } else {
      high = middle;
    }
  }
  return {true, low, start.e[2]};
}

/// Adds an image pair to the slots that are even in z.
void add_even(double factor, const Slots& image, Slots& result) {
  result.force.x += factor * image.force.x;
  result.force.y += factor * image.force.y;
  result.cb.z += factor * image.cb.z;
  result.phi += factor * image.phi;
  result.a.x += factor * image.a.x;
  result.a.y += factor * image.a.y;
  result.phi_t += factor * image.phi_t;
  result.a_t.x += factor * image.a_t.x;
  result.a_t.y += factor * image.a_t.y;
}

/// The images n of both planes by one way of evaluation: `field_at(z, value)` for the observer moved to z.
template <class FieldAt>
void add_pair(const ImageRow& row, int n, double z, bool symmetric, Slots& result, FieldAt&& field_at) {
  const double factor = row.sign(n) * row.taper(n);
  Slots image;
  field_at(z - n * row.hc, image);
  if (symmetric) return add_even(2 * factor, image, result);
  Slots other;
  field_at(z + n * row.hc, other);
  result += factor * image;
  result += factor * other;
}

}  // namespace

void fmirr(double t, const Vec3& r, double gamma, const Vec3& e, Slots& result, double hc, double hmax,
           bool zsymmetry) {
  fobset(r);
  fzint(t, r, gamma, e, result, false);
  if (!(hc > 0) || !(std::abs(hmax) > hc)) return;

  const bool symmetric =
      zsymmetry && std::abs(r.z) < field_settings.rintmi && std::abs(e.z) < field_settings.rintmi;
  const ImageRow row{hc, hmax};
  const int n_last = row.last();
  const Entrance entrance = find_entrance();

  int n = 1;
  for (bool entrance_only = false; n <= n_last && !entrance_only; ++n) {
    double s2 = -HUGE_VAL;
    add_pair(row, n, r.z, symmetric, result, [&](double z, Slots& image) {
      const Vec3 moved{r.x, r.y, z};
      fobset(moved);
      fzint(t, moved, gamma, e, image, true);
      s2 = std::max(s2, limits.s2);
    });
    entrance_only = entrance.known && s2 <= entrance.s_st;
  }
  if (n > n_last) return;
  if (entrance.ez == 0) {
    Slots rest;
    fimsum(t, r, gamma, e, rest, entrance.s_st, n, n_last, hc, hmax);
    result += rest;
    return;
  }
  for (; n <= n_last; ++n) {
    add_pair(row, n, r.z, symmetric, result, [&](double z, Slots& image) {
      fimlin(t, {r.x, r.y, z}, gamma, e, image, entrance.s_st);
    });
  }
}

}  // namespace tessaron
