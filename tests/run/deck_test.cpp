#include "run/deck.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <string>
#include <vector>

#include "common/undefined.hpp"
#include "run/filetab.hpp"
#include "support/capture.hpp"

using namespace tessaron;
using test::console_of;
using Lines = std::vector<std::string>;

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

  /// All tokens at command level, up to the "exit" of the deck's end.
  Lines tokens() {
    Lines found;
    for (Text<80> token; getcmd(token) == ok && !(token == "exit");) found.emplace_back(token.view());
    return found;
  }
  test::WorkingFolder folder;
};

struct Scanned {
  const char* deck;
  Lines tokens;
};
const Scanned scanned[] = {
    {"", {}},
    {"\n   \n\n", {}},
    {"a=b,c;d", {"a", "=", "b", "c", "d"}},
    {"a!b", {"a!b"}},
    {"a !b", {"a"}},
    {"a ! x\n! y\n\n ! z\nb!c", {"a", "b!c"}},
    {"a={b(c)[d]}", {"a", "=", "{", "b", "(", "c", ")", "[", "d", "]", "}"}},
    {"{}", {"{", "}"}},
    {"a,,;; , b", {"a", "b"}},
    {",a", {"", "a"}},
    {"  ;  a", {"", "a"}},
    {"a\n,\nb", {"a", "", "b"}},
    {"'two words' \"q\"", {"'two", "words'", "\"q\""}},
    {"tab\tis\ta word", {"tab\tis\ta", "word"}},
    {"CASE case", {"CASE", "case"}},
    {"{!comment\n}", {"{", "}"}},
    {"a;!comment\nb", {"a", "b"}},
    {"key\n=\nvalue\r\nnext", {"key", "=", "value", "next"}},
    {"a #eof b\nc", {"a"}},
};

TEST_F(Deck, ScannerPartsTheTextIntoTokens) {
  for (const Scanned& s : scanned) {
    open(s.deck);
    EXPECT_EQ(tokens(), s.tokens) << s.deck;
  }
}

TEST_F(Deck, LinesAreCutAt400AndTokensAt80) {
  open(std::string(395, ' ') + "abcdefgh");
  EXPECT_EQ(tokens(), Lines{"abcde"});
  open(std::string(300, 'x') + " b");
  EXPECT_EQ(tokens(), (Lines{std::string(80, 'x'), "b"}));
  open(std::string(401, ' ') + "a\nb");  // nothing is left of the first line
  EXPECT_EQ(tokens(), Lines{"b"});
}

TEST_F(Deck, TellsMarksFromWords) {
  open("= x");
  std::string_view text;
  TokenKind kind;
  ASSERT_EQ(gettok(text, kind), ok);
  EXPECT_EQ(kind, TokenKind::mark);
  ASSERT_EQ(gettok(text, kind), ok);
  EXPECT_EQ(kind, TokenKind::word);
  EXPECT_EQ(text, "x");
}

TEST_F(Deck, IncludedFilesComeInPlace) {
  folder.write("inner", "x #file { name = empty } y ! the end\n");
  folder.write("empty", "");
  open("a #file{name=inner}b\n#file { name = inner\n}\nc");
  EXPECT_EQ(tokens(), (Lines{"a", "x", "y", "b", "x", "y", "c"}));
}

TEST_F(Deck, MissingIncludedFileReadsAsEmptyAndIsCreated) {
  open("a #file { name = missing } b");
  EXPECT_EQ(tokens(), (Lines{"a", "b"}));
  EXPECT_TRUE(folder.exists("missing"));
}

// The deck is level 1; level10 would be the tenth file inside it.
TEST_F(Deck, TenLevelsAreOpenAtATime) {
  for (int level = 1; level <= 10; ++level) {
    const std::string name = "level" + std::to_string(level);
    folder.write(
        name, name + " #file { name = level" + std::to_string(level + 1) + " } back" + std::to_string(level));
  }
  folder.write("level9", "bottom");
  open("#file { name = level1 } end");
  Lines expected;
  for (int level = 1; level <= 8; ++level) expected.push_back("level" + std::to_string(level));
  expected.push_back("bottom");
  for (int level = 8; level >= 1; --level) expected.push_back("back" + std::to_string(level));
  expected.push_back("end");
  EXPECT_EQ(tokens(), expected);

  folder.write("level9", "#file { name = level10 }");
  open("#file { name = level1 } end");
  EXPECT_EQ(console_of([&] { EXPECT_EQ(tokens().size(), 8u); }),
            (Lines{" error in fiio1: too many files", " error in getcmd", " error in getcmd"}));
}

struct Failing {
  const char* deck;
  Lines lines;
};
const Failing failing_commands[] = {
    {"#nothing", {" unknown global command", " error in getcmd", " error in getcmd"}},
    {"#file ( name = a }", {" io error in getspc, expected:", " {", " error in getcmd", " error in getcmd"}},
    {"#file { nam = a }",
     {" io error in getspc, expected:", " name", " error in getcmd", " error in getcmd"}},
    {"#file { name a }", {" io error in getspc, expected:", " =", " error in getcmd", " error in getcmd"}},
    {"#file { name = a b }",
     {" io error in getspc, expected:", " }", " error in getcmd", " error in getcmd"}},
    {"#file { name = no/such/a }",
     {" error in fiio1: cannot open file", " error in getcmd", " error in getcmd"}},
};

