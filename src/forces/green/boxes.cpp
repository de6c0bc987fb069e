#include "forces/green/boxes.hpp"

#include <algorithm>
#include <cmath>

#include "common/numbers/sort2.hpp"
#include "forces/fields/field_settings.hpp"
#include "forces/force_settings.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

constexpr int box_minimum = 4;                 ///< particles that are worth four nodes
constexpr std::int64_t most_cells = 90000000;  ///< along or across: node numbers stay exact reals

void find_range(const ParticleTable& particles, BoxMesh& mesh) {
  mesh.umin = mesh.umax = mesh.vmin = mesh.vmax = 0;
  for (std::int32_t i = 1; i <= ptlcom.npart; ++i) {
    if (!ptlcom.test[i]) continue;
    const double u = mesh.u_of(particles[i]), v = mesh.v_of(particles[i]);
    mesh.umin = std::min(mesh.umin, u);
    mesh.umax = std::max(mesh.umax, u);
    mesh.vmin = std::min(mesh.vmin, v);
    mesh.vmax = std::max(mesh.vmax, v);
  }
}

/// Splits a range into whole cells of about `size`. A bunch thinner than a cell gets one; one of no width at
/// all gets a cell of the full size.
void split(double range, double size, std::int64_t& n, double& cell) {
  n = whole_part(range / size, 1, most_cells);
  cell = range > 0 ? range / static_cast<double>(n) : size;
}

/// The number of the cell around a particle, 1 or more.
double cell_number(const BoxMesh& mesh, const Particle& particle) {
  const std::int64_t iu = mesh.cell_along(mesh.u_of(particle)), iv = mesh.cell_across(mesh.v_of(particle));
  return static_cast<double>(iu + 1 + (mesh.nu + 1) * iv);
}

/// Sorts the particles by their cells; cells with enough of them become boxes, in the order of the cells.
void find_boxes(const ParticleTable& particles, SortSpace& sort, BoxMesh& mesh) {
  auto& [key, other] = sort;
  const std::int32_t npart = ptlcom.npart;
  for (std::int32_t i = 1; i <= npart; ++i) {
    key[i] = ptlcom.test[i] ? cell_number(mesh, particles[i]) : 0;
    other[i] = i;
  }
  std::ranges::fill(mesh.inbox.run(1, npart), false);
  sort2(npart, &key[1], &other[1]);
  mesh.nbox = 0;
  for (std::int32_t first = 1, next; first <= npart; first = next) {
    for (next = first + 1; next <= npart && key[next] == key[first];) ++next;
    if (key[first] == 0 || next - first < box_minimum) continue;
    mesh.box[++mesh.nbox].cell = static_cast<std::int64_t>(key[first]);
    for (std::int32_t k = first; k < next; ++k) {
      const auto i = static_cast<std::int32_t>(other[k]);
      mesh.inbox[i] = true;
      mesh.pindex[i] = mesh.nbox;
    }
  }
}

/// Each distinct corner of the boxes becomes an observation point, in the order of the node numbers.
void take_nodes(SortSpace& sort, BoxMesh& mesh, ObservationPoints& points) {
  auto& [key, other] = sort;
  const std::int64_t row = mesh.nu + 1;
  int n = 0;
  for (std::int32_t k = 1; k <= mesh.nbox; ++k) {
    const std::int64_t nodes[] = {0, 1, row, row + 1};
    for (int corner = 0; corner < 4; ++corner) {
      key[++n] = static_cast<double>(mesh.box[k].cell + nodes[corner]);
      other[n] = 4 * (k - 1) + corner;
    }
  }
  sort2(n, &key[1], &other[1]);
  for (int m = 1; m <= n; ++m) {
    if (m == 1 || key[m] != key[m - 1]) {
      const auto node = static_cast<std::int64_t>(key[m]) - 1;
      const double u = mesh.umin + static_cast<double>(node % row) * mesh.du;
      const double v = mesh.vmin + static_cast<double>(node / row) * mesh.dv;
      points.relative[++points.ne] = {u * mesh.c - v * mesh.s, u * mesh.s + v * mesh.c};
    }
    const auto place = static_cast<std::int32_t>(other[m]);
    mesh.box[place / 4 + 1].corner[place % 4] = points.ne;
  }
}

