#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <complex>
#include <string>

#include "beam/bunch_record_owner.hpp"
#include "lattice/deck_lattice.hpp"
#include "motion/pusher.hpp"
#include "motion/pusher_fast.hpp"
#include "motion/run_preparation.hpp"

using namespace tessaron;
using test::filled;
using test::read_lattice;

namespace {

constexpr double p0 = 2000;

double gamma_of(double p) { return std::sqrt(p * p + 1); }
double beta_of(double p) { return p / gamma_of(p); }

Particle at(double x, double y, double z, double p, double phi = 0, double theta = 0) {
  return {x, y, z, p, phi, theta, 1e-15};
}

/// Tracks through all boundaries to the time t_end; returns the time step's last section.
std::int32_t track(Particle& particle, std::int32_t section, double t, double t_end) {
  bool crossing = false;
  while (t != t_end) lattice_step(particle, section, crossing, t, t_end, nullptr);
  return section;
}

// The yardstick of this file: the Lorentz force in Cartesian coordinates of place and momentum,
//     Q' = P/gamma     P' = P x B/gamma + f1 e1 + f2 e2 + f3 e3,
// with unit vectors along the motion, to the left of it in the plane, and upward from it.
using Six = std::array<double, 6>;
struct Reference {
  double bend;                    ///< vertical field of a dipole
  std::complex<double> strength;  ///< B_z + i B_left = strength (X + iZ)^(n-1)
  int order;
  double x0, y0, z0, axis;
  ForceInterval force;

  Six rate(double t, const Six& s) const {
    const double P = std::hypot(s[3], s[4], s[5]), T = std::hypot(s[3], s[4]), g = gamma_of(P);
    const double X = -(s[0] - x0) * std::sin(axis) + (s[1] - y0) * std::cos(axis), Z = s[2] - z0;
    const auto B = strength * std::pow(std::complex<double>(X, Z), order - 1);
    const double Bx = -B.imag() * std::sin(axis), By = B.imag() * std::cos(axis), Bz = B.real() + bend;
    const double w = (force.tb - t) / (force.tb - force.ta);
    const Force &a = force.fa, &b = force.fb;
    const double f1 = w * a.along + (1 - w) * b.along, f2 = w * a.across + (1 - w) * b.across,
                 f3 = w * a.up + (1 - w) * b.up;
    const double up = s[5] / P, flat = T / P, ex = s[3] / T, ey = s[4] / T;
    return {s[3] / g,
            s[4] / g,
            s[5] / g,
            (s[4] * Bz - s[5] * By) / g + f1 * flat * ex - f2 * ey - f3 * up * ex,
            (s[5] * Bx - s[3] * Bz) / g + f1 * flat * ey + f2 * ex - f3 * up * ey,
            (s[3] * By - s[4] * Bx) / g + f1 * up + f3 * flat};
  }