TEST_F(Deck, BadGlobalCommandsTellTheWholeTrace) {
  for (const Failing& f : failing_commands) {
    open(f.deck);
    EXPECT_EQ(console_of([&] { EXPECT_TRUE(tokens().empty()); }), f.lines) << f.deck;
  }
}

TEST_F(Deck, EndOfTheDeckReadsAsExitAndThenFails) {
  open("last");
  Text<80> token;
  ASSERT_EQ(getcmd(token), ok);
  ASSERT_EQ(getcmd(token), ok);
  EXPECT_EQ(token, "exit");
  EXPECT_EQ(console_of([&] { EXPECT_EQ(getcmd(token), failed); }),
            (Lines{" error in fiio2: no file to close", " error in getcmd", " error in getcmd"}));
}

/// The settings of a block that a test reads again and again.
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
  const KeyTable<3> nothing = read_block(status);
  EXPECT_EQ(status, ok);
  EXPECT_FALSE(nothing.seen("alpha") || nothing.seen("beta"));
  EXPECT_EQ(read_block(status).value("alpha"), "=");  // a mark is a value like any other
}

const Failing failing_blocks[] = {
    {"alpha = 1 }", {" io error in getspc, expected:", " {"}},
    {"{ alpha 1 }", {" io error in getspc, expected:", " ="}},
    {"{ delta = 1 }", {" error in assign: unknown identifyer"}},
    {"{ gamma = 1 }", {" error in assign: unknown identifyer"}},  // not active
    {"{ alpha = 1", {" error in assign: unknown identifyer"}},    // the deck's end reads as "exit"
    {"{ alpha", {" io error in getspc, expected:", " ="}},
    {"{ alpha =", {" error in assign: unknown identifyer"}},  // the value is "#eof", then comes "exit"
    {"{ alpha = #file { name = x } }", {" error in assign: unknown identifyer"}},
    {"", {" io error in getspc, expected:", " {"}},
};

TEST_F(Deck, BadBlocksSayWhatIsWrong) {
  for (const Failing& f : failing_blocks) {
    open(f.deck);
    Status status = ok;
    EXPECT_EQ(console_of([&] { read_block(status); }), f.lines) << f.deck;
    EXPECT_NE(status, ok);
  }
}

TEST_F(Deck, AssignGivesEachKeyItsOwnSlots) {
  open("{ none pair = 1 } }");
  std::array<Key, 3> keys{Key{"pair", 2}, Key{"none", 2}, Key{"wide", 4}};
  std::array<Value, 3> values;
  ASSERT_EQ(assign(keys, values), ok);
  EXPECT_TRUE(keys[0].seen && keys[1].seen && !keys[2].seen);
  EXPECT_EQ(values[0].text, "1");
  EXPECT_EQ(values[1].text, "}");
  EXPECT_EQ(values[1].kind, TokenKind::mark);
  open("{ wide = 1 2 }");
  EXPECT_EQ(console_of([&] { EXPECT_EQ(assign(keys, values), failed); }),
            Lines{" error in assign: n2.gt.nuvmax"});
}

TEST_F(Deck, BracedListsHoldAtMostTheirLength) {
  std::array<double, 3> reals{};
  open("{ 1 2.5d0 } {1 2 3} {} { 1 x 3 }");
  ASSERT_EQ(getrar(reals), ok);
  EXPECT_EQ(reals, (std::array<double, 3>{1, 2.5, undefined_real}));
  ASSERT_EQ(getrar(reals), ok);
  EXPECT_EQ(reals[2], 3);
  ASSERT_EQ(getrar(reals), ok);
  EXPECT_EQ(reals[0], undefined_real);
  EXPECT_EQ(console_of([&] { EXPECT_NE(getrar(reals), ok); }), Lines{});  // no message of its own

  open("{ 1 2 3 4 }");
  EXPECT_EQ(console_of([&] { EXPECT_NE(getrar(reals), ok); }),
            (Lines{" io error in getspc, expected:", " }"}));
  std::array<std::int32_t, 2> integers{};
  open("{ 7 } { 1.5 }");
  ASSERT_EQ(getiar(integers), ok);
  EXPECT_EQ(integers, (std::array<std::int32_t, 2>{7, undefined_integer}));
  EXPECT_NE(getiar(integers), ok);
}

TEST_F(Deck, PositionNamesTheInnermostFileAndLine) {
  folder.write("inner", "\n\nx y\n");
  open("a\n\n#file { name = inner }\n\nb");
  Text<80> token;
  const char* const positions[] = {"tessar.in:1", "inner:3", "inner:3", "tessar.in:5", "tessar.in:5"};
  for (const char* position : positions) {
    ASSERT_EQ(getcmd(token), ok);
    EXPECT_EQ(deck_position(), position);
  }
  EXPECT_EQ(token, "exit");
  open("\n#file { name = no/such/file }");
  (void)console_of([&] { EXPECT_NE(getcmd(token), ok); });
  EXPECT_EQ(deck_position(), "tessar.in:2");  // the line that asked for the file
  EXPECT_EQ(file_trouble().name, "no/such/file");
  EXPECT_EQ(file_trouble().code, ENOENT);
}

}  // namespace
