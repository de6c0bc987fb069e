"""What limits the resolution of a run, and how each is made finer or coarser: steps, smoothing, boxes, particles."""
from __future__ import annotations

from dataclasses import dataclass, replace
from typing import Callable

from ..beam.bunch import Bunch
from ..run.run import Run
from ..run.settings import Forces, Steps, Tracker

MOST_RELATIVE, MOST_PARTICLES = 2.0, 300000
FEWEST = 15  #: particles to a smoothing length; with half of them, eight of fifteen stated errors were too small, with these none


@dataclass(frozen=True)
class Knob:
    """One source of error."""

    name: str  #: steps, smoothing, boxes or particles
    order: float  #: of the method in the resolution
    scales: tuple[float, ...]  #: of the step length, smoothing length ..., from coarse to fine; 1 is the run as it is
    turned: Callable[[Run, float], Run]  #: the run with the lengths of this source scaled
    cost: float  #: the time of a run goes with 1 / scale to this power
    told: Callable[[Run, float], str]  #: the keys and values of a scale, in words
    noisy: bool = False  #: differences are chance

    @property
    def ratio(self) -> float:
        """Of two successive resolutions."""
        return self.scales[0] / self.scales[1]

    @property
    def base(self) -> int:
        """Which of the scales is the run as it is."""
        return self.scales.index(1.0)


def knobs_of(run: Run) -> tuple[list[Knob], list[str]]:
    """All that the run's models have, and in words what cannot be varied."""
    forces = [force for force in run.of_kind(Forces) if force.type != "none"]
    knobs, left_out = [], []
    if any(steps.time_grid_file is not None for steps in run.of_kind(Steps)):
        left_out.append("steps: they come from a file; refine the file by hand")
    else:
        knobs.append(_steps(run))
    if not forces:
        return [*knobs, _particles(run)], left_out
    if any(force.sigma_long == "file" for force in forces):
        left_out.append("smoothing: sigma_long comes from a file; refine the file by hand")
    else:
        knobs.append(_smoothing(forces))
    boxed = [force for force in forces if force.type in ("csr_p_to_m", "csr_g_to_m")]
    if boxed and all(force.is_ellipsoid for force in boxed):
        knobs.append(Knob("boxes", 2.0, (2.0, 1.0, 0.5), _with_boxes, 2.0,
                          lambda run, scale: f"sbox = {_first(run).sbox * scale:.3g}, rbox = {_first(run).rbox * scale:.3g}"))
    elif boxed:
        left_out.append("boxes: those of a sphere are fixed at half a sub-bunch; an ellipsoid's can be chosen")
    if (dense := per_smoothing_length(run)) < FEWEST:
        left_out.append(f"the noise within a smoothing length: it holds about {dense:.0f} particles where the bunch is densest, and the "
                        f"errors stated are only to be trusted from {FEWEST} on")
    return [*knobs, _particles(run)], left_out


def per_smoothing_length(run: Run) -> float:
    """Particles to a smoothing length at the peak of a Gaussian bunch, as it is at the start."""
    force, bunch = _first(run), run.bunch
    length = bunch.moments().length
    sigma = force.relative_long * length if force.sigma_long == "relative" else force.sigma_long
    return float("inf") if sigma == "file" or length == 0 else len(bunch) * sigma / (2.507 * length)


def _first(run: Run) -> Forces:
    return next(force for force in run.of_kind(Forces) if force.type != "none")


def _steps(run: Run) -> Knob:
    widest = max((steps.arc_factor for steps in run.of_kind(Steps)), default=Steps().arc_factor)
    scales = (2.0, 1.0, 0.5) if widest <= 0.5 else (1.0, 0.5, 0.25)

    return Knob("steps", 2.0, scales, with_steps, 1.0,
                lambda run, scale: f"ct_step_max = {run.steps.ct_step_max * scale:.3g}, "
                                   f"arc_factor = {run.steps.arc_factor * scale:.3g}")


def with_steps(run: Run, scale: float) -> Run:
    """All step lengths scaled; one set of them is added ahead of tracking if the run has none."""
    if not run.of_kind(Steps):
        k = next((k for k, command in enumerate(run.commands) if isinstance(command, Tracker)), len(run.commands))
        run = Run.from_commands([*run.commands[:k], Steps(), *run.commands[k:]])

    def scaled(steps: Steps) -> Steps:
        return replace(steps, ct_step_max=steps.ct_step_max * scale, ct_step_min=steps.shortest * scale,
                       ct_step_first=steps.first * scale, arc_factor=min(steps.arc_factor * scale, 1.0))

    return run.changed(lambda command: scaled(command) if isinstance(command, Steps) else command)


def _smoothing(forces: list[Forces]) -> Knob:
    widest = max((force.relative_long or 0.0 for force in forces if force.sigma_long == "relative"), default=0.0)
    root = 2**0.5
    scales = (2.0, root, 1.0) if 2 * widest <= MOST_RELATIVE else (1.0, 1 / root, 0.5)

    def told(run: Run, scale: float) -> str:
        force = _first(run)
        if force.sigma_long == "relative":
            return f"relative_long = {force.relative_long * scale:.3g}"
        return f"sigma_long = {force.sigma_long * scale:.3g} m"

    return Knob("smoothing", 2.0, scales, with_smoothing, 1.0, told)


def with_smoothing(run: Run, scale: float) -> Run:
    """The sub-bunch's length scaled, and with it the sizes across that the deck gives as lengths."""
    def scaled(force: Forces) -> Forces:
        if force.type == "none" or force.sigma_long == "file":
            return force
        key = "relative_long" if force.sigma_long == "relative" else "sigma_long"
        long = {key: getattr(force, key) * scale}
        across = {"sigma_rad": force.sigma_rad * scale} if isinstance(force.sigma_rad, float) else {}
        return replace(force, **long, **across)

    return run.changed(lambda command: scaled(command) if isinstance(command, Forces) else command)


def _with_boxes(run: Run, scale: float) -> Run:
    return run.changed(lambda command: replace(command, sbox=command.sbox * scale, rbox=command.rbox * scale)
                       if isinstance(command, Forces) and command.type != "none" else command)


def _particles(run: Run) -> Knob:
    bunch = run.bunch
    quiet = bunch.request is not None and bunch.request.quiet
    pairs = any(force.type == "csr_p_to_p" for force in run.of_kind(Forces))
    return Knob("particles", 1.0 if quiet else 0.5, (4.0, 2.0, 1.0), with_particles, 2.0 if pairs else 1.0,
                lambda run, scale: f"{count_of(run.bunch, scale)} particles" + ("" if quiet else ", random"), noisy=True)


def count_of(bunch: Bunch, scale: float) -> int:
    """How many particles a bunch has when each of them stands for `scale` times the charge."""
    return max(2, min(round(len(bunch) / scale), MOST_PARTICLES))


def with_particles(run: Run, scale: float) -> Run:
    """Fewer or more particles of the same bunch: made again where the bunch knows how it was made, else a random choice of its
    particles, which shows the noise of random ones.

    :raises ValueError: more particles are asked for of a bunch that does not know how it was made.
    """
    bunch = run.bunch
    return run.with_bunch(bunch.with_particles(count_of(bunch, scale))) if scale != 1 else run
