#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "common/freeform.hpp"
#include "common/status.hpp"
#include "common/text.hpp"
#include "run/refusal.hpp"

namespace tessaron {

/// A word is a run of ordinary characters, a mark one of ( ) { } [ ] =.
enum class TokenKind : std::int32_t { word = 0, mark = 1 };

/// Resets the reader: the line is used up, so that the first token reads the first deck line.
[[nodiscard]] Status rdinit();
/// Reads the next deck line that has something on it.
[[nodiscard]] Status getcrd();
/// The scanner: the next token, as a view into the current line that is good until the next token is read.
/// Writes no message.
[[nodiscard]] Status gettok(std::string_view& text, TokenKind& kind);
/// Reads one token and demands that it equals `expected`.
[[nodiscard]] Status getspc(std::string_view expected);
/// Reads one token at command level and carries out global commands (`#file`, `#eof`).
[[nodiscard]] Status getcmd(Text<80>& token);
/// Reads one value token; no global command is carried out.
[[nodiscard]] Status getags(Text<80>& value, TokenKind& kind);
/// A value whose kind does not matter.
[[nodiscard]] Status getags(Text<80>& value);
/// Reads a number from the token that was read last; one that is none is refused, without a message.
[[nodiscard]] Status token_real(std::string_view token, double& value);
[[nodiscard]] Status token_integer(std::string_view token, std::int32_t& value);
/// Carries out the global command in `token`.
[[nodiscard]] Status glbcmd(std::string_view token);

/// One entry of a block's table of keys. Key k owns the value slots behind those of key k-1 up to
/// `value_end`.
struct Key {
  std::string_view name;
  int value_end = 0;   ///< last value slot of the key
  bool active = true;  ///< an inactive key is treated as if it were not there
  bool seen = false;   ///< the key stood in the block
};
struct Value {
  Text<80> text;
  TokenKind kind = TokenKind::word;
  FilePlace place;
};

/// Reads a whole block `{ key = value ... }` through a table of keys. Converts nothing.
[[nodiscard]] Status assign(std::span<Key> keys, std::span<Value> values);

/// The table of keys of a block in which every key owns one value.
template <std::size_t N>
class KeyTable {
 public:
  explicit constexpr KeyTable(const std::array<std::string_view, N>& names) {
    for (std::size_t k = 0; k < N; ++k) keys_[k] = Key{names[k], static_cast<int>(k + 1)};
  }
  [[nodiscard]] Status read() { return assign(keys_, values_); }

  void set_active(std::string_view name, bool active) { keys_[index(name)].active = active; }
  bool seen(std::string_view name) const { return keys_[index(name)].seen; }
  /// The raw text of a key's value; meaningful if the key was seen.
  const Text<80>& value(std::string_view name) const { return values_[index(name)].text; }
  /// Passes on what became of a key's value; one that did not read or is out of range is refused with its
  /// place.
  [[nodiscard]] Status judged(std::string_view name, Status status) const {
    const Value& value = values_[index(name)];
    if (status != ok) (void)refuse_word(value.text.view(), value.place);
    return status;
  }
  /// Reads the number of a key; a value that is none is refused.
  [[nodiscard]] Status real(std::string_view name, double& number) const {
    return judged(name, read_real(value(name).view(), number));
  }
  [[nodiscard]] Status integer(std::string_view name, std::int32_t& number) const {
    return judged(name, read_integer(value(name).view(), number));
  }

 private:
  std::size_t index(std::string_view name) const {
    std::size_t k = 0;
    while (k + 1 < N && keys_[k].name != name) ++k;
    return k;
  }
  std::array<Key, N> keys_;
  std::array<Value, N> values_;
};

/// Reads a braced list of at most n numbers; entries that the list does not give hold the undefined marker.
/// A number that does not read writes no message of its own.
[[nodiscard]] Status getiar(std::span<std::int32_t> array);
[[nodiscard]] Status getrar(std::span<double> array);

}  // namespace tessaron
