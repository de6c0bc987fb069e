#include "beam/bunch_frame.hpp"

#include <cmath>

namespace tessaron {

BunchFrame file_frame(double reference_point_phi) {
  const double c = std::cos(reference_point_phi), s = std::sin(reference_point_phi);
  return {{c, -s, 0}, {s, c, 0}, {0, 0, 1}};
}

BunchFrame particle_frame(double phi, double theta) {
  const double cos_phi = std::cos(phi), sin_phi = std::sin(phi);
  const double h = std::cos(theta), nz = std::sin(theta);
  return {{cos_phi * h, sin_phi * h, nz}, {-sin_phi, cos_phi, 0}, {-nz * cos_phi, -nz * sin_phi, h}};
}

}  // namespace tessaron
