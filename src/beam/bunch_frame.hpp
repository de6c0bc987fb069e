#pragma once

namespace tessaron {

struct Vector3 {
  double x, y, z;
};

/// Three orthogonal unit vectors, told in the lab frame. Bunch files hold places and momenta as components
/// along such axes; reading and writing share these two, so that one is the inverse of the other.
struct BunchFrame {
  Vector3 e1, e2, e3;
};

/// The file frame: its first axis points to (cos, -sin) of the angle `reference_point_phi`.
BunchFrame file_frame(double reference_point_phi);

/// The frame of a particle that flies along (phi, theta): along its momentum, across it in the plane to the
/// left, upwards. With n the direction and h = sqrt(nx^2 + ny^2) = cos theta
///     e1 = n,   e2 = (-ny/h, nx/h, 0),   e3 = e1 x e2 = (-nz nx/h, -nz ny/h, h)
/// The angles are used as they stand, so a direction straight up has a frame as well.
BunchFrame particle_frame(double phi, double theta);

/// The lab vector with the components v along the axes.
inline Vector3 to_lab(const BunchFrame& f, const Vector3& v) {
  return {f.e1.x * v.x + f.e2.x * v.y + f.e3.x * v.z, f.e1.y * v.x + f.e2.y * v.y + f.e3.y * v.z,
          f.e1.z * v.x + f.e2.z * v.y + f.e3.z * v.z};
}

/// The components of a lab vector along the axes.
inline Vector3 to_frame(const BunchFrame& f, const Vector3& v) {
  return {f.e1.x * v.x + f.e1.y * v.y + f.e1.z * v.z, f.e2.x * v.x + f.e2.y * v.y + f.e2.z * v.z,
          f.e3.x * v.x + f.e3.y * v.y + f.e3.z * v.z};
}

inline Vector3 operator+(const Vector3& a, const Vector3& b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline Vector3 operator-(const Vector3& a, const Vector3& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }

}  // namespace tessaron
