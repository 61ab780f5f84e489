#include "KrTesGeometry/mesh/KrMeshSolid.h"

#include <algorithm>
#include <array>
#include <functional>
#include <limits>
#include <map>
#include <utility>

#include "KrTesGeometry/mesh/KrMeshData.h"

namespace TesTriMesh {

namespace {

// Every index of t lies in [0, n).
bool Names(const KrTesGeo::_sTri_ID& t, std::size_t n)
{
    for (int k = 0; k < 3; ++k)
        if (t.nID[k] < 0 || static_cast<std::size_t>(t.nID[k]) >= n) return false;
    return true;
}

void Keep(int dst[2], const std::pair<int, int>& e)
{
    dst[0] = e.first;
    dst[1] = e.second;
}

// Per edge (lower index first): how many triangles run along it each way.
// Triples with an index outside [0, n) are left out and counted.
SKrSolidCheck CheckEdges(const std::vector<KrTesGeo::_sTri_ID>& tris, std::size_t n)
{
    SKrSolidCheck r;
    std::map<std::pair<int, int>, std::pair<int, int>> uses;
    for (const auto& t : tris) {
        if (!Names(t, n)) {
            ++r.invalidTris;
            continue;
        }
        for (int k = 0; k < 3; ++k) {
            const int p = t.nID[k], q = t.nID[(k + 1) % 3];
            auto& u = uses[{std::min(p, q), std::max(p, q)}];
            ++(p < q ? u.first : u.second);
        }
    }
    for (const auto& e : uses) {
        const int count = e.second.first + e.second.second;
        if (count == 1) {
            if (!r.openEdges++) Keep(r.firstOpen, e.first);
        } else if (count > 2) {
            if (!r.overSharedEdges++) Keep(r.firstOverShared, e.first);
        } else if (e.second.first != 1) {
            if (!r.flippedEdges++) Keep(r.firstFlipped, e.first);
        }
    }
    return r;
}

// The mesh as points in the tolerant vertex order and index triples, each
// rotated to start at its lowest index and sorted, so that nothing depends
// on where the triangles lie in memory. A triangle with a corner that is not
// a vertex of the mesh gets index -1 there.
void MeshArrays(const CKrMeshData& mesh, std::vector<CKrPoint3d>& pts, std::vector<KrTesGeo::_sTri_ID>& tris)
{
    std::vector<std::pair<const _sVertex*, int>> index;
    index.reserve(mesh.m_setVer.size());
    for (const _sVertex* v : mesh.m_setVer) {
        index.emplace_back(v, static_cast<int>(pts.size()));
        pts.push_back(v->pt);
    }
    // Looked up by address only: the numbers come from the vertex order.
    auto byAddress = [](const std::pair<const _sVertex*, int>& a, const std::pair<const _sVertex*, int>& b) {
        return std::less<const _sVertex*>()(a.first, b.first);
    };
    std::sort(index.begin(), index.end(), byAddress);
    auto idOf = [&](const _sVertex* v) {
        const auto it = std::lower_bound(index.begin(), index.end(), std::make_pair(v, 0), byAddress);
        return it != index.end() && it->first == v ? it->second : -1;
    };
    std::vector<std::array<int, 3>> ids;
    ids.reserve(mesh.m_setTri.size());
    for (const _sTri* t : mesh.m_setTri) {
        std::array<int, 3> c = {idOf(t->pVer[0]), idOf(t->pVer[1]), idOf(t->pVer[2])};
        std::rotate(c.begin(), std::min_element(c.begin(), c.end()), c.end());
        ids.push_back(c);
    }
    std::sort(ids.begin(), ids.end());
    tris.reserve(ids.size());
    for (const auto& c : ids) tris.emplace_back(c[0], c[1], c[2]);
}

}  // namespace

bool SKrSolidCheck::FirstFault(int edge[2]) const
{
    const int* e = openEdges ? firstOpen : overSharedEdges ? firstOverShared : flippedEdges ? firstFlipped : nullptr;
    edge[0] = e ? e[0] : -1;
    edge[1] = e ? e[1] : -1;
    return e != nullptr;
}

SKrSolidCheck CheckClosedSolid(const std::vector<CKrPoint3d>& pts, const std::vector<KrTesGeo::_sTri_ID>& tris)
{
    return CheckEdges(tris, pts.size());
}

SKrSolidCheck CheckClosedSolid(const std::vector<KrTesGeo::_sTri_ID>& tris)
{
    return CheckEdges(tris, std::numeric_limits<std::size_t>::max());
}

SKrSolidCheck CheckClosedSolid(const CKrMeshData& mesh)
{
    std::vector<CKrPoint3d> pts;
    std::vector<KrTesGeo::_sTri_ID> tris;
    MeshArrays(mesh, pts, tris);
    return CheckClosedSolid(pts, tris);
}

double SolidVolume(const std::vector<CKrPoint3d>& pts, const std::vector<KrTesGeo::_sTri_ID>& tris)
{
    if (pts.empty()) return 0.0;
    const CKrPoint3d o = pts[0];
    double v = 0.0;
    for (const auto& t : tris) {
        if (!Names(t, pts.size())) return std::numeric_limits<double>::quiet_NaN();
        const CKrPoint3d a = pts[t.nID[0]] - o, b = pts[t.nID[1]] - o, c = pts[t.nID[2]] - o;
        v += a.x * (b.y * c.z - b.z * c.y) - a.y * (b.x * c.z - b.z * c.x) + a.z * (b.x * c.y - b.y * c.x);
    }
    return v / 6.0;
}

double SolidVolume(const CKrMeshData& mesh)
{
    std::vector<CKrPoint3d> pts;
    std::vector<KrTesGeo::_sTri_ID> tris;
    MeshArrays(mesh, pts, tris);
    return SolidVolume(pts, tris);
}

}  // namespace TesTriMesh
