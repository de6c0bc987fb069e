#include "beam/particles.hpp"

#include <cmath>
#include <string_view>

#include "beam/bunch_frame.hpp"
#include "beam/bunch_record_owner.hpp"
#include "common/freeform.hpp"
#include "run/deck.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

/// What the settings of one block say.
struct BlockSettings {
  ParticleFormat format = ParticleFormat::fmt1;
  MomentumMode mode = MomentumMode::reference_particle;
};

Status read_number(double& value) {
  Text<80> token;
  if (const Status status = getags(token); status != ok) return status;
  return token_real(token.view(), value);
}

Status read_format(ParticleFormat& format) {
  Text<80> token;
  if (const Status status = getags(token); status != ok) return status;
  if (token == "fmt1") {
    format = ParticleFormat::fmt1;
  } else if (token == "fmt2") {
    format = ParticleFormat::fmt2;
  } else if (token == "umbra") {
    format = ParticleFormat::umbra;
  } else {
    return refuse_word(token.view());
  }
  return ok;
}

Status read_momentum_mode(MomentumMode& mode) {
  Text<80> token;
  if (const Status status = getags(token); status != ok) return status;
  if (token == "reference_particle") {
    mode = MomentumMode::reference_particle;
  } else if (token == "average") {
    mode = MomentumMode::average;
  } else {
    double momentum = 0;  // [eV/c]
    if (const Status status = token_real(token.view(), momentum); status != ok) return status;
    mode = MomentumMode::number;
    ptlcom_store.reference_momentum = momentum * electron_charge / mc_squared;
  }
  return ok;
}

/// Carries out one `key = value` of the block. Behind `array` the key is the token that ended the array,
/// else the next key of the block.
Status read_setting(Text<80>& key, BlockSettings& settings) {
  enum class Kind { format, momentum, x, y, phi, array };
  Kind kind;
  if (key == "format") {
    kind = Kind::format;
  } else if (key == "reference_momentum") {
    kind = Kind::momentum;
  } else if (key == "reference_point_x") {
    kind = Kind::x;
  } else if (key == "reference_point_y") {
    kind = Kind::y;
  } else if (key == "reference_point_phi") {
    kind = Kind::phi;
  } else if (key == "array") {
    kind = Kind::array;
  } else {
    return refuse_word(key.view());
  }
  Status status = getspc("=");
  if (status != ok) return status;
  switch (kind) {
    case Kind::format:
      status = read_format(settings.format);
      break;
    case Kind::momentum:
      status = read_momentum_mode(settings.mode);
      break;
    case Kind::x:
      status = read_number(ptlcom_store.reference_point_x);
      break;
    case Kind::y:
      status = read_number(ptlcom_store.reference_point_y);
      break;
    case Kind::phi: {
      double degrees = 0;
      status = read_number(degrees);
      if (status == ok) ptlcom_store.reference_point_phi = radians(degrees);
      break;
    }
    case Kind::array:
      return settings.format == ParticleFormat::umbra ? ptlumb(key) : ptlarr(key);
  }
  return status == ok ? getcmd(key) : status;
}

Status read_block() {
  Status status = ptlini();
  if (status == ok) status = getspc("{");
  Text<80> key;
  if (status == ok) status = getcmd(key);
  BlockSettings settings;
  while (status == ok && key != "}") status = read_setting(key, settings);
  if (status == ok) status = ptlset(settings.format, settings.mode);
  if (status != ok) return status;
  msgout(FreeForm("end of particles definition, npart =", ptlcom.npart));
  msgout(" ", 1);
  return ok;
}

double magnitude(const Vector3& m) { return std::sqrt(m.x * m.x + m.y * m.y + m.z * m.z); }

/// Enters place [m] and momentum [eV/c], both in the lab frame. The elevation asin(mz / |m|) is told by an
/// arc tangent, which keeps all digits for steep directions and is 0 for a momentum of 0.
void set_particle(Particle& particle, const Vector3& place, const Vector3& m) {
  particle.x = place.x;
  particle.y = place.y;
  particle.z = place.z;
  particle.p = magnitude(m) * mc_per_ev;
  particle.phi = std::atan2(m.y, m.x);
  particle.theta = std::atan2(m.z, std::sqrt(m.x * m.x + m.y * m.y));
}

Vector3 place_of(const Particle& record) { return {record.x, record.y, record.z}; }
Vector3 momentum_of(const Particle& record) { return {record.p, record.phi, record.theta}; }

/// Converts the table, which holds components of momenta in eV/c in the places of p, phi and theta.
/// \return the sum of all momenta [eV/c]
double convert_particles(ParticleFormat format) {
  const BunchFrame file = file_frame(ptlcom.reference_point_phi);
  const Vector3 origin{ptlcom.reference_point_x, ptlcom.reference_point_y, 0};
  Particle& reference = ptlcom_store.particle[1];
  const Vector3 place = to_lab(file, place_of(reference) - origin);
  const Vector3 momentum = to_lab(file, momentum_of(reference));
  set_particle(reference, place, momentum);

  const BunchFrame frame =
      format == ParticleFormat::fmt2 ? particle_frame(reference.phi, reference.theta) : file;
  double sum = magnitude(momentum);
  for (int i = 2; i <= ptlcom.npart; ++i) {
    Particle& particle = ptlcom_store.particle[i];
    const Vector3 m = to_lab(frame, momentum_of(particle)) + momentum;
    set_particle(particle, to_lab(frame, place_of(particle)) + place, m);
    sum += magnitude(m);
  }
  return sum;
}

/// Sums the charge of the sources and folds its sign out of the bunch.
void fold_charge_sign() {
  double total = 0;
  for (int i = 1; i <= ptlcom.npart; ++i) {
    if (ptlcom.source[i]) total += ptlcom.particle[i].q;
  }
  const bool negative = total < 0;
  ptlcom_store.charge_sign = negative ? -1 : 1;
  ptlcom_store.total_charge = negative ? -total : total;
  if (!negative) return;
  for (int i = 1; i <= ptlcom.npart; ++i) {
    double& q = ptlcom_store.particle[i].q;
    q = 0.0 - q;  // an uncharged particle keeps a plain 0
  }
}

}  // namespace

Status ptlini() {
  ptlcom_store.npart = 0;
  ptlcom_store.sections_valid = false;
  ptlcom_store.total_charge = 0;
  ptlcom_store.reference_point_x = 0;
  ptlcom_store.reference_point_y = 0;
  ptlcom_store.reference_point_phi = 0;
  return ok;
}

Status ptlblk() {
  const Status status = read_block();
  if (status != ok) msgout("error in particles");
  return status;
}

Status ptlset(ParticleFormat format, MomentumMode mode) {
  double momentum_of_first = 0, averaged = 0;
  if (ptlcom.npart > 0) {
    averaged = convert_particles(format) * mc_per_ev / ptlcom.npart;
    momentum_of_first = ptlcom.particle[1].p;
  }
  if (mode == MomentumMode::reference_particle) {
    ptlcom_store.reference_momentum = momentum_of_first;
  } else if (mode == MomentumMode::average) {
    ptlcom_store.reference_momentum = averaged;
  }
  fold_charge_sign();
  msgout(FreeForm("momentum of reference particle =", momentum_of_first));
  msgout(FreeForm("averaged momentum              =", averaged));
  msgout(FreeForm("reference momentum             =", ptlcom.reference_momentum));
  msgout(FreeForm("total charge / C               =", ptlcom.charge_sign * ptlcom.total_charge));
  return ok;
}

}  // namespace tessaron
