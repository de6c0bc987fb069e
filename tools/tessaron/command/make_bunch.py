"""Make a bunch from its parameters.

Makes a bunch that moves along +x and writes it.
"""
from __future__ import annotations

from argparse import ArgumentParser, Namespace

from .common import OUT_FORMATS, note_given, refuse_together, refuse_without


def options(parser: ArgumentParser) -> None:
    note_given(parser)
    add = parser.add_argument
    add("output", help="file to write; .h5 gives openPMD, .csv CSV, .sdds SDDS, .astra Astra, .umbra umbra, .fmt2 fmt2; .dat, .txt or none fmt1")
    add("--format", choices=OUT_FORMATS, help="format of the output, whatever its name")
    add("-n", "--particles", type=int, default=20000, help="macro-particles, the reference particle included; at most 300000")
    add("--energy", type=float, default=1e9, metavar="EV", help="total energy of the reference particle [eV]")
    add("--momentum", type=float, metavar="EV/C", help="its momentum [eV/c], in place of --energy")
    add("--charge", type=float, default=1e-9, metavar="C", help="charge of the bunch [C]")
    add("--length", type=float, default=1e-4, metavar="M", help="rms length [m]")
    add("--profile", choices=["gaussian", "flat-top", "parabolic", "double-horn"], default="gaussian", help="current profile")
    add("--cut", type=float, default=5.0, help="of the Gaussian [rms lengths]")
    add("--horn", type=float, nargs=2, default=[3.0, 0.08], metavar=("HEIGHT", "WIDTH"),
        help="horns of the double horn: height over the plateau [1], rms width over half the bunch [1]")
    add("--chirp", type=float, nargs="+", default=[0.0], metavar="C",
        help="relative energy against the distance behind the reference: C1 [1/m] and if wanted C2 [1/m^2], C3 [1/m^3]; "
        "C1 above 0 gives the tail more energy")
    add("--correlated-spread", type=float, metavar="EV", help="rms energy spread [eV] of the linear chirp, in place of C1")
    add("--energy-spread", type=float, default=0.0, metavar="EV", help="uncorrelated rms energy spread [eV]")
    add("--emittance", type=float, nargs=2, default=[1e-6, 1e-6], metavar="M", help="normalised emittances, plane and vertical [m]")
    add("--beta", type=float, nargs=2, default=[10.0, 10.0], metavar="M", help="beta functions, plane and vertical [m]")
    add("--alpha", type=float, nargs=2, default=[0.0, 0.0], metavar="A", help="alpha, plane and vertical [1]")
    add("--twiss-ahead", type=float, default=0.0, metavar="M", help="distance ahead at which beta and alpha hold, behind a drift [m]")
    add("--size", type=float, nargs=2, metavar="M", help="rms sizes [m], with --divergence in place of Twiss parameters")
    add("--divergence", type=float, nargs=2, default=[0.0, 0.0], metavar="RAD", help="rms angles with --size [rad]")
    add("--x", type=float, default=0.0, metavar="M", help="start of the reference particle along x [m]")
    add("--ct", type=float, default=0.0, metavar="M", help="bunch time c*t [m]")
    add("--loading", choices=["quiet", "random"], default="quiet", help="Hammersley places or random ones")
    add("--seed", type=int, default=1, help="of the random numbers; shifts a quiet start")


def run(options: Namespace) -> None:
    from ..files.convert import save
    from ..constants import REST_ENERGY
    from ..beam.generate import BunchRequest, Plane, chirp_of_spread, make_bunch as make

    refuse_together(options, "momentum", "energy")
    refuse_together(options, "size", "emittance", "beta", "alpha", "twiss-ahead")
    refuse_without(options, "divergence", options.size is not None, "without --size")
    refuse_without(options, "horn", options.profile == "double-horn", "without --profile double-horn")
    refuse_without(options, "cut", options.profile == "gaussian", "with another profile than gaussian")
    if options.correlated_spread is not None and options.chirp[0] != 0:
        raise ValueError("--correlated-spread takes the place of the first coefficient of --chirp; let that be 0")
    energy = (options.momentum**2 + REST_ENERGY**2) ** 0.5 if options.momentum else options.energy
    if len(options.chirp) > 3:
        raise ValueError("--chirp takes at most three coefficients")
    chirp = (options.chirp + [0.0, 0.0])[:3]
    if options.correlated_spread is not None:
        chirp[0] = chirp_of_spread(options.correlated_spread, energy, options.length)
    planes = [Plane(options.emittance[k], options.beta[k], options.alpha[k],
                    (options.size[k], options.divergence[k]) if options.size else None, options.twiss_ahead) for k in (0, 1)]
    bunch = make(BunchRequest(options.particles, energy, options.charge, options.length, options.profile, options.cut,
                              tuple(options.horn), tuple(chirp), options.energy_spread, planes[0], planes[1], options.x,
                              options.ct, options.loading == "quiet", options.seed))
    print(save(options.output, bunch, options.format))
