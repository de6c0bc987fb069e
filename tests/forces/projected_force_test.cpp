#include "forces/models_fixture.hpp"

namespace tessaron {
namespace {

using Lines = std::vector<std::string>;
constexpr double here = 15;  // of an arc of 20 m; particle 1 stands deep in it

/// Gaussian of rms length sigma at z, integral 1.
double gauss(double z, double sigma) {
  return std::exp(-z * z / (2 * sigma * sigma)) / (sigma * std::sqrt(2 * pi));
}
/// z at which the integral of the normal distribution is `share`.
double quantile(double share) {
  double below = -10, above = 10;
  while (above - below > 1e-13) {
    const double middle = (below + above) / 2;
    (0.5 * std::erfc(-middle / std::sqrt(2.0)) < share ? below : above) = middle;
  }
  return below;
}

struct Force1 : test::Models {
  ForceSettings& settings = force_settings_store;
  std::vector<Force> result;
  double beta = 1;

  void SetUp() override {
    Models::SetUp();
    arc(here, 5);
    momentum(2e4);
  }
  void momentum(double p) {
    ptlcom_store.reference_momentum = p;
    beta = p / std::sqrt(p * p + 1);
  }
  /// Particles at the offsets z [m of c t, positive towards the tail] from particle 1, which stands at 0.
  void bunch(const std::vector<double>& z, double charge) {
    ptlcom_store.npart = 0;
    for (const double offset : z) add(-offset * beta, 0, 0, charge, ptlcom.reference_momentum);
  }
  /// A quiet Gaussian bunch of m particles behind particle 1, which has no charge and stands in the centre.
  void gaussian_bunch(int m, double sigma, double charge) {
    std::vector<double> z{0};
    for (int j = 0; j < m; ++j) z.push_back(sigma * quantile((j + 0.5) / m));
    bunch(z, charge / m);
    ptlcom_store.source[1] = false;
  }
  /// A wake table of rms length sigwak: a Gaussian of unit integral about z0.
  void gaussian_wake(double sigwak, double step, double z0, int n1, int n2) {
    settings.wake_used = true;
    settings.sigwak = sigwak, settings.stpwak = step, settings.n1wak = n1, settings.n2wak = n2;
    for (int j = n1; j <= n2; ++j) wake_table_store[j - n1 + 1] = 1e12 * gauss(j * step - z0, sigwak);
  }
  /// The status; forces and console lines are in `result` and `log`.
  Status run() {
    static ForceTable table;
    Status status = failed;
    log = test::console_of([&] { status = force1(ptlcom.particle, ptlcom.section, work.projected, table); });
    result.assign(&table[1], &table[1] + ptlcom.npart);
    return status;
  }
  double along(int i) const { return result[static_cast<std::size_t>(i - 1)].along; }
  /// Sum of charge times force.
  double power() const {
    double sum = 0;
    for (int i = 1; i <= ptlcom.npart; ++i)
      if (ptlcom.source[i]) sum += ptlcom.particle[i].q * along(i);
    return sum;
  }
};

// The kernel is that of a Gaussian of rms s1 and so is a particle's share of the current; particles feel the
// field at their own place. The mean force on a Gaussian bunch is that on a bunch of the rms length sigma_e =
// sqrt(sigma_b^2 + sigma_long^2 / 2): -0.350472 Q / (4 pi eps0) / (R^(2/3) sigma_e^(4/3)). All of it stands
// turned by an angle.
TEST_F(Force1, AGaussianBunchInALongArcLosesTheSteadyStateEnergy) {
  constexpr double charge = 1e-9, angle = -1.5;
  for (const double sigma : {2e-5, 2e-4})
    for (const double share : {0.1, 0.5}) {
      settings.sigma_long = share * sigma;
      gaussian_bunch(4000, sigma, charge);
      arc(here, 5);
      turn(angle);
      ASSERT_EQ(run(), ok);
      const double sigma_e = sigma * std::sqrt(1 + share * share / 2);
      const double mean = -0.350472 * charge * 8.9875517873681764e9 /
                          (std::pow(R, 2.0 / 3) * std::pow(sigma_e, 4.0 / 3)) * mc_per_ev;
      EXPECT_NEAR(power() / charge / mean, 1, 2e-3) << sigma << " " << share;
      int most = 1;
      for (int i = 2; i <= ptlcom.npart; ++i)
        if (along(i) < along(most)) most = i;
      EXPECT_LT(ptlcom.particle[most].x, 0) << "behind the centre";
    }
}

// The point wake delta(z - z0), given by its table for the rms length sigwak, gives the bunch's own profile
// of rms sigma^2 + sigma_long^2 at z0 behind it. A table longer than s1 stays as it is: sigma^2 + s1^2 +
// sigwak^2.
TEST_F(Force1, AKnownWakeGivesItsAnalyticConvolution) {
  straight();
  constexpr double sigma = 1e-4, charge = 1e-9, z0 = 1.5e-4;
  settings.sigma_long = 3e-5;
  for (const double sigwak : {2e-6, 1e-5, 4e-5}) {
    const double s1 = 3e-5 * std::sqrt(0.5), longer = std::max(sigwak, s1);
    gaussian_wake(sigwak, sigwak / 3, z0, -400, 2000);
    gaussian_bunch(4000, sigma, charge);
    ASSERT_EQ(run(), ok);
    const double total = std::sqrt(sigma * sigma + s1 * s1 + longer * longer);
    const double scale = 1e12 * charge * mc_per_ev;
    double worst = 0;
    for (int i = 1; i <= ptlcom.npart; ++i) {
      const double exact = scale * gauss(-ptlcom.particle[i].x / beta - z0, total);
      worst = std::max(worst, std::abs(along(i) - exact));
    }
    EXPECT_LT(worst, 2e-3 * scale * gauss(0, total)) << sigwak;
  }
}

TEST_F(Force1, Par4AndPar5TakeFromRadiationAndWake) {
  settings.sigma_long = 3e-5;
  gaussian_wake(1e-5, 3e-6, 0, -100, 1000);
  gaussian_bunch(500, 1e-4, 1e-9);
  const auto middle = [&](double par4, double par5, bool wake, double par3 = 0) {
    settings.par[3] = par3, settings.par[4] = par4, settings.par[5] = par5;
    settings.wake_used = wake;
    EXPECT_EQ(run(), ok);
    return along(300);
  };
  const double both = middle(0, 0, true), csr = middle(0, 1, true), wake = middle(1, 0, true);
  EXPECT_NEAR(both, csr + wake, 1e-12 * std::abs(both));
  EXPECT_NEAR(middle(0, 0, false), csr, 1e-12 * std::abs(csr));
  EXPECT_NEAR(middle(0.25, 0.5, true), 0.75 * csr + 0.5 * wake, 1e-12 * std::abs(both));
  EXPECT_EQ(middle(0, 0, true, 17.0), both);
  middle(1, 0, false);
  EXPECT_EQ(size(result), 0);
}

TEST_F(Force1, OnlyTestParticlesFeelAndOnlySourcesGive) {
  settings.sigma_long = 1e-4;
  bunch({0, 1e-4, 1e-4, -3e-4}, 1e-9);
  ptlcom_store.test[2] = false;
  ptlcom_store.source[3] = false;
  ASSERT_EQ(run(), ok);
  EXPECT_EQ(along(2), 0);
  const double at_the_same_place = along(3);
  EXPECT_NE(at_the_same_place, 0);
  ptlcom_store.test[2] = true;
  ASSERT_EQ(run(), ok);
  EXPECT_EQ(along(2), at_the_same_place);
  for (const Force& f : result) EXPECT_TRUE(f.across == 0 && f.up == 0);
}

// h = 1e-6 here: a grid of n steps is reached by a particle (n - 50) steps behind the first one; the kernel
// has 25 more. s1 = 5 h: 10 s1 / st + 1 weights of a wake; one of 5.1 h on steps of 0.6 h keeps its step,
// since 0.2 * 5.1 / 0.6 is cut to 1, and the grid takes 58000 of them; the last one begins 60000 steps ahead.
TEST_F(Force1, EveryCapacityHasItsMessage) {
  const double h = 1e-6;
  settings.sigma_long = h * std::sqrt(2.0) / 0.2 * beta;
  struct Case {
    double steps, sigwak, stpwak;
    const char* message;
  };
  for (const Case& c : {Case{49949.7, 0, 0, " nsam.gt.nsamax"},
                        {1e300, 0, 0, " nsam.gt.nsamax"},
                        {49949.3, 0, 0, " nf2-nf1+1.gt.nsamax"},
                        {49925.3, 0, 0, " nf2-nf1+1.gt.nsamax"},
                        {49924.3, 0, 0, nullptr},
                        {100, 1e-10, 0.9 * 50 * h / 50000, " error in wake convolution: ng2-ng1+1.gt.nsamax"},
                        {35000, 5.1e-6, 6e-7, " error in wake convolution: n2wak2-n1wak2+1.gt.nsamax"},
                        {100, 1.2e-2, 4e-3, " error in summation: ng2-ng1+1.gt.nsamax"}}) {
    bunch({0, c.steps * h}, 1e-9);
    if (c.sigwak > 0) gaussian_wake(c.sigwak, c.stpwak, 0, -30, 30);
    EXPECT_EQ(run() == ok, c.message == nullptr) << c.steps;
    if (c.message != nullptr) {
      EXPECT_EQ(log, (Lines{c.message, " error in force1"}));
    }
  }
}

}  // namespace
}  // namespace tessaron
