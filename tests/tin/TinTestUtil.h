#ifndef KRTES_TESTS_TINTESTUTIL_H
#define KRTES_TESTS_TINTESTUTIL_H

// Point sets and checks shared by the triangulation tests, with what they
// use: the triangulator, the mesh and the exact predicates.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <utility>
#include <vector>

#include "KrTesGeometry/geom/KrExactPredicates.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/tin/KrDelaunay.h"

namespace tintest {

using namespace TesTriMesh;

// n points uniform over the square [ox, ox + size] x [oy, oy + size], z up to size / 10.
inline std::vector<CKrPoint3d> RandomPoints(std::size_t n, unsigned seed, double ox = 0.0, double oy = 0.0,
                                            double size = 1000.0)
{
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> u(0.0, size);
    std::vector<CKrPoint3d> pts;
    for (std::size_t i = 0; i < n; ++i) pts.emplace_back(ox + u(rng), oy + u(rng), u(rng) * 0.1);
    return pts;
}

// Adds the points, lets `setup` add constraints or options, and triangulates.
inline bool Triangulate(CKrMeshData& mesh, const std::vector<CKrPoint3d>& pts,
                        const std::function<void(CKrDelaunay&)>& setup = nullptr, double tol = 0.01)
{
    CKrDelaunay d(mesh, tol);
    for (const auto& p : pts) d.AddVertex(p);
    if (setup) setup(d);
    return d.Delaunay();
}

// Faults of a triangulation, by exact predicates: triangles that are not
// counter-clockwise, and (when it should be Delaunay) interior edges whose far
// vertex lies strictly inside the circumcircle of the triangle on the other
// side (on a triangulation of a convex region, none such means Delaunay).
inline int Faults(const CKrMeshData& mesh, bool delaunay = true)
{
    int bad = 0;
    for (const _sTri* t : mesh.m_setTri)
        bad += KrTesGeo::Orient2dExact(t->pVer[0]->pt, t->pVer[1]->pt, t->pVer[2]->pt) <= 0;
    for (const _sEdge* e : mesh.m_setEdge) {
        if (!delaunay || !e->pTri[0] || !e->pTri[1]) continue;
        const _sTri *t = e->pTri[0], *o = e->pTri[1];
        for (const _sVertex* v : o->pVer)
            if (v != e->pVer[0] && v != e->pVer[1])
                bad += KrTesGeo::InCircleExact(t->pVer[0]->pt, t->pVer[1]->pt, t->pVer[2]->pt, v->pt) > 0;
    }
    return bad;
}

inline void ExpectValid(CKrMeshData& mesh, bool delaunay = true)
{
    EXPECT_TRUE(mesh.IsMeshOk());
    EXPECT_EQ(Faults(mesh, delaunay), 0);
}

inline _sVertex* VertexAt(const CKrMeshData& mesh, const CKrPoint3d& p)
{
    for (_sVertex* v : mesh.m_setVer)
        if (std::fabs(v->pt.x - p.x) <= 0.01 && std::fabs(v->pt.y - p.y) <= 0.01) return v;
    return nullptr;
}

// True when the plan segment between the vertices at a and b is covered by
// mesh edges: the vertices lying on it, in order along it, are joined by
// edges. Crossing points of split constraints are computed through a
// single-precision angle, so they may sit up to about 1e-7 of the length
// off the ideal line.
inline bool SegmentIsCovered(const CKrMeshData& mesh, const CKrPoint3d& pa, const CKrPoint3d& pb)
{
    const _sVertex *va = VertexAt(mesh, pa), *vb = VertexAt(mesh, pb);
    if (!va || !vb) return false;
    const CKrPoint3d a = va->pt, b = vb->pt;
    const double len = a.Distance2d(b), tol = 1e-6 + 1e-7 * len;
    std::vector<std::pair<double, const _sVertex*>> on;
    for (const _sVertex* v : mesh.m_setVer) {
        const double off = std::fabs((b.x - a.x) * (v->pt.y - a.y) - (b.y - a.y) * (v->pt.x - a.x)) / len;
        const double along = ((v->pt.x - a.x) * (b.x - a.x) + (v->pt.y - a.y) * (b.y - a.y)) / len;
        if (off <= tol && along > -tol && along < len + tol) on.emplace_back(along, v);
    }
    std::sort(on.begin(), on.end());
    bool chain = on.size() >= 2 && on.front().second == va && on.back().second == vb;
    for (std::size_t i = 0; chain && i + 1 < on.size(); ++i) {
        chain = false;
        for (const _sTri* t : on[i].second->setTri)
            for (const _sVertex* c : t->pVer) chain = chain || c == on[i + 1].second;
    }
    return chain;
}

}  // namespace tintest

#endif
