#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/undefined.hpp"
#include "lattice/deck_lattice.hpp"

using namespace tessaron;
using test::read_lattice;
using Lines = std::vector<std::string>;

namespace {

void expect_element(int i, ElementClass kind, std::int32_t subtype, std::int32_t iend, std::int32_t rend) {
  const Element& e = latcom.elem[i];
  EXPECT_EQ(e.kind, kind) << i;
  EXPECT_EQ(e.subtype, subtype) << i;
  EXPECT_EQ(e.iend, iend) << i;
  EXPECT_EQ(e.rend, rend) << i;
}

/// The first entries of a pool.
template <class Pool>
auto used(const Pool& pool, int n) {
  const auto entries = pool.run(1, n);
  return std::vector(entries.begin(), entries.end());
}

std::string repeated(const char* text, int count) {
  std::string all = "{ ";
  for (int i = 0; i < count; ++i) all.append(text).append("\n");
  return all + "}";
}

}  // namespace

// One of each kind; every boundary has both ends of its private data set.
TEST(Elements, KeepTheirDataInThePools) {
  ASSERT_EQ(
      read_lattice(
          "{ quadrupole { position { delta_s=1 } properties { strength=3 alpha=90 horizontal_offset=0.1 "
          "vertical_offset=0.2 }\n position { delta_s=1 } }\n"
          "dipole { position { delta_s=1 } properties { r=5 } position { delta_s=1 } }\n"
          "multipole { position { delta_s=1 } properties { poles=8 strength=7 } position { delta_s=1 } }\n"
          "multipole { position { delta_s=1 } properties { poles=2 strength=7 } position { delta_s=1 } }\n"
          "thin_quadrupole { position { delta_s=1 } properties { effective_length=0.5 quadrupole_k=4 } }\n"
          "discrete_free { position { delta_s=1 } properties { type=7 integer=3 real=2 }\n"
          "  real_array { 1.5 2.5d0 } integer_array { 11 } } }"),
      ok);
  using enum ElementClass;
  ASSERT_EQ(latcom.nlat, 10);
  expect_element(1, field, 0, 0, 0);
  expect_element(2, field, 1, 1, 4);
  expect_element(3, field, 0, 1, 4);
  expect_element(4, field, 0, 1, 4);
  expect_element(6, field, 1, 2, 8);
  expect_element(8, field, 0, 2, 8);
  expect_element(9, discrete, 1, 2, 40);
  expect_element(10, discrete, 7, 5, 42);
  EXPECT_EQ(latcom.bnd[4].r, 5);
  EXPECT_EQ(latcom.bnd[8].r, 0);
  using Integers = std::vector<std::int32_t>;
  using Reals = std::vector<double>;
  EXPECT_EQ(used(latcom.ipool, latcom.ipool_used),
            (Integers{2, 4, 11, undefined_integer, undefined_integer}));
  EXPECT_EQ(used(latcom.rpool, latcom.rpool_used),
            (Reals{0.1, 0.2, 3, pi / 2, 0, 0, 7, 0,                           // quadrupole and octupole
                   1,   -2,  0, 0,      0, 1, 0, 0, 0, 0, 1, 2, 0, 0, 0,  1,  // column by column
                   1,   0,   0, 0,      2, 1, 0, 0, 0, 0, 1, 0, 0, 0, -2, 1, 1.5, 2.5}));

  // The next lattice has nothing of this one: arrays that it leaves out hold the markers.
  ASSERT_EQ(
      read_lattice("{ discrete_free { position { delta_s=1 } properties { type=1 integer=2 real=3 } } }"),
      ok);
  expect_element(1, discrete, 1, 2, 3);
  EXPECT_EQ(used(latcom.ipool, 2), Integers(2, undefined_integer));
  EXPECT_EQ(used(latcom.rpool, 3), Reals(3, undefined_real));
}

TEST(Elements, FillThePoolsToTheLastPlace) {
  const char* free = "discrete_free { position { delta_s=1 } properties { type=1 integer=250 real=250 } }";
  Lines lines;
  EXPECT_EQ(read_lattice(repeated(free, 4)), ok);
  EXPECT_EQ(latcom.ipool_used, 1000);
  EXPECT_EQ(latcom.rpool_used, 1000);
  EXPECT_NE(read_lattice(repeated(free, 5), &lines), ok);
  EXPECT_EQ(lines, (Lines{" increase ilalen (latcom)", " error in dicrete_free", " error in lattice"}));

  // A magnet and a thin quadrupole that take exactly the places that are left.
  EXPECT_EQ(read_lattice(
                "{ discrete_free { position { delta_s=1 } properties { type=1 integer=999 real=964 } }"
                " thin_quadrupole { position { delta_s=1 } properties { effective_length=1 quadrupole_k=1 } }"
                " quadrupole { position { delta_s=1 } properties { } position { delta_s=1 } } }"),
            ok);
  EXPECT_EQ(latcom.ipool_used, 1000);
  EXPECT_EQ(latcom.rpool_used, 1000);

  const char* magnet = "quadrupole { position { delta_s=1 } }";
  EXPECT_EQ(read_lattice(repeated(magnet, 100)), ok);
  EXPECT_EQ(latcom.nlat, 100);
  EXPECT_NE(read_lattice(repeated(magnet, 101), &lines), ok);
  EXPECT_EQ(lines, (Lines{" error in position: increase maxlat (latcom)", " error in dipole/multipole",
                          " error in lattice"}));
}

TEST(Elements, MayEndWithOneBoundary) {
  EXPECT_EQ(read_lattice("{ dipole { } quadrupole { position { delta_s=1 } properties { strength=1 } } }"),
            ok);
  EXPECT_EQ(latcom.nlat, 1);
  EXPECT_EQ(latcom.ipool_used, 0);
}

TEST(Latout, ListsBoundariesElementsAndPrivateData) {
  const test::WorkingFolder folder;
  folder.write("tessar.in",
               "{ dipole { position { delta_s=0.5 marker=start } }\nquadrupole { position { delta_s=1 } "
               "properties { strength=2 } position { delta_s=0.25 duty=no } } }");
  const Lines console = test::console_of([] {
    EXPECT_TRUE(fiinit("tessar.in") == ok && rdinit() == ok && lattice() == ok);
    close_all_files();
  });
  EXPECT_EQ(console,
            (Lines{" section 1  length= 1", " section 2  length= 0.25", " end of lattice definition"}));
  std::string expected;
  const auto boundary = [&](const std::string& title, const std::string& x, const std::string& element) {
    expected += " " + std::string(48, '-') + "\n " + title + "\n\n 1 " + x +
                "\n 2 0\n 3 1\n 4 0\n 5 1\n 6 0\n 7 " + x + "\n 8 0\n\n" + element;
  };
  boundary("i= 1   marker= start   duty= T", "0.5", " 1 1\n 2 0\n 3 0\n 4 0\n");
  boundary("i= 2   marker= undefined   duty= T", "1.5", " 1 1\n 2 0\n 3 0\n 4 0\n");
  boundary(
      "i= 3   marker= undefined   duty= F", "1.75",
      " 1 1\n 2 1\n 3 1\n 4 4\n\n   private integers\n 1 2\n\n   private reals\n 1 0\n 2 0\n 3 2\n 4 0\n");
  EXPECT_EQ(folder.read("latout.dat"), expected + " " + std::string(48, '-') + "\n");
}
