#include "motion/batched_push.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>

#include "beam/bunch_record_owner.hpp"
#include "lattice/deck_lattice.hpp"
#include "motion/pusher_fast.hpp"

namespace tessaron::test {
namespace {

struct Tables {
  ParticleTable particle;
  SectionTable section;
};

// A bunch on its way through drift, dipole, quadrupole and sextupole, with many particles out of reach of a
// boundary and some astride: pushed as one and each for itself. The bunch has a last batch that is not full.
TEST(BatchedPush, GivesWhatEachParticleGetsForItself) {
  constexpr int n = 1003;
  ASSERT_EQ(read_lattice(
                "{ dipole { position { delta_s=0.2 } properties { r=1.2 } position { delta_s=0.5 } } "
                "quadrupole { position { delta_s=0.5 } properties { strength=3 } position { delta_s=0.3 } } "
                "multipole { position { delta_s=0.2 } properties { poles=6 strength=30 alpha=10 } "
                "position { delta_s=0.4 } } }"),
            ok);
  const auto start = std::make_unique<Tables>(), batched = std::make_unique<Tables>(),
             single = std::make_unique<Tables>();
  const auto fa = std::make_unique<ForceTable>(), fb = std::make_unique<ForceTable>();
  std::mt19937 random(7);
  std::normal_distribution<double> normal;
  for (const double momentum : {3.0, 1e4}) {
    ptlcom_store.reference_momentum = momentum;
    for (int j = 1; j <= n; ++j) {
      start->particle[j] = {1e-3 * normal(random),
                            1e-3 * normal(random),
                            1e-3 * normal(random),
                            momentum * (1 + 1e-3 * normal(random)),
                            1e-3 * normal(random),
                            1e-3 * normal(random),
                            1};
      start->section[j] = 1;
      (*fa)[j] = {0.1 * normal(random), 0, 0};
      (*fb)[j] = {0.1 * normal(random), j % 97 == 0 ? 0.01 : 0.0, 0};
    }
    for (const bool with_force : {false, true}) {
      *batched = *start, *single = *start;
      for (double t = 0; t < 2.8; t += 0.07) {
        const PushForce force{with_force ? fa.get() : nullptr, with_force ? fb.get() : nullptr, t, t + 0.07};
        track_all(n, batched->particle, batched->section, batched->particle, batched->section, t, t + 0.07,
                  force);
        for (int j = 1; j <= n; ++j) {
          const ForceInterval own{t, t + 0.07, (*fa)[j], (*fb)[j]};
          bool crossing = false;
          for (double at = t; at < t + 0.07;)
            lattice_step(single->particle[j], single->section[j], crossing, at, t + 0.07,
                         with_force ? &own : nullptr);
          if (crossing) pusher::finish_crossing(single->particle[j], single->section[j]);
        }
      }
      for (int j = 1; j <= n; ++j) {
        const Particle &a = batched->particle[j], &b = single->particle[j];
        ASSERT_EQ(batched->section[j], single->section[j]) << j;
        EXPECT_LT(std::hypot(a.x - b.x, a.y - b.y, a.z - b.z), 1e-13) << j;
        EXPECT_LT(std::hypot(a.phi - b.phi, a.theta - b.theta, a.p / b.p - 1), 1e-14) << j;
      }
    }
  }
}

}  // namespace
}  // namespace tessaron::test
