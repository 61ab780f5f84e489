#!/usr/bin/env python3
"""Writes the mesh and point files the io tests read as "written by another
program". Only the Python standard library is used (struct for binary,
Python's own number formatting for text), so nothing here shares code with
the library's writers. Shapes have values known in closed form:

  cube        [0,2]^3, six outward quads: volume 8, area 24
  octahedron  vertices at +-1 on the axes, eight outward triangles:
              volume 4/3, area 4*sqrt(3)

Run it in this directory to rebuild the files; the output is the same on
every run.
"""
import random
import struct

CUBE_V = [(x, y, z) for z in (0, 2) for y in (0, 2) for x in (0, 2)]
# Corner index = x/2 + 2*(y/2) + 4*(z/2); quads counter-clockwise seen from outside.
CUBE_F = [(0, 2, 3, 1), (4, 5, 7, 6), (0, 1, 5, 4), (2, 6, 7, 3), (0, 4, 6, 2), (1, 3, 7, 5)]

OCTA_V = [(1, 0, 0), (-1, 0, 0), (0, 1, 0), (0, -1, 0), (0, 0, 1), (0, 0, -1)]
OCTA_F = []
for sx, ix in ((1, 0), (-1, 1)):
    for sy, iy in ((1, 2), (-1, 3)):
        for sz, iz in ((1, 4), (-1, 5)):
            # (x, y, z) is counter-clockwise from outside when sx*sy*sz > 0.
            OCTA_F.append((ix, iy, iz) if sx * sy * sz > 0 else (ix, iz, iy))


def cube_ply_big_endian(path):
    head = ("ply\nformat binary_big_endian 1.0\ncomment made by make_foreign_files.py\n"
            "element vertex 8\nproperty float x\nproperty float y\nproperty float z\n"
            "property uchar red\nproperty uchar green\nproperty uchar blue\n"
            "element face 6\nproperty list uchar int vertex_indices\nend_header\n")
    body = b"".join(struct.pack(">fffBBB", *v, 200, 100, 50) for v in CUBE_V)
    body += b"".join(struct.pack(">B4i", 4, *f) for f in CUBE_F)
    with open(path, "wb") as f:
        f.write(head.encode("ascii") + body)


def cube_obj_crlf(path):
    lines = ["# exported on Windows", "o cube"]
    lines += ["v %r %r %r" % tuple(float(c) for c in v) for v in CUBE_V]
    lines += ["vt 0 0", "vn 0 0 1"]
    lines += ["f " + " ".join("%d/1/1" % (i + 1) for i in f) for f in CUBE_F]
    with open(path, "wb") as f:
        f.write(("\r\n".join(lines) + "\r\n").encode("ascii"))


def octa_stl_binary(path):
    header = b"solid octahedron, binary".ljust(80, b" ")
    recs = b""
    for a, b, c in OCTA_F:
        recs += struct.pack("<3f", 0, 0, 0)
        for i in (a, b, c):
            recs += struct.pack("<3f", *OCTA_V[i])
        recs += struct.pack("<H", 0)
    with open(path, "wb") as f:
        f.write(header + struct.pack("<I", len(OCTA_F)) + recs)


def octa_stl_ascii_crlf(path):
    out = ["solid octa"]
    for t in OCTA_F:
        out += ["  facet normal 0 0 0", "    outer loop"]
        out += ["      vertex %e %e %e" % OCTA_V[i] for i in t]
        out += ["    endloop", "  endfacet"]
    out.append("endsolid octa")
    with open(path, "wb") as f:
        f.write(("\r\n".join(out) + "\r\n").encode("ascii"))


def plane_points_bom(path):
    # On the plane z = 2x - y + 1; a spreadsheet's CSV export with a
    # byte-order mark, CRLF line ends and a header row.
    rng = random.Random(7)
    rows = ["x,y,z"]
    for _ in range(50):
        x, y = rng.randint(-1000, 1000) / 8, rng.randint(-1000, 1000) / 8
        rows.append("%r,%r,%r" % (x, y, 2 * x - y + 1))
    with open(path, "wb") as f:
        f.write(b"\xef\xbb\xbf" + ("\r\n".join(rows) + "\r\n").encode("ascii"))


if __name__ == "__main__":
    cube_ply_big_endian("cube_be.ply")
    cube_obj_crlf("cube_crlf.obj")
    octa_stl_binary("octa_bin.stl")
    octa_stl_ascii_crlf("octa_crlf.stl")
    plane_points_bom("plane_bom.csv")
