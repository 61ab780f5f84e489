#!/usr/bin/env python3
"""Writes the seed corpora of the fuzz targets into corpus/<target>/.

Run from anywhere: python3 tests/fuzz/make_corpus.py. The seeds are tiny,
valid or nearly valid inputs that lead each fuzzer straight to the
interesting code; the fuzzers mutate them from there.
"""
import os
import struct

HERE = os.path.dirname(os.path.abspath(__file__))


def put(target, name, data):
    d = os.path.join(HERE, "corpus", target)
    os.makedirs(d, exist_ok=True)
    if isinstance(data, str):
        data = data.encode()
    with open(os.path.join(d, name), "wb") as f:
        f.write(data)


put("read_points", "xyz", "# x y z\n0 0 0\n1 0 0.5\n1,1,2\n")
put("read_points", "header", "x y z\r\n1e3 -2.5 +3\r\n4 5 6 # c\r\n")
put("read_points", "plan", "1 2\n3 4\n")
put("read_polyline", "two", "0 0 0\n1 0 0\n1 1 0\n\n5 5 5\n6 6 6\n")
put("read_polyline", "comment", "x y z\n# one\n0 0 0\n2 2 2\n")
put("read_obj", "tri", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n")
put("read_obj", "quad", "# q\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nvn 0 0 1\nf 1//1 2//1 3//1 4//1\nf -1 -2 -3\n")
put("read_obj", "slashes", "o a\nv 0 0 0 1\nv 1 0 0\nv 0 1 0\nvt 0 0\nf 1/1 2/1 3/1\n")
head = "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\nproperty float z\n" \
       "element face 1\nproperty list uchar int vertex_indices\nend_header\n"
put("read_ply", "ascii", head + "0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n")
for fmt, endian in (("binary_little_endian", "<"), ("binary_big_endian", ">")):
    h = ("ply\nformat %s 1.0\nelement vertex 3\nproperty float x\nproperty float y\nproperty double z\n"
         "element face 1\nproperty list uchar int vertex_indices\nend_header\n" % fmt).encode()
    body = b"".join(struct.pack(endian + "ffd", *p) for p in ((0, 0, 0), (1, 0, 0), (0, 1, 0)))
    body += struct.pack(endian + "B3i", 3, 0, 1, 2)
    put("read_ply", fmt, h + body)
put("read_stl", "ascii", "solid t\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\n"
    "endloop\nendfacet\nendsolid t\n")
tri = struct.pack("<12f", 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0) + b"\0\0"
put("read_stl", "binary", b"solid but binary".ljust(80, b" ") + struct.pack("<I", 2) + tri + tri)

# mesh_import: mode, point count, triangle count, points, triangles.
# A closed tetrahedron on grid cells, then the same imported twice, then bad indices.
tet_pts = bytes([0x00, 0, 0x01, 0, 0x04, 0, 0x10, 0])
tet_tris = bytes([0, 2, 1, 0, 1, 3, 1, 2, 3, 0, 3, 2])
put("mesh_import", "tetra", bytes([0, 4, 4]) + tet_pts + tet_tris)
put("mesh_import", "tetra_twice", bytes([2, 4, 4]) + tet_pts + tet_tris)
put("mesh_import", "bad_indices", bytes([0, 4, 4]) + tet_pts + bytes([250, 1, 2, 251, 252, 253, 0, 0, 1, 255, 255, 1]))
put("mesh_import", "raw", bytes([1, 3, 1]) + b"".join(bytes([0]) + struct.pack("<3d", i, i * i, 1.5) for i in range(3)) + bytes([0, 1, 2]))

# delaunay: flags (bit0 full hull, bits1-2 grid, bit3 lines, bit4 outline,
# bit5 holes, bit6 far away, bit7 mark ends), point count (2 bytes), points.
def pts(xy):
    return b"".join(bytes([x, y, 1]) for x, y in xy)
square = [(0, 0), (4, 0), (4, 4), (0, 4), (2, 2), (1, 3)]
put("delaunay", "hull", bytes([1 | 2 * 2]) + struct.pack("<H", len(square)) + pts(square))
put("delaunay", "cocircular", bytes([1 | 2]) + struct.pack("<H", 4) + pts([(0, 0), (2, 0), (2, 2), (0, 2)]))
put("delaunay", "collinear", bytes([1]) + struct.pack("<H", 3) + pts([(0, 0), (1, 1), (2, 2)]))
put("delaunay", "far", bytes([1 | 64 | 4]) + struct.pack("<H", 5) + pts([(0, 0), (8, 0), (8, 8), (0, 8), (3, 5)]))
put("delaunay", "constrained", bytes([8 | 16 | 32 | 4]) + struct.pack("<H", 5) + pts([(0, 0), (8, 0), (8, 8), (0, 8), (3, 5)])
    + bytes([0, 0]) + pts([(1, 1), (7, 6)])
    + bytes([1]) + pts([(0, 0), (8, 0), (8, 8), (0, 8)])
    + bytes([0, 0]) + pts([(5, 2), (6, 2), (6, 3)]))

# solid_boolean: two solids (kind, centre, size, ...), then the operation.
put("solid_boolean", "boxes", bytes([0, 2, 2, 2, 2, 2, 2, 3]) + bytes([0, 4, 4, 4, 2, 2, 2, 3]) + bytes([0]))
put("solid_boolean", "box_tetra", bytes([0, 2, 2, 2, 3, 3, 3, 3]) + bytes([1, 3, 3, 3, 2, 0, 0, 0, 6, 0, 0, 0, 6, 0, 0, 0, 6, 3]) + bytes([2]))
put("solid_boolean", "octa_rotated", bytes([2, 2, 2, 2, 3, 0 + 4 * 3]) + bytes([0, 3, 2, 2, 2, 2, 2, 2 + 4 * 2]) + bytes([1]))
put("solid_boolean", "same_box", bytes([0, 2, 2, 2, 2, 2, 2, 3]) * 2 + bytes([3]))

# mesh_query: flags (bit0 terrain, bit1 large grid), then the mesh and queries.
put("mesh_query", "terrain", bytes([1]) + struct.pack("<H", 6) + bytes(range(0, 60, 1)))
put("mesh_query", "terrain_large", bytes([3]) + struct.pack("<H", 397) + bytes((i * 37 + 11) % 256 for i in range(1500)))
put("mesh_query", "free", bytes([0]) + bytes(range(36)) + struct.pack("<H", 8) + bytes((i * 7) % 36 for i in range(24)) + bytes(range(40, 120)))
