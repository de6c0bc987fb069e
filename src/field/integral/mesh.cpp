#include "field/integral/mesh.hpp"

#include <algorithm>
#include <cmath>

#include "common/console.hpp"
#include "common/constants.hpp"
#include "common/freeform.hpp"
#include "common/numbers/sort2.hpp"
#include "field/path/sight.hpp"

namespace tessaron {

namespace {

constexpr double c = speed_of_light;
constexpr double kink_width = 1.0000000000000002e-14;  // of a cut around a kink, relative to s

/// What the steps are chosen by, at a point of the path. Times are c t.
struct Trial {
  double s;
  const PathStretch* stretch;
  Sighting seen;
  double f;     // bunch time seen from s [m]
  double fall;  // -R df/ds > 0 [m]
};

struct Observation {
  const PathRecord& path;
  const FieldSettings& set;
  Sight sight;
  double s_c;  // of the closest point
  double ct0;
  double inv_beta;
  double ct_per_s;  // of the path's clock
  double sigma;     // rms duration of the bunch [m]

  Trial at(double s) {
    const Sighting seen = sight.from(s);
    return {s, &sight.stretch(), seen, ct0 - s * ct_per_s - seen.distance,
            inv_beta * seen.distance - seen.along};
  }
};

/// The intervals that the mesh covers, by their ends.
struct Intervals {
  static constexpr int capacity = 4;
  int n = 0;
  Table<double, capacity> lo, hi;
  Table<bool, capacity> active;

  void add(double a, double b) {
    if (n == capacity) return;  // three cuts make four intervals at most
    ++n;
    lo[n] = a, hi[n] = b, active[n] = true;
  }

  void cut(double a, double b) {
    const int before = n;
    for (int i = 1; i <= before; ++i) {
      if (!active[i] || !(lo[i] < b && a < hi[i])) continue;
      if (a <= lo[i] && hi[i] <= b) {
        active[i] = false;
      } else if (a <= lo[i]) {
        lo[i] = b;
      } else if (hi[i] <= b) {
        hi[i] = a;
      } else {
        const double upper_end = hi[i];
        hi[i] = a;
        add(b, upper_end);
      }
    }
  }

