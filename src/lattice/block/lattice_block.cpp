#include "lattice/lattice_definition.hpp"

#include "common/console.hpp"
#include "lattice/lattice_record_owner.hpp"
#include "run/deck.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

Status read_element(const Text<80>& token) {
  if (token == "dipole") return dipole_multipole(BendOrder::dipole);
  if (token == "quadrupole") return dipole_multipole(BendOrder::quadrupole);
  if (token == "multipole") return dipole_multipole(BendOrder::multipole);
  if (token == "thin_quadrupole") return thin_quadrupole();
  if (token == "discrete_free") return discrete_free();
  return refuse_word(token.view());
}

/// Reads elements up to the closing brace.
Status read_elements() {
  Status status = latini();
  if (status == ok) status = getspc("{");
  while (status == ok) {
    Text<80> token;
    status = getcmd(token);
    if (status == ok && token == "}") break;
    if (status == ok) status = read_element(token);
  }
  return status;
}

/// Lists the lengths of the sections behind the first boundary; the status counts the negative ones.
Status list_lengths() {
  Status negative = 0;
  for (int k = 1; k < latcom.nlat; ++k) {
    const double length = latcom.bnd[k + 1].s - latcom.bnd[k].s;
    console_line(FreeForm("section", k, " length=", length).items());
    if (length < 0) ++negative;
  }
  return negative;
}

}  // namespace

Status latini() {
  latcom_store.nlat = 0;
  latcom_store.ipool_used = 0;
  latcom_store.rpool_used = 0;
  latcom_store.latready = false;
  return ok;
}

Status lattice() {
  Status status = read_elements();
  if (status == ok) {
    status = list_lengths();
    latout();
    msgout("end of lattice definition");
  }
  if (status != ok) msgout("error in lattice");
  return status;
}

}  // namespace tessaron
