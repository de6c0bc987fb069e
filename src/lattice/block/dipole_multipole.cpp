#include <array>

#include "common/freeform.hpp"
#include "lattice/lattice_definition.hpp"
#include "lattice/lattice_record_owner.hpp"
#include "run/deck.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

/// What `properties` says of a magnet.
struct Magnet {
  std::int32_t order = 1;                             ///< azimuthal order
  double r = 0;                                       ///< [m]
  double strength = 0;                                ///< [1/m^order]
  double alpha = 0;                                   ///< [rad]
  double horizontal_offset = 0, vertical_offset = 0;  ///< [m]
};

using PropertyTable = KeyTable<6>;

Status take(const PropertyTable& table, std::string_view name, double& value) {
  return table.seen(name) ? table.real(name, value) : ok;
}

/// The number of poles, 2n of azimuthal order n. A failure to read the number is the caller's to tell.
Status take_poles(const PropertyTable& table, Magnet& magnet) {
  std::int32_t poles = 0;
  if (table.seen("poles")) {
    const Status status = table.integer("poles", poles);
    if (status != ok) return status;
  }
  if (poles < 2 || poles % 2 != 0) {
    msgout("undefined or invalid pole number");
    return table.seen("poles") ? table.judged("poles", failed) : failed;
  }
  magnet.order = poles / 2;
  return ok;
}

Status read_properties(BendOrder block, Magnet& magnet) {
  PropertyTable table({"r", "strength", "alpha", "horizontal_offset", "vertical_offset", "poles"});
  const bool dipole = block == BendOrder::dipole;
  table.set_active("r", dipole);
  for (const char* name : {"strength", "alpha", "horizontal_offset", "vertical_offset"}) {
    table.set_active(name, !dipole);
  }
  table.set_active("poles", block == BendOrder::multipole);

  magnet = Magnet{};
  Status status = table.read();
  if (status == ok) status = take(table, "r", magnet.r);
  if (status == ok) status = take(table, "strength", magnet.strength);
  if (status == ok) status = take(table, "alpha", magnet.alpha);
  if (status == ok) status = take(table, "horizontal_offset", magnet.horizontal_offset);
  if (status == ok) status = take(table, "vertical_offset", magnet.vertical_offset);
  magnet.alpha = radians(magnet.alpha);
  magnet.order = static_cast<std::int32_t>(block);
  if (status == ok && block == BendOrder::multipole) status = take_poles(table, magnet);
  if (status != ok) msgout("error in dipole/multipole_properties");
  return status;
}

/// Gives the newest boundary its element: an arc or a straight section has no data, a multipole its order and
/// four reals.
Status store(const Magnet& magnet) {
  if (magnet.order == 1) return ok;  // as `position` has entered it
  if (latcom.ipool_used + 1 > ilalen) {
    msgout("global constant ilalen too small");
    return failed;
  }
  if (latcom.rpool_used + 4 > rlalen) {
    msgout("global constant rlalen too small");
    return failed;
  }
  latcom_store.ipool[++latcom_store.ipool_used] = magnet.order;
  for (const double value :
       {magnet.horizontal_offset, magnet.vertical_offset, magnet.strength, magnet.alpha}) {
    latcom_store.rpool[++latcom_store.rpool_used] = value;
  }
  latcom_store.elem[latcom.nlat] = {ElementClass::field, 1, latcom.ipool_used, latcom.rpool_used};
  return ok;
}

Status read_position(double r) {
  PositionKeys keys{};
  keys.duty = true;
  Status status = position_keys(keys);
  if (status == ok) status = position(r, keys);
  return status;
}

/// The sub-blocks come in this order; the block may close behind any of them.
constexpr std::array<std::string_view, 3> sequence = {"position", "properties", "position"};

Status read_block(BendOrder block) {
  Status status = getspc("{");
  Magnet magnet;
  for (std::size_t part = 0; status == ok; ++part) {
    Text<80> token;
    status = getcmd(token);
    if (status != ok || token == "}") break;
    if (part >= sequence.size() || !(token == sequence[part])) return refuse_word(token.view());
    if (part == 0) status = read_position(0);
    if (part == 1) status = read_properties(block, magnet);
    if (part == 2) {
      status = read_position(magnet.r);
      if (status == ok) status = store(magnet);
    }
  }
  return status;
}

}  // namespace

Status dipole_multipole(BendOrder order) {
  const Status status = read_block(order);
  if (status != ok) msgout("error in dipole/multipole");
  return status;
}

}  // namespace tessaron
