#include <array>
#include <string_view>

#include "common/freeform.hpp"
#include "forces/block_files.hpp"
#include "forces/fields/image_cost.hpp"
#include "forces/force_settings_owner.hpp"
#include "run/block_values.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

constexpr std::array<std::string_view, 22> names = {
    "type",   "sigma_long", "relative_long", "test", "shape", "sigma_rad", "sigma_vert", "relative_vert",
    "rintmi", "sigma_file", "use_old_mesh",  "sbox", "rbox",  "shield",    "shield_max", "shield_reach",
    "par1",   "par2",       "par3",          "par4", "par5",  "wake_file"};
using Keys = KeyTable<names.size()>;

bool not_negative(double value) { return value >= 0; }
bool relative_factor(double value) { return value > 0 && value <= 2; }

/// What each block sets anew; the factors and flags of relative sizes, `par1` to `par5` and the counts of
/// calls stay from block to block.
void set_defaults(ForceSettings& f) {
  const ForceSettings fresh;
  f.shape_code = fresh.shape_code;
  f.sigma_long = f.sigma_rad = f.sigma_vert = 0;
  f.rintmi = fresh.rintmi;
  f.sbox = fresh.sbox;
  f.rbox = fresh.rbox;
  f.shield = fresh.shield;
  f.shield_max = fresh.shield_max;
  f.shield_reach = fresh.shield_reach;
  f.long_from_file = f.rad_from_file = f.vert_from_file = false;
  f.sigma_file_read = f.wake_used = false;
  f.force_test = fresh.force_test;
  f.use_old_mesh = fresh.use_old_mesh;
}

Status take_type(const Keys& keys, ForceSettings& f) {
  constexpr std::array<std::string_view, 6> words = {"none",       "projected",  "csr_p_to_p",
                                                     "csr_p_to_m", "csr_g_to_p", "csr_g_to_m"};
  if (!keys.seen("type")) return failed;
  for (std::size_t code = 0; code < words.size(); ++code) {
    if (!(keys.value("type") == words[code])) continue;
    f.force_type = static_cast<ForceType>(code);
    return ok;
  }
  return keys.judged("type", failed);
}

/// A size that is a fixed number, a factor on the measured size of the bunch, or a column of the file.
struct SizeKeys {
  std::string_view size, factor;
};
Status take_size(const Keys& keys, const SizeKeys& name, double& sigma, double& factor, bool& relative,
                 bool& from_file) {
  if (keys.value(name.size) == "file") {
    from_file = true;
    return ok;
  }
  relative = keys.value(name.size) == "relative";
  if (relative) return need_real(keys, name.factor, factor, relative_factor);
  return need_real(keys, name.size, sigma, positive);
}

Status take_shield_reach(const Keys& keys, ForceSettings& f) {
  if (!keys.seen("shield_reach")) return ok;
  if (keys.value("shield_reach") == "kernel") {
    f.shield_reach = ShieldReach::kernel;
  } else if (keys.value("shield_reach") == "bunch") {
    f.shield_reach = ShieldReach::bunch;
  } else {
    return failed;
  }
  return ok;
}

/// What all models with a force need.
Status take_length_and_shield(const Keys& keys, ForceSettings& f) {
  if (!keys.seen("sigma_long")) return failed;
  Status status = take_size(keys, {"sigma_long", "relative_long"}, f.sigma_long, f.relative_long,
                            f.long_relative, f.long_from_file);
  if (status == ok) status = take_real(keys, "shield", f.shield, not_negative);
  if (status == ok) status = take_real(keys, "shield_max", f.shield_max, positive);
  if (status == ok) status = take_shield_reach(keys, f);
  return status;
}

/// The two transverse sizes. A radial size that is not given follows the length, a vertical one the measured
/// height of the bunch.
Status take_transverse_sizes(const Keys& keys, ForceSettings& f) {
  Status status = ok;
  f.rad_follows_long = true;
  if (keys.seen("sigma_rad")) {
    if (keys.value("sigma_rad") == "file") {
      f.rad_from_file = true;
    } else {
      f.rad_follows_long = false;
      status = need_real(keys, "sigma_rad", f.sigma_rad, positive);
    }
  }
  if (status != ok) return status;
  if (!keys.seen("sigma_vert")) {
    f.relative_vert = 1;
    f.vert_relative = true;
    return ok;
  }
  return take_size(keys, {"sigma_vert", "relative_vert"}, f.sigma_vert, f.relative_vert, f.vert_relative,
                   f.vert_from_file);
}

Status take_box(const Keys& keys, std::string_view name, double& box, const char* warning) {
  const Status status = take_real(keys, name, box, positive);
  if (status == ok && keys.seen(name) && box > 1) msgout(warning);
  return status;
}

/// An ellipsoid without transverse sizes is a sphere.
Status take_shape(const Keys& keys, ForceSettings& f) {
  if (!keys.seen("shape") || keys.value("shape") == "sphere") return ok;
  if (!(keys.value("shape") == "ellipsoid")) return keys.judged("shape", failed);
  if (!keys.seen("sigma_rad") && !keys.seen("sigma_vert")) return ok;
  f.shape_code = Shape::ellipsoid;
  Status status = take_transverse_sizes(keys, f);
  if (status == ok) status = take_box(keys, "sbox", f.sbox, "warning: large sbox");
  if (status == ok) status = take_box(keys, "rbox", f.rbox, "warning: large rbox");
  return status;
}

Status take_model(const Keys& keys, ForceSettings& f) {
  Status status = take_type(keys, f);
  if (status != ok || f.force_type == ForceType::none) return status;
  status = take_length_and_shield(keys, f);
  if (status != ok || f.force_type == ForceType::projected) return status;
  status = take_shape(keys, f);
  if (status == ok) status = take_real(keys, "rintmi", f.rintmi, positive);
  if (status == ok) take_flag(keys, "use_old_mesh", f.use_old_mesh);
  return status;
}

Status take_subbunch_file(const Keys& keys, ForceSettings& f) {
  const bool wanted = f.long_from_file || f.rad_from_file || f.vert_from_file;
  f.sigma_file_read = keys.seen("sigma_file") && f.force_type != ForceType::none && wanted;
  if (f.sigma_file_read) return read_subbunch_file(keys.value("sigma_file").view());
  if (!wanted) return ok;
  msgout("file with subbunch properties is not specified");
  return failed;
}

Status take_parameters(const Keys& keys, ForceSettings& f) {
  constexpr std::array<std::string_view, 5> parameters = {"par1", "par2", "par3", "par4", "par5"};
  Status status = ok;
  for (int k = 1; k <= 5 && status == ok; ++k) {
    status = take_real(keys, parameters[static_cast<std::size_t>(k - 1)], f.par[k], any_value);
  }
  return status;
}

Status take_up(const Keys& keys, ForceSettings& f) {
  Status status = take_model(keys, f);
  if (status == ok) status = take_subbunch_file(keys, f);
  if (status != ok) return status;
  take_flag(keys, "test", f.force_test);
  status = take_parameters(keys, f);
  if (status != ok) return status;
  f.wake_used = keys.seen("wake_file");
  return f.wake_used ? read_wake_file(keys.value("wake_file").view()) : ok;
}

}  // namespace

Status force() {
  set_defaults(force_settings_store);
  forget_image_costs();
  Keys keys(names);
  Status status = keys.read();
  if (status == ok) status = take_up(keys, force_settings_store);
  if (status != ok) msgout("error in force");
  return status;
}

}  // namespace tessaron
