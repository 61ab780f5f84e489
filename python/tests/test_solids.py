"""Solid booleans and mesh contact."""

import os

import numpy as np
import pytest
from conftest import box, is_closed_oriented, volume

import krtes

A = box([0, 0, 0], [2, 2, 2])
B = box([1, 0.7, 1.2], [3.3, 2.5, 3.1])
VA, VB = 8.0, 2.3 * 1.8 * 1.9
VAB = 1.0 * 1.3 * 0.8  # the overlap [1, 2] x [0.7, 2] x [1.2, 2]


def test_boolean_of_two_boxes(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    expected = {"union": VA + VB - VAB, "intersection": VAB, "a-minus-b": VA - VAB, "b-minus-a": VB - VAB}
    results = {}
    for op, vol in expected.items():
        v, t = krtes.boolean(A, B, op)
        assert v.dtype == np.float64 and v.shape[1] == 3 and t.dtype == np.int32 and t.shape[1] == 3
        assert is_closed_oriented(t)
        assert volume(v, t) == pytest.approx(vol, rel=1e-12)
        results[op] = (v, t)
    # Nothing left behind, the working directory restored.
    assert os.getcwd() == str(tmp_path) and os.listdir(tmp_path) == []
    # The same input gives the same arrays; inward-facing input is turned
    # outward; Fortran-order and int64 arrays are the same input.
    v, t = krtes.boolean((B[0], B[1][:, ::-1]), (np.asfortranarray(A[0]), A[1].astype(np.int64)), "b-minus-a")
    assert volume(v, t) == pytest.approx(VA - VAB, rel=1e-12)
    again = krtes.boolean(A, B, "union")
    assert np.array_equal(again[0], results["union"][0]) and np.array_equal(again[1], results["union"][1])
    # Disjoint solids: an empty intersection.
    v, t = krtes.boolean(A, box([5, 5, 5], [6, 6, 6]), "intersection")
    assert v.shape == (0, 3) and t.shape == (0, 3)


def test_boolean_bad_input():
    v, t = A
    with pytest.raises(krtes.SolidError, match="not closed"):
        krtes.boolean((v, t[:-1]), B, "union")
    flipped = t.copy()
    flipped[0] = flipped[0, ::-1]
    with pytest.raises(krtes.SolidError, match="solid b is not consistently oriented"):
        krtes.boolean(A, (v, flipped), "union")
    assert issubclass(krtes.SolidError, ValueError) and issubclass(krtes.BooleanError, krtes.KrtesError)
    with pytest.raises(ValueError, match="op must be"):
        krtes.boolean(A, B, "xor")
    with pytest.raises(ValueError, match="names point 8"):
        krtes.boolean((v, np.vstack([t, [[0, 1, 8]]])), B, "union")
    with pytest.raises(TypeError):
        krtes.boolean(v, B, "union")
    with pytest.raises(TypeError):
        krtes.boolean((v, t.astype(float)), B, "union")
    with pytest.raises(ValueError):
        krtes.boolean((v[:, :2], t), B, "union")


def test_collide_touching_apart_and_inside():
    unit = box([0, 0, 0], [1, 1, 1])
    # Sharing a face, an edge, a corner: contact at distance 0.
    for shift in ([1, 0.3, 0.2], [1, 1, 0.5], [1, 1, 1]):
        r = krtes.collide(unit, box(np.add([0, 0, 0], shift), np.add([1, 1, 1], shift)))
        assert r["contact"] and r["distance"] == 0.0
    # Apart along x, then across a corner: the analytic gap and closest points.
    r = krtes.collide(unit, box([1.5, 0.2, 0.1], [2.5, 1.2, 1.1]))
    assert not r["contact"] and r["distance"] == pytest.approx(0.5, abs=1e-12)
    assert r["point_a"][0] == pytest.approx(1.0) and r["point_b"][0] == pytest.approx(1.5)
    assert np.linalg.norm(r["point_a"] - r["point_b"]) == pytest.approx(r["distance"], abs=1e-12)
    r = krtes.collide(unit, box([2, 3, 1.5], [3, 4, 2.5]))
    assert r["distance"] == pytest.approx(np.sqrt(1 + 4 + 0.25), abs=1e-12)
    np.testing.assert_allclose(r["point_a"], [1, 1, 1], atol=1e-12)
    np.testing.assert_allclose(r["point_b"], [2, 3, 1.5], atol=1e-12)
    # Inside without touching: no contact, the gap to the nearest face.
    r = krtes.collide(box([-1, -1, -1], [3, 3, 3]), unit)
    assert not r["contact"] and r["distance"] == pytest.approx(1.0, abs=1e-12)
    # A mesh without triangles meets nothing.
    r = krtes.collide(unit, (np.zeros((0, 3)), np.zeros((0, 3), int)))
    assert not r["contact"] and r["distance"] == np.inf and r["point_a"] is None
    with pytest.raises(ValueError):
        krtes.collide(unit, (unit[0], unit[1] + 8))
