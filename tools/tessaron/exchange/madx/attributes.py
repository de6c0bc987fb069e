"""Attributes of MAD-X's elements that mean nothing here: apertures, tolerances, labels, how they are tracked."""
PASSED_OVER = frozenset("""aper_offset aper_tol aper_vx aper_vy xsize ysize kmax kmin calib polarity mech_sep slot_id assembly_id v_pos bv bv_flag
comments magnet model method exact nst thick lrad fringe bend_fringe kill_ent_fringe kill_exi_fringe no_cavity_totalpath
f1 f2 ktap add_angle bborbit bbshape bbwidth bbdir station dx dy ds dtheta dphi dpsi refpos clear range lag freq harmon
betrf pg shunt tfill eloss volterr lagerr n_bessel lagf lagtap psi delta_lag rv1 rv2 rv3 rv4 rph1 rph2 ramp1 ramp2 ramp3
ramp4 sinkick sinpeak sintune sinphase chkick cvkick kicktap xma yma sigx sigy npart ksi hgap fint fintx h1 h2
scattering_element material ape_on side thread""".split())
