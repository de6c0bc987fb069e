#include <array>
#include <cstdint>
#include <span>

#include "beam/bunch_record_owner.hpp"
#include "beam/particles.hpp"
#include "common/freeform.hpp"
#include "run/deck.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

/// Reads the reals of a record, of which the first token is there already.
Status read_reals(const Text<80>& first, std::span<double> reals) {
  Status status = token_real(first.view(), reals[0]);
  for (double& real : reals.subspan(1)) {
    if (status != ok) return status;
    Text<80> token;
    status = getags(token);
    if (status == ok) status = token_real(token.view(), real);
  }
  return status;
}

Status read_integer_token(std::int32_t& value) {
  Text<80> token;
  if (const Status status = getags(token); status != ok) return status;
  return token_integer(token.view(), value);
}

/// Enters the next particle; a record stays as it is in the file until `ptlset` converts it.
void add_particle(const Particle& record, bool source) {
  const int i = ++ptlcom_store.npart;
  ptlcom_store.particle[i] = record;
  ptlcom_store.source[i] = source;
  ptlcom_store.test[i] = true;
}

/// Reads records up to the closing brace. `key` holds the first token of the next one; `read_record` reads
/// what follows it and enters the particle.
template <class ReadRecord>
Status read_records(Text<80>& key, ReadRecord read_record) {
  while (key != "}") {
    if (ptlcom.npart >= maxprt) {
      msgout("npart.ge.maxprt");
      return failed;
    }
    Status status = read_record(key);
    if (status == ok) status = getcmd(key);
    if (status != ok) return status;
  }
  return ptlcom.npart > 0 ? ok : failed;
}

/// The header of `fmt1` and `fmt2`: the bunch time, then six tokens of any content.
Status read_header(const Text<80>& first) {
  Status status = token_real(first.view(), ptlcom_store.ctptcl);
  for (int k = 1; k <= 6 && status == ok; ++k) {
    Text<80> ignored;
    status = getags(ignored);
  }
  return status;
}

/// x, y, z [m], px, py, pz [eV/c], q [C].
Status read_fmt_record(const Text<80>& first) {
  std::array<double, 7> v;
  if (const Status status = read_reals(first, v); status != ok) return status;
  add_particle({v[0], v[1], v[2], v[3], v[4], v[5], v[6]}, v[6] != 0);
  return ok;
}

/// x, y, z [m], px, py, pz [eV/c] with the beam along z and y upwards, clock [ns], charge [nC], index,
/// status.
Status read_umbra_record(const Text<80>& first) {
  std::array<double, 8> v;
  std::int32_t index = 0, particle_status = 0;
  Status status = read_reals(first, v);
  if (status == ok) status = read_integer_token(index);
  if (status == ok) status = read_integer_token(particle_status);
  if (status != ok) return status;
  const double clock = v[6] * 1e-9, q = v[7] * 1e-9;
  if (ptlcom.npart == 0) ptlcom_store.ctptcl = clock * speed_of_light;
  add_particle({v[2], v[0], v[1], v[5], v[3], v[4], q},
               q != 0 && (particle_status == 3 || particle_status == 5));
  return ok;
}

Status told(Status status) {
  if (status != ok) msgout("error in array with particles");
  return status;
}

}  // namespace

Status ptlarr(Text<80>& key) {
  Status status = getcmd(key);
  if (status == ok && key == "}") status = failed;
  if (status == ok) status = read_header(key);
  if (status == ok) status = getcmd(key);
  if (status == ok) status = read_records(key, read_fmt_record);
  return told(status);
}

Status ptlumb(Text<80>& key) {
  Status status = getcmd(key);
  if (status == ok) status = read_records(key, read_umbra_record);
  return told(status);
}

}  // namespace tessaron
