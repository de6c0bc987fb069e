#include "common/freeform.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <utility>

using namespace tessaron;

namespace {

// Plain integers, decimals, all four exponent letters, signs, blanks around the number, the ends of the
// range.
TEST(ReadReal, TakesEveryFormOfANumber) {
  const double largest = std::numeric_limits<double>::max(), least = 4.9406564584124654e-324;
  const struct {
    const char* token;
    double value;
  } cases[] = {{"0", 0},
               {"-3", -3},
               {"+3", 3},
               {"-.5", -0.5},
               {"1.5e3", 1500},
               {"1.5d-3", 0.0015},
               {"-1.5D3", -1500},
               {"1.d0", 1},
               {"  2.5   ", 2.5},
               {"1e-5000", 0},
               {"4.9406564584124654e-324", least},
               {"0.10000000000000-119", 0.1e-119},
               {"-0.17976931348623+309", -0.17976931348623e309},
               {"0.49406564584125-323", least},
               {"1.+100", 1e100},
               {"1.7976931348623157e308", largest},
               {"5.0000000000000001", 5}};
  for (const auto& [token, expected] : cases) {
    double value = 7;
    EXPECT_EQ(read_real(token, value), ok) << token;
    EXPECT_EQ(value, expected) << token;
  }
}

TEST(ReadReal, RefusesWhatIsNoNumberAndLeavesTheValue) {
  for (const std::string token :
       {"",       " ",      "+",        "-",         ".",       "e5",      "abc",   "1.5abc", "1e",
        "1d",     "1e+",    "1e5d2",    "nan",       "-nan",    "NaN",     "inf",   "-inf",   "Infinity",
        "1e400",  "1 2",    "0x10",     "--1",       "+-1",     "-+1",     "++1",   "1,5",    "1.2.3",
        "1-119",  "0.1-11", "0.1-1190", "1e5.0-119", "0.1--19", "0.1+400", ".-119", "#eof",   "}",
        "1e5000", "-1d999", "1\t",      "\xff\xfe",  "1_000"}) {
    double value = 7;
    EXPECT_NE(read_real(token, value), ok) << token;
    EXPECT_EQ(value, 7) << token;
  }
  double value = 7;
  EXPECT_NE(read_real(std::string(1000, '1'), value), ok);
  EXPECT_NE(read_real(std::string_view("1\0", 2), value), ok);
}

TEST(ReadInteger, TakesIntegersOf32BitsOnly) {
  std::int32_t value = 7;
  for (const char* token : {"1.5", "1e3", "", "+", "2147483648", "-2147483649", "abc", "1 2", "0x1", "--1"}) {
    EXPECT_NE(read_integer(token, value), ok) << token;
    EXPECT_EQ(value, 7) << token;
  }
  EXPECT_EQ(read_integer(" +2147483647 ", value), ok);
  EXPECT_EQ(value, 2147483647);
  EXPECT_EQ(read_integer("-2147483648", value), ok);
  EXPECT_EQ(value, -2147483647 - 1);
}

TEST(NextReal, TakesTheFirstWordOfARecordAndLeavesTheRest) {
  std::string_view line = "  1.5d0;\t-2,3 tail";
  double a = 0, b = 0;
  std::int32_t c = 0;
  EXPECT_EQ(next_real(line, a), ok);
  EXPECT_EQ(next_real(line, b), ok);
  EXPECT_EQ(next_integer(line, c), ok);
  EXPECT_EQ(a, 1.5);
  EXPECT_EQ(b, -2);
  EXPECT_EQ(c, 3);
  EXPECT_EQ(line, " tail");
  EXPECT_NE(next_real(line, a), ok);
  EXPECT_NE(next_real(line, a), ok);  // nothing left
}

TEST(FreeForm, PutsOneBlankAheadAndBetween) {
  EXPECT_EQ(FreeForm("npart =", 3, "of", std::int64_t{4}).view(), " npart = 3 of 4");
  EXPECT_EQ(FreeForm("x", true, false).items(), "x T F");
  FreeForm record;
  for (int i = 0; i < 200; ++i) record.add("abcdef");
  EXPECT_EQ(record.view().size(), 512u);  // what does not fit is cut
}

TEST(FreeForm, PutsRealsThatReadBackToTheSameDouble) {
  for (const double value : {0.1, -1.0 / 3, 6.02e23, 5e-324, 1.7976931348623157e308, 0.0, 1e5, -2.5e-7}) {
    double back = 7;
    ASSERT_EQ(read_real(FreeForm(value).view(), back), ok);
    EXPECT_EQ(back, value);
  }
}

// The digits are the value's own, with the point one place further left than usual: 1.5 = 0.15E+01.
TEST(PutScientific, HasNoDigitBeforeThePoint) {
  using Put = std::pair<double, const char*>;
  for (const auto& [value, expected] :
       {Put{1.5, "  0.1500E+01"}, Put{-1.5, " -0.1500E+01"}, Put{0, "  0.0000E+00"}, Put{0.1, "  0.1000E+00"},
        Put{0.01, "  0.1000E-01"}, Put{0.99996, "  0.1000E+01"},  // rounds up into the next decade
        Put{1e99, "  0.1000+100"}, Put{1e-101, "  0.1000-100"},   // a third digit takes the letter's place
        Put{1e-100, "  0.1000E-99"}, Put{5e-324, "  0.4941-323"}, Put{std::nan(""), "         NaN"}}) {
    std::string out(12, '?');
    put_scientific(out.data(), 12, 4, value);
    EXPECT_EQ(out, expected);
  }
  std::string out(10, '?');
  put_scientific(out.data(), 10, 4, 123.0);
  EXPECT_EQ(out, "0.1230E+03");
  put_scientific(out.data(), 10, 4, -123.0);
  EXPECT_EQ(out, "**********");
}

TEST(PutFixedAndPutInteger, RightJustifyAndMarkWhatDoesNotFit) {
  std::string out(8, '?');
  put_fixed(out.data(), 8, 2, -3.14159);
  EXPECT_EQ(out, "   -3.14");
  put_fixed(out.data(), 8, 2, 1e300);
  EXPECT_EQ(out, "********");
  put_integer(out.data(), 8, 300000);
  EXPECT_EQ(out, "  300000");
  put_integer(out.data(), 8, std::int64_t{1234567890});
  EXPECT_EQ(out, "********");
  put_fixed(out.data(), 8, 2, -HUGE_VAL);
  EXPECT_EQ(out, "********");
}

}  // namespace
