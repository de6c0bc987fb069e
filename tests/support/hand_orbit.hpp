#pragma once
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace tessaron::test {

/// A stretch of an orbit: its length and its curvature, > 0 to the left.
struct Section {
  double length, kappa;
};

/// An orbit of arcs and straight lines through its own origin at s = 0, along x there; its first section
/// starts at s = `first`. Straight before the first section and behind the last. This geometry shares no code
/// with the program's.
template <class Real = double>
class HandOrbit {
 public:
  struct Pose {
    Real x, y, phi;
  };
  HandOrbit(Real first, std::vector<Section> sections) : sections_(std::move(sections)), joints_{first} {
    for (const Section& section : sections_) {
      starts_.push_back(advanced(starts_.back(), section.length, section.kappa));
      joints_.push_back(joints_.back() + section.length);
    }
    const Pose origin = at(0);
    const Real c = std::cos(origin.phi), n = std::sin(origin.phi);
    for (Pose& p : starts_) {
      const Real dx = p.x - origin.x, dy = p.y - origin.y;
      p = {c * dx + n * dy, c * dy - n * dx, p.phi - origin.phi};
    }
  }
  Pose at(Real s) const {
    if (s <= joints_[0]) return advanced(starts_[0], s - joints_[0], 0);
    std::size_t k = 0;
    while (k < sections_.size() && s > joints_[k + 1]) ++k;
    return advanced(starts_[k], s - joints_[k], k < sections_.size() ? sections_[k].kappa : 0);
  }
  const std::vector<Section>& sections() const { return sections_; }
  /// The ends of all sections.
  const std::vector<Real>& joints() const { return joints_; }

 private:
  static Pose advanced(const Pose& p, Real length, Real kappa) {
    const Real half = kappa * length / 2, chord = half == 0 ? length : length * std::sin(half) / half;
    return {p.x + chord * std::cos(p.phi + half), p.y + chord * std::sin(p.phi + half), p.phi + 2 * half};
  }
  std::vector<Section> sections_;
  std::vector<Real> joints_;
  std::vector<Pose> starts_{{0, 0, 0}};
};

}  // namespace tessaron::test
