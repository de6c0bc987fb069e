#pragma once
#include "field/integral/batch.hpp"
#include "field/integral/mesh.hpp"

namespace tessaron {

/// Adds the integral over the mesh to the result: Boole's five-point rule on every stretch, in ascending s,
/// in the way that the source's settings ask for. Works on the list of nodes.
void wint1(const FieldSource& source, const ExpansionRecord& expansion, const MeshRecord& mesh,
           NodeList& list, Slots& result);

}  // namespace tessaron
