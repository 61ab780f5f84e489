#ifndef KRTES_KRDELAUNAY_H
#define KRTES_KRDELAUNAY_H

#include <cstddef>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/KrPolyLine.h"
#include "KrTesGeometry/KrTesExport.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

namespace TesTriMesh {

class CKrPlanarVertexIndex;

// Constrained Delaunay triangulation in plan (z is carried along) of the
// vertices of a caller-owned mesh: incremental insertion into a super
// triangle (cavity method), then recovery of constraint segments, then
// clipping by an outline and holes.
//
// Use once: construct over the mesh, add points (AddVertex) and constraints
// (AddSegYS, SetOutline, AddHoleLine), call Delaunay(), destroy. The mesh
// keeps every vertex and triangle; the triangulator owns only its constraint
// records and hole polylines.
//
// The coordinate tolerance of the vertex index is process-wide: every
// constructor overwrites it (0.01 before any construction). Two points whose
// x and y both agree within it are one vertex.
class KRTES_API CKrDelaunay {
public:
    CKrDelaunay(CKrMeshData& mesh, double tol);
    virtual ~CKrDelaunay();
    CKrDelaunay(const CKrDelaunay&) = delete;
    CKrDelaunay& operator=(const CKrDelaunay&) = delete;

    // Adds a vertex (tag stored in nID) or returns the existing one within
    // the tolerance in plan, which keeps its coordinates and tag. A point with
    // a NaN or infinite coordinate is refused: null.
    _sVertex* AddVertex(const CKrPoint3d& pt, int tag);
    _sVertex* AddVertex(const CKrPoint3d& pt);

    // Runs the whole triangulation; true when the mesh ends with at least one
    // triangle. The caller's coordinates are never moved (the in-circle tests
    // work relative to the centre of the extent); the extent is recomputed
    // from the remaining vertices and the octree rebuilt, also on failure.
    bool Delaunay();

    bool IsNotMesh() const;
    // Shifts the mesh's vertices and extent, the holes and the outline to
    // the local origin at the centre of the extent (false) or back (true).
    void TranslateCoord(bool back);
    void SetTriBound();
    // The triangle holding (x, y) (inside, on an edge or on a corner), or null.
    _sTri* FindTri(double x, double y) const;
    // Steps from tri across its edge a-b when the segment (x1,y1)-(x2,y2)
    // crosses a-b, deleting tri; returns the neighbour, or null (tri stays).
    _sTri* FindNextTri(_sTri* tri, _sVertex* a, _sVertex* b, double x1, double y1, double x2, double y2);
    // The cavity of p: triangles whose circumcircle holds p (on the circle
    // counts), connected to start through such triangles, in depth-first order.
    void FindCircumTri(const _sVertex* p, _sTri* start, std::vector<_sTri*>& out) const;
    bool InsertPtIntoMesh(_sVertex* p);

    // ---- constraints ----------------------------------------------------------
    bool AddSegYS(const std::vector<CKrPoint3d>& pts, int tag, bool closed);
    bool AddSegYS(const std::vector<CKrPoint3d>& pts, bool closed, bool markEnds);
    bool SetOutline(const std::vector<CKrPoint3d>& pts);
    bool SetOutline(const std::vector<CKrPoint3d>& pts, int tag);
    bool AddHoleLine(const std::vector<CKrPoint3d>& pts);
    void SetIsCheckYS(bool check);
    void PreDealForEdge();
    int BreakSeg(_sSeg*& s1, _sSeg*& s2, _sSeg*& s1a, _sSeg*& s1b, _sSeg*& s2a, _sSeg*& s2b);
    void DealSegYS(const _sSeg* seg);
    // Removes the triangles crossed by the segment a-b and returns the vertex
    // chains on its right (side1) and left (side2), both starting at a and
    // ending at the vertex where the walk stopped (b, or an existing vertex
    // lying on the segment, returned in stop). False when nothing has to be
    // rebuilt: a-b (or a-stop) is already an edge, or the walk cannot proceed
    // (stop is then null).
    bool GetSegYsPoly(_sVertex* a, _sVertex* b, std::vector<_sVertex*>& side1, std::vector<_sVertex*>& side2,
                      _sVertex*& stop);
    // Triangulates one cavity polygon (either winding) into counter-clockwise
    // triangles.
    bool TriPolyDelaunay(std::vector<_sVertex*>& poly);

    // Optional progress report during insertion: called with (points done,
    // points in all) now and then. The library prints nothing itself.
    void SetProgress(std::function<void(std::size_t, std::size_t)> progress);

    // Whole convex hull (off by default): the result is the triangulation of
    // the convex hull of the points, with the thin triangles along the hull
    // that the super triangle would otherwise take with it (exactly
    // 2n - 2 - h triangles for n points, h of them on the hull, without
    // constraints). An outline and holes still clip the result.
    void SetFullHull(bool on);
    bool IsFullHull() const;

    // The process-wide coordinate tolerance of the vertex index.
    static double GetCoordTol();

private:
    struct CAbort {};  // abandons a failing run; caught inside Delaunay()

    _sVertex* NewVertex(const CKrPoint3d& pt, bool hasTag, int tag);
    bool AddSegments(const std::vector<_sVertex*>& vers, bool closed);
    // Sets the outline polyline from the points' vertices (consecutive
    // duplicates and a repeated closing point dropped); false below 3 points.
    bool SetOutlineRing(const std::vector<CKrPoint3d>& pts);
    void InsertAllVertices();
    bool TriangulateChain(std::vector<_sVertex*>& poly);
    void ClipByOutlineAndHoles();
    void ClearOldTriangles();
    // Deletes the super triangle's triangles; with the full hull on, fills
    // the pockets they leave inside the convex hull.
    void RemoveSuperTriangle();

    CKrMeshData& m_mesh;
    CKrPoint3d m_ptOrigin;
    _sVertex* m_pTriBound[3];
    CKrPolyLine m_plOutline;
    std::vector<CKrPolyLine*> m_vecHole;
    std::vector<_sSeg*> m_vecSeg;
    bool m_bCheckYS;
    bool m_bFullHull = false;
    std::unique_ptr<CKrPlanarVertexIndex> m_pVerIndex;
    std::function<void(std::size_t, std::size_t)> m_fnProgress;
    // Working lists reused from one inserted point to the next.
    mutable std::vector<_sTri*> m_vecStack;
    std::vector<_sTri*> m_vecCavity;
    std::vector<std::pair<_sVertex*, _sVertex*>> m_vecRim;
};

}  // namespace TesTriMesh

#endif
