#include <algorithm>
#include <cmath>

#include "common/cores/chunks.hpp"
#include "common/end_request.hpp"
#include "forces/fields/image_cost.hpp"
#include "forces/models.hpp"
#include "forces/projected/force_files.hpp"
#include "forces/projected/projected_watch.hpp"
#include "forces/projected/projected_work.hpp"
#include "lattice/arc_position.hpp"
#include "lattice/lattice_record.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

constexpr int fewest_in_chunk = 4096;  ///< particles that are worth a thread's while

struct Range {
  double low = 0, high = 0;  // particle 1
  void take(double z) {
    low = std::min(low, z);
    high = std::max(high, z);
  }
};

/// Offsets along the direction of the orbit at particle 1, and the charges; returns the range of the offsets.
Range project(const ParticleTable& particles, const ArcPosition& reference, double beta,
              ProjectedWork& work) {
  const double x0 = particles[1].x, y0 = particles[1].y;
  const Chunks chunks = Chunks::of(ptlcom.npart, fewest_in_chunk);
  Table<Range, most_chunks> ranges;
  over_chunks(chunks, [&](const Chunk& chunk) {
    Range range;
    for (int i = chunk.first; i <= chunk.last; ++i) {
      const Particle& particle = particles[i];
      const double u = (particle.x - x0) * reference.tx + (particle.y - y0) * reference.ty;
      const double z = -u / beta;
      work.offset[i] = z;
      work.charge[i] = ptlcom.source[i] ? particle.q : 0.0;
      range.take(z);
    }
    ranges[chunk.number] = range;
  });
  Range all;
  for (int c = 1; c <= chunks.count; ++c) all.take(ranges[c].low), all.take(ranges[c].high);
  return all;
}

/// The charges of the line current: the particles' own, or smoothed ones. A smoothed charge counts if the
/// particle that had its number before has the source flag.
LineCharges line_charges(ProjectedWork& work) {
  const int n = ptlcom.npart;
  const auto& par = force_settings.par;
  const bool smooth = chgsmt(par[1], par[2], work.offset.run(1, n), work.charge.run(1, n),
                             work.place.run(1, n), work.smoothing);
  if (!smooth) return {n, &work.offset[1], &work.charge[1]};
  for (int i = 1; i <= n; ++i)
    if (!ptlcom.source[i]) work.charge[i] = 0;
  return {n, &work.place[1], &work.charge[1]};
}

/// The last point of the kernel, in steps ahead of the observer. Its own field ends five rms lengths of a
/// particle ahead; the field of an image also meets those who are behind it, up to a bunch length away.
int kernel_end(const LineGrid& grid) {
  const int own = static_cast<int>(std::round(grid.dr));
  const ForceSettings& f = force_settings;
  const bool whole = f.shield_reach == ShieldReach::bunch && 0 < f.shield && f.shield < f.shield_max;
  return whole ? std::max(own, grid.nsam - 1) : own;
}

/// The kernel at the offsets nf1..nf2 of the grid: the observer behind the source by k h of c t sees the
/// source k h beta of path ahead.
Status csr_part(const LineGrid& grid, double gamma, double beta, double s_ref, ProjectedWork& work,
                Series& kernel) {
  const int nf1 = 1 - grid.nsam, nf2 = kernel_end(grid), nf = nf2 - nf1 + 1;
  if (nf > nsamax) {
    msgout("nf2-nf1+1.gt.nsamax");
    return failed;
  }
  Csr1d& csr = work.csr;
  csr.sigma = grid.s1 * beta;
  csr.gamma = gamma;
  csr.s_ref = s_ref;
  csr.s_lo = nf1 * grid.h * beta;
  csr.s_hi = nf2 * grid.h * beta;
  csr.shield_max = force_settings.shield_max;
  const int m = latcom.narc - 1;
  if (image_cost_is_due(ForceType::projected)) {
    csr.shield = sample_shield();
    tell_image_cost(ForceType::projected, 1, time_of([&] { csr2(latcom.curv, m, csr, nf, work.kernel); }));
  }
  csr.done = false;
  csr.shield = force_settings.shield;
  csr3(latcom.curv, m, csr, nf, work.kernel);
  kernel = {csr.array.run(1, nf).data(), nf1, nf2};
  return ok;
}

