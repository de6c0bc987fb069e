#pragma once
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "beam/bunch_record_owner.hpp"
#include "beam/particles.hpp"
#include "lattice/lattice_record_owner.hpp"
#include "monitors/monitors.hpp"
#include "run/deck.hpp"
#include "run/files/file_table.hpp"
#include "support/temp_folder.hpp"

namespace tessaron::test {

/// Runs each test in an empty folder of its own, with every record in its start state.
class Beam : public ::testing::Test {
 protected:
  void SetUp() override {
    open_deck("");
    ASSERT_EQ(ptlini(), ok);
    ASSERT_EQ(moninit(), ok);
    latcom_store.nlat = 0;
    ptlcom_store.ctptcl = 0;
    ptlcom_store.reference_momentum = 0;
  }
  void TearDown() override { (void)close_all_files(); }

  /// Makes `deck` the deck, as if its first token were to be read next.
  void open_deck(const std::string& deck) const {
    (void)close_all_files();
    folder.write("tessar.in", deck);
    ASSERT_EQ(fiinit("tessar.in"), ok);
    ASSERT_EQ(rdinit(), ok);
  }
  Status read_particles(const std::string& block) const {
    open_deck(block);
    return ptlblk();
  }
  Status read_online_monitor(const std::string& block) const {
    open_deck(block);
    return onlblk();
  }

  static std::vector<double> numbers(const std::string& line) {
    std::istringstream stream(line);
    std::vector<double> values;
    for (double value; stream >> value;) values.push_back(value);
    return values;
  }

  /// A bunch of one particle that flies along x, for tests that only need one to be there.
  static void one_particle() {
    ptlcom_store.npart = 1;
    ptlcom_store.particle[1] = {0, 0, 0, 100, 0, 0, 1e-12};
    ptlcom_store.section[1] = 1;
    ptlcom_store.source[1] = ptlcom_store.test[1] = true;
  }

  const WorkingFolder folder;
};

}  // namespace tessaron::test
