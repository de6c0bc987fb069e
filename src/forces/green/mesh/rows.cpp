#include "forces/green/mesh/rows.hpp"

#include <cmath>

#include "common/console.hpp"
#include "common/end_request.hpp"
#include "common/freeform.hpp"
#include "forces/green/mesh/lookup.hpp"
#include "group/process_group.hpp"

namespace tessaron {

namespace {

std::int64_t progress_step(std::int64_t total) {
  for (const std::int64_t step : {1000000, 100000, 10000}) {
    if (total >= step) return step;
  }
  return 1000;
}

/// Marks the rows around all positions of this process's points relative to the sources.
void mark_needed(const ObservationPoints& points, const ParticleTable& particles, const ProcessIdentity& id,
                 GreenMesh& mesh) {
  for (std::int32_t i = 1; i <= ptlcom.npart && !end_requested(); ++i) {
    if (ptlcom.source[i]) {
      const Particle& p = particles[i];
      const double c = std::cos(p.phi), s = std::sin(p.phi);
      for (std::int32_t e = 1; e <= points.ne; ++e) {
        if (!own_item(e, id)) continue;
        const double dx = points.lab[e].x - p.x, dy = points.lab[e].y - p.y;
        gmesh1(mesh, c * dx + s * dy, c * dy - s * dx);
      }
    }
    if (id.master) green_progress(" isrc_gmesh1=", i, " npart =", ptlcom.npart);
  }
}

/// Computes this process's share of the rows that are required, and zeroes the others.
void compute_share(const ProcessIdentity& id, const GreenField& source, GreenMesh& mesh) {
  std::int64_t required = 0;
  for (int i = mesh.gfirst; i <= mesh.glast; ++i) {
    for (std::int64_t j = mesh.line[i - 1].gend + 1; j <= mesh.line[i].gend && !end_requested(); ++j) {
      const int place = static_cast<int>(j - mesh.gbase);
      mesh.gtab[place] = {};
      if (mesh.gflag[place] && own_item(++required, id)) green_fill_row(mesh, source, i, j);
      if (id.master) {
        const bool end = place == 1 || place == mesh.nblock || j % progress_step(mesh.nblock) == 0;
        if (end) console_line(FreeForm(" i_green    =", j, " ngreen=", mesh.ngreen).items());
      }
    }
  }
}

}  // namespace

void green_progress(std::string_view text, std::int64_t item, std::string_view text2, std::int64_t total) {
  if (item != 1 && item != total && item % progress_step(total) != 0) return;
  console_line(FreeForm(text, item, text2, total).items());
}

void green_rows_of_block(const ObservationPoints& points, const ParticleTable& particles,
                         const GreenField& source, GreenMesh& mesh) {
  const ProcessIdentity id = pgflags();
  // Marking what is needed costs sources times points; beyond this ratio computing all rows costs less.
  const double tables = static_cast<double>(mesh.ngreen / maxgre + 1);
  const double ratio =
      tables * (static_cast<double>(points.ne) * ptlcom.npart / 111.5) / static_cast<double>(mesh.nblock);
  if (id.master) console_line(FreeForm("--- required flags ? ---: ", ratio).items());
  if (ratio > 1) {
    for (std::int32_t place = 1; place <= mesh.nblock; ++place) mesh.gflag[place] = true;
  } else {
    mark_needed(points, particles, id, mesh);
    if (mesh.nblock > 0) {
      pgorf(&mesh.gflag[1], mesh.nblock);
      pgflg(&mesh.gflag[1], mesh.nblock, maxgre);
    }
  }
  if (mesh.nblock == 0) return;
  mesh.all_used = true;
  compute_share(id, source, mesh);
  pgsum(&mesh.gtab[1].f1, 3, mesh.nblock);
  pgrows(&mesh.gtab[1].f1, 3, mesh.nblock, maxgre);
  for (std::int32_t place = 1; place <= mesh.nblock; ++place) {
    if (!mesh.gflag[place]) mesh.empty(place);
  }
}

}  // namespace tessaron
