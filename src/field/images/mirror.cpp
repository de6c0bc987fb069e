#include "field/images/mirror.hpp"

#include <algorithm>
#include <cmath>

#include "common/end_request.hpp"
#include "field/source_field.hpp"

namespace tessaron {

namespace {

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

void fmirr(const FieldSource& source, ObserverWork& work, double t, const Vec3& r, double gamma,
           const Vec3& e, Slots& result) {
  fzint(source, work, t, r, gamma, e, false, result);
  const FieldSettings& set = source.settings;
  if (!has_images(set)) return;

  const bool symmetric = set.zsymmetry && std::abs(r.z) < set.rintmi && std::abs(e.z) < set.rintmi;
  const ImageRow row{set.hc, set.hmax};
  const int n_last = row.last();
  const Entrance& entrance = source.entrance;

  int n = 1;
  for (bool entrance_only = false; n <= n_last && !entrance_only && !end_requested(); ++n) {
    double s2 = -HUGE_VAL;
    add_pair(row, n, r.z, symmetric, result, [&](double z, Slots& image) {
      const Vec3 moved{r.x, r.y, z};
      fobset(moved, work.closest);
      fzint(source, work, t, moved, gamma, e, true, image);
      s2 = std::max(s2, work.limits.s2);
    });
    entrance_only = entrance.known && s2 <= entrance.s_st;
  }
  if (n > n_last) return;
  if (entrance.ez == 0) {
    Slots rest;
    fimsum(source, t, r, e, entrance.s_st, n, n_last, row, work.entrance, rest);
    result += rest;
    return;
  }
  for (; n <= n_last && !end_requested(); ++n) {
    add_pair(row, n, r.z, symmetric, result, [&](double z, Slots& image) {
      fimlin(source, t, {r.x, r.y, z}, e, entrance.s_st, work.entrance, image);
    });
  }
}

}  // namespace tessaron
