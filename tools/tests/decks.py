"""A good deck, and mistakes to be planted in it."""
DECK = """\
lattice {
  dipole { position { delta_s = 1 marker = in } properties { r = 5 } position { delta_s = 0.5 marker = out } }
  dipole { position { delta_s = 2 marker = end duty = no } }
}
particles { format = fmt1 array = #file { name = bunch.dat } }
forces { type = projected sigma_long = relative relative_long = 0.1 }
track_step { ct_step_max = 0.1 ct_step_min = 0.01 }
online_monitor { name = s.dat type = steps start_time_c0 = now end_time_marker = end time_step_c0 = all }
tracker { end_time_marker = end }
monitor { name = end.dat }
"""

# What is replaced by what, the line and kind of the one finding, and words of it.
ERROR, WARNING = "error", "warning"
UP_TO_ARRAY = DECK[DECK.index("{ r = 5"):DECK.index("array")]
SLANTED = UP_TO_ARRAY.replace("r = 5", "r = 1").replace("delta_s = 0.5", "delta_s = 1.57 delta_psi = 70").replace("fmt1", "fmt1 reference_momentum = 1.05e9")
MISTAKES = [
    ("marker = in }", "markr = in }", 2, ERROR, "no key 'markr'; did you mean marker"),
    ("delta_s = 0.5", "delta_s = 0.5,5x", 2, ERROR, "no key '5x'"),
    ("r = 5", "r = five", 2, ERROR, "must be a number in m"),
    ("r = 5", "strength = 5", 2, ERROR, "no key 'strength'"),
    ("position { delta_s = 0.5 marker = out }", "position { psi = 0 }", 2, ERROR, "rho or delta_s"),
    ("dipole { position { delta_s = 2 m", "sextupole { position { delta_s = 2 m", 3, ERROR, "no element 'sextupole'"),
    ("delta_s = 2 ", "delta_s = 0 ", 3, ERROR, "length above 0"),
    ("delta_s = 0.5 m", "delta_s = 31.5 m", 2, ERROR, "turns by 360.963 degrees"),
    ("dipole { position { delta_s = 2 m", "thin_quadrupole { position { delta_s = 2 m", 3, ERROR, "needs position and properties"),
    (UP_TO_ARRAY, SLANTED, 5, ERROR, "never meets the boundary out at s = 2.57 m: it has a radius of 0.952381 m here"),
    ("name = bunch.dat", "name = bunch.txt", 5, ERROR, "does not exist"),
    ("fmt1", "fmt3", 5, ERROR, "must be one of fmt1, fmt2, umbra"),
    ("fmt1 array", "umbra array", 1, ERROR, "no whole records of 10"),
    ("projected", "csr", 6, ERROR, "must be one of none"),
    ("type = projected", "", 6, ERROR, "forces needs type"),
    ("= 0.1 }", "= 2.5 }", 6, ERROR, "above 0 and at most 2"),
    ("relative_long = 0.1", "", 6, ERROR, "needs relative_long"),
    ("sigma_long = relative relative_long = 0.1", "sigma_long = file", 6, ERROR, "not specified"),
    ("0.1 }", "0.1 wake_file = w.dat }", 6, ERROR, "w.dat does not exist"),
    ("ct_step_min = 0.01", "ct_step_min = 0.1", 7, ERROR, "ct_step_min must be below ct_step_max, which is 0.1 m"),
    ("ct_step_min = 0.01", "ct_step_first = 0.2", 7, ERROR, "between ct_step_min and ct_step_max, here 0.01 m and 0.1 m"),
    ("ct_step_min = 0.01", "iterative = 2.5", 7, ERROR, "must be an integer"),
    ("ct_step_min = 0.01", "time_grid_file = g.dat", 7, ERROR, "g.dat does not exist"),
    ("type = steps", "type = stepz", 8, ERROR, "must be one of phase"),
    ("start_time_c0 = now ", "", 8, ERROR, "needs start_time_c0 or start_time_marker"),
    ("tracker { end_time_marker = end }", "tracker { end_time_marker = ende }", 9, ERROR, "no field boundary has the marker ende"),
    ("tracker { end_time_marker = end }", "tracker { end_time_c0 = 0 }", 9, ERROR, "is not behind the bunch time"),
    ("tracker { end_time_marker = end }", "tracker { }", 9, ERROR, "end time is undefined"),
    ("monitor { name = end.dat }", "monitor { format = fmt1 }", 10, ERROR, "monitor needs name"),
    ("monitor { name = end.dat }", "monitor { name = out/end.dat }", 10, ERROR, "does not exist"),
    ("monitor { name = end.dat }", "moniter { name = end.dat }", 10, ERROR, "unknown command 'moniter'"),
    ("monitor { name = end.dat }", "monitor { name = end.dat", 10, ERROR, "the deck ends inside monitor"),
    ("lattice {", "lattice", 1, ERROR, "expected { behind lattice, found 'dipole'"),
    ("marker = out } }", "marker = out }", 2, ERROR, "dipole is not closed: dipole at tessar.in:3 begins inside it"),
    ("0.1 }", "0.1", 6, ERROR, "forces is not closed: track_step at tessar.in:7 begins inside it"),
    ("0.1 }", "0.1 } }", 6, ERROR, "a } too many"),
    ("monitor { name = end.dat }", "#include x", 10, ERROR, "unknown global command #include"),
    ("monitor { name = end.dat }", "monitor { name = #file { name = x } }", 10, ERROR, "#file is not carried out"),
    ("monitor { name = end.dat }", "io_path { logfile = none/log }", 10, ERROR, "cannot be written"),
    ("monitor { name = end.dat }", "io_path { logfile = ./tessar.in }", 10, ERROR, "is being read as the deck"),
    ("name = s.dat", "name = tessar.in", 8, ERROR, "is being read as the deck"),
    ("monitor { name = end.dat }", "io_path { output = none }", 10, WARNING, "does not exist; make it"),
    ("= relative relative_long = 0.1", "= 1e-2", 6, WARNING, "washes out a bunch of 9.99e-05 m rms"),
    ("name = bunch.dat", "name = random.dat", 6, WARNING, "only about 79.8 particles per sigma_long"),
    ("= relative relative_long = 0.1", "= 1e-7", 6, WARNING, "below a hundredth"),
    ("ct_step_max = 0.1", "ct_step_max = 1", 7, WARNING, "above the overtaking length of 0.391 m"),
    ("end_time_marker = end time_step", "end_time_c0 = -1 time_step", 8, WARNING, "can never write: it ends"),
    ("start_time_c0 = now", "start_time_c0 = 99", 8, WARNING, "can never write: it ends at c*t = 3.5 m, before"),
    ("end_time_marker = end time_step", "end_time_marker = nowhere time_step", 8, WARNING, "will not become active"),
    (" time_step_c0 = all", "", 8, WARNING, "will not become active"),
    ("type = steps", "particle = 2001", 8, WARNING, "particle 2001 of 2000"),
    ("type = steps", "type = green", 8, WARNING, "forces are projected here"),
    ("name = s.dat ", "", 8, WARNING, "without name is ignored"),
    ("duty = no", "duty = never", 3, WARNING, "counts as no"),
    ("marker = out", "marker = in", 2, WARNING, "a second time"),
    ("name = end.dat", "name = ./s.dat", 10, ERROR, "the file of tessar.in:8 already"),
    ("name = end.dat }", "name = end.dat }\nmonitor { name = ./end.dat }", 11, WARNING, "written a second time"),
    ("type = steps", "", 8, WARNING, "the whole bunch is written at every step"),
    ("name = end.dat", "name = latout.dat", 10, WARNING, "a file of its own"),
    ("name = end.dat", "name = ./bunch.dat", 10, WARNING, "has been read; its content is written over"),
    ("0.1 }", "0.1 sbox = 2 }", 6, WARNING, "sbox has no effect with type projected"),
    ("0.1 }", "0.1 shield = 0.5 }", 6, WARNING, "no image takes part"),
    ("0.1 }", "0.1 shield = 0.02 }", 6, WARNING, "write shield_reach = bunch"),
    ("name = bunch.dat", "name = wide.dat", 6, WARNING, "0.54 times (sigma^2 R)^(1/3)"),
    ("name = bunch.dat", "name = slow.dat", 6, WARNING, "about 27 % of that of the radiation"),
    ("delta_s = 0.5 m", "delta_s = 20 m", 2, WARNING, "turns by 229.2 degrees; delta_s is a length in metres, 20 degrees of this radius are 1.74533 m"),
    ("delta_s = 0.5 m", "delta_s = 12 } } dipole { position { delta_s = 1 } properties { r = 5 } position { delta_s = 12 } } dipole { position { delta_s = 1 } properties { r = 5 } position { delta_s = 12 m", 1, WARNING,
     "further than a full circle"),
    ("name = bunch.dat } }\nforces { type = projected", "name = chirped.dat } }\nforces { type = csr_g_to_m", 6, WARNING, "chirp of 2 % rms parts them"),
    ("forces { type = projected sigma_long = relative relative_long = 0.1 }\n", "", 8, WARNING, "no forces block"),
    ("format = fmt1 array", "reference_momentum = 2e9 array", 5, WARNING, "far from the 1e+09 eV/c of particle 1"),
    ("format = fmt1 array", "reference_point_y = 0.01 array", 5, WARNING, "10 mm beside the design orbit"),
    ("format = fmt1 array", "reference_point_phi = 1 array", 5, WARNING, "1 degrees to the design orbit"),
    ("monitor { name = end.dat }", "exit\nmonitor { name = end.dat }", 11, WARNING, "behind exit is never read"),
    ("monitor { name = end.dat }", "track_accuracy { any { thing } }", 10, WARNING, "changes nothing"),
    ("monitor { name = end.dat }", "monitor {\tname = end.dat }", 10, ERROR, "a tab does not separate words"),
    ("tracker { end_time_marker = end }", "tracker { end_time_marker = end end_time_c0 = 3 }", 9, WARNING, "no effect beside end_time_marker"),
]
