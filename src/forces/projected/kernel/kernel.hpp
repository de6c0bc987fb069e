#pragma once
#include "common/constants.hpp"
#include "common/table.hpp"
#include "lattice/lattice_record.hpp"

namespace tessaron {

/// The longitudinal field that a Gaussian line charge of one coulomb, moving along the reference orbit, makes
/// at an observer on the same orbit, for a grid of offsets between the two.
///
/// The orbit is the chain of arcs and straights of the curvature table; all of its past counts. With P the
/// path coordinate of the source relative to the observer (P <= 0), D its distance from the observer and
/// Q = P + beta D the coordinate that the source has reached when what it emitted at P arrives,
///     K(s) = 1 / (4 pi eps0)  Integral f(P) lambda'(Q(P) - s) dP,
/// with lambda the normalised Gaussian, s the offset of its centre from the observer (positive forwards) and
/// f the retarded field function with the field of straight uniform motion taken out. One walk back along the
/// orbit serves all offsets: every integration node adds the slope of a Gaussian to the whole array.
///
/// Two shielding planes at the distance `shield` are met by image charges of alternating sign, faded out by
/// a cosine towards the distance `shield_max`.
///
/// Sources: Derbenev, Rossbach, Saldin, Shiltsev, TESLA-FEL 95-05 (1995); Saldin, Schneidmiller, Yurkov,
/// Nucl. Instr. Meth. A 398 (1997) 373; Murphy, Krinsky, Gluckstern, Part. Accel. 57 (1997) 9.
struct Csr1d {
  double sigma;       ///< rms length of the Gaussian [m of path]
  double gamma;       ///< Lorentz factor of the bunch
  double s_ref;       ///< path coordinate of the observer [m]
  double s_lo, s_hi;  ///< first and last offset of the grid [m of path]
  bool done;          ///< the array is valid; false asks for a computation
  double shield;      ///< distance of the image planes [m], 0 for none
  double shield_max;  ///< largest image distance used [m]
  Table<double, narcsr + 2>
      array;  ///< K at s_lo + (i - 1) (s_hi - s_lo) / (n - 1), i = 1..n [V/m per coulomb]
};
using CurvatureTable = Table<Curvature, maxlat>;

/// What a kernel is worked out on, all zero at start.
struct KernelWork {
  static constexpr int images_at_once = 16;
  Csr1d coarse;  ///< a fine grid's samples, with the coefficients of the spline through them
  Table<double, narcsr + 2> curvature, ratio;
  Table<Csr1d, images_at_once> image;  ///< walks of some images
};

/// Fills the array of the record with n results unless it is done. A grid finer than a fifth of sigma is
/// computed on a grid of about that step and interpolated with a natural spline.
/// \param m  entries of the curvature table that open an arc or a straight between arcs: all but the last
void csr3(const CurvatureTable& curv, int m, Csr1d& record, int n, KernelWork& work);

/// The same without coarse sampling: the unshielded walk and the walks of the images.
/// \param step_factor  step of the integration in units of sigma; the error of an integral falls at least
///                     with its square
void csr2(const CurvatureTable& curv, int m, Csr1d& record, int n, KernelWork& work,
          double step_factor = 0.2);

}  // namespace tessaron
