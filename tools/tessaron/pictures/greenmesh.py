"""The lines of the Green's function models' meshes, which are dense around the sub-bunch and along wavefronts.

A wavefront that left the path a time -ct ago, where the path's curvature changed, is by now a circle of radius -ct about
that point. Where it crosses the meshed region, the lines of the mesh stand a fifth of the sub-bunch length apart.
"""
from __future__ import annotations

import numpy as np

from ..files.outputs import GreenFile


def crossings(polygon: np.ndarray, x: float, y: float, r: float) -> np.ndarray:
    """(2, N) points where the circle of radius r about (x, y) crosses the edges of a polygon given as (2, M) corners."""
    start = polygon
    edge = np.roll(polygon, -1, axis=1) - start
    dx, dy = start[0] - x, start[1] - y
    # |start + t edge - centre|^2 = r^2; the constant term as a product, since r is large beside the polygon
    a = (edge**2).sum(axis=0)
    b = dx * edge[0] + dy * edge[1]
    distance = np.hypot(dx, dy)
    c = (distance - r) * (distance + r)
    root2 = b**2 - a * c
    points = []
    for sign in (-1, 1):
        with np.errstate(invalid="ignore", divide="ignore"):
            t = (-b + sign * np.sqrt(root2)) / a
        good = (root2 >= 0) & (t >= 0) & (t <= 1) & (a > 0)
        points.append(start[:, good] + t[good] * edge[:, good])
    return np.hstack(points)


def inside(polygon: np.ndarray, x: float, y: float) -> bool:
    """Whether a point lies strictly inside a convex polygon whose corners go counter-clockwise."""
    edge = np.roll(polygon, -1, axis=1) - polygon
    left = edge[0] * (y - polygon[1]) - edge[1] * (x - polygon[0])
    return bool(np.all(left[(edge**2).sum(axis=0) > 0] > 0))


def extent(polygon: np.ndarray, a: np.ndarray) -> tuple[np.ndarray, np.ndarray]:
    """Lowest and highest b of a convex polygon at places a."""
    low, high = np.full(a.shape, np.inf), np.full(a.shape, -np.inf)
    for (a0, b0), (a1, b1) in zip(polygon.T, np.roll(polygon, -1, axis=1).T):
        inner = (np.minimum(a0, a1) <= a) & (a <= np.maximum(a0, a1))
        for b in (b0, b1) if a0 == a1 else (b0 + (b1 - b0) * (a - a0) / (a1 - a0),):
            low, high = np.where(inner, np.minimum(low, b), low), np.where(inner, np.maximum(high, b), high)
    return low, high


def wavefront_zones(mesh: GreenFile, sigma_long: float) -> list[tuple[float, float]]:
    """Ranges of a [m] in which the lines are fine; the first belongs to the sub-bunch itself.

    :param sigma_long: rms length of the sub-bunch [m].
    """
    low, high = mesh.polygon[0].min(), mesh.polygon[0].max()
    wide = 5 * sigma_long
    zones = [(-wide, wide)]
    for ct, x, y, _ in mesh.arcs.T:
        if ct >= 0:
            break
        places = list(crossings(mesh.polygon, x, y, -ct)[0])
        places += [x + side * -ct for side in (-1, 1) if inside(mesh.polygon, x + side * -ct, y)]
        if places:
            zones.append((min(places) - wide, max(places) + wide))
    clipped = [tuple(np.clip(zone, low, high)) for zone in zones]
    return [(float(start), float(end)) for start, end in clipped if end > start]


def mesh_lines(mesh: GreenFile, sigma_long: float, shielded: bool = False) -> np.ndarray:
    """Places a [m] of the mesh lines: even and fine inside the zones; between them steps that grow by half up to a cap.

    :param shielded: with conducting planes the cap is half a sub-bunch length instead of five.
    """
    low, high = mesh.polygon[0].min(), mesh.polygon[0].max()
    fine, cap = 0.2 * sigma_long, (0.5 if shielded else 5) * sigma_long
    zones = _merged(wavefront_zones(mesh, sigma_long))
    if not zones:
        return _even(low, high, cap)
    if zones[0][0] - low <= fine:
        zones[0][0] = low
    if high - zones[-1][1] <= fine:
        zones[-1][1] = high
    ends = [low] + [end for zone in zones for end in zone] + [high]
    parts = []
    for k, (start, end) in enumerate(zip(ends[:-1], ends[1:])):
        if end <= start:
            continue
        if k % 2:
            parts.append(_even(start, end, fine))
        elif k == 0:
            parts.append(start + end - _graded(start, end, 1.5 * fine, cap)[::-1])  # fine at its right end
        elif k == len(ends) - 2:
            parts.append(_graded(start, end, 1.5 * fine, cap))
        else:
            left = _graded(start, (start + end) / 2, 1.5 * fine, cap)
            parts.append(np.concatenate([left, (start + end - left)[-2::-1]]))
        parts[-1][[0, -1]] = start, end
    return np.unique(np.concatenate(parts))


def _merged(zones: list[tuple[float, float]]) -> list[list[float]]:
    """Zones in their order, those that overlap as one."""
    merged: list[list[float]] = []
    for start, end in sorted(zones):
        if merged and start <= merged[-1][1]:
            merged[-1][1] = max(merged[-1][1], end)
        else:
            merged.append([start, end])
    return merged


def _even(start: float, end: float, step: float) -> np.ndarray:
    return np.linspace(start, end, int((end - start) / step + 1) + 1)


def _graded(start: float, end: float, first: float, cap: float, ratio: float = 1.5) -> np.ndarray:
    """Lines from start to end, both included, whose steps begin with about `first`, grow by `ratio` and stay at about `cap`."""
    length = end - start
    steps = first * ratio ** np.arange(int(np.log(cap / first) / np.log(ratio)) + 1)
    if length < steps.sum():
        count = int(np.log(length / first * (ratio - 1) + 1) / np.log(ratio))
        steps = first * ratio ** np.arange(count + 1)
    else:
        steps = np.concatenate([steps, np.full(int((length - steps.sum()) / cap + 1), cap)])
    return start + np.cumsum(np.concatenate([[0.0], steps])) * length / steps.sum()
