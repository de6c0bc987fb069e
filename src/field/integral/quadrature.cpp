#include "field/integral/quadrature.hpp"

#include <algorithm>
#include <cmath>

#include "field/integral/batch.hpp"
#include "field/integral/integrand.hpp"
#include "field/integral/mesh.hpp"

namespace tessaron {

namespace {

Summation way = Summation::batched;
int parts = 1;

constexpr double weights[5] = {0.077777777777777779, 0.35555555555555557, 0.13333333333333333,
                               0.35555555555555557, 0.077777777777777779};  // 7, 32, 12, 32, 7 of 90

/// Boole's rule from a to a + h.
Slots boole(double a, double h) {
  Slots sum;
  for (int j = 0; j <= 4; ++j) sum += (weights[j] * h) * zfcach(a + j * h / 4);
  return sum;
}

void sum_node_by_node(Slots& result) {
  Slots total;
  zfcach_clear();
  for (int i = mesh.ipnt; i >= 2; --i) {
    if (!mesh.integrate[i - 1]) continue;
    const double a = mesh.point[i], b = mesh.point[i - 1];
    if (!(a < b)) continue;
    const double h = (b - a) / parts;
    for (int part = 0; part < parts; ++part) total += boole(a + part * h, h);
  }
  result += total;
}

/// Lists the nodes and weights of all stretches and sums them in batches.
void sum_in_batches(Slots& result) {
  static NodeList list;
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
        add_nodes(list, total);
        list.n = 0;
      }
      const double start = a + part * h;
      // The last node of the stretch before is the first one of this.
      const bool joined = list.n > 0 && (part > 0 || a == end);
      if (joined) {
        list.weight[list.n] += weights[0] * h;
      } else {
        list.s[++list.n] = start;
        list.weight[list.n] = weights[0] * h;
      }
      for (int j = 1; j <= 4; ++j) {
        list.s[++list.n] = start + j * h / 4;
        list.weight[list.n] = weights[j] * h;
      }
    }
    end = b;
  }
  add_nodes(list, total);
  result += total;
}

}  // namespace

void use_summation(Summation chosen, int refinement) {
  way = chosen;
  parts = std::max(1, refinement);
}

void wint1(Slots& result) { way == Summation::batched ? sum_in_batches(result) : sum_node_by_node(result); }

}  // namespace tessaron
