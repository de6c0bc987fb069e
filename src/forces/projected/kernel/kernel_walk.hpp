#pragma once
#include "forces/projected/current/even_gaussian.hpp"
#include "forces/projected/kernel/kernel.hpp"

namespace tessaron {

/// A source on the path as the observer sees it, in a frame whose first axis is the observer's tangent.
struct CsrSource {
  double P;       ///< path coordinate relative to the observer [m], 0 or negative
  double R0, R1;  ///< position relative to the observer [m]
  double T0, T1;  ///< unit tangent of the path
};

/// One walk for one image distance: what does not change on the way, and the array that is filled.
struct CsrPass {
  double beta, gamma;
  double C;       ///< 1 / gamma^2
  double h;       ///< distance of the image from the orbit plane [m]
  double sigma;   ///< [m]
  double lo, hi;  ///< the range of Q that can touch the grid [m]
  double step;    ///< step in Q [m]

  double s_lo;  ///< the grid: n offsets from s_lo on in steps of ds [m]
  double ds;
  int n;
  double* array;  ///< n results
  EvenGaussian gaussian;
};

/// The walk of one pass: fills the array of the record for the image distance h.
void csrpth(const CurvatureTable& curv, int m, Csr1d& record, int n, double h, double step_factor);

/// The retarded field function at one source point, as field along the observer's tangent.
struct CsrField {
  double f;  ///< per metre of path [1/m^2 without 1/(4 pi eps0)]
  double g;  ///< f D
  double E;  ///< dQ/dP = 1 - beta cos(angle between the source's motion and the line of sight)
};
/// With D the distance (images: out of the plane as well); 0 if the source is at the observer.
CsrField csrker(const CsrPass& pass, const CsrSource& source, double D);

/// Adds the weight w at the coordinate Q to the array: w sigma (-u exp(-u^2/2)), u = (Q - s) / sigma.
void csradd(const CsrPass& pass, double w, double Q);

/// The segments of the walk, each of length l, back from the state, which moves to the segment's far end.
/// They return whether the walk goes on. A straight; an infinite l ends the walk.
[[nodiscard]] bool csrdrf(const CsrPass& pass, double l, CsrSource& state);
/// An arc of signed radius r.
[[nodiscard]] bool csrarc(const CsrPass& pass, double l, double r, CsrSource& state);
/// The arc that holds the observer, without images: the state is an output only.
[[nodiscard]] bool csrobs(const CsrPass& pass, double l, double r, CsrSource& state);

}  // namespace tessaron
