#include <gtest/gtest.h>

#include <string>

#include "support/run_program.hpp"

/// What the program says of each block of a deck, from outside: exact console lines, ';' between them.
using namespace tessaron::test;

namespace {

const std::string unknown_key = " error in assign: unknown identifyer",
                  expected = " io error in getspc, expected:; ";

struct Case {
  std::string deck, told;
};

/// Runs a deck in a folder; the run must end in order and name its place on standard error if it failed.
std::string told_of(const RunFolder& folder, const std::string& deck) {
  const ProgramRun run = folder.run_deck(deck);
  const std::string told = run.told();
  EXPECT_TRUE(run.orderly()) << deck;
  const std::size_t last = told.rfind(';') == told.npos ? 0 : told.rfind(';') + 1;
  EXPECT_EQ(run.errors.find("stopped at") != std::string::npos, told.find("error", last) != std::string::npos)
      << deck << run.errors;
  return told;
}

// `@` stands for a position: `position { delta_s=1 }`.
TEST(BlockMessages, BadLatticesTellTheirTraceFromTheInsideOut) {
  const std::string lattice = "; error in lattice", dipole = " error in dipole/multipole" + lattice,
                    position = " error in lyrass; error in dipole/multipole" + lattice,
                    properties = " error in dipole/multipole_properties;" + dipole,
                    poles = " undefined or invalid pole number;" + properties,
                    thin = " error in thin_quadrupole" + lattice,
                    thin_properties = " error in thin_quadrupole_properties;" + thin,
                    free = " error in dicrete_free" + lattice,
                    free_properties = " error in dicrete_free_properties;" + free;
  const RunFolder folder;
  for (const Case& c : {
           Case{"", " end of lattice definition"},
           {"solenoid { }", " error in lattice"},
           {"#oops", " unknown global command; error in getcmd; error in getcmd" + lattice},
           // magnets: three sub-blocks, in this order
           {"dipole position", expected + "{;" + dipole},
           {"dipole { marker }", dipole},
           {"multipole { @ @ }", dipole},
           {"dipole { @ properties { strength=1 } }", unknown_key + ";" + properties},
           {"dipole { @ properties { r=far } }", properties},
           {"multipole { @ properties { } }", poles},
           {"multipole { @ properties { poles=3 } }", poles},
           // positions
           {"dipole { position { at=1 } }", unknown_key + ";" + position},
           {"dipole { position { rho=x } }", position},
           {"dipole { position { psi=90 } }", " error in position: first field boundary;" + dipole},
           {"dipole { @ properties { } position { psi=90 } }", " error in position;" + dipole},
           {"dipole { @ properties { r=1 } position { rho=2 } }",
            " error in position, arc definition;" + dipole},
           {"dipole { @ properties { r=1 } position { delta_s=-1 } }",
            " error in position, relative arc definition;" + dipole},
           {"dipole { @ properties { r=1 } position { rho=5 psi=0 } }",
            " error in position, absolute arc definition;" + dipole},
           // thin quadrupoles
           {"thin_quadrupole { @ }", thin},
           {"thin_quadrupole { @ properties { effective_length=1 } }", thin_properties},
           {"thin_quadrupole { @ properties { quadrupole_k=1 effective_length=x } }", thin_properties},
           {"thin_quadrupole { @ properties { quadrupole_k=1 effective_length=1 } more }", thin},
           // free elements
           {"discrete_free { @ }", free},
           {"discrete_free { @ integer_array { } }", free},
           {"discrete_free { @ properties { type=1 integer=0 } }", free_properties},
           {"discrete_free { @ properties { type=1 integer=1.5 real=0 } }", free_properties},
           {"discrete_free { @ properties { type=1 integer=0 real=-1 } }", free},
           {"discrete_free { @ properties { type=1 integer=1 real=0 } integer_array { x } }", free},
           {"discrete_free { @ properties { type=1 integer=0 real=1 } real_array { 1 2 } }",
            expected + "};" + free},
           {"discrete_free { @ properties { type=1 integer=1 real=1 } real_array { } real_array { } }", free},
           // room in the tables
           {"discrete_free { @ properties { type=1 integer=1001 real=0 } }",
            " increase ilalen (latcom);" + free},
           {"discrete_free { @ properties { type=1 integer=0 real=2000000000 } }",
            " increase rlalen (latcom);" + free},
           {"discrete_free { @ properties { type=1 integer=1000 real=0 } } quadrupole { @ properties { } @ }",
            " global constant ilalen too small;" + dipole},
           {"discrete_free { @ properties { type=1 integer=0 real=997 } } quadrupole { @ properties { } @ }",
            " global constant rlalen too small;" + dipole},
           {"discrete_free { @ properties { type=1 integer=0 real=969 } }\n"
            "thin_quadrupole { @ properties { quadrupole_k=1 effective_length=1 } }",
            " increase rlalen (latcom);" + thin},
           // a boundary behind the one before: all sections are listed, and the lattice fails
           {"dipole { position { delta_s=2 } } dipole { position { delta_s=-1 } } dipole { @ }",
            " section 1  length= -1; section 2  length= 1; end of lattice definition" + lattice},
       }) {
    std::string block = c.deck;
    for (std::size_t at; (at = block.find('@')) != block.npos;)
      block.replace(at, 1, "position { delta_s=1 }");
    EXPECT_EQ(told_of(folder, "lattice { " + block + " }"), c.told) << c.deck;
    if (c.deck.empty()) {
      EXPECT_EQ(folder.read("latout.dat"), " " + std::string(48, '-') + "\n");
    }
  }
}

const std::string header = "0.5 a b c d e f  ";
const std::string bunch =
    "particles { array = " + header + "0 0 0 510973704.82780022 0 0 -1e-9 }\n";  // p = 1000
const std::string bunch_told =
    "  momentum of reference particle = 1000;  averaged momentum              = 1000;"
    "  reference momentum             = 1000;  total charge / C               = -1e-09;"
    "  end of particles definition, npart = 1;";

TEST(BlockMessages, BunchesAndMonitorsTellWhatTheyHold) {
  const std::string block = " error in particles", array = " error in array with particles;" + block,
                    execution = "; error in execution of monitor; error in monitor";
  const std::string none =
      "  momentum of reference particle = 0;  averaged momentum              = 0;"
      "  reference momentum             = 0;  total charge / C               = 0;"
      "  end of particles definition, npart = 0;";
  const RunFolder folder;
  std::string records = header;
  for (int i = 0; i < 300001; ++i) records += "0 0 0 1 0 0 1\n";
  folder.write("full", records);
  for (const Case& c : {
           Case{"particles { array = " + header + "}", array},
           {"particles { format = umbra array = }", array},
           {"particles { array = " + header + "0 0 0 fast }", array},
           {"particles { array = " + header + "0 0 0 1 0 0 1 1.5abc }", array},
           {"particles { format = umbra array = 1 2 3 4 5 6 7 8 9 status }", array},
           {"particles { array = #file { name = . } }",
            " error in fiio1: cannot open file; error in getcmd; error in getcmd;" + array},
           {"particles { array = #file { name = full } }", " npart.ge.maxprt;" + array},
           {bunch.substr(0, bunch.size() - 2), array},  // the end of the deck reads as the word exit
           {"particles { format = fmt0 array = }", block},
           {"particles { reference_momentum = mean array = }", block},
           {"particles { reference_point_phi = right }", block},
           {"particles = { }", expected + "{;" + block},
           {"particles { format }", expected + "=;" + block},
           {"particles { reference_momentum = average reference_point_x = 2 }", none},
           {bunch + "monitor { name = out }", bunch_told + ";  monitor=out                   ctptcl= 0.5"},
           {bunch + "monitor { name = a_name_of_more_than_twenty_characters format = fmt3 }",
            bunch_told + ";  monitor=a_name_of_more_than_  ctptcl= 0.5"},
           {"monitor { name = out }", "  monitor=out                   ctptcl= 0" + execution},
           {bunch + "monitor { name = . }",
            bunch_told + ";  monitor=.                     ctptcl= 0.5" + execution},
           {"monitor { format = fmt1 }", " error in monitor"},
           {"monitor { name = out format = 1 }", " error in monitor"},
           {"monitor { name = out what = x }", unknown_key + "; error in monitor"},
           {"online_monitor { type = steps }", ""},
           {"online_monitor { name = m }", " error in monitor"},
           {"online_monitor { what = x }", unknown_key + "; error in monitor"},
       }) {
    EXPECT_EQ(told_of(folder, c.deck), c.told) << c.deck;
  }
  for (const char* keys :
       {"type = phases", "format = fmt4", "format = 1.5", "particle = 0", "particle = none",
        "time_step_c0 = -0.1", "time_step_c0 = often", "end_time_c0 = now"}) {
    EXPECT_EQ(told_of(folder, std::string("online_monitor { name = m start_time_c0 = 0 end_time_c0 = 1 ")
                                  .append(keys)
                                  .append(" }")),
              " error in monitor")
        << keys;
  }
}

TEST(BlockMessages, BadForcesTellWhatIsWrongWithThem) {
  const std::string tail = " error in force", sizes = " read subbunch properties",
                    head = "type = projected sigma_long = file sigma_file = ";
  const RunFolder folder;
  for (const char* deck :
       {"", "type=Projected sigma_long=1", "type=projected", "type=projected sigma_long=0",
        "type=projected sigma_long=relative relative_long=2.5", "type=projected sigma_long=1 shield=-1",
        "type=projected sigma_long=1 shield_max=0", "type=projected sigma_long=1 shield_reach=far",
        "type=none par3=x", "type=csr_p_to_p sigma_long=1 shape=cube",
        "type=csr_p_to_p sigma_long=1 rintmi=0", "type=csr_p_to_p sigma_long=1 shape=ellipsoid sigma_vert=0",
        "type=csr_p_to_p sigma_long=1 shape=ellipsoid sigma_vert=relative",
        "type=csr_p_to_p sigma_long=1 shape=ellipsoid sigma_rad=1 rbox=0"})
    EXPECT_EQ(told_of(folder, std::string("forces { ").append(deck).append(" }")), tail) << deck;
  const char* const wakes[][2] = {{"", "sigwak.le.0"},
                                  {"wide\n", "sigwak.le.0"},
                                  {"1\n0\n", "stpwak.le.0"},
                                  {"1\n1\n-2\n", "n1wak*stpwak > -3*sigwak"},
                                  {"1\n1\n-3\n2\n", "n2wak*stpwak < -3*sigwak"},
                                  {"1\n1\n-3\n49997\n", "n2wak-n1wak+1.>.narcsr"},
                                  {"1\n1\n-3\n3\n1\n2\n3\nfour\n5\n6\n7\n", "data array"}};
  for (const auto& [file, message] : wakes) {
    folder.write("wake", file);
    EXPECT_EQ(told_of(folder, "forces { type = none wake_file = wake }"),
              std::string(" read wakefile: wake; error in wake file: ??? ").append(message) + ";" + tail);
  }
  folder.write("falling", "1 1 1 1\n0 1 1 1\n");
  folder.write("flat", "1 0 1 1\n");
  folder.write("words", "1 long 1 1\n");
  folder.write("wake", "! a wake\n1\n1\n-3\n2\n");
  for (const Case& c : {
           Case{"type = none", ""},
           {"typ = none", unknown_key + ";" + tail},
           {"type = projected sigma_long = file", " file with subbunch properties is not specified;" + tail},
           {head + "falling", sizes + "; first column with c*time is not increasing;" + tail},
           {head + "flat", sizes + "; file with nonepositive subbunch length;" + tail},
           {head + "words", sizes + ";" + tail},
           {head + "missing", sizes + ";" + tail},
           {head + ".", tail},
           {"type = csr_g_to_p sigma_long = 1 shape = ellipsoid sigma_rad = 1 sbox = 2 rbox = 1.1",
            " warning: large sbox; warning: large rbox"},
           {"type = none wake_file = wake",
            " read wakefile: wake; ! a wake; error in wake file: ??? n2wak*stpwak < -3*sigwak;" + tail},
       }) {
    EXPECT_EQ(told_of(folder, "forces { " + c.deck + " }"), c.told) << c.deck;
  }
}

TEST(BlockMessages, BadStepsAndEndTimesEndTheRun) {
  const std::string step = " error in track_step", grid = " read time_grid_file;";
  const RunFolder folder;
  folder.write("falling", "1\n0.5\n");
  folder.write("words", "1\ntwo\n");
  std::string ones;
  for (int k = 0; k < 2000; ++k) ones += "1\n";
  folder.write("long", ones);
  for (const Case& c : {
           Case{"track_step { iterative = 0 }", step},
           {"track_step { arc_factor = 1.01 }", step},
           {"track_step { increase_factor = 0.99 }", step},
           {"track_step { ct_step_min = 0.1 }", step},
           {"track_step { step = 1 }", unknown_key + ";" + step},
           {"track_step { time_grid_file = falling }",
            grid + " values in time_grid_file not increasing;" + step},
           {"track_step { time_grid_file = words }", grid + step},
           {"track_step { time_grid_file = missing }", grid + step},
           {"track_step { time_grid_file = . }", step},
           {"track_step { time_grid_file = long }",
            grid + " too many points in time_grid_file: increase matist;" + step},
           {"tracker { end_time_c0 = late }", " error in tracker"},
           {"tracker { until = 1 }", unknown_key + "; error in tracker"},
           {"tracker { }", " error: end time is undefined"},
           {"tracker { end_time_c0 = 0 }", " error: end time < particle time"},
           {"tracker { end_time_marker = nowhere }",
            " error: unknown marker for track time; error: end time is undefined"},
       }) {
    EXPECT_EQ(
        told_of(folder, "lattice { dipole { position { delta_s=1 } } dipole { position { delta_s=1 } } }\n" +
                            bunch + c.deck),
        " section 1  length= 1; end of lattice definition;" + bunch_told + ";" + c.told)
        << c.deck;
  }
}

}  // namespace
