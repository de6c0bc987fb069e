#include "field/integral/quadrature.hpp"

#include <cmath>

#include "field/integral/integrand.hpp"

namespace tessaron {

namespace {

constexpr double weights[5] = {0.077777777777777779, 0.35555555555555557, 0.13333333333333333,
                               0.35555555555555557, 0.077777777777777779};  // 7, 32, 12, 32, 7 of 90

/// Where a part of the stretch a..b ends: the last one at b itself, which rounding must not carry across the
/// kink of the integrand behind it.
double end_of(double a, double b, double h, int part, int parts) {
  return part + 1 < parts ? a + (part + 1) * h : b;
}

/// The integrand at the nodes of one stretch after the other; a node that ends one and starts the next is
/// evaluated once.
class NodeByNode {
 public:
  NodeByNode(const FieldSource& source, const ExpansionRecord& expansion)
      : source_(source), expansion_(expansion) {}

  /// Boole's rule from a to a + h, which is `end`.
  Slots boole(double a, double h, double end) {
    Slots sum;
    for (int j = 0; j <= 4; ++j) sum += (weights[j] * h) * at(j < 4 ? a + j * h / 4 : end);
    return sum;
  }

 private:
  const Slots& at(double s) {
    if (s != s_) zfint(source_, expansion_, s_ = s, value_);
    return value_;
  }
  const FieldSource& source_;
  const ExpansionRecord& expansion_;
  double s_ = std::nan("");
  Slots value_;
};

void sum_node_by_node(const FieldSource& source, const ExpansionRecord& expansion, const MeshRecord& mesh,
                      Slots& result) {
  const int parts = source.settings.refinement;
  NodeByNode nodes(source, expansion);
  Slots total;
  for (int i = mesh.ipnt; i >= 2; --i) {
    if (!mesh.integrate[i - 1]) continue;
    const double a = mesh.point[i], b = mesh.point[i - 1];
    if (!(a < b)) continue;
    const double h = (b - a) / parts;
    for (int part = 0; part < parts; ++part) {
      total += nodes.boole(a + part * h, h, end_of(a, b, h, part, parts));
    }
  }
  result += total;
}

/// Lists the nodes of Boole's rule from `start` to `end`, h apart. `joined`: the first one is there already.
void append_boole(double start, double h, double end, bool joined, NodeList& list) {
  int n = list.n;
  if (joined) {
    list.weight[n] += weights[0] * h;
  } else {
    list.s[++n] = start;
    list.weight[n] = weights[0] * h;
  }
  for (int j = 1; j <= 3; ++j) {
    list.s[n + j] = start + j * h / 4;
    list.weight[n + j] = weights[j] * h;
  }
  list.s[n + 4] = end;
  list.weight[n + 4] = weights[4] * h;
  list.n = n + 4;
}

/// Lists the nodes and weights of all stretches and sums them in batches.
void sum_in_batches(const FieldSource& source, const ExpansionRecord& expansion, const MeshRecord& mesh,
                    NodeList& list, Slots& result) {
  const int parts = source.settings.refinement;
  Slots total;
  list.n = 0;
  double end = -HUGE_VAL;  // of the stretch before
  for (int i = mesh.ipnt; i >= 2; --i) {
    if (!mesh.integrate[i - 1]) continue;
    const double a = mesh.point[i], b = mesh.point[i - 1];
    if (!(a < b)) continue;
    const double h = (b - a) / parts;
    for (int part = 0; part < parts; ++part) {
      if (list.n + 5 > NodeList::capacity) {
        add_nodes(source, expansion, list, total);
        list.n = 0;
      }
      // The last node of the stretch before is the first one of this.
      const bool joined = list.n > 0 && (part > 0 || a == end);
      append_boole(a + part * h, h, end_of(a, b, h, part, parts), joined, list);
    }
    end = b;
  }
  add_nodes(source, expansion, list, total);
  result += total;
}

}  // namespace

void wint1(const FieldSource& source, const ExpansionRecord& expansion, const MeshRecord& mesh,
           NodeList& list, Slots& result) {
  if (source.settings.summation == Summation::batched) {
    sum_in_batches(source, expansion, mesh, list, result);
  } else {
    sum_node_by_node(source, expansion, mesh, result);
  }
}

}  // namespace tessaron
