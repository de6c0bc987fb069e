#include "beam/bunch_record.hpp"

#include "beam/bunch_record_owner.hpp"
#include "group/process_group.hpp"

namespace tessaron {

namespace {
constinit ParticleTable first_particles{};
constinit SectionTable first_sections{};
constinit FlagTable source_flags{}, test_flags{};
}  // namespace

constinit ParticleRecord ptlcom_store{.particle = TableSlot(first_particles),
                                      .source = TableSlot(source_flags),
                                      .test = TableSlot(test_flags),
                                      .section = TableSlot(first_sections)};
const ParticleRecord& ptlcom = ptlcom_store;

MovingBunch ptlmov() { return {ptlcom_store.particle, ptlcom_store.section, ptlcom_store.ctptcl}; }

void ptlplc() { ptlcom_store.sections_valid = true; }

void pgbunch(ParticleTable& particles, SectionTable& sections) {
  ParticleRecord& bunch = ptlcom_store;
  pgbytes(&bunch.npart, sizeof bunch.npart);
  const auto n = static_cast<std::size_t>(bunch.npart);
  pgbytes(&particles[1], n * sizeof(Particle));
  pgbytes(&sections[1], n * sizeof(std::int32_t));
  pgbytes(&bunch.ctptcl, sizeof bunch.ctptcl);
}

}  // namespace tessaron
