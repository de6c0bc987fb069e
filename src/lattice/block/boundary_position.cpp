#include <algorithm>
#include <cmath>

#include "common/undefined.hpp"
#include "lattice/lattice_definition.hpp"
#include "lattice/lattice_record_owner.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

struct Vector {
  double x, y;
};
Vector rotate(Vector v, double a) {
  return {v.x * std::cos(a) - v.y * std::sin(a), v.x * std::sin(a) + v.y * std::cos(a)};
}
Vector unit(double angle) { return {std::cos(angle), std::sin(angle)}; }
Vector tangent(const Boundary& b) { return {b.tx, b.ty}; }

bool given(double value) { return value != undefined_real; }

/// A normal of its own direction, or turned against the tangent, or the tangent itself.
Vector normal(const PositionKeys& keys, Vector t) {
  if (given(keys.psi)) return unit(keys.psi);
  if (given(keys.delta_psi)) return rotate(t, keys.delta_psi);
  return t;
}

/// Distance along the tangent of P to the line Q . n = rho.
double distance_to_line(const Boundary& P, Vector t, Vector n, double rho) {
  return ((rho * n.y - P.y) * n.y + (rho * n.x - P.x) * n.x) / (n.y * t.y + n.x * t.x);
}

/// The design orbit starts at the origin along x; the first boundary lies on that line.
Status first_boundary(double r, const PositionKeys& keys, Boundary& b) {
  if (!given(keys.rho) && !given(keys.delta_s)) {
    msgout("error in position: first field boundary");
    return failed;
  }
  const double psi = given(keys.psi) ? keys.psi : given(keys.delta_psi) ? keys.delta_psi : 0;
  const Vector n = unit(psi);
  const double ds = given(keys.delta_s) ? keys.delta_s : distance_to_line(Boundary{}, {1, 0}, n, keys.rho);
  b = {ds, 0, 1, 0, n.x, n.y, ds, r};
  return ok;
}

void straight_section(const Boundary& P, const PositionKeys& keys, Boundary& b) {
  const Vector t = tangent(P), n = normal(keys, t);
  const double ds = given(keys.delta_s) ? keys.delta_s : distance_to_line(P, t, n, keys.rho);
  b = {P.x + t.x * ds, P.y + t.y * ds, t.x, t.y, n.x, n.y, P.s + ds, 0};
}

/// The end of an arc of length l and radius r behind P: the tangent turns by a = -l/r, the point moves by the
/// chord. The normal is left to the caller.
Boundary arc_end(const Boundary& P, double r, double l) {
  const double a = l / (-r), h = 0.5 * a;
  const Vector t = rotate(tangent(P), a), middle = rotate(tangent(P), h);
  const double chord = 2 * r * std::sin(h);
  return {P.x - middle.x * chord, P.y - middle.y * chord, t.x, t.y, 0, 0, P.s + l, r};
}

Status relative_arc(const Boundary& P, double r, const PositionKeys& keys, Boundary& b) {
  if (!given(keys.delta_s)) {
    msgout("error in position, arc definition");
    return failed;
  }
  if (keys.delta_s < 0) {
    msgout("error in position, relative arc definition");
    return failed;
  }
  b = arc_end(P, r, keys.delta_s);
  const Vector n = normal(keys, tangent(b));
  b.nx = n.x;
  b.ny = n.y;
  return ok;
}

/// The arc that runs from P to the line Q . (cos psi, sin psi) = rho: the shorter one of two.
Status absolute_arc(const Boundary& P, double r, const PositionKeys& keys, Boundary& b) {
  const double c = std::cos(keys.psi), e = std::sin(keys.psi);
  const double k = 1 / (e * e + c * c);
  const double A = (P.tx * e - P.ty * c) * k, B = (P.tx * c + P.ty * e) * k;
  const double C = (keys.rho - (P.y * e + P.x * c) * k) / r + A;
  if (!(std::abs(C) <= 1)) {
    msgout("error in position, absolute arc definition");
    return failed;
  }
  const double D = std::sqrt(1 - C * C), m = 1 / (B * B + A * A);
  const double a1 = std::atan2((A * D - C * B) * m, (B * D + C * A) * m);
  const double a2 = std::atan2((-D * A - C * B) * m, (-B * D + C * A) * m);
  auto forward = [&](double l) { return l < 0 ? l + two_pi * std::abs(r) : l; };
  const double l = std::min(forward(-r * a1), forward(-r * a2));
  b = arc_end(P, r, l);
  b.nx = c;
  b.ny = e;
  return ok;
}

Status later_boundary(const Boundary& P, double r, const PositionKeys& keys, Boundary& b) {
  if (!given(keys.rho) && !given(keys.delta_s)) {
    msgout("error in position");
    return failed;
  }
  if (r == 0) {
    straight_section(P, keys, b);
    return ok;
  }
  if (given(keys.rho) && given(keys.psi)) return absolute_arc(P, r, keys, b);
  return relative_arc(P, r, keys, b);
}

}  // namespace

Status position(double r, const PositionKeys& keys) {
  if (latcom.nlat >= maxlat) {
    msgout("error in position: increase maxlat (latcom)");
    return failed;
  }
  const int i = ++latcom_store.nlat;
  latcom_store.bnd[i] = Boundary{};
  const Status status = i == 1 ? first_boundary(r, keys, latcom_store.bnd[i])
                               : later_boundary(latcom.bnd[i - 1], r, keys, latcom_store.bnd[i]);
  latcom_store.marker[i] = keys.marker;
  latcom_store.duty[i] = keys.duty;

  // No data of its own until its block stores some: its place in the pools is that of the boundary before.
  Element& element = latcom_store.elem[i];
  element = i == 1 ? Element{} : latcom.elem[i - 1];
  element.kind = ElementClass::field;
  element.subtype = 0;
  return status;
}

}  // namespace tessaron