void take_single_particles(const ParticleTable& particles, BoxMesh& mesh, ObservationPoints& points) {
  for (std::int32_t i = 1; i <= ptlcom.npart; ++i) {
    if (!ptlcom.test[i] || mesh.inbox[i]) continue;
    points.relative[++points.ne] = {particles[i].x - mesh.x, particles[i].y - mesh.y};
    mesh.pindex[i] = points.ne;
  }
}

GreenRow interpolate(const BoxMesh& mesh, const ForceBox& box, double u, double v,
                     const ObservationPoints& points) {
  const double ta = (u - mesh.umin) / mesh.du - static_cast<double>(mesh.cell_along(u));
  const double tb = (v - mesh.vmin) / mesh.dv - static_cast<double>(mesh.cell_across(v));
  const double weight[] = {(1 - ta) * (1 - tb), ta * (1 - tb), (1 - ta) * tb, ta * tb};
  GreenRow mean{};
  for (int corner = 0; corner < 4; ++corner) {
    const GreenRow& at = points.sum[box.corner[corner]];
    mean.f1 += weight[corner] * at.f1;
    mean.f2 += weight[corner] * at.f2;
    mean.bz += weight[corner] * at.bz;
  }
  return mean;
}

Force turn_to_motion(const GreenRow& f, const ReferenceMotion& reference, const Particle& particle) {
  const double d = reference.phi - particle.phi, beta = beta_of(particle);
  const double c = std::cos(d), s = std::sin(d), half = std::sin(d / 2);
  const double P = (reference.beta - beta) - 2 * reference.beta * half * half;  // beta_ref cos d - beta
  const double Qd = reference.beta * s;
  return {f.f1 * c - f.f2 * s - f.bz * Qd, f.f1 * s + f.f2 * c + f.bz * P, 0};
}

}  // namespace

void frcbox(const ParticleTable& particles, double sigma_long, double sigma_rad, bool to_mesh,
            SortSpace& sort, BoxMesh& mesh, ObservationPoints& points) {
  const Particle& reference = particles[1];
  mesh.x = reference.x, mesh.y = reference.y;
  mesh.c = std::cos(reference.phi), mesh.s = std::sin(reference.phi);
  mesh.nbox = 0;
  points.ne = 0;
  if (to_mesh) {
    find_range(particles, mesh);
    split(mesh.umax - mesh.umin, force_settings.sbox * sigma_long, mesh.nu, mesh.du);
    split(mesh.vmax - mesh.vmin, force_settings.rbox * sigma_rad, mesh.nv, mesh.dv);
    find_boxes(particles, sort, mesh);
    take_nodes(sort, mesh, points);
  } else {
    std::ranges::fill(mesh.inbox.run(1, ptlcom.npart), false);
  }
  const std::int32_t nodes = points.ne;
  take_single_particles(particles, mesh, points);
  for (std::int32_t e = 1; e <= points.ne; ++e) {
    points.lab[e] = {points.relative[e].x + mesh.x, points.relative[e].y + mesh.y};
  }
  if (to_mesh) msgout(FreeForm("boxes =", mesh.nbox, " e_points=", nodes, " p_points=", points.ne - nodes));
}

void frcint(const ParticleTable& particles, const ReferenceMotion& reference, const BoxMesh& mesh,
            const ObservationPoints& points, ForceTable& forces) {
  for (std::int32_t i = 1; i <= ptlcom.npart; ++i) {
    forces[i] = Force{};
    if (!ptlcom.test[i]) continue;
    const Particle& p = particles[i];
    const GreenRow f = mesh.inbox[i]
                           ? interpolate(mesh, mesh.box[mesh.pindex[i]], mesh.u_of(p), mesh.v_of(p), points)
                           : points.sum[mesh.pindex[i]];
    forces[i] = turn_to_motion(f, reference, p);
  }
}

}  // namespace tessaron
