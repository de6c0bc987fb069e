#include "lattice/magnet_field.hpp"

#include <cmath>
#include <cstddef>

#include "common/console.hpp"

namespace tessaron {

namespace {

/// A multipole's data are its azimuthal order and four reals.
constexpr int multipole_reals = 4;

/// The azimuthal order that a multipole's data say, 0 where there are none.
std::int32_t order_of(const Element& element) {
  const bool stored = element.iend >= 1 && element.iend <= ilalen && element.rend >= multipole_reals &&
                      element.rend <= rlalen;
  return stored ? latcom.ipool[element.iend] : 0;
}

SectionField multipole_field(const Element& element, const Boundary& entry) {
  SectionField field;
  field.order = order_of(element);
  if (field.order < 1) {
    console_line("multipole with invalid azimuthal order");
    return field;
  }
  const double horizontal_offset = latcom.rpool[element.rend - 3];
  const double vertical_offset = latcom.rpool[element.rend - 2];
  field.strength = latcom.rpool[element.rend - 1];
  field.alpha = latcom.rpool[element.rend];
  field.x0 = entry.x - entry.ty * horizontal_offset;
  field.y0 = entry.y + entry.tx * horizontal_offset;
  field.z0 = vertical_offset;
  field.G = field.strength * ptlcom.reference_momentum;
  field.Theta = std::atan2(entry.ty, entry.tx);
  return field;
}

/// K z tan(phi - psi)/p.
double edge_kick(const Particle& state, double K, const Boundary& boundary) {
  if (state.p == 0) return 0;
  const double psi = std::atan2(boundary.ny, boundary.nx);
  return K * state.z * std::tan(state.phi - psi) / state.p;
}

}  // namespace

SectionField section_field(std::int32_t E, bool forward) {
  const SectionField drift;
  if (E < 2 || E > latcom.nlat) return drift;
  const Element& element = latcom.elem[E];
  if (element.kind == ElementClass::discrete) {
    if (element.subtype != 0 && element.subtype != 1) console_line("nothing implemented for this case");
    return drift;
  }
  if (element.subtype == 1) return multipole_field(element, latcom.bnd[forward ? E - 1 : E]);
  if (element.subtype != 0) {
    console_line("nothing implemented for this case");
    return drift;
  }
  SectionField field;
  const double r = latcom.bnd[E].r;
  if (r != 0) field.K = ptlcom.reference_momentum / r;
  return field;
}

bool fields_make_sense() {
  for (std::int32_t E = 2; E <= latcom.nlat; ++E) {
    const Element& element = latcom.elem[E];
    if (element.subtype != 0 && element.subtype != 1) return false;
    const bool multipole = element.kind != ElementClass::discrete && element.subtype == 1;
    if (multipole && order_of(element) < 1) return false;
  }
  return true;
}

void edge_entry(Particle& state, double K, const Boundary& boundary) {
  state.theta -= edge_kick(state, K, boundary);
}

void edge_exit(Particle& state, double K, const Boundary& boundary) {
  state.theta += edge_kick(state, K, boundary);
}

bool get_map(std::int32_t index, DiscreteMap& map) {
  if (index < 1 || index > latcom.nlat) return false;
  const Element& element = latcom.elem[index];
  if (element.kind != ElementClass::discrete || element.subtype != 1) return false;
  const std::int32_t first = index == 1 ? 1 : latcom.elem[index - 1].rend + 1;
  if (first < 1 || first + 15 > rlalen) return false;
  for (int k = 0; k < 16; ++k) map.matrix[static_cast<std::size_t>(k)] = latcom.rpool[first + k];
  const Boundary& boundary = latcom.bnd[index];
  map.x = boundary.x;
  map.y = boundary.y;
  map.tx = boundary.tx;
  map.ty = boundary.ty;
  return true;
}

void apply_map(Particle& state, const DiscreteMap& map) {
  const double cphi = std::cos(state.phi), sphi = std::sin(state.phi);
  const double ctheta = std::cos(state.theta), stheta = std::sin(state.theta);
  const double vl = map.tx * cphi * ctheta + map.ty * sphi * ctheta;
  if (vl == 0) return;

  const double before[4] = {(state.y - map.y) * map.tx - (state.x - map.x) * map.ty,
                            (map.tx * sphi * ctheta - map.ty * cphi * ctheta) / vl, state.z, stheta / vl};
  double after[4] = {};
  for (std::size_t b = 0; b < 4; ++b) {
    for (std::size_t a = 0; a < 4; ++a) after[a] += map.matrix[a + 4 * b] * before[b];
  }
  const auto [u, uprime, w, wprime] = after;

  state.x = map.x - map.ty * u;
  state.y = map.y + map.tx * u;
  state.z = w;
  const double g = std::sqrt(uprime * uprime + 1 + wprime * wprime);
  state.phi = std::atan2((map.ty + map.tx * uprime) / g, (map.tx - map.ty * uprime) / g);
  state.theta = std::asin(wprime / g);
}

}  // namespace tessaron
