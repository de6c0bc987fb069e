#include "forces/green/mesh/rows.hpp"

#include <algorithm>
#include <span>

#include "beam/bunch_record.hpp"
#include "common/console.hpp"
#include "common/cores/chunks.hpp"
#include "common/end_request.hpp"
#include "common/freeform.hpp"
#include "group/process_group.hpp"

namespace tessaron {

namespace {

std::int64_t progress_step(std::int64_t total) {
  for (const std::int64_t step : {1000000, 100000, 10000}) {
    if (total >= step) return step;
  }
  return 1000;
}

/// The line of the present block that holds row j.
int line_of_row(const GreenMesh& mesh, std::int64_t j) {
  int low = mesh.gfirst, high = mesh.glast;
  while (low < high) {
    const int middle = (low + high) / 2;
    if (mesh.line[middle].gend < j)
      low = middle + 1;
    else
      high = middle;
  }
  return low;
}

void fill_row(GreenMesh& mesh, const GreenField& source, int place) {
  const std::int64_t j = place + mesh.gbase;
  const int i = line_of_row(mesh, j);
  GreenStretches stretches;
  green_stretches(mesh, i, stretches);
  source.at(mesh.line[i].x, green_row_place(stretches, j), mesh.gtab[place]);
}

/// Computes this process's share of the rows that are wanted, and zeroes the others.
void compute_share(const ProcessIdentity& id, const GreenField& source, GreenMesh& mesh) {
  std::int64_t required = 0;
  mesh.nused = mesh.nfilled = 0;
  for (std::int32_t place = 1; place <= mesh.nblock && !end_requested(); ++place) {
    const std::int64_t j = place + mesh.gbase;
    mesh.gtab[place] = {};
    if (mesh.gflag[place] && own_item(++required, id)) mesh.used[++mesh.nused] = place;
    if (place == 1 || place == mesh.nblock || j % progress_step(mesh.nblock) == 0) {
      green_fill_wanted(mesh, source);
      if (id.master) console_line(FreeForm(" i_green    =", j, " ngreen=", mesh.ngreen).items());
    }
  }
}

}  // namespace

void green_progress(std::string_view text, std::int64_t item, std::string_view text2, std::int64_t total) {
  if (item != 1 && item != total && item % progress_step(total) != 0) return;
  console_line(FreeForm(text, item, text2, total).items());
}

void green_fill_wanted(GreenMesh& mesh, const GreenField& source) {
  const std::span<std::int32_t> wanted = mesh.used.run(mesh.nfilled + 1, mesh.nused - mesh.nfilled);
  std::ranges::sort(wanted);  // the threads have listed them in any order
  over_chunks(Chunks::of(static_cast<int>(wanted.size()), 1, 256), [&](const Chunk& chunk) {
    for (int k = chunk.first; k <= chunk.last && !end_requested(); ++k) {
      fill_row(mesh, source, mesh.used[mesh.nfilled + k]);
    }
  });
  mesh.nfilled = mesh.nused;
}

bool green_wanting_pays(std::int32_t points, const GreenMesh& mesh) {
  const double tables = static_cast<double>(mesh.ngreen / maxgre + 1);
  const double ratio =
      tables * (static_cast<double>(points) * ptlcom.npart / 111.5) / static_cast<double>(mesh.nblock);
  if (pgflags().master) console_line(FreeForm("--- required flags ? ---: ", ratio).items());
  return !(ratio > 1);
}

void green_rows_of_block(bool all, const GreenField& source, GreenMesh& mesh) {
  if (mesh.nblock == 0) return;
  if (all) {
    std::ranges::fill(mesh.gflag.run(1, mesh.nblock), true);
  } else {
    pgorf(&mesh.gflag[1], mesh.nblock);
    pgflg(&mesh.gflag[1], mesh.nblock, maxgre);
  }
  mesh.all_used = true;
  compute_share(pgflags(), source, mesh);
  pgsum(&mesh.gtab[1].f1, 3, mesh.nblock);
  pgrows(&mesh.gtab[1].f1, 3, mesh.nblock, maxgre);
  for (std::int32_t place = 1; place <= mesh.nblock; ++place) {
    if (!mesh.gflag[place]) mesh.empty(place);
  }
}

}  // namespace tessaron
