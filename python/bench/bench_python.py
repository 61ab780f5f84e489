"""Tin.from_points and Tin.elevation against the same work done in C++.

    PYTHONPATH=build/py/python python3 python/bench/bench_python.py build/py/python/krtes_py_bench_cpp [N] [M] [ROUNDS]

Writes N random points and M query points (fixed seed) as raw float64 files,
then alternates, ROUNDS times: the C++ program (python/bench/bench_cpp.cpp,
build target krtes_py_bench_cpp) and the same work through the module, each
in a fresh process. Prints the best wall-clock and processor
times of each side and their ratios; the checksums of the heights must agree.
"""

import os
import subprocess
import sys
import tempfile
import time

import numpy as np

import krtes


def one(pts_path, q_path):
    """One round of the Python side in a fresh process, like the C++ side."""
    xyz = np.fromfile(pts_path).reshape(-1, 3)
    xy = np.fromfile(q_path).reshape(-1, 2)
    t0, c0 = time.perf_counter(), time.process_time()
    tin = krtes.Tin.from_points(xyz)
    t1, c1 = time.perf_counter(), time.process_time()
    z = tin.elevation(xy)
    t2, c2 = time.perf_counter(), time.process_time()
    print(f"triangles {tin.triangle_count}\ntin {t1 - t0:.4f}\nelevation {t2 - t1:.4f}\n"
          f"cpu_tin {c1 - c0:.4f}\ncpu_elevation {c2 - c1:.4f}\nchecksum {np.nansum(z):.6f}")


def main():
    if sys.argv[1] == "--one":
        return one(sys.argv[2], sys.argv[3])
    exe = sys.argv[1]
    n = int(sys.argv[2]) if len(sys.argv) > 2 else 1_000_000
    m = int(sys.argv[3]) if len(sys.argv) > 3 else 1_000_000
    rounds = int(sys.argv[4]) if len(sys.argv) > 4 else 3
    rng = np.random.default_rng(7)
    xyz = np.column_stack([rng.uniform(0, 10000, (n, 2)), rng.uniform(100, 200, n)])
    xy = rng.uniform(-100, 10100, (m, 2))  # a few off the surface
    with tempfile.TemporaryDirectory() as tmp:
        pts_path, q_path = os.path.join(tmp, "pts.f64"), os.path.join(tmp, "q.f64")
        xyz.tofile(pts_path)
        xy.tofile(q_path)
        keys = ("tin", "elevation", "cpu_tin", "cpu_elevation")
        cpp = {k: [] for k in keys}
        py = {k: [] for k in keys}
        for _ in range(rounds):
            out = subprocess.run([exe, pts_path, q_path, "1"], check=True, capture_output=True, text=True).stdout
            rec = dict(line.split() for line in out.splitlines())
            for k in keys:
                cpp[k].append(float(rec[k]))
            out = subprocess.run([sys.executable, __file__, "--one", pts_path, q_path], check=True,
                                 capture_output=True, text=True).stdout
            got = dict(line.split() for line in out.splitlines())
            for k in keys:
                py[k].append(float(got[k]))
            assert got["triangles"] == rec["triangles"]
            assert abs(float(rec["checksum"]) - float(got["checksum"])) <= 1e-9 * abs(float(got["checksum"]))
    print(f"points {n}, queries {m}, rounds {rounds}, load {os.getloadavg()[0]:.1f}; best of the rounds")
    for k in keys:
        a, b = min(cpp[k]), min(py[k])
        print(f"{k:14s} C++ {a:8.3f} s   Python {b:8.3f} s   ratio {b / a:.3f}")
    print("every round, C++ / Python:")
    for r in range(rounds):
        print("  " + "   ".join(f"{k} {cpp[k][r]:.3f} / {py[k][r]:.3f}" for k in keys))


if __name__ == "__main__":
    main()
