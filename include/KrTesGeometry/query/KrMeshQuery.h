#ifndef KRTES_KRMESHQUERY_H
#define KRTES_KRMESHQUERY_H

#include <cstddef>
#include <memory>
#include <vector>

#include "KrTesGeometry/geom/GeoVector.h"
#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/KrPolyLine.h"
#include "KrTesGeometry/geom/KrSeg3d.h"
#include "KrTesGeometry/KrTesExport.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

namespace TesTriMesh {

class CKrPlanTriGrid;

class CKrMeshTrans;

// Read-only questions about one mesh: the triangles at a position, the
// surface height under a plan point, the first hit of a ray, the side of a
// closed surface a point lies on, lines draped over the surface, the vertices
// inside a plan polygon and the outline of the surface.
//
// Every position search goes through the mesh's octree, which must be current
// (CKrMeshData::ResetOctTree) when a query is made; a mesh without an octree
// simply has nothing to find. The query object does not own the mesh, and
// the mesh must not change while the object lives: the outline, once formed,
// is kept and never rebuilt.
class KRTES_API CKrMeshQuery {
public:
    // The side of a surface a point (or a triangle) lies on.
    enum eTriHitMesh {
        eHitNone = 0,     // no answer: empty mesh, nothing near, degenerate query triangle
        eHitFront = 1,    // off the surface, on the side the nearest triangle's normal points to
        eHitBack = 2,     // off the surface on the other side (or in the nearest plane beyond its edges)
        eHitOnFront = 3,  // on the surface, the given direction along the normal
        eHitOnBack = 4    // on the surface, the direction against the normal or along the surface
    };

    explicit CKrMeshQuery(const CKrMeshData& mesh);
    virtual ~CKrMeshQuery();
    CKrMeshQuery(const CKrMeshQuery&) = delete;
    CKrMeshQuery& operator=(const CKrMeshQuery&) = delete;

    // The height of the surface at plan position (x, y): the highest sheet
    // where the surface folds over itself, edges and corners included within
    // 1e-6. False, with z untouched, when no triangle lies over the point.
    bool GetMapPoint(double x, double y, double& z) const;

    // The nearest point where the ray origin + t*dir (t >= 0) meets the
    // surface; of equally near hits the one from the triangle first in
    // pointer order. False, hit untouched, when the ray misses.
    bool IntersectRay(CKrPoint3d& hit, const CKrPoint3d& origin, const KrTesGeo::CGeoVector& dir);

    // The side of the surface pt lies on, judged by the nearest triangle
    // (front = the side its normal points to). For a point on the surface
    // (within 1e-6) the answer tells whether dir leaves along the normal.
    // Meant for closed, consistently wound meshes; see eTriHitMesh.
    eTriHitMesh HitTestPt(const CKrPoint3d& pt, const KrTesGeo::CGeoVector& dir) const;

    // HitTestPt at the centroid of abc with abc's normal as the direction:
    // whether the triangle lies in front of, behind or on the surface, and,
    // lying on it, whether it faces the same way. eHitNone for a degenerate
    // triangle.
    eTriHitMesh HitTestTri(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c) const;

    // Drapes the plan polyline over the surface: the pieces of each of its
    // segments (the closing one too when closed) over each triangle, lifted
    // onto it, without repeats. The pieces come in search order, not along
    // the line. False for fewer than 2 points.
    bool GetMapPolyline(const std::vector<CKrPoint3d>& pts, bool closed, std::vector<CKrSeg3d>& out) const;
    // The same, chained into polylines (CKrSeg3d::LinkSeg). False, out
    // empty, when there is nothing to chain.
    bool GetMapPolyline(const std::vector<CKrPoint3d>& pts, bool closed, std::vector<CKrPolyLine>& out) const;

    // The outline of the surface, formed from its border edges on first
    // demand. One loop: the one with the most vertices (the first of equal
    // counts). A closed loop does not repeat its first vertex. False when
    // the mesh has no border (also for a mesh of isolated triangles, which
    // by design have no outline).
    bool GetOutline(CKrPolyLine& out);
    // Every loop of the outline.
    bool GetOutline(std::vector<CKrPolyLine>& out);

protected:
    // Every triangle filed in an octree node whose box meets the box of
    // half-size 1e-6 around pos (in plan when use3D is false): candidates,
    // possibly far from pos, without a containment test. out is cleared first.
    void FindTriByPos(CKrPoint3d pos, std::vector<_sTri*>& out, bool use3D) const;
    // Appends the candidates of the spatial search whose plan projection
    // holds (pt.x, pt.y), edges and corners included (within 1e-6;
    // counter-clockwise triangles). True when out is not empty.
    bool FindTriIncludePt(const CKrPoint3d& pt, std::vector<_sTri*>& out) const;
    // The vertices strictly inside the plan polygon (x, y used), each once,
    // in pointer order. False for fewer than 3 polygon points or none inside.
    bool GetVersInMapPolygon(const std::vector<CKrPoint3d>& polygon, std::vector<_sVertex*>& out) const;

private:
    friend class CKrMeshTrans;            // seeds its region fills with FindTriByPos

    // Appends the pieces of the plan segment p1-p2 over each triangle that
    // are not already in out (in either direction).
    void GetMapLineSeg(const CKrPoint3d& p1, const CKrPoint3d& p2, std::vector<CKrSeg3d>& out) const;
    // One new segment per border edge of every triangle with one or two
    // border edges, in the edge's vertex order; the caller deletes them.
    void GetSegsOfMesh(std::vector<_sSeg*>& out);
    // Chains segments into polylines by vertex identity; a chain that comes
    // back to its start is closed (its repeated vertex dropped).
    bool LinkPtrSegs(const std::vector<_sSeg*>& segs, std::vector<CKrPolyLine>& out) const;
    // Fills the outline cache.
    void FormOutline();

    const CKrMeshData& m_mesh;
    std::vector<CKrPolyLine> m_vecOutline;  // empty until FormOutline
    // A plan grid of the triangles, built once the object has answered enough
    // elevation queries to pay for it (the mesh does not change while a query
    // object lives).
    mutable std::unique_ptr<CKrPlanTriGrid> m_pPlanGrid;
    mutable std::size_t m_nMapQueries = 0;
};

}  // namespace TesTriMesh

#endif
