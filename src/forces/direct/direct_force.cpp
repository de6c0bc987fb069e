#include <cmath>
#include <string_view>

#include "common/console.hpp"
#include "common/end_request.hpp"
#include "field/ffield.hpp"
#include "field/observer_work.hpp"
#include "field/source_record.hpp"
#include "forces/field_settings.hpp"
#include "forces/image_cost.hpp"
#include "forces/models.hpp"
#include "group/process_group.hpp"
#include "lattice/lattice_record.hpp"
#include "run/file_table.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

/// Adds the field of a source times q to this process's share of the targets, in the plane of the lattice
/// [V/m]. Heights and vertical angles of the targets do not enter.
void add_source(const FieldSource& source, double q, const ParticleTable& particles, double ct,
                const ProcessIdentity& id, ObserverWork& observer, ForceTable& forces) {
  std::int32_t target = 0;
  for (std::int32_t i = 1; i <= ptlcom.npart; ++i) {
    if (end_requested() || !ptlcom.test[i] || !own_item(++target, id)) continue;
    const Particle& at = particles[i];
    double r[3], n[3], t;
    pthfrm(source.path, at.x, at.y, 0, at.phi, 0, ct, r, n, t);
    FieldResult result = ffield(source, observer, t, r, gamma_of(at), n);
    pthlab(source.path, result.force);
    forces[i].along += q * result.force[0];
    forces[i].across += q * result.force[1];
  }
}

void progress(std::int32_t isrc) {
  const std::int32_t npart = ptlcom.npart;
  if (isrc == 1 || isrc == npart || (npart >= 900 && isrc % 100 == 0)) {
    console_line(FreeForm(" isrc       =", isrc, " npart =", npart).items());
  }
}

/// From volts per metre in the plane of the lattice to the particle's own axes and units.
void turn_to_motion(const ParticleTable& particles, ForceTable& forces) {
  for (std::int32_t i = 1; i <= ptlcom.npart; ++i) {
    if (!ptlcom.test[i]) continue;
    const double fx = forces[i].along, fy = forces[i].across;
    const double c = std::cos(particles[i].phi), s = std::sin(particles[i].phi);
    forces[i].along = (fx * c + fy * s) * mc_per_ev;
    forces[i].across = (-fx * s + fy * c) * mc_per_ev;
  }
}

/// One line of `fc2.dat`: place relative to the reference particle and the two force components.
Status write_row(int stream, const Particle& particle, const Particle& reference, const Force& force) {
  constexpr int width = 13, decimals = 6, columns = 4 * (width + 1);
  const double values[] = {particle.x - reference.x, particle.y - reference.y, force.along, force.across};
  char line[columns];
  char* column = line;
  for (const double value : values) {
    *column = ' ';
    put_scientific(column + 1, width, decimals, value);
    column += width + 1;
  }
  return fiwrite(stream, std::string_view(line, columns));
}

Status diagnostics(const ParticleTable& particles, const ForceTable& forces) {
  const ForceSettings& s = force_settings;
  msgout(FreeForm("ctsig =", s.sigma_long / beta_of(particles[1])));
  if (s.shape_code == Shape::ellipsoid) {
    msgout(FreeForm("sigmar=", s.sigma_rad));
    msgout(FreeForm("sigmaz=", s.sigma_vert));
  }
  msgout(" ", 1);

  int stream = 0;
  Status status = fiopno("fc2.dat", stream);
  if (status != ok) return status;
  for (std::int32_t i = 1; i <= ptlcom.npart; ++i) {
    keep_first(status, write_row(stream, particles[i], particles[1], forces[i]));
  }
  keep_first(status, ficlos(stream));
  return status;
}

}  // namespace

Status force2(const ParticleTable& particles, const SectionTable& sections, double ct, ObserverWork& observer,
              ForceTable& forces) {
  const ProcessIdentity id = pgflags();
  FieldSource source;
  pass_field_settings(particles[1], source);
  for (std::int32_t i = 1; i <= ptlcom.npart; ++i) forces[i] = Force{};
  tell_image_cost_of_fields(ForceType::csr_p_to_p, ptlcom.npart, {particles[1], sections[1]}, particles, ct,
                            observer);

  for (std::int32_t isrc = 1; isrc <= ptlcom.npart && !end_requested(); ++isrc) {
    if (ptlcom.source[isrc]) {
      setpth(particles[isrc], sections[isrc], latcom.nlat, ct, source);
      finit(source, "check", 0);
      add_source(source, particles[isrc].q, particles, ct, id, observer, forces);
    }
    if (id.master) progress(isrc);
  }
  turn_to_motion(particles, forces);
  pgsum(&forces[1].along, 3, ptlcom.npart);

  Status status = ok;
  if (force_settings.force_test && id.master && !end_requested()) status = diagnostics(particles, forces);
  if (status != ok) msgout("error in force2");
  return status;
}

}  // namespace tessaron
