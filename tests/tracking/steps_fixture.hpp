#pragma once
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "beam/bunch_record_owner.hpp"
#include "beam/particles.hpp"
#include "forces/force_settings_owner.hpp"
#include "lattice/lattice_record_owner.hpp"
#include "support/capture.hpp"
#include "tracking/steps.hpp"
#include "tracking/tracking_record_owner.hpp"

namespace tessaron::test {

/// Every record in its start state; a straight lattice and a bunch that flies along x to put into it.
class Steps : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(ptlini(), ok);
    ASSERT_EQ(trkini(), ok);
    ASSERT_EQ(frcinit(), ok);
    latcom_store = LatticeRecord{};
    ptlcom_store.ctptcl = 0;
  }

  /// Boundaries across x, all of them duty boundaries unless told otherwise.
  static void boundaries(std::initializer_list<double> places) {
    for (const double x : places) {
      const int i = ++latcom_store.nlat;
      latcom_store.bnd[i] = {x, 0, 1, 0, 1, 0, x, 0};
      latcom_store.duty[i] = true;
    }
  }
  /// Particles at these places, all with the momentum p, their sections found by the boundaries.
  static void bunch(const std::vector<double>& places, double p = 1e4) {
    for (const double x : places) {
      const int i = ++ptlcom_store.npart;
      ptlcom_store.particle[i] = {x, 0, 0, p, 0, 0, 1e-12};
      ptlcom_store.source[i] = ptlcom_store.test[i] = true;
      int section = 1;
      while (section <= latcom.nlat && latcom.bnd[section].x <= x) ++section;
      ptlcom_store.section[i] = section;
    }
  }

  struct Stop {
    double ct;
    bool duty;
  };
  /// The step loop to the end time, as the run driver does it; its console lines go to `log`.
  std::vector<Stop> track_to(double end, int most_steps = 1000) {
    std::vector<Stop> stops;
    trkcom_store.end_time_c0 = end;
    log = console_of([&] {
      double next = ptlcom.ctptcl;
      bool first = true, more = true;
      while (more && static_cast<int>(stops.size()) <= most_steps) {
        (void)trkadv(next);
        trkstp(next, first, more);
        stops.push_back({ptlcom.ctptcl, step_control.duty_now});
      }
    });
    return stops;
  }
  /// The same, the times alone, without the start.
  std::vector<double> times_to(double end) {
    std::vector<double> times;
    for (const Stop& stop : track_to(end)) times.push_back(stop.ct);
    times.erase(times.begin());
    return times;
  }

  std::vector<std::string> log;
};

}  // namespace tessaron::test
