#pragma once
#include <array>
#include <string_view>

#include "field/ffield.hpp"

namespace tessaron {

/// How the field integral is summed: several nodes of the mesh at once, or node by node through `zfint` (the
/// slow way, for comparison). Both use the same nodes and weights.
enum class Summation { batched, plain };

/// The settings of a source. Owner: `finit`; the last two are for comparisons and have no key.
struct FieldSettings {
  double q0 = 0;             ///< charge of the source [C]
  double sigmat = 0;         ///< rms duration of its Gaussian profile [s]
  double xnsigt = 0;         ///< half length of the profile in units of sigmat, 0: not cut off
  double hc = 0;             ///< spacing of the mirror charges [m], 0: none
  double hmax = 0.5;         ///< reach of the mirror sum [m]
  double rintmi = 0;         ///< smallest length that is resolved [m]
  double rintma = 0;         ///< how far behind `slow` the source is searched [m]
  double slow = 0;           ///< low end of the path range [m]
  double shigh = 0;          ///< high end of the path range [m]
  double sstpma = 0;         ///< walking step for the search of curvature edges [m]
  double relacc = 0;         ///< relative accuracy goal
  bool notalman = false;     ///< leave out the curvature term of the force
  bool nogamma2 = false;     ///< leave out the 1/gamma^2 term of the force
  bool nopotential = false;  ///< leave the potentials out: their slots are 0
  bool zsymmetry = false;    ///< the mirror sum may use z = 0 as a plane of symmetry
  bool mirror_1d = false;    ///< mirror charges are lines without transverse size
  bool poleex_1d = false;    ///< take the singular near part out, put nothing in its place
  Summation summation = Summation::batched;
  int refinement = 1;            ///< into how many equal parts every stretch of the mesh is divided
  std::array<bool, 10> given{};  ///< which of the reals `finit` has been given, in the order of `check`
};

/// Transverse models of a source.
enum class Method { line = 0, stick = 1, round = 2, ellipse = 3 };

/// The transverse shape of the source. Owner: `fcoini`.
struct SubBunchShape {
  Method method = Method::line;
  double sigmaz = 0;              ///< rms of the stick, of the round one, vertical rms of the ellipse [m]
  double sigmar = 0;              ///< rms of the ellipse across the path in the plane [m]
  double ex = 0, ey = 0, ez = 0;  ///< direction of the stick
  // derived, for the ellipse only: a round charge of rms sigmin, spread along one axis with rms sigmax
  bool long_axis_vertical = false;
  double sigmax = 0, sigmin = 0;
};

/// What the force of one evaluation leaves out.
struct ForceFlags {
  bool notalman = false, nogamma2 = false;
  bool extract = false;  ///< the singular core of the near part is left out of the closed terms
};

/// Stores one value of the shape: `method` (nearest integer), `sigmaz`, `sigmar`, `ex`, `ey` or `ez`. Any
/// other action stops the program.
void fcoini(SubBunchShape& shape, std::string_view action, double value);
/// Hands out one value of the shape.
double fcoget(const SubBunchShape& shape, std::string_view action);

}  // namespace tessaron