  void compact_and_sort() {
    int kept = 0;
    for (int i = 1; i <= n; ++i) {
      if (!active[i]) continue;
      ++kept;
      lo[kept] = lo[i], hi[kept] = hi[i];
    }
    n = kept;
    if (n > 1) sort2(n, &lo[1], &hi[1]);
  }
};

/// The range s1..s2 without the kinks at the ends of the subtraction and without the near interval. `scale`
/// is the length below which nothing happens.
void find_intervals(const LimitRecord& limits, const ExpansionRecord& x, Intervals& list, double& scale) {
  list.add(limits.s1, limits.s2);
  scale = x.d;
  if (x.pole) {
    for (const double s : {x.s_p, x.s_e}) {
      const double width = kink_width * std::abs(s);
      list.cut(s - width, s + width);
    }
  }
  if (x.near) {
    list.cut(x.n1, x.n2);
    const double half = (x.n2 - x.n1) / 2;
    scale = std::sqrt(half * half + x.d * x.d);
  }
  list.compact_and_sort();
}

int cut_to_integer(double value) {
  return value >= -1e9 && value <= 1e9 ? static_cast<int>(value) : 1000000000;
}

/// The longest step: what the rest of the table can take, and no shorter than a few walking steps.
double step_cap(const FieldSettings& set, const Intervals& list, double scale) {
  const double length = list.hi[list.n] - list.lo[1];
  const double doublings = std::log(length / std::max(scale, 1e-200) + 1) / 0.69314718055994529;
  const double reserve = 2.0 * list.n + cut_to_integer(2 * set.xnsigt) + 2.0 * cut_to_integer(doublings) + 23;
  if (reserve >= maxpnt) {
    console_line("ipp.ge.maxpnt");
    console_line(FreeForm("ipp,maxpnt=", static_cast<std::int64_t>(reserve), maxpnt).items());
    fatal_stop();
  }
  return std::max(4 * set.sstpma, length / (maxpnt - reserve));
}

void append(double s, MeshRecord& mesh) {
  if (mesh.ipnt == maxpnt) {
    console_line("ipnt.gt.maxpnt");
    console_line(FreeForm("ipnt,maxpnt=", mesh.ipnt + 1, maxpnt).items());
    fatal_stop();
  }
  ++mesh.ipnt;
  mesh.point[mesh.ipnt] = s;
  mesh.integrate[mesh.ipnt] = false;
}

/// A place where the path changes between curved and straight: `low` and `high` lie on its two sides.
struct Corner {
  bool found = false;
  double low = 0, high = 0;
};

/// The corner that a walk from s down to `next` in steps of `stride` meets first.
Corner find_corner(Observation& observation, const Trial& from, double next, double stride) {
  const PathRecord& path = observation.path;
  // Below `change` the curve is of the other kind; a walk can only stop in the step that passes it.
  const bool curved = from.stretch->kappa != 0;
  const double change = from.stretch->same_from;
  if (!(change >= next)) return {};
  double y = from.s;
  const double steps_ahead = (from.s - change) / stride;
  if (steps_ahead > 1e4) y -= (std::floor(steps_ahead) - 1) * stride;  // all of them on the same curve
  for (int step = 0; y > next && path_curved(path, y) == curved; ++step) {
    y = step < 100000 && y - stride < y ? std::max(y - stride, next) : next;
  }
  if (path_curved(path, y) == curved) return {};

  const double resolution =
      std::max(observation.set.rintmi,
               observation.set.relacc * std::min(from.seen.distance, observation.at(y).seen.distance));
  double low = y, high = from.s;
  while (high - low > resolution) {
    const double middle = 0.5 * (low + high);
    if (!(low < middle && middle < high)) break;
    (path_curved(path, middle) == curved ? high : low) = middle;
  }
  return {true, low, high};
}

/// The next point of the walk, by the scales at s; `trial` comes out as the evaluation there.
double next_point(Observation& observation, const Trial& at, double lo, double cap, Trial& trial) {
  const double s = at.s, s_c = observation.s_c;
  double next = lo;
  if (s >= observation.set.slow && s - cap >= lo) next = std::max(next, s - cap);
  if (s < s_c) {
    next = std::max(next, s - at.seen.distance);
  } else if (s > s_c) {
    next = std::max(next, s - at.seen.distance2 / (2 * (s - s_c)));
  }
  if (at.fall > 0) next = std::max(next, s - observation.sigma * at.seen.distance / at.fall);
  trial = observation.at(next);
  // A step over which the bunch time changes by more than sigmat is shortened in proportion.
  while (trial.f - at.f > 1.1 * observation.sigma) {
    const double shorter = std::max(next, s + (next - s) * observation.sigma / (trial.f - at.f));
    if (!(shorter > next && shorter < s)) break;
    next = shorter;
    trial = observation.at(next);
  }
  return next;
}

/// Lays the points of one interval, from its upper end down.
void walk(Observation& observation, double lo, double hi, double cap, MeshRecord& mesh) {
  append(hi, mesh);
  double s = hi;
  Trial at = observation.at(s);
  while (s > lo) {
    Trial trial;
    double next = next_point(observation, at, lo, cap, trial);
    if (!(next < s)) next = lo;  // rounding leaves no smaller step
    Corner corner;
    if (s > observation.set.slow) corner = find_corner(observation, at, next, observation.set.sstpma);
    mesh.integrate[mesh.ipnt] = true;
    append(corner.found ? corner.high : next, mesh);
    s = next;
    if (corner.found) {
      append(corner.low, mesh);  // the sliver across the corner is left out
      s = corner.low;
    }
    at = s == trial.s ? trial : observation.at(s);
  }
}

}  // namespace

void zipnts(const FieldSource& source, const LimitRecord& limits, const ExpansionRecord& x,
            MeshRecord& mesh) {
  mesh.ipnt = 0;
  if (!(limits.s1 < limits.s2 && std::isfinite(limits.s2 - limits.s1))) return;
  Intervals list;
  double scale;
  find_intervals(limits, x, list, scale);
  if (list.n == 0) return;
  const PathRecord& path = source.path;
  const double cap = step_cap(source.settings, list, scale);
  Observation observation{path,     source.settings, Sight(path, x.r0), x.s_c,
                          c * x.t0, 1 / path.beta,   c / path.vel,      c * x.sigmat};
  for (int i = list.n; i >= 1; --i) walk(observation, list.lo[i], list.hi[i], cap, mesh);
}

}  // namespace tessaron
