"""Tin: arrays in and out, elevations, breaklines, outline, drape, threads."""

import threading
import time

import numpy as np
import pytest

import krtes


def plane(x, y):
    return 3.0 + 0.5 * x - 0.25 * y


def hull_size(xy):
    """Number of convex hull corners (monotone chain, collinear points left out)."""
    pts = sorted(map(tuple, xy))

    def half(seq):
        h = []
        for p in seq:
            while len(h) >= 2 and (h[-1][0] - h[-2][0]) * (p[1] - h[-2][1]) - (h[-1][1] - h[-2][1]) * (p[0] - h[-2][0]) <= 0:
                h.pop()
            h.append(p)
        return h

    return len(half(pts)) + len(half(pts[::-1])) - 2


def edges(triangles):
    t = np.asarray(triangles)
    e = np.sort(np.concatenate([t[:, [0, 1]], t[:, [1, 2]], t[:, [2, 0]]]), axis=1)
    return {tuple(x) for x in e}


def test_arrays_round_trip_and_delaunay(rng):
    xyz = rng.uniform(0, 100, (300, 3))
    tin = krtes.Tin.from_points(xyz)
    v, t = tin.vertices, tin.triangles
    assert v.dtype == np.float64 and v.shape == (300, 3) and v.flags.c_contiguous
    assert t.dtype == np.int32 and t.shape[1] == 3
    # The vertices are the input points (reordered), the triangles cover the
    # hull: 2n - 2 - h of them, counter-clockwise, each with an empty circumcircle.
    assert np.array_equal(np.unique(v, axis=0), np.unique(xyz, axis=0))
    assert len(t) == 2 * 300 - 2 - hull_size(xyz[:, :2])
    a, b, c = (v[t[:, k], :2] for k in range(3))
    cross = (b[:, 0] - a[:, 0]) * (c[:, 1] - a[:, 1]) - (b[:, 1] - a[:, 1]) * (c[:, 0] - a[:, 0])
    assert (cross > 0).all()
    for tri in t:
        p = v[tri, :2]
        d = v[:, :2][:, None, :] - p[None, :, :]  # in-circle determinant against every vertex
        m = np.stack([d[..., 0], d[..., 1], (d**2).sum(-1)], axis=-1)
        det = np.linalg.det(m)
        det[tri] = 0.0
        assert (det <= 1e-6 * np.abs(m).max() ** 3).all()

    # The arrays are copies, and other dtypes and orders give the same surface.
    v[:] = 0.0
    assert tin.vertices.any()
    for other in (np.asfortranarray(xyz), np.hstack([xyz, 0 * xyz])[:, :3], xyz.tolist(), xyz[rng.permutation(len(xyz))]):
        again = krtes.Tin.from_points(other)
        assert np.array_equal(again.vertices, tin.vertices)
        assert np.array_equal(again.triangles, tin.triangles)
    x32 = xyz.astype(np.float32)
    assert np.array_equal(krtes.Tin.from_points(x32).vertices, krtes.Tin.from_points(x32.astype(np.float64)).vertices)
    cells = rng.choice(10000, 300, replace=False)  # integer points, distinct in plan
    ints = np.column_stack([cells // 100, cells % 100, rng.integers(0, 50, 300)])
    assert np.array_equal(krtes.Tin.from_points(ints).vertices, np.unique(ints.astype(np.float64), axis=0))


def test_bad_arrays_are_reported(rng):
    xyz = rng.uniform(0, 10, (20, 3))
    for bad in (xyz.astype(str), xyz.astype(complex), np.array([object()] * 3), "points", [[1, 2, 3], [4, 5]]):
        with pytest.raises(TypeError):
            krtes.Tin.from_points(bad)
    for bad in (xyz[:, :2], np.zeros((5, 4)), xyz.ravel(), xyz[None], np.zeros((0, 3))):
        with pytest.raises(ValueError):
            krtes.Tin.from_points(bad)
    nan = xyz.copy()
    nan[7, 2] = np.nan
    with pytest.raises(ValueError, match="row 7"):
        krtes.Tin.from_points(nan)
    with pytest.raises(ValueError, match="distinct"):
        krtes.Tin.from_points([[0, 0, 0], [0.001, 0, 5], [1, 1, 1]])
    with pytest.raises(krtes.KrtesError):
        krtes.Tin.from_points([[0, 0, 0], [1, 1, 0], [2, 2, 0], [3, 3, 1]])
    with pytest.raises(TypeError):
        krtes.Tin.from_points(xyz, breaklines=xyz)  # one line instead of a list of lines
    with pytest.raises(ValueError, match=r"breaklines\[1\]"):
        krtes.Tin.from_points(xyz, breaklines=[xyz[:2], xyz[:1]])
    with pytest.raises(TypeError):
        krtes.Tin.from_points(xyz, progress=5)

    def stop(done, total):
        raise KeyError("stop")

    with pytest.raises(KeyError):
        krtes.Tin.from_points(rng.uniform(0, 10, (5000, 3)), progress=stop)
    tin = krtes.Tin.from_points(xyz)
    for bad in (np.zeros(3), np.zeros((4, 1)), np.zeros((2, 2, 2))):
        with pytest.raises(ValueError):
            tin.elevation(bad)
    with pytest.raises(TypeError):
        tin.elevation(np.array([["a", "b"]]))
    with pytest.raises(TypeError):
        krtes.Tin.from_arrays(xyz, np.zeros((2, 3)))  # float indices
    with pytest.raises(ValueError, match="row 1 names point 20"):
        krtes.Tin.from_arrays(xyz, [[0, 1, 2], [1, 2, 20]])


def test_elevation_on_a_plane_and_off_it(rng):
    xy = rng.uniform(0, 50, (400, 2))
    corners = np.array([[0, 0], [50, 0], [50, 50], [0, 50]], float)
    xy = np.vstack([corners, xy])
    tin = krtes.Tin.from_points(np.column_stack([xy, plane(xy[:, 0], xy[:, 1])]))
    q = rng.uniform(0, 50, (10000, 2))
    z = tin.elevation(q)
    assert z.shape == (10000,) and z.dtype == np.float64
    np.testing.assert_allclose(z, plane(q[:, 0], q[:, 1]), rtol=0, atol=1e-9)
    # The (m, 3) and Fortran-order forms, one point, and points off the surface.
    np.testing.assert_array_equal(tin.elevation(np.asfortranarray(np.column_stack([q, q[:, 0]]))), z)
    assert tin.elevation((10.0, 20.0)) == pytest.approx(plane(10.0, 20.0), abs=1e-9)
    off = np.array([[-0.5, 10], [60, 10], [25, 50.001], [np.nan, 1.0], [1e300, 0]])
    assert np.isnan(tin.elevation(off)).all()
    assert tin.elevation(np.zeros((0, 2))).shape == (0,)
    # A hole is off the surface too.
    hole = np.array([[20, 20], [30, 20], [30, 30], [20, 30]], float)
    hole = np.column_stack([hole, plane(hole[:, 0], hole[:, 1])])
    holed = krtes.Tin.from_points(np.column_stack([xy, plane(xy[:, 0], xy[:, 1])]), holes=[hole])
    zh = holed.elevation(np.array([[25, 25], [10, 10], [25, 35]]))
    assert np.isnan(zh[0]) and zh[1:] == pytest.approx(plane(np.array([10, 25]), np.array([10, 35])), abs=1e-9)


def test_breaklines_become_edges(rng):
    xyz = np.column_stack([rng.uniform(0, 100, (2000, 2)), np.zeros(2000)])
    # A ridge line zig-zagging across the points, its own heights.
    ridge = np.array([[5, 5, 10], [95, 40, 20], [10, 60, 15], [90, 95, 30]], float)
    tin = krtes.Tin.from_points(xyz, breaklines=[ridge])
    plain = krtes.Tin.from_points(xyz)
    v, e = tin.vertices, edges(tin.triangles)
    missing_without = 0
    for a, b in zip(ridge[:-1], ridge[1:]):
        d = b[:2] - a[:2]
        s = ((v[:, :2] - a[:2]) @ d) / (d @ d)
        off = np.abs((v[:, 0] - a[0]) * d[1] - (v[:, 1] - a[1]) * d[0]) / np.hypot(*d)
        on = np.where((off < 1e-7) & (s > -1e-9) & (s < 1 + 1e-9))[0]
        on = on[np.argsort(s[on])]
        assert len(on) >= 2 and np.allclose(v[on[[0, -1]], :2], [a[:2], b[:2]])
        for i, j in zip(on[:-1], on[1:]):
            assert (min(i, j), max(i, j)) in e
        # Along the breakline the surface follows the line's own heights.
        t = np.linspace(0, 1, 50)
        line = a + t[:, None] * (b - a)
        np.testing.assert_allclose(tin.elevation(line[:, :2]), line[:, 2], atol=1e-9)
        pa = np.where((np.abs(plain.vertices[:, :2] - a[:2]).sum(1) < 1e-9))[0]
        missing_without += len(pa) == 0
    # Without the breakline its corners are not even vertices.
    assert missing_without == 3


def test_outline_and_drape(rng):
    xy = np.vstack([[[0, 0], [40, 0], [40, 30], [0, 30]], rng.uniform(0, [40, 30], (300, 2))])
    hole = np.array([[10, 10], [20, 10], [20, 20], [10, 20]], float)
    hole = np.column_stack([hole, plane(hole[:, 0], hole[:, 1])])
    tin = krtes.Tin.from_points(np.column_stack([xy, plane(xy[:, 0], xy[:, 1])]), holes=[hole])

    def area(loop):
        x, y = loop[:, 0], loop[:, 1]
        return 0.5 * (x * np.roll(y, -1) - np.roll(x, -1) * y).sum()

    loops = sorted(tin.outline(), key=area)
    assert [round(area(l), 9) for l in loops] == [-100.0, 1200.0]
    np.testing.assert_allclose(loops[1][:, 2], plane(loops[1][:, 0], loops[1][:, 1]), atol=1e-9)

    # A line from outside across the hole: two pieces, clipped at the outline
    # and at the hole, in order along the line, on the plane.
    line = np.array([[-5, 15], [45, 15]], float)
    pieces = tin.drape(line)
    assert len(pieces) == 2
    np.testing.assert_allclose([pieces[0][0, 0], pieces[0][-1, 0], pieces[1][0, 0], pieces[1][-1, 0]], [0, 10, 20, 40],
                               atol=1e-9)
    for p in pieces:
        assert (np.diff(p[:, 0]) > 0).all() and np.allclose(p[:, 1], 15)
        np.testing.assert_allclose(p[:, 2], plane(p[:, 0], p[:, 1]), atol=1e-9)
    # A closed ring around the hole stays on the surface: one piece, back at its start.
    ring = tin.drape(np.array([[5, 5], [35, 5], [35, 25], [5, 25]], float), closed=True)
    assert len(ring) == 1 and np.array_equal(ring[0][0], ring[0][-1]) and np.allclose(ring[0][0, :2], [5, 5])
    np.testing.assert_allclose(ring[0][:, 2], plane(ring[0][:, 0], ring[0][:, 1]), atol=1e-9)
    both = tin.drape([line, line[::-1]])
    assert len(both) == 2 and np.allclose(both[1][0][0], both[0][1][-1])


def test_gil_is_released_during_a_long_build(rng):
    xyz = rng.uniform(0, 1000, (200_000, 3))
    stamps, stop = [], threading.Event()

    def tick():
        while not stop.is_set():
            stamps.append(time.perf_counter())
            time.sleep(0.001)

    t = threading.Thread(target=tick)
    t.start()
    while not stamps:
        time.sleep(0.001)
    t0 = time.perf_counter()
    calls = []  # the progress callback runs inside the build, the GIL taken back for it
    tin = krtes.Tin.from_points(xyz, progress=lambda done, total: calls.append((done, total)))
    v = tin.vertices
    z = tin.elevation(v[:, :2])
    t1 = time.perf_counter()
    stop.set()
    t.join()
    np.testing.assert_allclose(z, v[:, 2], rtol=0, atol=1e-9)
    done = [d for d, _ in calls]
    assert calls and done == sorted(done) and calls[-1][0] == calls[-1][1] >= len(v)
    # With the GIL held, the ticking thread would stop for the whole call.
    inside = np.array([s for s in stamps if t0 <= s <= t1])
    gaps = np.diff(np.concatenate([[t0], inside, [t1]]))
    assert len(inside) >= 10 and gaps.max() < 0.5 * (t1 - t0)


def test_landxml_round_trip_and_reader_errors(tmp_path, rng):
    xyz = rng.uniform(0, 100, (200, 3))
    tin = krtes.Tin.from_points(xyz)
    if krtes.HAVE_LANDXML:
        path = tmp_path / "ground.xml"
        tin.to_landxml(path, name="ground")
        back = krtes.read_surface(path)
        assert np.array_equal(back.vertices, tin.vertices) and np.array_equal(back.triangles, tin.triangles)
    with pytest.raises(FileNotFoundError):
        krtes.read_surface(tmp_path / "none.obj")
    bad = tmp_path / "bad.obj"
    bad.write_text("v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 9\n")
    with pytest.raises(krtes.KrtesError, match=r"bad\.obj:4"):
        krtes.read_surface(bad)


@pytest.mark.skipif(not krtes.HAVE_EARTHWORKS, reason="earthworks not built")
def test_contours_and_volumes(rng):
    xy = np.vstack([[[0, 0], [40, 0], [40, 30], [0, 30]], rng.uniform(0, [40, 30], (200, 2))])
    a = krtes.Tin.from_points(np.column_stack([xy, plane(xy[:, 0], xy[:, 1])]))
    # The plane over [0, 40] x [0, 30] against z = 5: analytic cut and fill.
    g = np.linspace(0, 1, 2001)[:-1] + 0.5 / 2000
    gx, gy = np.meshgrid(40 * g, 30 * g)
    d = plane(gx, gy) - 5.0  # midpoint rule check of the closed form below
    vol = a.volume_to(5.0)
    cut = np.clip(d, 0, None).mean() * 1200
    fill = np.clip(-d, 0, None).mean() * 1200
    assert vol["cut"] == pytest.approx(cut, rel=1e-5) and vol["fill"] == pytest.approx(fill, rel=1e-5)
    assert vol["net"] == pytest.approx(1200 * (plane(20, 15) - 5.0), rel=1e-12)
    assert vol["cut_area"] + vol["fill_area"] == pytest.approx(1200, rel=1e-12)
    # Against another surface 2 below: all cut, 2 deep; inside a boundary, its share.
    b = krtes.Tin.from_points(np.column_stack([xy, plane(xy[:, 0], xy[:, 1]) - 2.0]))
    assert a.volume_to(b)["cut"] == pytest.approx(2400, rel=1e-12)
    box = np.array([[5, 5], [15, 5], [15, 25], [5, 25]], float)
    assert a.volume_to(b, boundary=box) == pytest.approx({"cut": 400, "fill": 0, "net": 400, "cut_area": 200,
                                                          "fill_area": 0}, rel=1e-12, abs=1e-9)
    with pytest.raises(TypeError):
        a.volume_to("level")
    # Contours of the plane: straight lines at the levels, heights exact.
    lines = a.contours(2.0)
    levels = sorted({lvl for lvl, *_ in lines})
    zs = plane(xy[:, 0], xy[:, 1])
    assert levels == [2.0 * k for k in range(int(np.ceil(zs.min() / 2)), int(np.floor(zs.max() / 2)) + 1)]
    for lvl, pts, closed, _ in lines:
        assert not closed and np.allclose(pts[:, 2], lvl)
        np.testing.assert_allclose(plane(pts[:, 0], pts[:, 1]), lvl, atol=1e-9)
