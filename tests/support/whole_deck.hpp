#pragma once
#include <map>
#include <string>

namespace tessaron::test {

using Files = std::map<std::string, std::string>;

/// A deck with every command and nearly every key, and its files.
inline const Files& whole_deck() {
  static const Files files = {
      {"tessar.in", R"(io_path { output = . logfile = log }
lattice { #file { name = magnets } }
particles { format = fmt1 reference_momentum = average reference_point_x = 0 reference_point_y = 0.
  reference_point_phi = 0 array = #file { name = bunch } }
forces { type = projected sigma_long = relative relative_long = 0.5 sigma_file = sizes wake_file = wake
  shield = 0.1 shield_max = 0.3 par1 = 3 par4 = 0.1 test = yes }
track_step { ct_step_max = 0.2 ct_step_min = 0.01 ct_step_first = 0.1 iterative = 2 error_per_ct = 1d-3
  precondition = yes increase_factor = 2.0 arc_factor = 0.5 }
monitor { name = start format = fmt2 }
track_accuracy { anything { nested = 1 } }
online_monitor { name = steps.dat type = steps start_time_c0 = now end_time_marker = last time_step_c0 = all }
online_monitor { name = bunch.dat format = fmt3 start_time_marker = first start_time_shift_c0 = -0.1
  end_time_c0 = 2 time_step_c0 = 0.5 }
online_monitor { name = orbit.dat particle = 1 format = fmt0 start_time_c0 = 0 end_time_c0 = 1 time_step_c0 = 0 }
tracker { end_time_marker = second end_time_shift_c0 = 0.1 }
forces { type = csr_g_to_p sigma_long = 1e-4 shape = ellipsoid sigma_rad = 1e-4 sigma_vert = 1e-4 sbox = 0.5 }
online_monitor { name = mesh.dat type = green start_time_c0 = now end_time_c0 = 9 time_step_c0 = all }
online_monitor { name = sub.dat type = subbunch start_time_c0 = now end_time_c0 = 9 time_step_c0 = 0.1 }
track_step { time_grid_file = times }
tracker { delta_time_c0 = 0.2 }
monitor { name = end format = fmt1 }
exit
)"},
      {"magnets", R"(dipole { position { delta_s = 0.3 marker = first } properties { r = 5 }
  position { delta_s = 0.2 delta_psi = 1 duty = yes } }
quadrupole { position { delta_s = 0.2 } properties { strength = 2 alpha = 10 } position { delta_s = 0.1 marker = second } }
multipole { position { delta_s = 0.2 } properties { poles = 6 strength = 10 horizontal_offset = 0.001 }
  position { delta_s = 0.1 } }
thin_quadrupole { position { delta_s = 0.1 } properties { effective_length = 0.1 quadrupole_k = 1 } }
discrete_free { position { delta_s = 0.1 } properties { type = 1 integer = 0 real = 16 }
  real_array { 1 0 0 0  0 1 0 0  0 0 1 0  0 0 0 1 } }
dipole { position { delta_s = 0.5 marker = last } }
)"},
      {"bunch", R"(0 0 0 0 0 0 0
0 0 0 5e8 0 0 1e-10
1e-4 0 0 1e4 0 0 1e-10
-1e-4 1e-5 2e-5 -1e4 100 50 1e-10
2e-4 -1e-5 -2e-5 2e4 -100 -50 1e-10
)"},
      {"wake", "! a wake\n1e-4\n2e-5\n-30\n30\n" +
                   [] {
                     std::string rows;
                     for (int i = -30; i <= 30; ++i) rows += "1e9\n";
                     return rows;
                   }()},
      {"sizes", "0 1e-4 1e-4 1e-4\n1 2e-4 1e-4 1e-4\n5 2e-4 1e-4 1e-4\n"},
      {"times", "0.1\n0.5\n0.9\n1.0\n1.1\n"},
  };
  return files;
}

}  // namespace tessaron::test
