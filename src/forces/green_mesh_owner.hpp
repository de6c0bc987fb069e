#pragma once
#include "forces/green_mesh.hpp"

namespace tessaron {

/// The mesh as its writers see it.
extern GreenMesh green_mesh_store;

}  // namespace tessaron
