#pragma once
#include <cmath>

namespace tessaron {

/// A vector of three reals, as the formulas of the field library write it.
struct Vec3 {
  double x = 0, y = 0, z = 0;
};

constexpr Vec3 operator+(const Vec3& a, const Vec3& b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
constexpr Vec3 operator-(const Vec3& a, const Vec3& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
constexpr Vec3 operator*(double f, const Vec3& a) { return {f * a.x, f * a.y, f * a.z}; }
constexpr Vec3 operator*(const Vec3& a, double f) { return f * a; }
constexpr Vec3 operator/(const Vec3& a, double f) { return {a.x / f, a.y / f, a.z / f}; }
constexpr Vec3& operator+=(Vec3& a, const Vec3& b) { return a = a + b; }
constexpr Vec3& operator-=(Vec3& a, const Vec3& b) { return a = a - b; }

constexpr double dot(const Vec3& a, const Vec3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
constexpr Vec3 cross(const Vec3& a, const Vec3& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double norm(const Vec3& a) { return std::sqrt(dot(a, a)); }

constexpr Vec3 vec3(const double v[3]) { return {v[0], v[1], v[2]}; }

}  // namespace tessaron
