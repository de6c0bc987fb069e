#include "common/freeform.hpp"
#include "common/undefined.hpp"
#include "lattice/lattice_definition.hpp"
#include "run/deck.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

using PositionTable = KeyTable<6>;
enum class Unit { metre, degree };

/// A number that the deck leaves out holds the marker, which is not converted.
Status take_number(const PositionTable& table, std::string_view name, Unit unit, double& value) {
  value = undefined_real;
  if (!table.seen(name)) return ok;
  const Status status = table.real(name, value);
  if (status == ok && unit == Unit::degree) value = radians(value);
  return status;
}

Status read_keys(PositionKeys& keys) {
  PositionTable table({"rho", "psi", "delta_s", "delta_psi", "marker", "duty"});
  Status status = table.read();
  if (status == ok) status = take_number(table, "rho", Unit::metre, keys.rho);
  if (status == ok) status = take_number(table, "psi", Unit::degree, keys.psi);
  if (status == ok) status = take_number(table, "delta_s", Unit::metre, keys.delta_s);
  if (status == ok) status = take_number(table, "delta_psi", Unit::degree, keys.delta_psi);
  if (status != ok) return status;
  keys.marker = table.seen("marker") ? table.value("marker") : Text<80>(undefined_text);
  if (table.seen("duty")) keys.duty = table.value("duty") == "yes";
  return ok;
}

}  // namespace

Status position_keys(PositionKeys& keys) {
  const Status status = read_keys(keys);
  if (status != ok) msgout("error in lyrass");
  return status;
}

}  // namespace tessaron
