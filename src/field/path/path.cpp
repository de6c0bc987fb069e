#include "field/path/path.hpp"

#include <algorithm>
#include <cmath>

#include "field/ffield.hpp"
#include "field/path/path_build.hpp"
#include "field/path/path_query.hpp"
#include "field/source_record.hpp"

namespace tessaron {

namespace {

constexpr double on_boundary = 1e-09;      // the reference particle stands on a boundary [m]
constexpr double flat_turn = 2.45e-08;     // 1 - cos of this is below the rounding of 1 [rad]
constexpr double no_walking_step = 1e300;  // there are no two boundaries to step between [m]
constexpr double default_reach = 1.0;      // how far to search behind a path without extent [m]
constexpr double smallest_extent = 1e-3;   // a path shorter than this gives no reach of its own [m]
constexpr double entrance_length = 10.0;   // straight way ahead of the first node in the list of arcs [m]

/// A node while the path is being built.
struct NodeRow {
  double phi;  // direction in the path frame
  double ct;
};

struct Nodes {
  Table<NodeRow, maxnode> row;
  PathVector at_reference;  // place of node `knode` in the path frame
};

void set_frame(const Particle& particle, double ct, PathRecord& path) {
  path.org_x = particle.x;
  path.org_y = particle.y;
  path.org_phi = particle.phi;
  const double c = std::cos(particle.phi), s = std::sin(particle.phi);
  path.rot[0][0] = c, path.rot[0][1] = s;
  path.rot[1][0] = -s, path.rot[1][1] = c;
  path.gam = std::sqrt(particle.p * particle.p + 1);
  path.vel = speed_of_light * (particle.p / path.gam);
  path.beta = std::sqrt(1 - 1 / (path.gam * path.gam));
  path.t_org = ct / speed_of_light;
}

PathVector to_frame(const PathRecord& path, double x, double y) {
  const double dx = x - path.org_x, dy = y - path.org_y;
  return {path.rot[0][0] * dx + path.rot[0][1] * dy, path.rot[1][0] * dx + path.rot[1][1] * dy};
}

/// The smallest way of the particle between neighbouring boundaries: a walk in steps of it misses none.
double smallest_spacing(const BoundaryPoints& rows, int nlat, double beta) {
  if (nlat < 2) return no_walking_step;
  double smallest = std::abs(rows[2].ct - rows[1].ct);
  for (int i = 3; i <= nlat; ++i) smallest = std::min(smallest, std::abs(rows[i].ct - rows[i - 1].ct));
  return smallest * beta;
}

/// Makes nodes of the boundaries and puts the reference particle among them, unless it stands on one.
void collect_nodes(const Particle& particle, const BoundaryPoints& rows, int nlat, double ct, double beta,
                   Nodes& nodes, PathRecord& path) {
  int nearest = 1;
  for (int i = 2; i <= nlat; ++i) {
    if (std::abs(rows[i].ct - ct) < std::abs(rows[nearest].ct - ct)) nearest = i;
  }
  const bool on_a_boundary = nlat > 0 && std::abs(rows[nearest].ct - ct) * beta < on_boundary;
  if (on_a_boundary) {
    path.knode = nearest;
    path.nnode = nlat;
  } else {
    path.knode = 1;
    while (path.knode <= nlat && !(rows[path.knode].ct > ct)) ++path.knode;
    path.nnode = nlat + 1;
  }
  for (int i = 1; i <= path.nnode; ++i) {
    if (!on_a_boundary && i == path.knode) {
      nodes.row[i] = {0, ct};
      nodes.at_reference = to_frame(path, particle.x, particle.y);
      continue;
    }
    const BoundaryPoint& row = rows[!on_a_boundary && i > path.knode ? i - 1 : i];
    nodes.row[i] = {row.phi - path.org_phi, row.ct};
    if (i == path.knode) nodes.at_reference = to_frame(path, row.x, row.y);
  }
  for (int i = 1; i <= path.nnode; ++i) {
    path.snode[i] = beta * nodes.row[i].ct - beta * ct;
    path.e[i] = {std::cos(nodes.row[i].phi), std::sin(nodes.row[i].phi)};
  }
}

/// Curvature of segment i, and the stretch by which it is evaluated; its base is a node without position yet.
void set_segment(int i, const Nodes& nodes, PathRecord& path) {
  const double length = path.snode[i + 1] - path.snode[i];
  const double turn = nodes.row[i + 1].phi - nodes.row[i].phi;
  const double curvature = length > 0 ? turn / length : 0;
  const double kappa = std::abs(curvature);
  path.straight[i] = kappa == 0;
  path.flat[i] = kappa != 0 && kappa * length < flat_turn;
  path.seg[i] = {path.snode[i], path.snode[i + 1], kappa, 0};
  if (!path.straight[i] && !path.flat[i]) path.seg[i].inv_sin = 1 / std::sin(kappa * length);

  const int base = i < path.knode ? i + 1 : i;
  PathStretch& stretch = path.stretch[i];
  stretch.s = path.snode[base];
  stretch.ex = path.e[base].x;
  stretch.ey = path.e[base].y;
  stretch.kappa = curvature;
  stretch.two_by_kappa = path.straight[i] || path.flat[i] ? 0 : 2 / curvature;
  stretch.end = path.snode[i + 1];
}

void set_extension(const PathRecord& path, PathStretch& stretch, int node, double end) {
  stretch = {path.snode[node], path.r[node].x, path.r[node].y, path.e[node].x, path.e[node].y, 0, 0, end, 0};
}

/// Puts the nodes on the interpolated curve that runs through the reference particle.
void place_nodes(const PathVector& at_reference, PathRecord& path) {
  path.r[path.knode] = at_reference;
  const auto far_end = [&](int segment, int base, int node) {
    PathStretch& stretch = path.stretch[segment];
    stretch.x = path.r[base].x;
    stretch.y = path.r[base].y;
    const CurvePoint p = path_point(stretch, path.snode[node]);
    path.r[node] = {p.x, p.y};
  };
  for (int i = path.knode + 1; i <= path.nnode; ++i) far_end(i - 1, i - 1, i);
  for (int i = path.knode - 1; i >= 1; --i) far_end(i, i + 1, i);
  set_extension(path, path.stretch[0], 1, path.snode[1]);
  set_extension(path, path.stretch[path.nnode], path.nnode, HUGE_VAL);
}

/// What the searches along the path want to know about the whole of it.
void survey(const Nodes& nodes, PathRecord& path) {
  double lowest = nodes.row[1].phi, highest = lowest;
  path.largest_kappa = 0;
  path.stretch[0].same_from = -HUGE_VAL;
  for (int i = 1; i <= path.nnode; ++i) {
    lowest = std::min(lowest, nodes.row[i].phi);
    highest = std::max(highest, nodes.row[i].phi);
    PathStretch &here = path.stretch[i], &before = path.stretch[i - 1];
    here.same_from = (here.kappa == 0) == (before.kappa == 0) ? before.same_from : path.snode[i];
    path.largest_kappa = std::max(path.largest_kappa, std::abs(here.kappa));
  }
  path.forward = std::cos(std::min(highest - lowest, pi));
}

void fill_buckets(PathRecord& path) {
  path.bucket.fill(1);
  path.bucket[100] = path.nnode;
  path.bucket_scale = 0;
  // Nodes in one place, or without a place, leave every search to start at the first node.
  const double scale = 99 / (path.snode[path.nnode] - path.snode[1]);
  if (path.nnode < 2 || !(scale > 0 && std::isfinite(scale))) return;
  path.bucket_scale = scale;
  for (int i = 2; i <= path.nnode; ++i) {
    const double place = (path.snode[i - 1] - path.snode[1]) * scale;
    path.bucket[(place > 0 ? static_cast<int>(std::min(place, 98.0)) : 0) + 2] = i;
  }
  for (int k = 2; k <= 99; ++k) path.bucket[k] = std::max(path.bucket[k], path.bucket[k - 1]);
}

}  // namespace

void build_path(const Particle& particle, const BoundaryPoints& rows, std::int32_t nlat, double ct,
                FieldSource& source) {
  PathRecord& path = source.path;
  Nodes nodes;
  set_frame(particle, ct, path);
  const double beta = particle.p / path.gam;
  collect_nodes(particle, rows, nlat, ct, beta, nodes, path);
  for (int i = 1; i < path.nnode; ++i) set_segment(i, nodes, path);
  place_nodes(nodes.at_reference, path);
  survey(nodes, path);
  fill_buckets(path);

  finit(source, "Slow", std::min(path.snode[1], path.snode[path.knode]) - 1);
  finit(source, "Shigh", path.snode[path.knode] + 1);
  finit(source, "sstpma", smallest_spacing(rows, nlat, beta));
  const double extent = path.snode[path.nnode] - path.snode[1];
  finit(source, "Rintma", extent < smallest_extent ? default_reach : extent / 2);
}

void pthfrm(const PathRecord& path, double x, double y, double z, double phi, double theta, double ct,
            double r[3], double n[3], double& t) {
  const PathVector place = to_frame(path, x, y);
  r[0] = place.x, r[1] = place.y, r[2] = z;
  const double direction = phi - path.org_phi;
  const double flat = theta == 0 ? 1 : std::cos(theta);
  n[0] = std::cos(direction) * flat;
  n[1] = std::sin(direction) * flat;
  n[2] = theta == 0 ? 0 : std::sin(theta);
  t = ct / speed_of_light - path.t_org;
}

void pthlab(const PathRecord& path, double v[3]) {
  const double x = v[0], y = v[1];
  v[0] = path.rot[0][0] * x + path.rot[1][0] * y;
  v[1] = path.rot[0][1] * x + path.rot[1][1] * y;
}

void patharcs(const PathRecord& path, PathArcs& rows, int& count) {
  const auto ct_of = [&](int node) { return path.snode[node] / path.vel * speed_of_light; };
  int next = 1;
  if (path.snode[1] < 0) {
    rows[1] = {(path.snode[1] - entrance_length) / path.vel * speed_of_light,
               path.r[1].x - entrance_length * path.e[1].x, path.r[1].y - entrance_length * path.e[1].y, 0};
    next = 2;
  }
  int held = 1;
  double present = 0;
  for (int i = 2; i <= path.nnode; ++i) {
    const double kappa = path.seg[i - 1].kappa;
    if (std::abs(kappa - present) > 1e-12 * std::max(kappa, present)) {
      rows[next++] = {ct_of(held), path.r[held].x, path.r[held].y, kappa};
      present = kappa;
    }
    held = i;
  }
  rows[next].ct = ct_of(held);
  rows[next].x = path.r[held].x;
  rows[next].y = path.r[held].y;
  if (present != 0) {
    count = next;
    rows[count].kappa = 0;
  } else {
    count = next - 1;
    if (count > 0) rows[count].kappa = 0;
  }
}

}  // namespace tessaron
