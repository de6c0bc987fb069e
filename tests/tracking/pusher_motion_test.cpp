#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <complex>
#include <string>
#include <vector>

#include "beam/ptlcom_owner.hpp"
#include "lattice/deck_lattice.hpp"
#include "lattice/inila2.hpp"
#include "tracking/pusher.hpp"
#include "tracking/pusher_fast.hpp"

using namespace tessaron;
using test::filled;
using test::read_lattice;

namespace {

constexpr double p0 = 2000;

double gamma_of(double p) { return std::sqrt(p * p + 1); }
double beta_of(double p) { return p / gamma_of(p); }

/// Particle at a height above the x axis, in section 1 or wherever `section` says.
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
  double bend = 0;                   ///< vertical field of a dipole
  std::complex<double> strength{0};  ///< B_z + i B_left = strength (X + iZ)^(n-1)
  int order = 1;
  double x0 = 0, y0 = 0, z0 = 0, axis = 0;
  ForceInterval force;

  Six rate(double t, const Six& s) const {
    const double P = std::hypot(s[3], s[4], s[5]), T = std::hypot(s[3], s[4]), g = gamma_of(P);
    const double X = -(s[0] - x0) * std::sin(axis) + (s[1] - y0) * std::cos(axis), Z = s[2] - z0;
    const auto B = strength * std::pow(std::complex<double>(X, Z), order - 1);
    const double Bx = -B.imag() * std::sin(axis), By = B.imag() * std::cos(axis), Bz = B.real() + bend;
    const double w = (force.tb - t) / (force.tb - force.ta);
    const double f1 = w * force.fa.along + (1 - w) * force.fb.along,
                 f2 = w * force.fa.across + (1 - w) * force.fb.across,
                 f3 = w * force.fa.up + (1 - w) * force.fb.up;
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
  const char* block;  ///< one element from s = 0 to 1
  double bend;
  int order;
  double strength, alpha;  ///< in units of p0
};
const Section sections[] = {
    {"{ dipole { position { delta_s=0 } properties { } position { delta_s=1 } } }", 0, 1, 0, 0},
    {"{ dipole { position { delta_s=0 } properties { r=4 } position { delta_s=1 } } }", 0.25, 1, 0, 0},
    {"{ dipole { position { delta_s=0 } properties { r=-2 } position { delta_s=1 } } }", -0.5, 1, 0, 0},
    {"{ quadrupole { position { delta_s=0 } properties { strength=2 horizontal_offset=1e-3 "
     "vertical_offset=-2e-3 } position { delta_s=1 } } }",
     0, 2, 2, 0},
    {"{ multipole { position { delta_s=0 } properties { poles=4 strength=-2 alpha=45 horizontal_offset=1e-3 "
     "vertical_offset=-2e-3 } position { delta_s=1 } } }",
     0, 2, -2, 45},
    {"{ multipole { position { delta_s=0 } properties { poles=6 strength=30 alpha=10 horizontal_offset=1e-3 "
     "vertical_offset=-2e-3 } position { delta_s=1 } } }",
     0, 3, 15, 10},  // over 2!
    {"{ multipole { position { delta_s=0 } properties { poles=8 strength=300 horizontal_offset=1e-3 "
     "vertical_offset=-2e-3 } position { delta_s=1 } } }",
     0, 4, 50, 0},  // over 3!
};

/// Behind a first boundary that is turned by the angle `turn` about the origin.
void turn_entry(double turn) {
  Boundary& b = latcom_store.bnd[1];
  b.tx = std::cos(turn);
  b.ty = std::sin(turn);
}

}  // namespace

TEST(Motion, FollowsTheLorentzForceInEverySection) {
  ptlcom_store.reference_momentum = p0;
  for (const Section& section : sections) {
    for (const bool with_force : {false, true}) {
      SCOPED_TRACE(std::string(section.block) + (with_force ? " force" : ""));
      ASSERT_EQ(read_lattice(section.block), ok);
      const double turn = section.order >= 2 ? 0.7 : 0;
      turn_entry(turn);
      Reference reference;
      reference.bend = section.bend * p0;
      reference.order = section.order;
      reference.strength = std::polar(section.strength * p0, -section.order * radians(section.alpha));
      reference.axis = turn;
      reference.x0 = -std::sin(turn) * 1e-3;
      reference.y0 = std::cos(turn) * 1e-3;
      reference.z0 = -2e-3;
      if (with_force) reference.force = {0, 0.5, {3, -2, 1}, {-1, 4, 2}};

      const Particle start =
          at(0.01 * std::cos(turn), 0.01 * std::sin(turn) + 0.004, 0.003, 1.1 * p0, turn + 0.02, -0.01);
      Particle tracked = start;
      std::int32_t index = 2;
      bool crossing = false;
      double t = 0;
      lattice_step(tracked, index, crossing, t, 0.5, with_force ? &reference.force : nullptr);
      EXPECT_EQ(t, 0.5);
      EXPECT_EQ(index, 2);
      // The step rule leaves (k h^2)^2 of a multipole's kick.
      expect_same(tracked, reference.tracked(start, 0, 0.5), 2e-10);
    }
  }
}

