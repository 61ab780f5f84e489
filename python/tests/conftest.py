"""Shared helpers of the krtes Python tests."""

import numpy as np
import pytest


def box(lo, hi):
    """A closed box as (vertices, triangles), counter-clockwise seen from outside."""
    lo, hi = np.asarray(lo, float), np.asarray(hi, float)
    v = np.array([[hi[0] if i & 1 else lo[0], hi[1] if i & 2 else lo[1], hi[2] if i & 4 else lo[2]] for i in range(8)])
    # Faces as quads of corner numbers (bit 0 x, bit 1 y, bit 2 z), outward.
    quads = [(0, 2, 3, 1), (4, 5, 7, 6), (0, 1, 5, 4), (2, 6, 7, 3), (0, 4, 6, 2), (1, 3, 7, 5)]
    t = []
    for a, b, c, d in quads:
        t += [(a, b, c), (a, c, d)]
    return v, np.array(t)


def volume(vertices, triangles):
    """Enclosed volume by the divergence theorem (positive for outward faces)."""
    p = np.asarray(vertices)[np.asarray(triangles)]
    p = p - p.reshape(-1, 3).mean(axis=0)
    return np.einsum("ij,ij->i", p[:, 0], np.cross(p[:, 1], p[:, 2])).sum() / 6.0


def is_closed_oriented(triangles):
    """Every directed edge once, and its reverse once: a closed, oriented surface."""
    t = np.asarray(triangles)
    e = np.concatenate([t[:, [0, 1]], t[:, [1, 2]], t[:, [2, 0]]])
    fwd = {tuple(x) for x in e}
    return len(fwd) == len(e) and all((b, a) in fwd for a, b in fwd)


@pytest.fixture
def rng():
    return np.random.default_rng(20240611)
