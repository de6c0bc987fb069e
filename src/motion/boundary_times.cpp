#include <algorithm>

#include "common/console.hpp"
#include "motion/pusher.hpp"
#include "motion/run_preparation.hpp"

namespace tessaron {

namespace {

constexpr double no_limit = 1e300;  // [m]

/// Tracks a particle over one boundary of its section; the program ends if it does not get there.
void cross(Particle& state, std::int32_t section, std::int32_t next, bool& crossing, double& t, double limit,
           std::string_view message) {
  std::int32_t reached = section;
  lattice_step(state, reached, crossing, t, limit, nullptr);
  if (reached != next) fatal_stop(message);
}

/// A row holds the momentum in place of the radius until all rows are filled.
BoundaryPoint row(const Particle& state, double ct) {
  return {state.x, state.y, state.z, state.p, state.phi, state.theta, ct};
}

}  // namespace

void fbpts(const Particle& state, std::int32_t section, double ct, BoundaryPoints& table) {
  const std::int32_t nlat = latcom.nlat;
  const std::int32_t start = std::clamp(section, 1, nlat + 1);

  // The crossing flag lives on from boundary to boundary, so that each arc gets its entry edge.
  Particle work = state;
  double t = ct;
  bool crossing = false;
  for (std::int32_t i = start; i <= nlat; ++i) {
    cross(work, i, i + 1, crossing, t, ct + no_limit, "error in fbpts (1)");
    table[i] = row(work, t);
  }

  work = state;
  t = ct;
  crossing = false;
  for (std::int32_t j = start; j >= 2; --j) {
    cross(work, j, j - 1, crossing, t, ct - no_limit, "error in fbpts (2)");
    table[j - 1] = row(work, t);
  }

  for (std::int32_t i = 1; i <= nlat; ++i) {
    const double momentum = table[i].local_radius, r = latcom.bnd[i].r;
    table[i].local_radius = r == 0 ? 0 : r * momentum / ptlcom.reference_momentum;
  }
}

}  // namespace tessaron
