#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "common/undefined.hpp"
#include "lattice/deck_lattice.hpp"

using namespace tessaron;
using Lines = std::vector<std::string>;

// One of each kind; every boundary has both ends of its private data set.
TEST(Latout, ListsBoundariesElementsAndPrivateData) {
  const test::WorkingFolder folder;
  folder.write(
      "tessar.in",
      "{ dipole { position { delta_s=0.5 marker=start } }\nquadrupole { position { delta_s=1 } "
      "properties { strength=2 alpha=90 horizontal_offset=0.1 vertical_offset=0.2 } position { "
      "delta_s=0.25 duty=no } }\nthin_quadrupole { position { delta_s=0.25 } properties { "
      "effective_length=0.5 quadrupole_k=4 } }\ndiscrete_free { position { delta_s=0.5 } properties { "
      "type=7 integer=3 real=2 } real_array { 1.5 2.5d0 } integer_array { 11 } } }");
  const Lines console = test::console_of([] {
    EXPECT_TRUE(fiinit("tessar.in") == ok && rdinit() == ok && lattice() == ok);
    close_all_files();
  });
  EXPECT_EQ(console, (Lines{" section 1  length= 1", " section 2  length= 0.25", " section 3  length= 0.25",
                            " section 4  length= 0.5", " end of lattice definition"}));
  std::string expected;
  const auto list = [&](int first, std::initializer_list<double> values) {
    for (const double value : values) expected += std::string(FreeForm(first++, value).view()) += "\n";
  };
  int i = 0;
  const auto boundary = [&](const std::string& marker, double x, const std::string& duty,
                            std::initializer_list<double> element) {
    const std::string head =
        " " + std::string(48, '-') + "\n i= " + std::to_string(++i) + "   marker= " + marker;
    expected += head + "   duty= " + duty + "\n\n";
    list(1, {x, 0, 1, 0, 1, 0, x, 0});
    expected += "\n";
    list(1, element);  // class, kind, and the ends of its private integers and reals
  };
  const char *integers = "\n   private integers\n", *reals = "\n   private reals\n";
  boundary("start", 0.5, "T", {1, 0, 0, 0});
  boundary("undefined", 1.5, "T", {1, 0, 0, 0});
  boundary("undefined", 1.75, "F", {1, 1, 1, 4});
  expected += integers;
  list(1, {2});
  expected += reals;
  list(1, {0.1, 0.2, 2, pi / 2});
  boundary("undefined", 2, "F", {0, 1, 1, 36});
  expected += reals;  // the map and its inverse, for forward and backward, column by column
  list(5, {1, -2, 0, 0, 0, 1, 0, 0, 0, 0, 1, 2, 0, 0, 0, 1, 1, 0, 0, 0, 2, 1, 0, 0, 0, 0, 1, 0, 0, 0, -2, 1});
  boundary("undefined", 2.5, "F", {0, 7, 4, 38});
  expected += integers;
  list(2, {11, undefined_integer, undefined_integer});
  expected += reals;
  list(37, {1.5, 2.5});
  EXPECT_EQ(folder.read("latout.dat"), expected + " " + std::string(48, '-') + "\n");
}
