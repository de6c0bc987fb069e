"""Where the meshes of the Green's function models are fine: around the sub-bunch and along wavefronts.

A wavefront that left the path a time -ct ago, where the path's curvature changed, is by now a circle of radius -ct about
that point. Where it crosses the meshed region, the lines of the mesh stand a fifth of the sub-bunch length apart.
"""
from __future__ import annotations

import numpy as np

from .outputs import GreenFile


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
