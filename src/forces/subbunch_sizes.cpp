#include "beam/particles.hpp"
#include "forces/force_dispatch.hpp"
#include "forces/force_settings_owner.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

/// The sizes of the sub-bunch table at time ct: linear between the rows, constant outside.
SubbunchRow sizes_at(double ct) {
  const int last = force_settings.subbunch_rows;
  if (last < 1) return {};
  if (ct <= subbunch_table[1].ct) return subbunch_table[1];
  if (ct >= subbunch_table[last].ct) return subbunch_table[last];
  int i = 2;
  while (i < last && subbunch_table[i].ct < ct) ++i;
  const SubbunchRow &a = subbunch_table[i - 1], &b = subbunch_table[i];
  const double w = (ct - a.ct) / (b.ct - a.ct);
  return {ct, a.sigma_long * (1 - w) + b.sigma_long * w, a.sigma_rad * (1 - w) + b.sigma_rad * w,
          a.sigma_vert * (1 - w) + b.sigma_vert * w};
}

struct Sizes {
  double length, radial, vertical;
};

/// The sizes that the settings ask for.
Sizes wanted_sizes(const ParticleTable& particles, double ct) {
  const ForceSettings& f = force_settings;
  SubbunchRow file{};
  BeamSizes measured{};
  if (!(f.long_from_file && f.rad_from_file && f.vert_from_file)) {
    measured = beam_sizes(ptlcom.npart, particles, ptlcom.source);
  }
  if (f.long_from_file || f.rad_from_file || f.vert_from_file) file = sizes_at(ct);

  Sizes s{f.sigma_long, f.sigma_rad, f.sigma_vert};
  if (f.long_relative) s.length = f.relative_long * measured.rms_long;
  if (f.long_from_file) s.length = file.sigma_long;
  if (f.shape_code == Shape::sphere) return {s.length, s.length, s.length};
  if (f.rad_follows_long) s.radial = s.length;
  if (f.rad_from_file) s.radial = file.sigma_rad;
  if (f.vert_relative) s.vertical = f.relative_vert * measured.rms_vert;
  if (f.vert_from_file) s.vertical = file.sigma_vert;
  return s;
}

}  // namespace

Status frcsub(ForceType type, const ParticleTable& particles, double ct) {
  ForceSettings& f = force_settings_store;
  const Sizes s = wanted_sizes(particles, ct);
  const bool length_only = type == ForceType::projected;
  if (!(s.length > 0) || (!length_only && !(s.radial > 0 && s.vertical > 0))) {
    msgout("error in frcsub (sub-bunch dimensions)");
    return failed;
  }
  f.sigma_long = s.length;
  if (!length_only) {
    f.sigma_rad = s.radial;
    f.sigma_vert = s.vertical;
  }
  return ok;
}

}  // namespace tessaron
