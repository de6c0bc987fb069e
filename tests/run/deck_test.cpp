#include "run/deck.hpp"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "common/undefined.hpp"
#include "run/files/file_table.hpp"
#include "support/capture.hpp"

using namespace tessaron;
using test::said_by;

namespace {

/// A folder with the deck under its reader.
class Deck : public testing::Test {
 protected:
  void open(std::string_view text) {
    ASSERT_EQ(close_all_files(), ok);
    folder.write("tessar.in", text);
    ASSERT_EQ(fiinit("tessar.in"), ok);
    ASSERT_EQ(rdinit(), ok);
  }
  void TearDown() override { EXPECT_EQ(close_all_files(), ok); }

  /// All tokens at command level up to the "exit" of the deck's end, '|' between them.
  std::string tokens() {
    std::string found;
    for (Text<80> token; getcmd(token) == ok && !(token == "exit");) found += std::string(token.view()) + "|";
    return found.substr(0, found.size() - !found.empty());
  }
  test::WorkingFolder folder;
};

struct Row {
  std::string deck, expected;
};

TEST_F(Deck, ScannerPartsTheTextIntoTokens) {
  folder.write("inner", "x #file { name = empty } y ! the end\n");
  folder.write("empty", "");
  for (const Row& row : {
           Row{"\n   \n\n", ""},
           {"a=b,c;d", "a|=|b|c|d"},
           {"a!b", "a!b"},
           {"a ! x\n! y\n\n ! z\nb!c", "a|b!c"},
           {"a={b(c)[d]}", "a|=|{|b|(|c|)|[|d|]|}"},
           {"a,,;; , b", "a|b"},
           {" a\n,\nb;", "a||b"},
           {"  ;  a", "|a"},
           {"'two words' \"q\"", "'two|words'|\"q\""},
           {"tab\tis\ta word CASE case", "tab\tis\ta|word|CASE|case"},
           {"{!comment\n};!comment\nb", "{|}|b"},
           {"key\n=\nvalue\r\nnext", "key|=|value|next"},
           {"a #eof b\nc", "a"},
           {"a #file{name=inner}b\n#file { name = inner\n}\nc", "a|x|y|b|x|y|c"},
           {"a #file { name = missing } b", "a|b"},
           {std::string(395, ' ') + "abcdefgh", "abcde"},  // lines are cut at 400
           {std::string(401, ' ') + "a\nb", "b"},
           {std::string(300, 'x') + " b", std::string(80, 'x') + "|b"},  // tokens at 80
       }) {
    open(row.deck);
    EXPECT_EQ(tokens(), row.expected) << row.deck;
  }
  EXPECT_TRUE(folder.exists("missing"));
}

/// Reads a block of three keys, of which "gamma" is not active.
KeyTable<3> read_block(Status& status) {
  KeyTable<3> keys({"alpha", "beta", "gamma"});
  keys.set_active("gamma", false);
  status = keys.read();
  return keys;
}

TEST_F(Deck, BlocksTakeKeysInAnyOrderAndOverAnyLines) {
  folder.write("more", "alpha = 3");
  open("{ beta\n=\n2 alpha=1 #file { name = more } } {} { alpha = = }");
  Status status = failed;
  const KeyTable<3> keys = read_block(status);
  EXPECT_EQ(status, ok);
  EXPECT_TRUE(keys.seen("alpha") && keys.seen("beta"));
  EXPECT_EQ(keys.value("alpha"), "3");  // given twice: the later one holds
  EXPECT_EQ(keys.value("beta"), "2");
  EXPECT_FALSE(read_block(status).seen("beta"));
  EXPECT_EQ(read_block(status).value("alpha"), "=");  // a mark is a value like any other
  EXPECT_EQ(status, ok);
}

TEST_F(Deck, BracedListsHoldAtMostTheirLength) {
  std::array<double, 3> reals{};
  open("{ 1 2.5d0 } {1 2 3} { 1 x 3 }");
  ASSERT_EQ(getrar(reals), ok);
  EXPECT_EQ(reals, (std::array<double, 3>{1, 2.5, undefined_real}));
  ASSERT_EQ(getrar(reals), ok);
  EXPECT_EQ(reals, (std::array<double, 3>{1, 2, 3}));
  EXPECT_EQ(said_by([&] { EXPECT_NE(getrar(reals), ok); }), "");  // no message of its own
  open("{ 1 2 3 4 }");
  EXPECT_EQ(said_by([&] { EXPECT_NE(getrar(reals), ok); }), " io error in getspc, expected:; }");
  std::array<std::int32_t, 2> integers{};
  open("{ 7 } { 1.5 }");
  ASSERT_EQ(getiar(integers), ok);
  EXPECT_EQ(integers, (std::array<std::int32_t, 2>{7, undefined_integer}));
  EXPECT_NE(getiar(integers), ok);
}

}  // namespace
