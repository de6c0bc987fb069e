#pragma once
#include "common/table.hpp"
#include "field/integral/expansion.hpp"

namespace tessaron {

/// Nodes of the field integral in ascending s, with their weights.
struct NodeList {
  static constexpr int capacity = 512;
  int n = 0;
  Table<double, capacity> s;       ///< [m]
  Table<double, capacity> weight;  ///< [m]
};

/// Adds the weighted sum of the integrand (`zfint`) over the nodes to the result, four nodes at a time. What
/// the source, the observer and the stretch of the path fix is worked out once.
void add_nodes(const FieldSource& source, const ExpansionRecord& expansion, const NodeList& list,
               Slots& result);

}  // namespace tessaron
