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

void pgbunch(const ParticleTable& particles, const SectionTable& sections) {
  const std::int32_t n = ptlcom_store.npart;
  pgsend(&n, sizeof n);
  pgsend(particles.run(1, n).data(), particles.run(1, n).size_bytes());
  pgsend(sections.run(1, n).data(), sections.run(1, n).size_bytes());
}

void pgbunch() {
  std::int32_t& n = ptlcom_store.npart;
  pgbytes(&n, sizeof n);
  pgbytes(ptlcom_store.particle.run(1, n).data(), ptlcom_store.particle.run(1, n).size_bytes());
  pgbytes(ptlcom_store.section.run(1, n).data(), ptlcom_store.section.run(1, n).size_bytes());
}

}  // namespace tessaron
