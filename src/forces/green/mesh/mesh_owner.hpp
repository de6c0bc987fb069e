#pragma once
#include "forces/green/mesh/mesh.hpp"

namespace tessaron {

/// The mesh as its writers see it.
extern GreenMesh green_mesh_store;

}  // namespace tessaron
