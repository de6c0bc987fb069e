#include <algorithm>
#include <cmath>
#include <string_view>

#include "common/console.hpp"
#include "common/end_request.hpp"
#include "forces/fields/field_settings.hpp"
#include "forces/fields/image_cost.hpp"
#include "forces/fields/source_fields.hpp"
#include "forces/models.hpp"
#include "group/process_group.hpp"
#include "run/files/file_table.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

/// Calls visit(i) for the test particles of this process, in their order.
template <class Visit>
void over_targets(const Visit& visit) {
  const ProcessIdentity id = pgflags();
  std::int32_t number = 0;
  for (std::int32_t i = 1; i <= ptlcom.npart; ++i)
    if (ptlcom.test[i] && own_item(++number, id)) visit(i);
}

void progress(std::int32_t isrc) {
  const std::int32_t npart = ptlcom.npart;
  if (!pgflags().master) return;
  if (isrc == 1 || isrc == npart || (npart >= 900 && isrc % 100 == 0)) {
    console_line(FreeForm(" isrc       =", isrc, " npart =", npart).items());
  }
}

/// From volts per metre in the plane of the lattice to the particle's own axes and units.
Force turned_to_motion(const PlaneField& field, double phi) {
  const double c = std::cos(phi), s = std::sin(phi);
  return {(field.x * c + field.y * s) * mc_per_ev, (-field.x * s + field.y * c) * mc_per_ev, 0};
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

Status force2(const ParticleTable& particles, const SectionTable& sections, double ct, FieldWork& fields,
              ForceTable& forces) {
  FieldSource settings;
  pass_field_settings(particles[1], settings);
  tell_image_cost_of_fields(ForceType::csr_p_to_p, ptlcom.npart, {particles[1], sections[1]}, particles, ct,
                            fields.team.mine());
  // All in the plane of the lattice: heights and vertical angles of particles do not enter.
  fields.clear();
  over_targets([&](std::int32_t i) {
    fields.add({particles[i].x, particles[i].y, particles[i].phi, gamma_of(particles[i])});
  });
  sum_source_fields(particles, sections, ct, settings, progress, fields);
  std::ranges::fill(forces.run(1, ptlcom.npart), Force{});
  std::int32_t k = 0;
  over_targets([&](std::int32_t i) { forces[i] = turned_to_motion(fields.sum[++k], particles[i].phi); });
  pgsum(&forces[1].along, 3, ptlcom.npart);

  Status status = ok;
  if (force_settings.force_test && pgflags().master && !end_requested())
    status = diagnostics(particles, forces);
  if (status != ok) msgout("error in force2");
  return status;
}

}  // namespace tessaron
