#include "run/deck.hpp"

#include <algorithm>

#include "common/freeform.hpp"
#include "common/undefined.hpp"
#include "run/files/file_table.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

/// The line that is being read: the reader's only state.
DeckLine current;

enum class CharKind : unsigned char { ordinary, mark, separator };

constexpr auto char_kinds = [] {
  std::array<CharKind, 256> kinds{};
  for (const unsigned char c : {'(', ')', '{', '}', '[', ']', '='}) kinds[c] = CharKind::mark;
  for (const unsigned char c : {' ', ',', ';'}) kinds[c] = CharKind::separator;
  return kinds;
}();

CharKind kind_of(char c) { return char_kinds[static_cast<unsigned char>(c)]; }

/// Reads `#file { name = <name> }` from its brace on and goes on in that file.
Status include_file() {
  Status status = getspc("{");
  if (status == ok) status = getspc("name");
  if (status == ok) status = getspc("=");
  std::string_view token;
  TokenKind kind;
  if (status == ok) status = gettok(token, kind);
  if (status != ok) return status;
  const Text<80> name = token;
  status = getspc("}");
  return status == ok ? fiio1(name.view(), current) : status;
}

/// Reads `= value ...` for the value slots first..last of a key, counted from 1.
Status read_values(std::span<Value> values, int first, int last) {
  if (const Status status = getspc("="); status != ok) return status;
  for (int slot = first; slot <= last; ++slot) {
    Value& value = values[static_cast<std::size_t>(slot - 1)];
    if (const Status status = getags(value.text, value.kind); status != ok) {
      msgout("error in getags");
      return status;
    }
    value.place = deck_place();
  }
  return ok;
}

/// A braced list of at most array.size() numbers; `read` takes one from its token.
template <class Number>
Status read_list(std::span<Number> array, Number marker, Status (*read)(std::string_view, Number&)) {
  if (const Status status = getspc("{"); status != ok) return status;
  std::fill(array.begin(), array.end(), marker);
  for (Number& entry : array) {
    Text<80> token;
    Status status = getags(token);
    if (status != ok) return status;
    if (token == "}") return ok;
    status = read(token.view(), entry);
    if (status != ok) return status;
  }
  return getspc("}");
}

}  // namespace

Status rdinit() {
  refini();
  return fiio1("*** initialize ***", current);
}

Status getcrd() {
  int stream = 0;
  if (const Status status = fiunit(stream); status != ok) return status;
  for (;;) {
    std::string_view text;
    bool at_end = false;
    if (const Status status = firead(stream, text, at_end); status != ok) {
      msgout("io error in getcrd");
      return status;
    }
    if (at_end) text = "#eof";
    const std::size_t last = text.find_last_not_of(' ');
    if (last == std::string_view::npos) continue;
    current.line = text;
    current.last = static_cast<int>(last) + 1;
    current.pos = static_cast<int>(text.find_first_not_of(' ')) + 1;
    return ok;
  }
}

Status gettok(std::string_view& text, TokenKind& kind) {
  const char* line = current.line.field().data();
  if (current.pos > current.last) {
    if (const Status status = getcrd(); status != ok) return status;
  }
  while (line[current.pos - 1] == '!') {
    if (const Status status = getcrd(); status != ok) return status;
  }
  const char* first = line + current.pos - 1;
  const char* end = line + current.last;
  const char* c = first;
  kind = kind_of(*c) == CharKind::mark ? TokenKind::mark : TokenKind::word;
  if (kind == TokenKind::mark) {
    ++c;
  } else {
    while (c < end && kind_of(*c) == CharKind::ordinary) ++c;
  }
  text = {first, static_cast<std::size_t>(c - first)};
  while (c < end && kind_of(*c) == CharKind::separator) ++c;
  current.pos = static_cast<int>(c - line) + 1;
  return ok;
}

Status getspc(std::string_view expected) {
  std::string_view token;
  TokenKind kind;
  if (const Status status = gettok(token, kind); status != ok) {
    msgout("io error in getspc");
    return status;
  }
  if (token == expected) return ok;
  msgout("io error in getspc, expected:");
  msgout(expected);
  return refuse_word(token);
}

Status getcmd(Text<80>& token) {
  for (;;) {
    std::string_view text;
    TokenKind kind;
    Status status = gettok(text, kind);
    if (status == ok) {
      token.assign(text);
      if (text.empty() || text.front() != '#') return ok;
      status = glbcmd(token.view());
    }
    if (status != ok) {
      msgout("error in getcmd");
      return status;
    }
  }
}

Status glbcmd(std::string_view token) {
  Status status = ok;
  if (token == "#file") {
    status = include_file();
  } else if (token == "#eof") {
    status = fiio2(current);
  } else {
    msgout("unknown global command");
    status = refuse_word(token);
  }
  if (status != ok) msgout("error in getcmd");
  return status;
}

Status getags(Text<80>& value, TokenKind& kind) {
  std::string_view text;
  if (const Status status = gettok(text, kind); status != ok) {
    msgout("error in getags");
    return status;
  }
  value.assign(text);
  return ok;
}

Status getags(Text<80>& value) {
  TokenKind kind;
  return getags(value, kind);
}

Status token_real(std::string_view token, double& value) {
  const Status status = read_real(token, value);
  return status == ok ? ok : refuse_word(token);
}

Status token_integer(std::string_view token, std::int32_t& value) {
  const Status status = read_integer(token, value);
  return status == ok ? ok : refuse_word(token);
}

Status assign(std::span<Key> keys, std::span<Value> values) {
  for (Key& key : keys) {
    if (key.active) key.seen = false;
  }
  if (const Status status = getspc("{"); status != ok) return status;
  for (;;) {
    Text<80> word;
    if (const Status status = getcmd(word); status != ok) return status;
    if (word == "}") return ok;
    const auto key =
        std::find_if(keys.begin(), keys.end(), [&](const Key& k) { return k.active && word == k.name; });
    if (key == keys.end()) {
      msgout("error in assign: unknown identifyer");
      return refuse_word(word.view());
    }
    const int first = key == keys.begin() ? 1 : (key - 1)->value_end + 1;
    const int last = key->value_end;
    if (last > static_cast<int>(values.size())) {
      msgout("error in assign: n2.gt.nuvmax");
      return failed;
    }
    if (last >= first) {
      if (const Status status = read_values(values, first, last); status != ok) return status;
    }
    key->seen = true;
  }
}

Status getiar(std::span<std::int32_t> array) {
  return read_list<std::int32_t>(array, undefined_integer, token_integer);
}

Status getrar(std::span<double> array) { return read_list<double>(array, undefined_real, token_real); }

}  // namespace tessaron