  Particle tracked(const Particle& p, double t0, double t1) const {
    const double flat = p.p * std::cos(p.theta);
    Six s{p.x, p.y, p.z, flat * std::cos(p.phi), flat * std::sin(p.phi), p.p * std::sin(p.theta)};
    constexpr int steps = 4000;
    const double h = (t1 - t0) / steps;
    auto moved = [](const Six& a, double f, const Six& b) {
      Six c;
      for (std::size_t k = 0; k < 6; ++k) c[k] = a[k] + f * b[k];
      return c;
    };
    for (int i = 0; i < steps; ++i) {
      const double t = t0 + i * h;
      const Six k1 = rate(t, s), k2 = rate(t + h / 2, moved(s, h / 2, k1)),
                k3 = rate(t + h / 2, moved(s, h / 2, k2)), k4 = rate(t + h, moved(s, h, k3));
      s = moved(moved(moved(moved(s, h / 6, k1), h / 3, k2), h / 3, k3), h / 6, k4);
    }
    const double P = std::hypot(s[3], s[4], s[5]);
    return {s[0], s[1], s[2], P, std::atan2(s[4], s[3]), std::asin(s[5] / P), p.q};
  }
};

void expect_same(const Particle& a, const Particle& b, double tolerance) {
  EXPECT_NEAR(a.x, b.x, tolerance);
  EXPECT_NEAR(a.y, b.y, tolerance);
  EXPECT_NEAR(a.z, b.z, tolerance);
  EXPECT_NEAR(a.p / b.p, 1, tolerance);
  EXPECT_NEAR(a.phi, b.phi, tolerance);
  EXPECT_NEAR(a.theta, b.theta, tolerance);
}

struct Section {
  const char* element;  ///< from s = 0 to 1
  const char* properties;
  double bend;
  int order;
  double strength, alpha;  ///< in units of p0
};
const Section sections[] = {
    {"dipole", "", 0, 1, 0, 0},
    {"dipole", "r=4", 0.25, 1, 0, 0},
    {"dipole", "r=-2", -0.5, 1, 0, 0},
    {"quadrupole", "strength=2", 0, 2, 2, 0},
    {"multipole", "poles=4 strength=-2 alpha=45", 0, 2, -2, 45},
    {"multipole", "poles=6 strength=30 alpha=10", 0, 3, 15, 10},  // over 2!
    {"multipole", "poles=8 strength=300", 0, 4, 50, 0},           // over 3!
};

class Motion : public testing::Test {
 protected:
  void SetUp() override { ptlcom_store.reference_momentum = p0; }
};

/// One segment from the middle of section 2 by the fast equations, which has to agree with the plain ones.
Particle segment(const Particle& start, double t_end, bool entering, const ForceInterval* force) {
  using namespace tessaron::pusher;
  Particle a = start, b = start;
  std::int32_t section_a = 2, section_b = 2;
  bool crossing_a = entering, crossing_b = entering;
  double ta = 0, tb = 0;
  segment_step<Way::fast>(a, section_a, crossing_a, ta, t_end, force);
  segment_step<Way::plain>(b, section_b, crossing_b, tb, t_end, force);
  EXPECT_EQ(section_a, section_b);
  EXPECT_EQ(crossing_a, crossing_b);
  EXPECT_NEAR(ta, tb, 1e-13);
  expect_same(a, b, 1e-13);
  return a;
}

}  // namespace

TEST_F(Motion, FollowsTheLorentzForceInEverySection) {
  const ForceInterval forces[] = {
      {0, 0.5, {0, 0, 0}, {0, 0, 0}}, {0, 0.5, {3, 0, 0}, {-1, 0, 0}}, {0, 0.5, {3, -2, 1}, {-1, 4, 2}}};
  for (const Section& section : sections) {
    const bool multipole = section.order >= 2;
    const std::string offsets = multipole ? " horizontal_offset=1e-3 vertical_offset=-2e-3" : "";
    const std::string block = std::string("{ ") + section.element + " { position { delta_s=0 } properties {" +
                              section.properties + offsets + " } position { delta_s=1 } } }";
    ASSERT_EQ(read_lattice(block), ok);
    const double turn = multipole ? 0.7 : 0, c = std::cos(turn), s = std::sin(turn);  // of the entry
    latcom_store.bnd[1].tx = c;
    latcom_store.bnd[1].ty = s;
    const auto strength = std::polar(section.strength * p0, -section.order * radians(section.alpha));
    for (const ForceInterval& force : forces) {
      SCOPED_TRACE(block + std::to_string(&force - forces));
      const Reference reference{section.bend * p0, strength, section.order, -s * 1e-3,
                                c * 1e-3,          -2e-3,    turn,          force};
      const Particle start = at(0.01 * c, 0.01 * s + 0.004, 0.003, 1.1 * p0, turn + 0.02, -0.01);
      // The step rule leaves (k h^2)^2 of a multipole's kick.
      expect_same(segment(start, 0.5, false, &force), reference.tracked(start, 0, 0.5), 2e-10);
      for (const double t_end : {-2.0, 0.004, 2.0}) (void)segment(start, t_end, true, &force);
      (void)segment(start, 0.5, true, nullptr);
    }
  }
}

