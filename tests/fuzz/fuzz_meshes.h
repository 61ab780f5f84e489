#ifndef KRTES_TESTS_FUZZ_MESHES_H
#define KRTES_TESTS_FUZZ_MESHES_H

// Meshes built from the bytes: the interchange import (CheckMeshImport) and
// the solid boolean (CheckSolidBoolean).

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "FuzzCommon.h"
#include "KrTesGeometry/boolean/KrSolidBoolean.h"
#include "KrTesGeometry/geom/KrExactPredicates.h"
#include "KrTesGeometry/geom/sTriID.h"
#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/mesh/KrMeshSolid.h"

namespace krfuzz {

// CKrMeshData::InputData of an interchange record built from the bytes:
// missing point records, indices out of range (negative, one past the end,
// the int32 extremes), repeated and collapsed triangles, and a second import
// added to the first.
//
// In the grid mode every point lies within 0.0035 (per axis) of a point of a
// 4x4x4 integer grid, so under the 0.01 merge tolerance the vertices are
// exactly the grid cells used and everything the import should do can be
// worked out here: the vertex and triangle counts, and that the mesh is sound
// (IsMeshOk) exactly when no edge ends up with more than two triangles, and a
// closed solid exactly when every edge has two opposed triangles. In the raw
// mode the coordinates are any 64-bit patterns (NaN, infinities, huge
// values); there only memory safety and termination are asked for.

inline int CheckMeshImport(const uint8_t* data, std::size_t size)
{
    Bytes in(data, size);
    const uint8_t mode = in.U8();
    const bool raw = (mode & 1) != 0;
    const int imports = (mode & 2) ? 2 : 1;  // the second one adds (bClear false)
    const int np = in.U8() % 48, nt = in.U8() % 96;

    CGeDataTriMesh rec;
    const auto drop = [](auto*& record) { delete record; record = nullptr; };
    std::vector<int> cell(np, -1);  // grid cell of point i; -1 raw, -2 missing
    for (int i = 0; i < np; ++i) {
        const uint8_t b = in.U8();
        if (raw) {
            const double x = in.F64(), y = in.F64(), z = in.F64();
            rec.AddPoint(x, y, z);
        } else {
            // 0 to 0.0035 above the grid point on each axis: any two points
            // of a cell are within 0.0061 of each other (so they merge), of
            // different cells at least 0.99 apart.
            const int ix = b & 3, iy = (b >> 2) & 3, iz = (b >> 4) & 3;
            const uint8_t j = in.U8();
            rec.AddPoint(ix + (j & 7) * 0.0005, iy + ((j >> 3) & 7) * 0.0005, iz + (j >> 6) * 0.0005);
            cell[i] = ix + 4 * iy + 16 * iz;
        }
        if ((b & 0xC0) == 0xC0 && (in.U8() & 7) == 0) {  // a missing record
            drop(rec.m_arrPts.m_pData[i]);
            cell[i] = -2;
        }
    }
    const auto index = [&](uint8_t b) -> int32_t {
        const int32_t odd[5] = {-1, np, INT32_MIN, INT32_MAX, np + 1};
        return b >= 250 && b < 255 ? odd[b - 250] : (np > 0 ? b % np : b);
    };
    for (int t = 0; t < nt; ++t) {
        const uint8_t a = in.U8(), b = in.U8(), c = in.U8();
        rec.AddTri(index(a), index(b), index(c));
        if (a == 255 && b == 255) drop(rec.m_arrTris.m_pData[t]);  // a missing triangle record
    }

    TesTriMesh::CKrMeshData mesh(0.01);
    for (int k = 0; k < imports; ++k) mesh.InputData(rec, k == 0);
    const bool sound = mesh.IsMeshOk();
    const bool closed = (raw || sound) && TesTriMesh::CheckClosedSolid(mesh).IsSolid();
    if (raw) return 0;

    // What the import must have made, worked out on the grid cells.
    std::set<int> cells(cell.begin(), cell.end());
    cells.erase(-2);  // the missing records
    std::size_t tris = 0;
    std::map<std::pair<int, int>, std::pair<int, int>> edges;  // (low, high) -> (uses low->high, high->low)
    for (int t = 0; t < nt; ++t) {
        const CGeDataTriIndex* id = rec.m_arrTris.m_pData[t];
        int v[3] = {-1, -1, -1};  // the corners' grid cells
        for (int k = 0; k < 3 && id; ++k) v[k] = id->n[k] >= 0 && id->n[k] < np ? cell[id->n[k]] : -1;
        if (std::min({v[0], v[1], v[2]}) < 0 || v[0] == v[1] || v[1] == v[2] || v[2] == v[0]) continue;
        ++tris;
        for (int k = 0; k < 3; ++k) {
            const int a = v[k], b = v[(k + 1) % 3];
            auto& e = edges[{std::min(a, b), std::max(a, b)}];
            (a < b ? e.first : e.second) += imports;
        }
    }
    bool manifold = true, solid = true;
    for (const auto& e : edges) {
        const int uses = e.second.first + e.second.second;
        manifold = manifold && uses <= 2;
        solid = solid && uses == 2 && e.second.first == 1;
    }
    KRFUZZ_REQUIRE(mesh.m_setVer.size() == cells.size());
    KRFUZZ_REQUIRE(static_cast<std::size_t>(mesh.TriNum()) == tris * static_cast<std::size_t>(imports));
    KRFUZZ_REQUIRE(sound == manifold);
    KRFUZZ_REQUIRE(!manifold || closed == solid);
    return 0;
}

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
// The construction writes its diagnostic files into the working directory.

struct BooleanCounts {
    long runs = 0, notClassified = 0, brokenResult = 0;  // broken: open, over-shared or misoriented
    ~BooleanCounts()
    {
        std::fprintf(stderr, "solid boolean: %ld runs, %ld not classified, %ld results not a closed solid\n", runs,
                     notClassified, brokenResult);
    }
};

// One small solid, faces wound outward.
inline void MakeSolid(Bytes& in, TesTriMesh::CKrMeshData& mesh)
{
    static const std::vector<int> kFaces[3] = {
        {0, 2, 3, 0, 3, 1, 4, 5, 7, 4, 7, 6, 0, 1, 5, 0, 5, 4, 2, 6, 7, 2, 7, 3, 0, 4, 6, 0, 6, 2, 1, 3, 7, 1, 7, 5},
        {0, 2, 1, 0, 1, 3, 1, 2, 3, 0, 3, 2},  // a, b, c, d with positive volume, seen from outside
        {0, 2, 4, 2, 1, 4, 1, 3, 4, 3, 0, 4, 2, 0, 5, 1, 2, 5, 3, 1, 5, 0, 3, 5}};
    const uint8_t kind = in.U8() % 3;
    const double cx = (in.U8() % 9) * 0.5, cy = (in.U8() % 9) * 0.5, cz = (in.U8() % 9) * 0.5;
    const double s = 0.5 + (in.U8() % 6) * 0.5;
    const auto at = [&](double x, double y, double z) { return CKrPoint3d(cx + x, cy + y, cz + z); };
    std::vector<CKrPoint3d> pts;
    if (kind == 0) {  // a box, each half-size its own
        const double sx = s, sy = 0.5 + (in.U8() % 6) * 0.5, sz = 0.5 + (in.U8() % 6) * 0.5;
        for (int i = 0; i < 8; ++i) pts.push_back(at((i & 1) ? sx : -sx, (i & 2) ? sy : -sy, (i & 4) ? sz : -sz));
    } else if (kind == 1) {  // a tetrahedron with corners on a half grid
        for (int i = 0; i < 4; ++i) {
            const double x = (in.U8() % 7 - 3) * 0.5 * s, y = (in.U8() % 7 - 3) * 0.5 * s;
            pts.push_back(at(x, y, (in.U8() % 7 - 3) * 0.5 * s));
        }
        const int o = KrTesGeo::Orient3dExact(pts[0], pts[1], pts[2], pts[3]);
        if (o == 0) pts = {at(0, 0, 0), at(s, 0, 0), at(0, s, 0), at(0, 0, s)};  // flat: a corner tetrahedron
        if (o < 0) std::swap(pts[1], pts[2]);
    } else {  // an octahedron
        pts = {at(s, 0, 0), at(-s, 0, 0), at(0, s, 0), at(0, -s, 0), at(0, 0, s), at(0, 0, -s)};
    }
    const uint8_t rot = in.U8();
    const int axis = rot % 4;  // 3: not rotated
    const double ang = (rot / 4 % 24) * (3.14159265358979323846 / 12.0), co = std::cos(ang), si = std::sin(ang);
    for (CKrPoint3d& p : pts) {
        if (axis == 3) break;
        double *a = axis == 0 ? &p.y : &p.x, *b = axis == 2 ? &p.y : &p.z;
        const double c0 = axis == 0 ? cy : cx, c1 = axis == 2 ? cy : cz;
        const double u = *a - c0, v = *b - c1;
        *a = c0 + co * u - si * v;
        *b = c1 + si * u + co * v;
    }
    std::vector<KrTesGeo::_sTri_ID> tris;
    for (std::size_t i = 0; i < kFaces[kind].size(); i += 3)
        tris.emplace_back(kFaces[kind][i], kFaces[kind][i + 1], kFaces[kind][i + 2]);
    mesh.InputData(pts, tris, true);
}

inline int CheckSolidBoolean(const uint8_t* data, std::size_t size)
{
    static BooleanCounts tally;
    Bytes in(data, size);
    TesTriMesh::CKrMeshData a(0.01), b(0.01), result(0.01);
    MakeSolid(in, a);
    MakeSolid(in, b);
    ++tally.runs;
    TesTriMesh::CKrSolidBoolean sb(a, b);
    if (!sb.IsClassified()) ++tally.notClassified;
    switch (in.U8() % 4) {
    case 0: sb.Union_A_And_B(result); break;
    case 1: sb.Intersect_A_And_B(result); break;
    case 2: sb.Diference_A_And_B(result); break;
    default: sb.Diference_B_And_A(result); break;
    }
    if (!TesTriMesh::CheckClosedSolid(result).IsSolid()) ++tally.brokenResult;
    return 0;
}

}  // namespace krfuzz

#endif
