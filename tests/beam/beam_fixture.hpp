#pragma once
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "beam/monitors.hpp"
#include "beam/particles.hpp"
#include "beam/ptlcom_owner.hpp"
#include "forces/force_settings.hpp"
#include "lattice/latcom_owner.hpp"
#include "run/deck.hpp"
#include "run/filetab.hpp"

namespace tessaron::test {

/// Runs each test in an empty directory of its own, with every record in its start state.
class Beam : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "beam_XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    directory_ = pattern;
    home_ = std::filesystem::current_path();
    std::filesystem::current_path(directory_);
    ASSERT_EQ(ptlini(), ok);
    ASSERT_EQ(moninit(), ok);
    latcom_store.nlat = 0;
    ptlcom_store.ctptcl = 0;
    ptlcom_store.reference_momentum = 0;
  }
  void TearDown() override {
    (void)close_all_files();
    std::filesystem::current_path(home_);
    std::filesystem::remove_all(directory_);
  }

  static void write_file(const std::string& name, const std::string& text) { std::ofstream(name) << text; }

  /// Makes `deck` the deck, as if its first token were to be read next.
  static void open_deck(const std::string& deck) {
    (void)close_all_files();
    write_file("tessar.in", deck);
    ASSERT_EQ(fiinit("tessar.in"), ok);
    ASSERT_EQ(rdinit(), ok);
  }
  static Status read_particles(const std::string& block) {
    open_deck(block);
    return ptlblk();
  }
  static Status read_online_monitor(const std::string& block) {
    open_deck(block);
    return onlblk();
  }

  static std::vector<std::string> lines_of(const std::string& name) {
    std::vector<std::string> lines;
    std::ifstream file(name);
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
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

 private:
  std::filesystem::path directory_, home_;
};

}  // namespace tessaron::test
