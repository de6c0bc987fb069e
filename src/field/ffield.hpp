#pragma once
#include <string_view>

#include "common/text.hpp"

namespace tessaron {

struct FieldSource;
struct ObserverWork;

/// What the field library returns: 14 reals, in this order.
struct FieldResult {
  double force[3];  ///< per unit test charge, E + beta n x (c B) [V/m]
  double cb[3];     ///< c B [V/m]
  double phi;       ///< scalar potential [V]
  double a[3];      ///< vector potential [V s/m]
  double phi_t;     ///< d phi / dt at the observer [V/s]
  double a_t[3];    ///< dA/dt at the observer [V/m]
};
static_assert(sizeof(FieldResult) == 14 * sizeof(double));

/// Sets one setting of a source. `check` completes the source: it stops the program unless all settings are
/// given and fit for use. Unknown keys stop the program.
void finit(FieldSource& source, std::string_view action, double value);

/// The retarded field of a source, complete by `check`, at the time t [s] and place r [m] of its path frame,
/// and the force on a test particle of Lorentz factor gamma and direction n.
FieldResult ffield(const FieldSource& source, ObserverWork& work, double t, const double r[3], double gamma,
                   const double n[3]);

/// The library's version lines for the banner: line i, and their number.
void fldver(Text<80>& text, int i, int& n);

}  // namespace tessaron