// A thick lens: R11 = cos phi, R12 = sin phi/sqrt(k), R21 = -sqrt(k) sin phi in the plane, cosh and sinh out
// of it for k > 0.
TEST(Motion, QuadrupoleIsAThickLens) {
  ptlcom_store.reference_momentum = p0;
  ASSERT_EQ(read_lattice("{ quadrupole { position { delta_s=0 } properties { strength=3 } "
                         "position { delta_s=0.4 } } }"),
            ok);
  const double k = 3, root = std::sqrt(k), angle = root * 0.4, a = 1e-6;
  Particle off = at(0, a, a, p0), slope = at(0, 0, 0, p0, a, a);
  for (Particle* particle : {&off, &slope}) {
    std::int32_t section = 2;
    bool crossing = false;
    double t = 0;
    lattice_step(*particle, section, crossing, t, 10, nullptr);
    EXPECT_EQ(section, 3);
    EXPECT_NEAR(particle->x, 0.4, 1e-15);
  }
  EXPECT_NEAR(off.y / a, std::cos(angle), 1e-9);
  EXPECT_NEAR(off.phi / a, -root * std::sin(angle), 1e-9);
  EXPECT_NEAR(off.z / a, std::cosh(angle), 1e-9);
  EXPECT_NEAR(off.theta / a, root * std::sinh(angle), 1e-9);
  EXPECT_NEAR(slope.y / a, std::sin(angle) / root, 1e-9);
  EXPECT_NEAR(slope.phi / a, std::cos(angle), 1e-9);
  EXPECT_NEAR(slope.z / a, std::sinh(angle) / root, 1e-9);
  EXPECT_NEAR(slope.theta / a, std::cosh(angle), 1e-9);
}

