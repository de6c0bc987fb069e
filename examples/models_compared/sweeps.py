"""What cost and accuracy depend on: the place in the arc, the boxes of the mesh, the number of particles."""
from __future__ import annotations

import re

import numpy as np
from setup import Case, Runner


def places(runner: Runner, particles: int) -> None:
    """The bunch ahead of, astride and behind the entrance, and astride the end of the arc."""
    print("\none field for all sources (csr_g_to_p) against each source's own (csr_p_to_p), by place")
    print("   place behind   largest force/(keV/m)   difference in % of the largest force in its own direction")
    print("   entrance / m    along  across        along: rms largest   across: rms largest")
    for arc in (-0.1, -0.0005, 0.0, 0.0005, 0.003, 0.03, 0.3, 1.0, 2.0, 3.0, 3.0005, 3.03):
        direct, green = (runner.run(Case(particles, kind, arc=arc)) for kind in ("csr_p_to_p", "csr_g_to_p"))
        along, across = np.abs(direct.along).max(), np.abs(direct.across).max()
        text = runner.columns(green, direct, along)[:17] + runner.columns(green, direct, across)[17:]
        print(f"{arc:15.4f} {along * 1e-3:8.1f} {across * 1e-3:7.1f}       {text}", flush=True)


def boxes(runner: Runner, quick: bool) -> None:
    """Smaller boxes: the interpolation gets better, and more nodes are computed."""
    particles = 1000 if quick else 10000
    print(f"\nboxes of csr_g_to_m, {particles} particles, differences from csr_g_to_p in % of the largest force along")
    print("   sbox, rbox   points   seconds   along            across")
    points = runner.run(Case(particles, "csr_g_to_p"))
    for box in (2, 1, 0.5, 0.25, 0.125):
        mesh = runner.run(Case(particles, "csr_g_to_m", box))
        columns = runner.columns(mesh, points, np.abs(points.along).max())
        print(f"{box:13.3f} {observers(mesh.console):8d} {mesh.seconds:9.3f}{columns}", flush=True)
    print(f"{'csr_g_to_p':>13s} {particles:8d} {points.seconds:9.3f}", flush=True)


def particles(runner: Runner, quick: bool) -> None:
    """More particles: time, and the distance from the direct sum where that one is affordable, else from csr_g_to_p."""
    print("\nparticles of csr_g_to_m, differences in % of the largest force along")
    print("   particles   points   seconds   along            across            from")
    for count in (1000, 2000) if quick else (1000, 2000, 10000, 30000, 100000, 300000):
        mesh = runner.run(Case(count, "csr_g_to_m"))
        text = f"{count:12d} {observers(mesh.console):8d} {mesh.seconds:9.3f}"
        kind = "csr_p_to_p" if count <= 2000 else "csr_g_to_p"
        if count <= 30000:
            reference = runner.run(Case(count, kind))
            text += runner.columns(mesh, reference, np.abs(reference.along).max()) + f"   {kind}, {reference.seconds:.3f} s"
        print(text, flush=True)


def observers(console: str) -> int:
    """Nodes and single particles at which the last evaluation asked for the field."""
    nodes, single = re.findall(r"e_points=\s*(\d+)\s+p_points=\s*(\d+)", console)[-1]
    return int(nodes) + int(single)
