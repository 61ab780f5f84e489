#ifndef KRTES_TESTS_MESHTESTUTIL_H
#define KRTES_TESTS_MESHTESTUTIL_H

#include <algorithm>
#include <array>
#include <functional>
#include <set>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

#include "support/KrTestMeshes.h"

namespace meshtest {

// The elements of a container in its iteration order.
template <class C>
std::vector<typename C::value_type> Items(const C& c)
{
    return std::vector<typename C::value_type>(c.begin(), c.end());
}

// An nx x ny grid of unit squares, each split into two counter-clockwise
// triangles; z = 0.1 * (x + y). Squares for which skip(i, j) holds are left out.
inline testmesh::Solid Grid(int nx, int ny, const std::function<bool(int, int)>& skip = nullptr)
{
    return testmesh::Grid(nx, ny, 0.0, 0.0, 1.0, [](double x, double y) { return 0.1 * (x + y); }, skip);
}

// A triangle as its corner coordinates, rotated to start at the
// lexicographically smallest corner (winding kept), for comparing meshes.
using TriKey = std::array<double, 9>;

inline std::multiset<TriKey> TriKeys(const TesTriMesh::CKrMeshData& m)
{
    std::multiset<TriKey> out;
    for (const TesTriMesh::_sTri* t : m.m_setTri) {
        int s = 0;
        for (int k = 1; k < 3; ++k)
            if (CKrPoint3d::CompPt(t->pVer[k]->pt, t->pVer[s]->pt) < 0) s = k;
        TriKey key;
        for (int k = 0; k < 3; ++k) {
            const CKrPoint3d& q = t->pVer[(s + k) % 3]->pt;
            key[3 * k] = q.x;
            key[3 * k + 1] = q.y;
            key[3 * k + 2] = q.z;
        }
        out.insert(key);
    }
    return out;
}

// The vertex of the mesh nearest to (x, y), or null when none lies within 1e-9.
inline TesTriMesh::_sVertex* VertexAt(const TesTriMesh::CKrMeshData& m, double x, double y)
{
    for (TesTriMesh::_sVertex* v : m.m_setVer)
        if (std::abs(v->pt.x - x) < 1e-9 && std::abs(v->pt.y - y) < 1e-9) return v;
    return nullptr;
}

}  // namespace meshtest

#endif
