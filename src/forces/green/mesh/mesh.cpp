#include "forces/green/mesh/mesh.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "common/console.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

[[noreturn]] void mesh_too_large() {
  msgout("error exit: meshing of green's function");
  msgout("array size 'maxgre' not sufficient");
  fatal_stop();
}

/// 1 / length; 0 for a length that has no finite inverse.
double inverse(double length) {
  const double per_length = 1 / length;
  return length > 0 && std::isfinite(per_length) ? per_length : 0;
}

/// Intervals of a stretch of this length with steps of at most `step`. A line with more rows than the table
/// fits into no block.
std::int64_t intervals(double length, double step) {
  const double whole = std::trunc(length / step);
  if (!(whole < maxgre)) mesh_too_large();
  return static_cast<std::int64_t>(std::max(whole, 0.0)) + 1;
}

/// The last row of a stretch that begins at row j. The quotient is cut together with the row number: the fine
/// stretch of 20 sigma_rad holds a whole number of steps, and the sum hides which way the quotient was
/// rounded.
std::int64_t last_row(std::int64_t j, double length, double step) {
  const std::int64_t n = intervals(length, step);  // tells a line that fits nowhere
  const double last = std::trunc(static_cast<double>(j + 1) + length / step);
  return std::max(j + n, static_cast<std::int64_t>(last));
}

void take_lines(GreenMesh& mesh) {
  const GreenLines& lines = mesh.laid;
  mesh.nxg = lines.n;
  mesh.line[0] = {};
  for (int i = 1; i <= mesh.nxg; ++i) {
    mesh.line[i].x = lines.x[i];
    mesh.line[i].per_width = i < mesh.nxg ? inverse(lines.x[i + 1] - lines.x[i]) : 0;
  }
}

/// The inner lines reach from the last one at or before -5 sigma_long to the first one at or behind
/// +5 sigma_long, as far as the mesh does.
void find_inner_lines(double sigma_long, GreenMesh& mesh) {
  int at_or_before = 0, below = 0;
  for (int i = 1; i <= mesh.nxg; ++i) {
    if (mesh.line[i].x <= -5 * sigma_long) at_or_before = i;
    if (mesh.line[i].x < 5 * sigma_long) below = i;
  }
  mesh.iline1 = std::max(at_or_before, 1);
  mesh.iline2 = std::min(below + 1, mesh.nxg);
}

void fill_search_cells(GreenMesh& mesh) {
  mesh.cells_per_metre = (maxxgidx - 1) * inverse(mesh.line[mesh.nxg].x - mesh.line[1].x);
  mesh.xgidx.fill(1);
  for (int i = 2; i <= mesh.nxg - 1; ++i) {
    mesh.xgidx[std::min(green_search_cell(mesh, mesh.line[i].x) + 2, maxxgidx)] = i;
  }
  for (int c = 2; c <= maxxgidx; ++c) mesh.xgidx[c] = std::max(mesh.xgidx[c], mesh.xgidx[c - 1]);
  mesh.xgidx[maxxgidx] = mesh.nxg;
}

/// Lowest and highest b of the polygon in the strip from xa to xb.
struct Range {
  double low = std::numeric_limits<double>::infinity(), high = -low;
  void add(double b) {
    low = std::min(low, b);
    high = std::max(high, b);
  }
};
Range gmshy(const Polygon& polygon, double xa, double xb) {
  Range range;
  for (int j = 1; j <= maxcorner; ++j) {
    PlanePoint p = polygon[j], q = polygon[j == maxcorner ? 1 : j + 1];
    if (p.x > q.x) std::swap(p, q);
    if (q.x < xa || p.x > xb) continue;
    const auto at = [&](double x) { return p.y + (q.y - p.y) * ((x - p.x) / (q.x - p.x)); };
    range.add(p.x < xa ? at(xa) : p.y);
    range.add(q.x > xb ? at(xb) : q.y);
  }
  return range;
}

void find_line_ends(const Polygon& polygon, GreenMesh& mesh) {
  Range before;
  for (int i = 1; i <= mesh.nxg; ++i) {
    const Range behind = i < mesh.nxg ? gmshy(polygon, mesh.line[i].x, mesh.line[i + 1].x) : before;
    mesh.line[i].ylo = i == 1 ? behind.low : std::min(before.low, behind.low);
    mesh.line[i].yhi = i == 1 ? behind.high : std::max(before.high, behind.high);
    before = behind;
  }
}

/// The largest step in b at place x.
double row_step(double x, double sigma_long, const GreenZones& zones) {
  double step = 5 * sigma_long;
  for (int j = 1; j <= zones.n; ++j) {
    const GreenZone& zone = zones.zone[j];
    if (zone.from <= x && x <= zone.to) step = std::min(step, zone.step);
  }
  return step;
}

