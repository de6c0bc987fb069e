#include "field/path/path.hpp"
#include "field/path/path_build.hpp"
#include "motion/run_preparation.hpp"

namespace tessaron {

void setpth(const Particle& particle, std::int32_t section, std::int32_t nlat, double ct,
            FieldSource& source) {
  BoundaryPoints rows;
  Particle planar = particle;
  planar.z = planar.theta = 0;
  if (nlat > 0) fbpts(planar, section, ct, rows);
  build_path(planar, rows, nlat, ct, source);
}

}  // namespace tessaron
