#pragma once
#include <algorithm>
#include <array>
#include <cmath>

#include "lattice/lattice_record_owner.hpp"

namespace tessaron::test {

/// A design orbit made by hand: straight along x up to the first boundary at the lab's origin, an arc of a
/// radius and a turn, a straight metre, the arc's mirror image, and straight on. Its closed form is the
/// ground that projections on the orbit are tested against.
class HandLattice {
 public:
  struct Place {
    double x, y, heading;
  };
  static constexpr double s_first = 2;

  explicit HandLattice(double r, double turn = 0.4) : r_(r), length_(std::abs(r) * turn) {
    latcom_store = {};
    latcom_store.nlat = 4;
    const double radii[] = {0, r, 0, -r};
    for (int i = 1; i <= 4; ++i) {
      const double s = s_first + ends()[i - 1];
      const Place place = at(s);
      const double tx = std::cos(place.heading), ty = std::sin(place.heading);
      latcom_store.bnd[i] = {place.x, place.y, tx, ty, tx, ty, s, radii[i - 1]};
    }
  }

  /// The orbit at path length s; a positive radius turns to decreasing angle.
  Place at(double s) const {
    const double sigma = s - s_first;
    Place place{std::min(sigma, 0.0), 0, 0};
    advance(place, std::clamp(sigma, 0.0, length_), r_);
    advance(place, std::clamp(sigma - length_, 0.0, 1.0), 0);
    advance(place, std::clamp(sigma - length_ - 1, 0.0, length_), -r_);
    advance(place, std::max(sigma - 2 * length_ - 1, 0.0), 0);
    return place;
  }
  /// The point beside it, u to the left.
  Place beside(double s, double u) const {
    Place place = at(s);
    place.x -= u * std::sin(place.heading);
    place.y += u * std::cos(place.heading);
    return place;
  }
  double end() const { return s_first + ends()[3]; }

 private:
  std::array<double, 4> ends() const { return {0, length_, length_ + 1, 2 * length_ + 1}; }
  static void advance(Place& p, double ds, double r) {
    if (r == 0) {
      p.x += ds * std::cos(p.heading);
      p.y += ds * std::sin(p.heading);
      return;
    }
    const double next = p.heading - ds / r;  // x' = cos heading, y' = sin heading, heading' = -1 / r
    p.x += r * (std::sin(p.heading) - std::sin(next));
    p.y += r * (std::cos(next) - std::cos(p.heading));
    p.heading = next;
  }
  double r_, length_;
};

}  // namespace tessaron::test
