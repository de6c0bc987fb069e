#pragma once
#include <cmath>

#include "lattice/lattice_record_owner.hpp"
#include "support/hand_orbit.hpp"

namespace tessaron::test {

/// A design orbit made by hand: straight along x up to the first boundary at s = 2 m, an arc of a
/// radius and a turn, a straight metre, the arc's mirror image, and straight on. Its closed form is the
/// ground that projections on the orbit are tested against.
class HandLattice {
 public:
  using Place = HandOrbit<>::Pose;
  static constexpr double s_first = 2;

  /// A positive radius turns to decreasing angle.
  explicit HandLattice(double r, double turn = 0.4)
      : orbit_(s_first, {{std::abs(r) * turn, -1 / r}, {1, 0}, {std::abs(r) * turn, 1 / r}}) {
    latcom_store = {};
    latcom_store.nlat = 4;
    const double radii[] = {0, r, 0, -r};
    for (int i = 1; i <= 4; ++i) {
      const double s = orbit_.joints()[static_cast<std::size_t>(i - 1)];
      const Place place = orbit_.at(s);
      const double tx = std::cos(place.phi), ty = std::sin(place.phi);
      latcom_store.bnd[i] = {place.x, place.y, tx, ty, tx, ty, s, radii[i - 1]};
    }
  }
  /// The orbit at path length s, u to the left.
  Place beside(double s, double u) const {
    Place place = orbit_.at(s);
    place.x -= u * std::sin(place.phi);
    place.y += u * std::cos(place.phi);
    return place;
  }
  double end() const { return orbit_.joints().back(); }

 private:
  HandOrbit<> orbit_;
};

}  // namespace tessaron::test
