#include "forces/fields/image_cost.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <string_view>

#include "common/freeform.hpp"
#include "field/ffield.hpp"
#include "field/observer_work.hpp"
#include "field/path/path.hpp"
#include "field/source_record.hpp"
#include "forces/fields/field_settings.hpp"
#include "group/process_group.hpp"
#include "lattice/lattice_record.hpp"
#include "run/diagnosis.hpp"

namespace tessaron {

namespace {

constexpr double many_pairs = 1000, pairs_of_sample = 32;
std::array<bool, 6> told{};  // by force type code

std::size_t code(ForceType model) { return static_cast<std::size_t>(model); }

std::string_view name_of(ForceType model) {
  constexpr std::array<std::string_view, 6> names = {"none",       "projected",  "csr_p_to_p",
                                                     "csr_p_to_m", "csr_g_to_p", "csr_g_to_m"};
  return names[code(model)];
}

/// Two digits in seconds, minutes or hours.
void put_duration(std::array<char, 40>& out, double seconds) {
  const bool short_one = seconds < 100, long_one = seconds >= 6000;
  const double value = short_one ? seconds : seconds / (long_one ? 3600 : 60);
  std::snprintf(out.data(), out.size(), value < 10 ? "%.2g %s" : "%.0f %s", value,
                short_one ? "s" : (long_one ? "h" : "min"));
}

}  // namespace

double image_pairs() {
  const double h = force_settings.shield, reach = force_settings.shield_max;
  return h > 0 && reach > h ? std::min(std::round(reach / h), 9e18) : 0;
}

void forget_image_costs() { told = {}; }

double sample_shield() { return force_settings.shield_max / pairs_of_sample; }

bool image_cost_is_due(ForceType model) {
  return image_pairs() > many_pairs && !told[code(model)] && pgflags().master;
}

void tell_image_cost(ForceType model, double parts, double seconds) {
  told[code(model)] = true;
  std::array<char, 40> time;
  put_duration(time, seconds * parts * image_pairs() / pairs_of_sample);
  tell_person(FreeForm("shield_max / shield asks for", static_cast<std::int64_t>(image_pairs()),
                       "pairs of images: one evaluation of", name_of(model), "takes about", time.data())
                  .items());
}

void tell_image_cost_of_fields(ForceType model, double observers, const SampleSource& source,
                               const ParticleTable& particles, double ct, ObserverWork& observer,
                               double most_fields) {
  if (!image_cost_is_due(model) || ptlcom.npart == 0) return;
  FieldSource sample;
  pass_field_settings(particles[1], sample);
  finit(sample, "hc", sample_shield());
  setpth(source.particle, source.section, latcom.nlat, ct, sample);
  finit(sample, "check", 0);
  const Particle& at = particles[ptlcom.npart];
  double r[3], n[3], t;
  pthfrm(sample.path, at.x, at.y, 0, at.phi, 0, ct, r, n, t);
  const double seconds = time_of([&] { (void)ffield(sample, observer, t, r, gamma_of(at), n); });
  const auto sources = std::ranges::count(ptlcom.source.run(1, ptlcom.npart), true);
  const double fields = std::min(observers * static_cast<double>(sources), most_fields);
  tell_image_cost(model, fields / pgflags().group_size, seconds);
}

}  // namespace tessaron
