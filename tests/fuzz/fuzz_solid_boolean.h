#ifndef KRTES_TESTS_FUZZ_SOLID_BOOLEAN_H
#define KRTES_TESTS_FUZZ_SOLID_BOOLEAN_H

// The solid boolean on two small closed solids made from the bytes: boxes,
// tetrahedra and octahedra with byte-chosen corners, sizes and rotations
// (multiples of 15 degrees about a coordinate axis), so touching faces,
// shared edges and coincident corners come up often.
//
// The boolean cut is known to break on some inputs; here only memory safety
// and termination are asked for. The runs whose result is not a closed,
// consistently oriented surface (CheckClosedSolid) and the runs whose sort
// failed are counted, and the counts printed when the process ends.
//
// The construction writes its diagnostic files into the working directory:
// the fuzzer runs in a scratch directory, the replay test in one of its own.

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "FuzzCommon.h"
#include "KrTesGeometry/boolean/KrSolidBoolean.h"
#include "KrTesGeometry/geom/sTriID.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/mesh/KrMeshSolid.h"

namespace krfuzz {

struct BooleanCounts {
    long runs = 0;
    long notClassified = 0;
    long brokenResult = 0;  // open, over-shared or misoriented
};

inline BooleanCounts& BooleanTally()
{
    static BooleanCounts counts;
    static const bool registered = [] {
        std::atexit([] {
            const BooleanCounts& c = BooleanTally();
            std::fprintf(stderr, "solid boolean: %ld runs, %ld not classified, %ld results not a closed solid\n",
                         c.runs, c.notClassified, c.brokenResult);
        });
        return true;
    }();
    (void)registered;
    return counts;
}

// One small solid, faces wound outward.
inline void MakeSolid(Bytes& in, std::vector<CKrPoint3d>& pts, std::vector<KrTesGeo::_sTri_ID>& tris)
{
    pts.clear();
    tris.clear();
    const uint8_t kind = in.U8() % 3;
    const double cx = (in.U8() % 9) * 0.5, cy = (in.U8() % 9) * 0.5, cz = (in.U8() % 9) * 0.5;
    const double s = 0.5 + (in.U8() % 6) * 0.5;
    if (kind == 0) {  // a box, each half-size its own
        const double sx = s, sy = 0.5 + (in.U8() % 6) * 0.5, sz = 0.5 + (in.U8() % 6) * 0.5;
        for (int i = 0; i < 8; ++i)
            pts.emplace_back(cx + ((i & 1) ? sx : -sx), cy + ((i & 2) ? sy : -sy), cz + ((i & 4) ? sz : -sz));
        const int f[12][3] = {{0, 2, 3}, {0, 3, 1}, {4, 5, 7}, {4, 7, 6}, {0, 1, 5}, {0, 5, 4},
                              {2, 6, 7}, {2, 7, 3}, {0, 4, 6}, {0, 6, 2}, {1, 3, 7}, {1, 7, 5}};
        for (const auto& t : f) tris.emplace_back(t[0], t[1], t[2]);
    } else if (kind == 1) {  // a tetrahedron with corners on a half grid
        for (int i = 0; i < 4; ++i)
            pts.emplace_back(cx + (in.U8() % 7 - 3) * 0.5 * s, cy + (in.U8() % 7 - 3) * 0.5 * s,
                             cz + (in.U8() % 7 - 3) * 0.5 * s);
        const CKrPoint3d &a = pts[0], &b = pts[1], &c = pts[2], &d = pts[3];
        const double vol = (b.x - a.x) * ((c.y - a.y) * (d.z - a.z) - (c.z - a.z) * (d.y - a.y)) -
                           (b.y - a.y) * ((c.x - a.x) * (d.z - a.z) - (c.z - a.z) * (d.x - a.x)) +
                           (b.z - a.z) * ((c.x - a.x) * (d.y - a.y) - (c.y - a.y) * (d.x - a.x));
        if (std::fabs(vol) < 1e-9) {  // flat: a regular corner tetrahedron instead
            pts = {CKrPoint3d(cx, cy, cz), CKrPoint3d(cx + s, cy, cz), CKrPoint3d(cx, cy + s, cz),
                   CKrPoint3d(cx, cy, cz + s)};
        } else if (vol < 0) {
            std::swap(pts[1], pts[2]);
        }
        // a, b, c, d with positive volume: the faces seen from outside.
        const int f[4][3] = {{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {0, 3, 2}};
        for (const auto& t : f) tris.emplace_back(t[0], t[1], t[2]);
    } else {  // an octahedron
        pts = {CKrPoint3d(cx + s, cy, cz), CKrPoint3d(cx - s, cy, cz), CKrPoint3d(cx, cy + s, cz),
               CKrPoint3d(cx, cy - s, cz), CKrPoint3d(cx, cy, cz + s), CKrPoint3d(cx, cy, cz - s)};
        const int f[8][3] = {{0, 2, 4}, {2, 1, 4}, {1, 3, 4}, {3, 0, 4},
                             {2, 0, 5}, {1, 2, 5}, {3, 1, 5}, {0, 3, 5}};
        for (const auto& t : f) tris.emplace_back(t[0], t[1], t[2]);
    }
    const uint8_t rot = in.U8();
    const int axis = rot % 4;  // 3: not rotated
    if (axis < 3) {
        const double ang = (rot / 4 % 24) * (3.14159265358979323846 / 12.0);
        const double co = std::cos(ang), si = std::sin(ang);
        for (CKrPoint3d& p : pts) {
            double u = 0, v = 0;
            double* a = axis == 0 ? &p.y : &p.x;
            double* b = axis == 2 ? &p.y : &p.z;
            const double c0 = axis == 0 ? cy : cx, c1 = axis == 2 ? cy : cz;
            u = *a - c0;
            v = *b - c1;
            *a = c0 + co * u - si * v;
            *b = c1 + si * u + co * v;
        }
    }
}

}  // namespace krfuzz

inline int CheckSolidBoolean(const uint8_t* data, std::size_t size)
{
    using namespace krfuzz;
    Bytes in(data, size);
    std::vector<CKrPoint3d> pa, pb;
    std::vector<KrTesGeo::_sTri_ID> ta, tb;
    MakeSolid(in, pa, ta);
    MakeSolid(in, pb, tb);
    const int op = in.U8() % 4;

    TesTriMesh::CKrMeshData a(0.01), b(0.01), result(0.01);
    a.InputData(pa, ta, true);
    b.InputData(pb, tb, true);
    BooleanCounts& tally = BooleanTally();
    ++tally.runs;
    TesTriMesh::CKrSolidBoolean sb(a, b);
    if (!sb.IsClassified()) ++tally.notClassified;
    switch (op) {
    case 0: sb.Union_A_And_B(result); break;
    case 1: sb.Intersect_A_And_B(result); break;
    case 2: sb.Diference_A_And_B(result); break;
    default: sb.Diference_B_And_A(result); break;
    }
    if (!TesTriMesh::CheckClosedSolid(result).IsSolid()) ++tally.brokenResult;
    return 0;
}

#endif