// A dipole with parallel faces: drift in the plane, two edges of half the bend out of it. Vertical map
// E D E with E = (1, 0; -tan(bend/2)/R, 1) and D a drift of the arc's length.
TEST_F(Motion, EdgesOfARectangularDipoleFocusVertically) {
  for (const double R : {2.0, -2.0}) {
    const double bend = 0.4, arc = std::abs(R) * bend, sign = R > 0 ? 1 : -1;
    ASSERT_EQ(read_lattice(filled("{ dipole { position { delta_s=1 delta_psi=% } properties { r=% } "
                                  "position { delta_s=% delta_psi=% } } }",
                                  {-sign * 0.2 * 180 / pi, R, arc, sign * 0.2 * 180 / pi})),
              ok);
    const double kick = -std::tan(bend / 2) / std::abs(R), a = 1e-7;
    Particle particle = at(0, 0, a, p0);
    EXPECT_EQ(track(particle, 1, 0, 1 / beta_of(p0) + arc / beta_of(p0) + 1e-3), 3);
    EXPECT_NEAR(particle.theta / a, 2 * kick + kick * kick * arc, 1e-9);
    EXPECT_NEAR(particle.z / a, 1 + kick * arc + 1e-3 * particle.theta / a, 1e-6);
    EXPECT_NEAR(particle.phi, -sign * bend, 1e-14);
  }
}

// Faces at right angles to the axis: with the momentum p0 (1 + delta) each magnet bends by a = asin(L/R).
TEST_F(Motion, ChicaneDelaysByMomentumAsItsGeometrySays) {
  ASSERT_EQ(
      read_lattice("{ dipole { position { rho=0 psi=0 } properties { r=10 } position { rho=0.5 psi=0 } }\n"
                   "dipole { position { rho=5.5 psi=0 } properties { r=-10 } position { rho=6 psi=0 } }\n"
                   "dipole { position { rho=7 psi=0 } properties { r=-10 } position { rho=7.5 psi=0 } }\n"
                   "dipole { position { rho=12.5 psi=0 } properties { r=10 } position { rho=13 psi=0 } }\n"
                   "dipole { position { rho=15 psi=0 } } }"),
      ok);
  for (const double delta : {-0.05, -1e-3, 0.0, 1e-3, 0.05}) {
    BoundaryPoints points;
    fbpts(at(0, 0, 0, p0 * (1 + delta)), 1, 0, points);
    const double R = 10 * (1 + delta), a = std::asin(0.5 / R);
    EXPECT_NEAR(points[5].y, -(2 * R * (1 - std::cos(a)) + 5 * std::tan(a)), 2e-14);
    EXPECT_NEAR(points[9].y, 0, 1e-13);
    EXPECT_NEAR(points[9].ct * beta_of(p0 * (1 + delta)), 4 * R * a + 10 / std::cos(a) + 3, 2e-14);
    EXPECT_NEAR(points[2].local_radius, R, 1e-13);
  }
}

// Into how many calls a time is cut makes no difference, least of all where a cut falls on a boundary: the
// edge of the section behind it acts once.
TEST_F(Motion, BackwardUndoesForwardAndACutAtABoundaryChangesNothing) {
  ASSERT_EQ(
      read_lattice("{ dipole { position { delta_s=0.4 psi=10 } properties { r=3 } position { delta_s=0.7 "
                   "delta_psi=-12 } } quadrupole { position { delta_s=0.2 } properties { strength=2 "
                   "alpha=7 } position { delta_s=0.3 } } multipole { position { delta_s=0.2 } properties "
                   "{ poles=6 strength=20 } position { delta_s=0.2 } } dipole { position { delta_s=0 } "
                   "properties { r=-2 } position { delta_s=0.5 delta_psi=20 } } }"),
      ok);
  static ParticleTable particles;
  static SectionTable sections;
  for (int i = 0; i < 20; ++i) {
    const double v = std::sin(i), w = std::cos(2.3 * i);
    const Particle start = at(0.01 * v, 2e-4 * w, 3e-4 * v, p0 * (1 + 0.01 * w), 1e-4 * w, 2e-4 * v);
    Particle whole = start;
    ASSERT_EQ(track(whole, 1, 0, 3.5), 9);
    EXPECT_EQ(whole.p, start.p);  // no field changes the energy
    for (int boundary = 1; boundary <= 8; ++boundary) {
      particles[1] = start;
      sections[1] = 1;
      double crossing = 0;
      ASSERT_TRUE(track_to_boundary(start, 1, 0, boundary, crossing));
      track_all(1, particles, sections, particles, sections, 0, crossing, {});
      track_all(1, particles, sections, particles, sections, crossing, 3.5, {});
      EXPECT_EQ(sections[1], 9);
      expect_same(particles[1], whole, 1e-12);
    }
    ASSERT_EQ(track(whole, 9, 3.5, 0), 1);
    expect_same(whole, start, 1e-12);
  }
}