// A dipole with parallel faces: drift in the plane, two edges of half the bend out of it. Vertical map
// E D E with E = (1, 0; -tan(bend/2)/R, 1) and D a drift of the arc's length.
TEST(Motion, EdgesOfARectangularDipoleFocusVertically) {
  ptlcom_store.reference_momentum = p0;
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

// Without self force a particle of the reference momentum on the design orbit stays on it, whatever the
// faces.
TEST(Motion, DesignOrbitEndsAtTheBoundaryWithItsTangent) {
  ptlcom_store.reference_momentum = p0;
  for (const double r : {0.0, 3.0, -3.0, 40.0}) {
    for (const double face : {-30.0, 0.0, 50.0}) {
      ASSERT_EQ(
          read_lattice(filled("{ dipole { position { delta_s=0.3 psi=% } properties { r=% } "
                              "position { delta_s=1.5 delta_psi=% } } dipole { position { delta_s=2 } } }",
                              {face, r, -face})),
          ok);
      Particle particle = at(0, 0, 0, p0);
      std::int32_t section = 1;
      bool crossing = false;
      double t = 0;
      for (int i = 1; i <= 3; ++i) {
        lattice_step(particle, section, crossing, t, 100, nullptr);
        EXPECT_TRUE(crossing);
        EXPECT_EQ(section, i + 1);
        EXPECT_NEAR(particle.x, latcom.bnd[i].x, 4e-15);
        EXPECT_NEAR(particle.y, latcom.bnd[i].y, 4e-15);
        EXPECT_NEAR(std::cos(particle.phi), latcom.bnd[i].tx, 4e-15);
        EXPECT_NEAR(std::sin(particle.phi), latcom.bnd[i].ty, 4e-15);
        EXPECT_NEAR(t * beta_of(p0), latcom.bnd[i].s, 1e-14);
      }
    }
  }
}

namespace {

constexpr const char* chicane =
    "{ dipole { position { rho=0 psi=0 } properties { r= 10.3462283687 } position { rho=0.5 psi=0 } }\n"
    "  dipole { position { rho=5.5 psi=0 } properties { r=-10.3462283687 } position { rho=6 psi=0 } }\n"
    "  dipole { position { rho=7 psi=0 } properties { r=-10.3462283687 } position { rho=7.5 psi=0 } }\n"
    "  dipole { position { rho=12.5 psi=0 } properties { r=10.3462283687 } position { rho=13 psi=0 } }\n"
    "  dipole { position { rho=15 psi=0 } } }";

/// Path length and mid-way offset through the chicane for the momentum p0 (1 + delta): faces at right angles
/// to the axis, so each magnet bends by asin(L/R).
struct ChicaneOrbit {
  long double length, offset;
};
ChicaneOrbit chicane_orbit(long double delta) {
  const long double R = 10.3462283687L * (1 + delta), a = std::asin(0.5L / R);
  return {4 * R * a + 10 / std::cos(a) + 3, -(2 * R * (1 - std::cos(a)) + 5 * std::tan(a))};
}

}  // namespace

TEST(Motion, ChicaneDelaysByMomentumAsItsGeometrySays) {
  ptlcom_store.reference_momentum = p0;
  ASSERT_EQ(read_lattice(chicane), ok);
  auto arrival = [](double delta, double& offset) {
    BoundaryPoints points;
    fbpts(at(0, 0, 0, p0 * (1 + delta)), 1, 0, points);
    offset = points[5].y;
    EXPECT_NEAR(points[9].y, 0, 1e-13);
    EXPECT_NEAR(points[2].local_radius, 10.3462283687 * (1 + delta), 1e-13);
    return points[9].ct * beta_of(p0 * (1 + delta));
  };
  for (const double delta : {-0.05, -1e-3, 0.0, 1e-3, 0.05}) {
    double offset;
    const ChicaneOrbit exact = chicane_orbit(delta);
    EXPECT_NEAR(arrival(delta, offset), static_cast<double>(exact.length), 2e-14);
    EXPECT_NEAR(offset, static_cast<double>(exact.offset), 2e-14);
  }
  // With sin a = 0.5/R the angle falls with the momentum, da/d delta = -tan a. Head at negative z:
  //     R56 = ds/d delta = 4 R (a - tan a) - 10 tan^2 a/cos a    (-25.00 mm; small angles give 2 a^2 5.33 m)
  //     T566 = d2s/(2 d delta2)                                  (+37.5 mm, about -3/2 R56)
  //     R16 = dy/d delta at the middle
  const double R = 10.3462283687, a = std::asin(0.5 / R), d = 1e-3;
  double up, middle, down;
  const double late = arrival(-d, down), at_p0 = arrival(0, middle), early = arrival(d, up);
  const double r56 = (early - late) / (2 * d), t566 = (early + late - 2 * at_p0) / (2 * d * d);
  EXPECT_NEAR(r56, 4 * R * (a - std::tan(a)) - 10 * std::pow(std::tan(a), 2) / std::cos(a), 1e-7);
  EXPECT_NEAR(r56, -25e-3, 5e-5);
  EXPECT_NEAR(t566, 37.5e-3, 1e-4);
  const double r16 = -2 * R * (1 - std::cos(a)) + 2 * R * std::sin(a) * std::tan(a) +
                     5 * std::tan(a) / std::pow(std::cos(a), 2);
  EXPECT_NEAR((up - down) / (2 * d), r16, 1e-6);
}

TEST(Motion, BackwardUndoesForwardThroughALattice) {
  ptlcom_store.reference_momentum = p0;
  ASSERT_EQ(
      read_lattice("{ dipole { position { delta_s=0.4 psi=10 } properties { r=3 } position { delta_s=0.7 "
                   "delta_psi=-12 } } quadrupole { position { delta_s=0.2 } properties { strength=2 "
                   "alpha=7 } position { delta_s=0.3 } } multipole { position { delta_s=0.2 } properties "
                   "{ poles=6 strength=20 } position { delta_s=0.2 } } dipole { position { delta_s=0.3 } "
                   "properties { r=-2 } position { delta_s=0.5 delta_psi=20 } } }"),
      ok);
  for (int i = 0; i < 20; ++i) {
    const double v = std::sin(i), w = std::cos(2.3 * i);
    const Particle start = at(0.01 * v, 2e-4 * w, 3e-4 * v, p0 * (1 + 0.01 * w), 1e-4 * w, 2e-4 * v);
    Particle particle = start;
    ASSERT_EQ(track(particle, 1, 0, 3.5), 9);
    EXPECT_EQ(particle.p, start.p);  // no field changes the energy
    ASSERT_EQ(track(particle, 9, 3.5, 0), 1);
    expect_same(particle, start, 1e-12);
  }
}

// Under a self force the error of the plain steps falls by 2^4 when the step is halved.
TEST(Motion, StepsAreOfOrderFour) {
  using namespace tessaron::pusher;
  RhsCommon c;
  c.tb = 1;
  c.fa = {200, -150, 100};
  c.fb = {-100, 250, 120};
  auto end = [&](auto rates, int nstep) {
    Coordinates y{0, 0.01, 0.02, 400, 0.3, 0.2};
    auto rhs = [&](double t, const Coordinates& at_t) { return rates(c, t, at_t); };
    rkdumb(y, 0, 1, nstep, rhs);
    return y;
  };
  auto ratio = [&](auto rates) {
    const Coordinates coarse = end(rates, 40), fine = end(rates, 80), exact = end(rates, 1280);
    auto error = [&](const Coordinates& y) {
      return std::hypot(y.x - exact.x, y.y - exact.y, y.z - exact.z) + std::abs(y.phi - exact.phi) +
             std::abs(y.theta - exact.theta);
    };
    EXPECT_GT(error(coarse), 1e-10);  // well above rounding
    return error(coarse) / error(fine);
  };
  c.order = 2;
  c.gradient = {1500, 400};
  EXPECT_NEAR(ratio(rhs_plane), 16, 2);
  c.order = 1;
  c.K = 250;
  c.rho_p = 400 * std::cos(0.2) / c.K;
  EXPECT_NEAR(ratio(rhs_arc), 16, 2);
}
