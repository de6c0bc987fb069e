#include "forces/force_dispatch.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "beam/bunch_record.hpp"
#include "forces/force_settings_owner.hpp"
#include "forces/force_work_owner.hpp"
#include "forces/models.hpp"
#include "group/process_group.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

/// The models that may share their work among the process group.
Status shared_model(ForceType type, const ParticleTable& particles, const SectionTable& sections, double ct,
                    ForceTable& forces) {
  pgstr("parallel forces");
  pgbunch(particles, sections);
  return frcims(type, particles, sections, ct, forces);
}

Status evaluate(ForceType type, const ParticleTable& particles, const SectionTable& sections, double ct,
                ForceTable& forces) {
  switch (type) {
    case ForceType::projected:
      return force1(particles, sections, force_work_store.projected, forces);
    case ForceType::csr_p_to_p:
    case ForceType::csr_p_to_m:
    case ForceType::csr_g_to_p:
    case ForceType::csr_g_to_m:
      return shared_model(type, particles, sections, ct, forces);
    default:
      std::ranges::fill(forces.run(1, ptlcom.npart), Force{});
      return ok;
  }
}

/// The master's time, sub-bunch sizes and force type reach the workers.
void exchange_settings(ForceType& type, double& ct) {
  ForceSettings& f = force_settings_store;
  std::array<double, 5> row{};
  const bool master = pgflags().master;
  if (master) row = {ct, f.sigma_long, f.sigma_rad, f.sigma_vert, static_cast<double>(type)};
  pgrows(row.data(), 5, 1, 1);
  if (master) return;
  ct = row[0];
  f.sigma_long = row[1];
  f.sigma_rad = row[2];
  f.sigma_vert = row[3];
  type = static_cast<ForceType>(static_cast<std::int32_t>(std::lround(row[4])));
}

}  // namespace

Status forcei(ForceType type, const ParticleTable& particles, const SectionTable& sections, double ct,
              ForceTable& forces) {
  const auto code = static_cast<std::int32_t>(type);
  if (code >= 1 && code <= 5) ++force_settings_store.force_calls[code];
  Status status = frcsub(type, particles, ct);
  if (status == ok) status = evaluate(type, particles, sections, ct, forces);
  if (status != ok) {
    std::ranges::fill(forces.run(1, ptlcom.npart), Force{});  // a model that failed leaves its scratch values
    msgout("error in forcei");
  }
  return status;
}

Status frcims(ForceType type, const ParticleTable& particles, const SectionTable& sections, double ct,
              ForceTable& forces) {
  exchange_settings(type, ct);
  ForceWork& work = force_work_store;
  const Status status = type == ForceType::csr_p_to_p
                            ? force2(particles, sections, ct, work.fields, forces)
                            : force3(type, particles, sections, ct, work.fields, work.green, forces);
  if (status != ok) msgout("error in frcims");
  return status;
}

}  // namespace tessaron
