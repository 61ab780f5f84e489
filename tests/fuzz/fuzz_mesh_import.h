#ifndef KRTES_TESTS_FUZZ_MESH_IMPORT_H
#define KRTES_TESTS_FUZZ_MESH_IMPORT_H

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

#include <map>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

#include "FuzzCommon.h"
#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/mesh/KrMeshSolid.h"

inline int CheckMeshImport(const uint8_t* data, std::size_t size)
{
    krfuzz::Bytes in(data, size);
    const uint8_t mode = in.U8();
    const bool raw = (mode & 1) != 0;
    const int imports = (mode & 2) ? 2 : 1;  // the second one adds (bClear false)
    const int np = in.U8() % 48;
    const int nt = in.U8() % 96;

    CGeDataTriMesh rec;
    std::vector<int> cell(static_cast<std::size_t>(np), -1);  // grid cell of point i; -1 missing
    for (int i = 0; i < np; ++i) {
        const uint8_t b = in.U8();
        if (raw) {
            const double x = in.F64(), y = in.F64(), z = in.F64();
            rec.AddPoint(x, y, z);
        } else {
            const int ix = b & 3, iy = (b >> 2) & 3, iz = (b >> 4) & 3;
            const uint8_t j = in.U8();
            // 0 to 0.0035 above the grid point on each axis: any two points
            // of a cell are within 0.0061 of each other (so they merge), of
            // different cells at least 0.99 apart.
            const double jx = (j & 7) * 0.0005, jy = ((j >> 3) & 7) * 0.0005, jz = (j >> 6) * 0.0005;
            rec.AddPoint(ix + jx, iy + jy, iz + jz);
            cell[static_cast<std::size_t>(i)] = ix + 4 * iy + 16 * iz;
        }
        if ((b & 0xC0) == 0xC0 && (in.U8() & 7) == 0) {  // a missing record
            delete rec.m_arrPts.m_pData[i];
            rec.m_arrPts.m_pData[i] = nullptr;
            cell[static_cast<std::size_t>(i)] = -2;
        }
    }
    const auto index = [&](uint8_t b) -> int32_t {
        switch (b) {
        case 250: return -1;
        case 251: return np;
        case 252: return INT32_MIN;
        case 253: return INT32_MAX;
        case 254: return np + 1;
        default: return np > 0 ? b % np : b;
        }
    };
    std::vector<bool> nullTri(static_cast<std::size_t>(nt), false);
    for (int t = 0; t < nt; ++t) {
        const uint8_t a = in.U8(), b = in.U8(), c = in.U8();
        rec.AddTri(index(a), index(b), index(c));
        if (a == 255 && b == 255) {  // a missing triangle record
            delete rec.m_arrTris.m_pData[t];
            rec.m_arrTris.m_pData[t] = nullptr;
            nullTri[static_cast<std::size_t>(t)] = true;
        }
    }

    TesTriMesh::CKrMeshData mesh(0.01);
    for (int k = 0; k < imports; ++k) mesh.InputData(rec, k == 0);
    if (raw) {
        (void)mesh.IsMeshOk();
        (void)TesTriMesh::CheckClosedSolid(mesh);
        return 0;
    }

    // What the import must have made, worked out on the grid cells.
    std::set<int> cells;
    for (int c : cell)
        if (c >= 0) cells.insert(c);
    std::size_t tris = 0;
    std::map<std::pair<int, int>, std::pair<int, int>> edges;  // (low, high) -> (uses low->high, high->low)
    for (int t = 0; t < nt; ++t) {
        if (nullTri[static_cast<std::size_t>(t)]) continue;
        const CGeDataTriIndex& id = *rec.m_arrTris.m_pData[t];
        int v[3];
        bool ok = true;
        for (int k = 0; k < 3 && ok; ++k) {
            ok = id.n[k] >= 0 && id.n[k] < np && cell[static_cast<std::size_t>(id.n[k])] >= 0;
            if (ok) v[k] = cell[static_cast<std::size_t>(id.n[k])];
        }
        if (!ok || v[0] == v[1] || v[1] == v[2] || v[2] == v[0]) continue;
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
        if (uses > 2) manifold = false;
        if (uses != 2 || e.second.first != 1) solid = false;
    }
    KRFUZZ_REQUIRE(mesh.m_setVer.size() == cells.size());
    KRFUZZ_REQUIRE(static_cast<std::size_t>(mesh.TriNum()) == tris * static_cast<std::size_t>(imports));
    KRFUZZ_REQUIRE(mesh.IsMeshOk() == manifold);
    if (manifold) {
        const TesTriMesh::SKrSolidCheck chk = TesTriMesh::CheckClosedSolid(mesh);
        KRFUZZ_REQUIRE(chk.IsSolid() == solid);
    }
    return 0;
}

#endif
