#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/run_program.hpp"

/// Messages of lattice blocks and of the preparation of a run: decks through the built program, exact lines.
using namespace tessaron::test;
using Lines = std::vector<std::string>;

namespace {

struct BadBlock {
  const char* block;  ///< behind the command `lattice`
  Lines lines;        ///< console without the banners
};

const std::string unknown_key = " error in assign: unknown identifyer";
const std::string dipole = " error in dipole/multipole", properties = " error in dipole/multipole_properties",
                  position = " error in lyrass", thin = " error in thin_quadrupole",
                  thin_properties = " error in thin_quadrupole_properties", free = " error in dicrete_free",
                  free_properties = " error in dicrete_free_properties", lattice = " error in lattice",
                  poles = " undefined or invalid pole number";

Lines expected_token(const char* token) {
  return {" io error in getspc, expected:", std::string(" ") + token};
}
Lines operator+(Lines a, const Lines& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

const BadBlock blocks[] = {
    // the block itself
    {"dipole", expected_token("{") + Lines{lattice}},
    {"{ solenoid { } }", {lattice}},
    {"{ dipole { }", {lattice}},  // the deck's end reads as "exit"
    {"{ #oops }", {" unknown global command", " error in getcmd", " error in getcmd", lattice}},
    // magnets: three sub-blocks, in this order
    {"{ dipole position", expected_token("{") + Lines{dipole, lattice}},
    {"{ dipole { marker } }", {dipole, lattice}},
    {"{ quadrupole { properties { } } }", {dipole, lattice}},
    {"{ multipole { position { delta_s=1 } position { delta_s=1 } } }", {dipole, lattice}},
    {"{ dipole { position { delta_s=1 } properties { } properties { } } }", {dipole, lattice}},
    {"{ dipole { position { delta_s=1 } properties { } position { delta_s=1 } position { delta_s=1 } } }",
     {dipole, lattice}},
    // their properties
    {"{ dipole { position { delta_s=1 } properties { strength=1 } } }",
     {unknown_key, properties, dipole, lattice}},
    {"{ quadrupole { position { delta_s=1 } properties { r=1 } } }",
     {unknown_key, properties, dipole, lattice}},
    {"{ quadrupole { position { delta_s=1 } properties { poles=4 } } }",
     {unknown_key, properties, dipole, lattice}},
    {"{ dipole { position { delta_s=1 } properties { r=far } } }", {properties, dipole, lattice}},
    {"{ quadrupole { position { delta_s=1 } properties { alpha=nan } } }", {properties, dipole, lattice}},
    {"{ multipole { position { delta_s=1 } properties { poles=4.0 } } }", {properties, dipole, lattice}},
    {"{ multipole { position { delta_s=1 } properties { } } }", {poles, properties, dipole, lattice}},
    {"{ multipole { position { delta_s=1 } properties { poles=3 } } }", {poles, properties, dipole, lattice}},
    {"{ multipole { position { delta_s=1 } properties { poles=0 } } }", {poles, properties, dipole, lattice}},
    {"{ multipole { position { delta_s=1 } properties { poles=-4 } } }",
     {poles, properties, dipole, lattice}},
    // positions
    {"{ dipole { position { at=1 } } }", {unknown_key, position, dipole, lattice}},
    {"{ dipole { position { rho=x } } }", {position, dipole, lattice}},
    {"{ dipole { position { psi=90 } } }", {" error in position: first field boundary", dipole, lattice}},
    {"{ dipole { position { delta_s=1 } properties { } position { psi=90 } } }",
     {" error in position", dipole, lattice}},
    {"{ dipole { position { delta_s=1 } properties { r=1 } position { rho=2 } } }",
     {" error in position, arc definition", dipole, lattice}},
    {"{ dipole { position { delta_s=1 } properties { r=1 } position { delta_s=-1 } } }",
     {" error in position, relative arc definition", dipole, lattice}},
    {"{ dipole { position { delta_s=1 } properties { r=1 } position { rho=5 psi=0 } } }",
     {" error in position, absolute arc definition", dipole, lattice}},
    // thin quadrupoles
    {"{ thin_quadrupole position", expected_token("{") + Lines{thin, lattice}},
    {"{ thin_quadrupole { } }", {thin, lattice}},
    {"{ thin_quadrupole { position { delta_s=1 } } }", {thin, lattice}},
    {"{ thin_quadrupole { properties { } } }", {thin, lattice}},
    {"{ thin_quadrupole { position { delta_s=x } } }", {position, thin, lattice}},
    {"{ thin_quadrupole { position { delta_s=1 } properties { effective_length=1 } } }",
     {thin_properties, thin, lattice}},
    {"{ thin_quadrupole { position { delta_s=1 } properties { quadrupole_k=1 effective_length=x } } }",
     {thin_properties, thin, lattice}},
    {"{ thin_quadrupole { position { delta_s=1 } properties { strength=1 } } }",
     {unknown_key, thin_properties, thin, lattice}},
    {"{ thin_quadrupole { position { delta_s=1 } properties { quadrupole_k=1 effective_length=1 } more } }",
     {thin, lattice}},
    // free elements
    {"{ discrete_free position", expected_token("{") + Lines{free, lattice}},
    {"{ discrete_free { } }", {free, lattice}},
    {"{ discrete_free { position { delta_s=1 } } }", {free, lattice}},
    {"{ discrete_free { properties { type=1 integer=0 real=0 } } }", {free, lattice}},
    {"{ discrete_free { position { delta_s=1 } integer_array { } } }", {free, lattice}},
    {"{ discrete_free { position { } } }", {" error in position: first field boundary", free, lattice}},
    {"{ discrete_free { position { delta_s=1 } properties { type=1 integer=0 } } }",
     {free_properties, free, lattice}},
    {"{ discrete_free { position { delta_s=1 } properties { type=1 integer=1.5 real=0 } } }",
     {free_properties, free, lattice}},
    {"{ discrete_free { position { delta_s=1 } properties { name=1 } } }",
     {unknown_key, free_properties, free, lattice}},
    {"{ discrete_free { position { delta_s=1 } properties { type=1 integer=0 real=-1 } } }", {free, lattice}},
    {"{ discrete_free { position { delta_s=1 } properties { type=1 integer=1001 real=0 } } }",
     {" increase ilalen (latcom)", free, lattice}},
    {"{ discrete_free { position { delta_s=1 } properties { type=1 integer=0 real=2000000000 } } }",
     {" increase rlalen (latcom)", free, lattice}},
    {"{ discrete_free { position { delta_s=1 } properties { type=1 integer=1 real=0 } integer_array { x } } "
     "}",
     {free, lattice}},
    {"{ discrete_free { position { delta_s=1 } properties { type=1 integer=0 real=1 } real_array { 1 2 } } }",
     expected_token("}") + Lines{free, lattice}},
    {"{ discrete_free { position { delta_s=1 } properties { type=1 integer=1 real=1 } real_array { }\n"
     "real_array { } } }",
     {free, lattice}},
    // room in the tables
    {"{ discrete_free { position { delta_s=1 } properties { type=1 integer=1000 real=0 } }\n"
     "quadrupole { position { delta_s=1 } properties { } position { delta_s=1 } } }",
     {" global constant ilalen too small", dipole, lattice}},
    {"{ discrete_free { position { delta_s=1 } properties { type=1 integer=0 real=997 } }\n"
     "quadrupole { position { delta_s=1 } properties { } position { delta_s=1 } } }",
     {" global constant rlalen too small", dipole, lattice}},
    {"{ discrete_free { position { delta_s=1 } properties { type=1 integer=0 real=969 } }\n"
     "thin_quadrupole { position { delta_s=1 } properties { quadrupole_k=1 effective_length=1 } } }",
     {" increase rlalen (latcom)", thin, lattice}},
    // a boundary behind the one before: all sections are listed, and the lattice fails
    {"{ dipole { position { delta_s=2 } } dipole { position { delta_s=-1 } } dipole { position { delta_s=3 } "
     "} }",
     {" section 1  length= -1", " section 2  length= 3", " end of lattice definition", lattice}},
};

/// Two drifts of 1 m; `section 1  length= 1` and the end of the block are its lines.
const std::string drifts =
    "lattice { dipole { position { delta_s=1 } } dipole { position { delta_s=1 } } }\n";
const Lines drift_lines = {" section 1  length= 1", " end of lattice definition"};

/// One particle at the origin with a momentum along x or y.
std::string particle(const char* momentum) {
  return std::string("particles { array = 0 a b c d e f  0 0 0 ") + momentum + " 1e-9 }\n";
}

/// A run's console without the banners; it must have ended by itself.
Lines console_of_deck(const RunFolder& folder, const std::string& deck, int expected_banners) {
  const ProgramRun run = folder.run_deck(deck);
  int banners = 0;
  Lines lines = without_banners(run.lines(), banners);
  EXPECT_TRUE(run.orderly()) << deck;
  EXPECT_EQ(banners, expected_banners) << deck;
  return lines;
}

}  // namespace

TEST(LatticeMessages, EveryBadBlockTellsItsTraceFromTheInsideOut) {
  for (const BadBlock& bad : blocks) {
    const RunFolder folder;
    EXPECT_EQ(console_of_deck(folder, std::string("lattice ") + bad.block, 2), bad.lines) << bad.block;
  }
}

TEST(LatticeMessages, EmptyBlockListsNothing) {
  const RunFolder folder;
  EXPECT_EQ(console_of_deck(folder, "lattice { }", 2), Lines{" end of lattice definition"});
  EXPECT_EQ(folder.lines("latout.dat"), Lines{" " + std::string(48, '-')});
}

TEST(LatticeMessages, ListingThatCannotBeWrittenIsNoFailure) {
  const RunFolder folder;
  folder.make_folder("latout.dat");
  EXPECT_EQ(console_of_deck(folder, drifts + "track_accuracy { } nonsense", 2),
            Lines({drift_lines[0], " cannot write latout.dat", drift_lines[1],
                   " error in tessar: unknown layer command"}));
}

TEST(LatticeMessages, PreparationRefusesBoundariesAtOnePlace) {
  const RunFolder folder;
  const std::string deck =
      "lattice { dipole { position { delta_s=1 } } dipole { position { delta_s=0 } } }\n";
  const Lines lines = console_of_deck(folder, deck + particle("1e9 0 0") + "tracker { delta_time_c0=1 }", 2);
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(lines[0], " section 1  length= 0");
  EXPECT_EQ(lines[1], drift_lines[1]);
  EXPECT_EQ(lines.back(), " error in inila2: non positive distance between fbs");
}

// The fatal stop is the end of the console: no banner closes the run behind those of start and decision.
TEST(LatticeMessages, ReferenceParticleThatMissesABoundaryStopsTheRun) {
  const struct {
    const char* x;
    const char* line;
  } cases[] = {{"0", " error in fbpts (1)"}, {"5", " error in fbpts (2)"}};
  for (const auto& c : cases) {
    const RunFolder folder;
    const std::string bunch =
        std::string("particles { array = 0 a b c d e f  ") + c.x + " 0 0 0 1e9 0 1e-9 }\n";
    const Lines lines = console_of_deck(folder, drifts + bunch + "tracker { delta_time_c0=1 }", 2);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), c.line);
  }
}

// In front of a discrete element that does nothing, each evaluation of the field says so.
TEST(LatticeMessages, UnknownDiscreteElementIsToldAndPassed) {
  const RunFolder folder;
  const std::string deck =
      "lattice { dipole { position { delta_s=1 } }\n"
      "discrete_free { position { delta_s=1 } properties { type=5 integer=0 real=0 } } }\n";
  const Lines lines = console_of_deck(folder, deck + particle("1e9 0 0") + "tracker { delta_time_c0=3 }", 3);
  EXPECT_GT(std::count(lines.begin(), lines.end(), " nothing implemented for this case"), 2);
}
