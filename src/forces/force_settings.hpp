#pragma once
#include <cstdint>

#include "common/constants.hpp"
#include "common/status.hpp"
#include "common/table.hpp"

namespace tessaron {

enum class ForceType : std::int32_t {
  none = 0,
  projected = 1,   ///< one-dimensional force from the line charge on the path
  csr_p_to_p = 2,  ///< direct, every particle on every particle
  csr_p_to_m = 3,  ///< particles to a mesh
  csr_g_to_p = 4,  ///< Green's function to the particles
  csr_g_to_m = 5,  ///< Green's function to a mesh
};
/// How far ahead of the observer the kernel of the projected force reaches between two planes: as far as
/// without planes, or over the whole bunch. `not_given` acts as `kernel`.
enum class ShieldReach : std::int32_t { not_given = 0, kernel = 1, bunch = 2 };
enum class Shape : std::int32_t { sphere = 2, ellipsoid = 3 };

/// Settings of the self force. Owner: the `forces` block reader; the force dispatch writes the current
/// sub-bunch sizes and counts the calls. Lengths in metres.
struct ForceSettings {
  ForceType force_type = ForceType::none;
  Shape shape_code = Shape::sphere;
  double sigma_long = 0, sigma_rad = 0,
         sigma_vert = 0;                        ///< sub-bunch rms sizes, current after each evaluation
  double relative_long = 0, relative_vert = 0;  ///< factors on the measured rms sizes
  double rintmi = 1e-9;                         ///< smallest length that the field library resolves
  double sbox = 0.5, rbox = 0.5;                ///< mesh box in units of the sub-bunch size
  double shield = 0;                            ///< distance of the image planes, 0 for none
  double shield_max = 0.3;                      ///< largest image distance used
  ShieldReach shield_reach = ShieldReach::not_given;
  Table<double, 5> par;  ///< free parameters of the projected model
  bool long_relative = false, rad_follows_long = false, vert_relative = false;
  bool long_from_file = false, rad_from_file = false, vert_from_file = false;
  bool sigma_file_read = false;
  bool force_test = false;  ///< write the diagnostic files
  bool use_old_mesh = true;
  bool wake_used = false;
  Table<std::int32_t, 5> force_calls;  ///< evaluations made, by force type code
  // wake table: entry k is the wake at (n1wak + k - 1) stpwak
  double sigwak = 0, stpwak = 0;
  std::int32_t n1wak = 0, n2wak = 0;
  std::int32_t subbunch_rows = 0;
};
extern const ForceSettings& force_settings;

struct SubbunchRow {
  double ct, sigma_long, sigma_rad, sigma_vert;
};
extern const Table<SubbunchRow, matist>& subbunch_table;  ///< rows 1..subbunch_rows
extern const Table<double, narcsr>& wake_table;           ///< V/m per coulomb, entries 1..n2wak-n1wak+1

/// Start-up: no self force.
[[nodiscard]] Status frcinit();
/// The block reader of `forces`.
[[nodiscard]] Status force();

}  // namespace tessaron