// Up to nearly a whole turn in one magnet, or a magnet that is so short that its slanted faces cross inside
// the bunch: in one step or in many, the particle on the orbit leaves where the orbit does, the others at one
// place, and backward they come back. A case is the turn in degrees and the slants of the faces.
TEST_F(Motion, ArcsOfAnyTurnAreLeftAtTheirFaceInAnySteps) {
  const double cases[][3] = {{150, 0, 0},  {150, 10, -20}, {180, 0, 0}, {180, -15, 5}, {181, 0, 0},
                             {200, 0, 10}, {270, -10, 10}, {330, 5, 0}, {359, 0, 0},   {0.2, 40, -40}};
  for (const auto& [degrees, in, out] : cases) {
    for (const double r : {2.0, -0.7}) {
      const double length = std::abs(r) * radians(degrees);
      ASSERT_EQ(
          read_lattice(filled("{ dipole { position { delta_s=1 delta_psi=% } properties { r=% } position "
                              "{ delta_s=% delta_psi=% } } dipole { position { delta_s=2 } } }",
                              {in, r, length, out})),
          ok);
      const Boundary& exit = latcom.bnd[2];
      const double end = (length + 2.5) / beta_of(p0);
      for (const double v : {0.0, 1.0, -1.0}) {
        const Particle start = at(0, 6e-3 * v, 0, p0 * (1 + 2e-3 * v), -1e-3 * v);
        Particle expected = start;
        track(expected, 1, 0, end);
        if (v == 0) {
          const double turned = expected.phi - std::atan2(exit.ty, exit.tx);
          EXPECT_NEAR(std::remainder(turned, two_pi), 0, 1e-13);
          EXPECT_NEAR(expected.x, exit.x + 1.5 * exit.tx, 1e-12);
          EXPECT_NEAR(expected.y, exit.y + 1.5 * exit.ty, 1e-12);
        }
        for (const double step : {0.017, 0.3, 100.0}) {
          SCOPED_TRACE(testing::Message() << degrees << ' ' << r << ' ' << v << ' ' << step);
          Particle particle = start;
          std::int32_t section = 1;
          for (double t = 0; t < end; t += step)
            section = track(particle, section, t, std::min(t + step, end));
          EXPECT_EQ(section, 3);
          expect_same(particle, expected, 2e-13 * (1 + std::abs(r)));
          for (double t = end; t > 0; t -= step)
            section = track(particle, section, t, std::max(t - step, 0.0));
          EXPECT_EQ(section, 1);
          expect_same(particle, start, 2e-12);
        }
      }
    }
  }
}

// Under a self force the error of the steps falls by 2^4 when the step is halved.
TEST_F(Motion, StepsAreOfOrderFour) {
  pusher::RhsCommon c;
  c.order = 2;
  c.gradient = {1500, 400};
  c.tb = 1;
  c.fa = {200, -150, 100};
  c.fb = {-100, 250, 120};
  auto rhs = [&](double t, const pusher::Coordinates& y) { return rhs_plane(c, t, y); };
  pusher::Coordinates coarse{0, 0.01, 0.02, 400, 0.3, 0.2}, fine = coarse, exact = coarse;
  rkdumb(coarse, 0, 1, 40, rhs);
  rkdumb(fine, 0, 1, 80, rhs);
  rkdumb(exact, 0, 1, 1280, rhs);
  EXPECT_NEAR((coarse.y - exact.y) / (fine.y - exact.y), 16, 2);
  EXPECT_NEAR((coarse.theta - exact.theta) / (fine.theta - exact.theta), 16, 2);
}
