#ifndef KRTES_KRMESHTRANS_H
#define KRTES_KRMESHTRANS_H

#include <vector>

#include "KrTesGeometry/geom/GeoVector.h"
#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/KrTesExport.h"
#include "KrTesGeometry/geom/KrTri3d.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

namespace TesTriMesh {

class CKrMeshBoolean;

// New vertices to be inserted on an existing edge, in the order they were
// found. Whoever receives the record owns it and the vertices in it.
struct KRTES_API _sEdgeConVer {
    _sEdge* edge;
    std::vector<_sVertex*> vertices;

    _sEdgeConVer() : edge(nullptr) {}
    _sEdgeConVer(_sEdge* e, _sVertex* v) : edge(e), vertices{v} {}
};

// The order of edge records kept in a set: by edge, so that the records
// made for one edge are equivalent and can be merged into one.
struct KRTES_API CompEdgeConVer {
    bool operator()(const _sEdgeConVer* a, const _sEdgeConVer* b) const
    {
        return detail::KrPtrValue(a->edge) < detail::KrPtrValue(b->edge);
    }
    bool operator()(const _sEdgeConVer& a, const _sEdgeConVer& b) const
    {
        return detail::KrPtrValue(a.edge) < detail::KrPtrValue(b.edge);
    }
};

// The editing companion of one mesh: sectioning triangles by planes,
// marking the triangles inside a plan polygon and gathering regions of
// triangles bounded by cut lines. The mesh is not owned and must outlive
// this object.
//
// Marks on the mesh's records, which these steps leave behind for the caller
// (clear them with CKrMeshData::ResetSign before a pass that reads them):
//  _sTri::nSign[0]  sign mark, 1 = selected or inside; a barrier to fills;
//  _sTri::nSign[1]  visit mark, 1 = already taken by a fill or a sort;
//  _sTri::bSign     touched by an intersection step (sorted first);
//  _sEdge::bSign    a barrier (an intersection or cut line).
// Region fills walk depth-first with an explicit stack, so a region as large
// as the mesh needs no deep recursion.
class KRTES_API CKrMeshTrans {
public:
    explicit CKrMeshTrans(CKrMeshData& mesh);
    virtual ~CKrMeshTrans();
    CKrMeshTrans(const CKrMeshTrans&) = delete;
    CKrMeshTrans& operator=(const CKrMeshTrans&) = delete;

private:
    friend class CKrMeshBoolean;
    friend class CKrMeshTransTestAccess;  // test hook: defined only by the unit tests

    // The section of triangle tri (corners P0, P1, P2; edges pEdge[0..2] =
    // P0P1, P1P2, P2P0) by the plane through planePt with the given normal,
    // the sides of the corners decided within eps:
    //  0  no contact (all corners strictly on one side);
    //  1  the triangle lies in the plane (nothing written or recorded);
    //  2  a section pt1-pt2: a proper segment, the edge lying in the plane
    //     (its index written to edgeIndex, the only case that writes it), or
    //     pt1 == pt2 where the plane only touches a corner.
    // For every point of the section one record per edge it lies on is
    // appended to conv, each with a new vertex at that point: two for a
    // corner, one for a crossing inside an edge.
    static int IntersectTriAndPlane3D(const _sTri* tri, const CKrPoint3d& planePt, const KrTesGeo::CGeoVector& normal,
                                      CKrPoint3d& pt1, CKrPoint3d& pt2, std::vector<_sEdgeConVer*>& conv,
                                      int& edgeIndex, double eps);

    // Whether a region fill stops at this edge of tri: a barrier edge, the
    // border, or a triangle across already visited or signed. Otherwise
    // next gets the triangle across and the result is false.
    bool IsEndOfSeg(const _sTri* tri, const _sEdge* edge, _sTri*& next);

    // Sign mark 1 for every triangle whose plan centroid lies strictly inside
    // the polygon (x, y used); every other triangle gets 0. Needs a current
    // octree.
    void SignTrisInPolygon(const std::vector<CKrPoint3d>& polygon) const;

    // The region around the triangle at pt: seed first, then the triangles
    // reached across free edges. Visit marks stay set. False, out untouched,
    // when no triangle is near the point.
    bool GetOneSideTrisByOnePt(const CKrPoint3d& pt, std::vector<_sTri*>& out);

    // Sorts this mesh's triangles by how they lie against `other`
    // (CKrMeshQuery::HitTestTri): triangles flagged by an intersection step
    // first, then whole regions, each taking the class of its seed: front
    // regions to region1, back regions to region2; triangles on the other
    // surface facing the same way to hit3, facing the other way to hit4, and
    // those without an answer to hit0. lastSeed receives the corners of the
    // last region seed. Always true.
    bool SortTrisByEdge(CKrMeshData& other, std::vector<_sTri*>& region1, std::vector<_sTri*>& region2,
                        std::vector<_sTri*>& hit3, std::vector<_sTri*>& hit4, std::vector<_sTri*>& hit0,
                        CKrTri3d& lastSeed);

    // Appends to region the triangles reached from the seed on top of the
    // stack, each given visit mark 1 (depth-first, edges in slot order).
    void FillRegion(std::vector<_sTri*>& stack, std::vector<_sTri*>& region);

    CKrMeshData* m_pMesh;
};

}  // namespace TesTriMesh

#endif