/// The rows of an inner line: fine within 10 sigma_rad of the sub-bunch's path.
GreenStretches inner_stretches(const GreenLine& line, std::int64_t j0, double coarse, double sigma_rad) {
  const double fine = std::min(coarse, 0.2 * sigma_rad), R = 10 * sigma_rad;
  const double y0 = line.ylo, y3 = line.yhi;
  GreenStretches s{{y0, y0, y0, y3}, {j0, j0, j0, j0}, {0, 0, 0}};
  double step[3] = {0, 0, coarse};
  if (y0 < -R && y3 > R) {
    s.yb[1] = -R, s.yb[2] = R;
    step[0] = coarse, step[1] = fine;
  } else if (y0 > -R && y3 < R) {
    step[2] = fine;
  } else if (y0 < -R && y3 > -R) {
    s.yb[2] = -R;
    step[1] = coarse, step[2] = fine;
  } else if (y0 < R && y3 > R) {
    s.yb[2] = R;
    step[1] = fine;
  }
  for (int k = 0; k < 3; ++k) {
    const double length = s.yb[k + 1] - s.yb[k];
    s.jb[k + 1] = step[k] > 0 ? last_row(s.jb[k], length, step[k]) : s.jb[k];
    s.per_metre[k] = static_cast<double>(s.jb[k + 1] - s.jb[k]) * inverse(length);
  }
  return s;
}

void lay_rows(const GreenMeshPlan& plan, const GreenZones& zones, GreenMesh& mesh) {
  for (int i = 1; i <= mesh.nxg; ++i) {
    GreenLine& line = mesh.line[i];
    const std::int64_t j0 = mesh.line[i - 1].gend + 1;
    const double step = row_step(line.x, plan.sigma_long, zones);
    if (mesh.is_inner(i)) {
      const int k = i - mesh.iline1 + 1;
      if (k > maxhlp) fatal_stop("error in gmesh0: k.gt.maxhlp");
      mesh.inner[k] = inner_stretches(line, j0, step, plan.sigma_rad);
      line.gend = mesh.inner[k].jb[3];
    } else {
      const std::int64_t n = intervals(line.yhi - line.ylo, step);
      line.per_metre = static_cast<double>(n) * inverse(line.yhi - line.ylo);
      line.gend = j0 + n;
    }
  }
  mesh.ngreen = mesh.line[mesh.nxg].gend;
}

/// Empties places 1..nblock.
void empty_table(GreenMesh& mesh) {
  if (mesh.all_used) {
    mesh.nempty = 0;
  } else {
    for (std::int32_t k = 1; k <= mesh.nused; ++k) mesh.empty(mesh.used[k]);
  }
  mesh.nused = mesh.nfilled = 0;
  mesh.all_used = false;
  while (mesh.nempty < mesh.nblock) mesh.empty(++mesh.nempty);
}

/// Takes as many lines from gfirst on as the table holds.
bool take_block(GreenMesh& mesh) {
  const std::int64_t before = mesh.line[mesh.gfirst - 1].gend;
  mesh.glast = mesh.gfirst;
  while (mesh.glast < mesh.nxg && mesh.line[mesh.glast + 1].gend - before < mesh.capacity) ++mesh.glast;
  if (mesh.glast == mesh.gfirst && mesh.nxg > 1) mesh_too_large();
  mesh.gbase = before;
  mesh.nblock = static_cast<std::int32_t>(mesh.line[mesh.glast].gend - before);
  if (mesh.nblock > mesh.capacity) mesh_too_large();
  empty_table(mesh);
  return mesh.more();
}

}  // namespace

bool gmesh0(const GreenMeshPlan& plan, GreenMesh& mesh) {
  const MeshSteps steps = mesh_steps(plan.sigma_long, plan.shielded);
  GreenZones zones;
  green_zones(plan.relpoly, plan.arcs, plan.narcs, steps, zones);
  double xmin, xmax;
  polygon_range(plan.relpoly, xmin, xmax);
  if (!gmshx(xmin, xmax, steps, zones, mesh.laid) || 3 * mesh.laid.n > maxgre) mesh_too_large();

  mesh.capacity = std::min(plan.capacity, maxgre);
  take_lines(mesh);
  find_inner_lines(plan.sigma_long, mesh);
  fill_search_cells(mesh);
  find_line_ends(plan.relpoly, mesh);
  lay_rows(plan, zones, mesh);
  mesh.gfirst = 1;
  return take_block(mesh);
}

bool gmesh0_next(GreenMesh& mesh) {
  mesh.gfirst = mesh.glast;
  return take_block(mesh);
}

void green_stretches(const GreenMesh& m, int i, GreenStretches& stretches) {
  if (m.is_inner(i)) {
    stretches = m.inner[i - m.iline1 + 1];
    return;
  }
  const GreenLine& line = m.line[i];
  const std::int64_t j0 = m.line[i - 1].gend + 1;
  stretches = {{line.ylo, line.ylo, line.ylo, line.yhi}, {j0, j0, j0, line.gend}, {0, 0, line.per_metre}};
}

double green_row_place(const GreenStretches& s, std::int64_t j) {
  const int k = j < s.jb[1] ? 0 : (j < s.jb[2] ? 1 : 2);
  const std::int64_t n = s.jb[k + 1] - s.jb[k];
  if (n == 0) return s.yb[k];
  return s.yb[k] + (s.yb[k + 1] - s.yb[k]) * (static_cast<double>(j - s.jb[k]) / static_cast<double>(n));
}

}  // namespace tessaron
