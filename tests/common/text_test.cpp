#include "common/text.hpp"

#include <gtest/gtest.h>

#include "common/table.hpp"

using namespace tessaron;

namespace {

TEST(Text, ComparisonIgnoresTrailingBlanksAndNothingElse) {
  const Text<8> text = "abc";
  EXPECT_TRUE(text == "abc");
  EXPECT_TRUE(text == "abc     ");
  EXPECT_TRUE(text == Text<8>("abc "));
  EXPECT_FALSE(text == " abc");
  EXPECT_FALSE(text == "ABC");
  EXPECT_FALSE(text == "ab");
  EXPECT_TRUE(Text<8>() == "");
}

TEST(Text, IsCutAndPaddedToItsLength) {
  EXPECT_EQ(Text<4>("abcdef").view(), "abcd");
  const Text<10> text = "two words";
  EXPECT_EQ(text.view(), "two words");
  EXPECT_EQ(text.word(), "two");
  EXPECT_EQ(text.field(), "two words ");
  EXPECT_EQ(Text<3>("abc").word(), "abc");
  EXPECT_TRUE(Text<3>("   ").blank());
}

TEST(Table, CountsFromItsFirstIndex) {
  Table<int, 3> one;
  Table<int, 2, 10> ten;
  for (int i = 1; i <= 3; ++i) one[i] = i;
  ten.fill(4);
  EXPECT_EQ(one.run(2, 2).size(), 2u);
  EXPECT_EQ(one.run(2, 2)[0], 2);
  EXPECT_EQ(ten[11], 4);
  EXPECT_TRUE(one.run(4, 0).empty());
}

TEST(TableDeathTest, CheckedBuildsStopAtABadIndex) {
  if constexpr (check_index) {
    Table<int, 3> table;
    EXPECT_DEATH(table[4] = 1, "index 4 is outside 1 .. 3");
    EXPECT_DEATH(table.run(2, 3), "index 4 is outside 1 .. 3");
  } else {
    GTEST_SKIP() << "this build does not check";
  }
}

}  // namespace
