#include <cstdint>

#include "common/freeform.hpp"
#include "common/undefined.hpp"
#include "lattice/lattice_definition.hpp"
#include "lattice/lattice_record_owner.hpp"
#include "run/deck.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

/// Two 4 by 4 matrices.
constexpr int thin_quadrupole_reals = 32;

/// A boundary that carries a discrete element, behind a straight section.
Status read_position() {
  PositionKeys keys{};
  keys.duty = false;
  Status status = position_keys(keys);
  if (status == ok) status = position(0, keys);
  return status;
}

template <std::size_t N, class Number, class Read>
Status take_required(const KeyTable<N>& table, std::string_view name, Read read, Number& value) {
  return table.seen(name) ? table.judged(name, read(table.value(name).view(), value)) : failed;
}

Status check_room(std::int32_t integers, std::int32_t reals) {
  if (std::int64_t{latcom.ipool_used} + integers > ilalen) {
    msgout("increase ilalen (latcom)");
    return failed;
  }
  if (std::int64_t{latcom.rpool_used} + reals > rlalen) {
    msgout("increase rlalen (latcom)");
    return failed;
  }
  return ok;
}

/// Gives the newest boundary its element. The private data hold the markers until somebody fills them.
void allocate(std::int32_t subtype, std::int32_t integers, std::int32_t reals) {
  for (auto& value : latcom_store.ipool.run(latcom.ipool_used + 1, integers)) value = undefined_integer;
  for (auto& value : latcom_store.rpool.run(latcom.rpool_used + 1, reals)) value = undefined_real;
  latcom_store.ipool_used += integers;
  latcom_store.rpool_used += reals;
  latcom_store.elem[latcom.nlat] = {ElementClass::discrete, subtype, latcom.ipool_used, latcom.rpool_used};
}

// Thin quadrupole.

/// Reads `properties` and gives K L, effective length times strength.
Status read_thin_properties(double& KL) {
  KeyTable<2> table({"effective_length", "quadrupole_k"});
  double length = 0, k = 0;
  Status status = table.read();
  if (status == ok) status = take_required(table, "effective_length", read_real, length);
  if (status == ok) status = take_required(table, "quadrupole_k", read_real, k);
  if (status != ok) msgout("error in thin_quadrupole_properties");
  KL = length * k;
  return status;
}

/// Entry (a, b) of a matrix that lies column by column behind `before` of the private reals.
double& entry(std::int32_t before, int a, int b) { return latcom_store.rpool[before + a + 4 * (b - 1)]; }

/// The kick of the newest boundary's element, u' by -KL u and w' by +KL w; and its counterpart in the other
/// half of phase space, which acts on no particle.
void fill_matrices(double KL) {
  const std::int32_t first = latcom.rpool_used - thin_quadrupole_reals, second = first + 16;
  for (const std::int32_t before : {first, second}) {
    for (int a = 1; a <= 4; ++a) {
      for (int b = 1; b <= 4; ++b) entry(before, a, b) = a == b ? 1 : 0;
    }
  }
  entry(first, 2, 1) = -KL;
  entry(first, 4, 3) = KL;
  entry(second, 1, 2) = KL;
  entry(second, 3, 4) = -KL;
}

Status read_thin_quadrupole() {
  double KL = 0;
  Text<80> token;
  Status status = getspc("{");
  if (status == ok) status = getcmd(token);
  if (status != ok) return status;
  if (!(token == "position")) return refuse_word(token.view());
  status = read_position();
  if (status == ok) status = getcmd(token);
  if (status != ok) return status;
  if (!(token == "properties")) return refuse_word(token.view());
  status = read_thin_properties(KL);
  if (status == ok) status = check_room(0, thin_quadrupole_reals);
  if (status == ok) status = getcmd(token);
  if (status != ok) return status;
  if (!(token == "}")) return refuse_word(token.view());
  allocate(1, 0, thin_quadrupole_reals);
  fill_matrices(KL);
  return ok;
}

// Free discrete element.

struct FreeProperties {
  std::int32_t type = 0, integer = 0, real = 0;
};

Status read_free_properties(FreeProperties& properties) {
  KeyTable<3> table({"type", "integer", "real"});
  Status status = table.read();
  if (status == ok) status = take_required(table, "type", read_integer, properties.type);
  if (status == ok) status = take_required(table, "integer", read_integer, properties.integer);
  if (status == ok) status = take_required(table, "real", read_integer, properties.real);
  if (status != ok) msgout("error in dicrete_free_properties");
  return status;
}

/// Which sub-blocks of a free element have been read.
struct FreeProgress {
  bool position = false, properties = false, integers = false, reals = false;
};

Status read_free_part(const Text<80>& token, FreeProgress& seen, FreeProperties& properties) {
  if (token == "position" && !seen.position) {
    seen.position = true;
    return read_position();
  }
  if (token == "properties" && seen.position && !seen.properties) {
    seen.properties = true;
    Status status = read_free_properties(properties);
    if (status == ok && (properties.integer < 0 || properties.real < 0)) status = failed;
    if (status == ok) status = check_room(properties.integer, properties.real);
    if (status == ok) allocate(properties.type, properties.integer, properties.real);
    return status;
  }
  if (token == "integer_array" && seen.properties && !seen.integers) {
    seen.integers = true;
    const std::int32_t n = properties.integer;
    return getiar(latcom_store.ipool.run(latcom.ipool_used - n + 1, n));
  }
  if (token == "real_array" && seen.properties && !seen.reals) {
    seen.reals = true;
    const std::int32_t n = properties.real;
    return getrar(latcom_store.rpool.run(latcom.rpool_used - n + 1, n));
  }
  return refuse_word(token.view());
}

Status read_discrete_free() {
  FreeProgress seen;
  FreeProperties properties;
  Status status = getspc("{");
  while (status == ok) {
    Text<80> token;
    status = getcmd(token);
    if (status != ok) break;
    if (token == "}") return seen.properties ? ok : failed;
    status = read_free_part(token, seen, properties);
  }
  return status;
}

}  // namespace

Status thin_quadrupole() {
  const Status status = read_thin_quadrupole();
  if (status != ok) msgout("error in thin_quadrupole");
  return status;
}

Status discrete_free() {
  const Status status = read_discrete_free();
  if (status != ok) msgout("error in dicrete_free");
  return status;
}

}  // namespace tessaron