/// The sum of the two kernels, each with its scale: par4 takes from the radiation, par5 from the wake.
Status total_kernel(Series kernel, const SmoothedWake* wake, Table<double, nsamax>& cells, Series& total) {
  const double csr_scale = 1.0 - force_settings.par[4], wake_scale = 1.0 - force_settings.par[5];
  const double from = wake ? std::min<double>(wake->ia(), kernel.lo) : kernel.lo;
  const int ng2 = wake ? std::max(wake->ib(), kernel.hi) : kernel.hi;
  if (!(ng2 - from + 1.0 <= nsamax)) {
    msgout("error in summation: ng2-ng1+1.gt.nsamax");
    return failed;
  }
  const int ng1 = static_cast<int>(from);
  const Output wsum{&cells[1], ng1, ng2};
  std::fill_n(wsum.cells, ng2 - ng1 + 1, 0.0);
  if (wake)
    for (int i = static_cast<int>(wake->ia()); i <= wake->ib(); ++i) wsum[i] += (*wake)(i)*wake_scale;
  for (int i = kernel.lo; i <= kernel.hi; ++i) wsum[i] += kernel[i] * csr_scale;
  total = {wsum.cells, ng1, ng2};
  return ok;
}

/// The force on the particles with the test flag: the grid's, linear between its points, 0 off the grid.
void to_particles(const LineGrid& grid, Series field, const Table<double, maxprt>& offset,
                  ForceTable& forces) {
  const auto entry = [&](double k) {
    return k >= 1.0 && k <= grid.nsam ? field.cells[static_cast<int>(k) - 1] : 0.0;
  };
  over_chunks(Chunks::of(ptlcom.npart, fewest_in_chunk), [&](const Chunk& chunk) {
    for (int i = chunk.first; i <= chunk.last; ++i) {
      double along = 0;
      if (ptlcom.test[i]) {
        const double v = (1 - grid.n1) + offset[i] / grid.h;
        if (v >= 1.0 && v < grid.nsam) {
          const int j = static_cast<int>(v);
          const double a = field.cells[j - 1], b = field.cells[j];
          along = a + (b - a) * (v - j);
        } else {
          const double j = std::trunc(v), a = entry(j), b = entry(j + 1.0);
          along = a + (b - a) * (v - j);
        }
      }
      forces[i] = {along, 0, 0};
    }
  });
}

Status evaluate(const ParticleTable& particles, const SectionTable& sections, ProjectedWork& work,
                ForceTable& forces) {
  if (ptlcom.npart == 0) {
    msgout("error: no particles for the projected force");
    return failed;
  }
  const ArcPosition reference = arc_position(particles[1].x, particles[1].y, sections[1]);
  const double p0 = ptlcom.reference_momentum, gamma = std::sqrt(p0 * p0 + 1.0), beta = p0 / gamma;
  const Range range = project(particles, reference, beta, work);
  const LineCharges charges = line_charges(work);

  LineGrid grid{};
  const double sig = force_settings.sigma_long / beta;
  if (const Status status = line_grid(sig, range.low, range.high, grid); status != ok) return status;
  const Output curr{&work.current[1], grid.n1, grid.n2}, field{&work.force[1], grid.n1, grid.n2};
  const Series current{curr.cells, curr.lo, curr.hi}, force{field.cells, field.lo, field.hi};
  line_current(grid, charges, work.moments, curr);
  watch_projected({grid, current, kernel_end(grid), reference, gamma, particles});

  Series kernel{}, wsum{};
  if (const Status status = csr_part(grid, gamma, beta, reference.s, work, kernel); status != ok)
    return status;
  SmoothedWake smoothed;
  SmoothedWake* const wake = force_settings.wake_used ? &smoothed : nullptr;
  if (wake != nullptr)
    if (const Status status = wake->prepare(grid, work.wake, work.convolution); status != ok) return status;
  if (const Status status = total_kernel(kernel, wake, work.total, wsum); status != ok) return status;

  convol(wsum, current, field, 1, grid.h / speed_of_light * mc_per_ev, work.convolution);
  to_particles(grid, force, work.offset, forces);
  if (!force_settings.force_test || end_requested()) return ok;
  return force1_diagnostics({grid, sig, current, wsum, force, wake}, ptlcom.npart, particles, forces);
}

}  // namespace

Status force1(const ParticleTable& particles, const SectionTable& sections, ProjectedWork& work,
              ForceTable& forces) {
  const Status status = evaluate(particles, sections, work, forces);
  if (status != ok) msgout("error in force1");
  return status;
}

}  // namespace tessaron
