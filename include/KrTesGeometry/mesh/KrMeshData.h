#ifndef KRTES_KRMESHDATA_H
#define KRTES_KRMESHDATA_H

#include <cmath>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/KrTesExport.h"
#include "KrTesGeometry/geom/KrTri3d.h"
#include "KrTesGeometry/geom/sTriID.h"
#include "KrTesGeometry/math/TESCommFunc.h"
#include "KrTesGeometry/mesh/detail/KrMeshContainers.h"
#include "KrTesGeometry/mesh/KrMeshRecords.h"
#include "KrTesGeometry/mesh/detail/KrOrderedSet.h"
#include "KrTesGeometry/mesh/octree/KrOctaTreeEx.h"

class CGeDataTriMesh;
class CKrPolyLine;

namespace TesTriMesh {

// The vertex merge tolerance. One variable for the whole process: every
// CKrMeshData constructor writes it, so the most recently constructed mesh
// decides how every mesh merges vertices from then on.
extern KRTES_API double g_dVerTol;

// The tolerant vertex order of a mesh's vertex set. Two vertices closer than
// g_dVerTol (squared distance strictly below its square) are equivalent: one
// vertex. Otherwise x, then y, then z are compared with CompDouble2 under the
// tolerance; when all three agree within it (points at least the tolerance
// apart with no single axis differing by more), the axis of largest absolute
// difference (x on ties, then y) decides exactly.
struct CKrVerLess {
    bool operator()(const _sVertex* a, const _sVertex* b) const
    {
        const double tol = g_dVerTol;
        const double dx = a->pt.x - b->pt.x, dy = a->pt.y - b->pt.y, dz = a->pt.z - b->pt.z;
        if (dx * dx + dy * dy + dz * dz < tol * tol) return false;
        int c = TESCommFunc::CompDouble2(a->pt.x, b->pt.x, tol);
        if (c != 0) return c < 0;
        c = TESCommFunc::CompDouble2(a->pt.y, b->pt.y, tol);
        if (c != 0) return c < 0;
        c = TESCommFunc::CompDouble2(a->pt.z, b->pt.z, tol);
        if (c != 0) return c < 0;
        const double ax = std::fabs(dx), ay = std::fabs(dy), az = std::fabs(dz);
        if (ax >= ay && ax >= az) return a->pt.x < b->pt.x;
        if (ay >= az) return a->pt.y < b->pt.y;
        return a->pt.z < b->pt.z;
    }
    // The plan position alone decides wherever x or y differ by more than the
    // tolerance (the points are then at least that far apart, so not
    // equivalent): the vertex set keeps it beside each element and compares
    // most keys without reading the vertices.
    struct PlanKey {
        double x, y;
    };
    static PlanKey Prefix(const _sVertex* v) { return PlanKey{v->pt.x, v->pt.y}; }
    static int ComparePrefix(const PlanKey& a, const PlanKey& b)
    {
        const int c = TESCommFunc::CompDouble2(a.x, b.x, g_dVerTol);
        return c != 0 ? c : TESCommFunc::CompDouble2(a.y, b.y, g_dVerTol);
    }
    static bool SameBand(const PlanKey& a, const PlanKey& b)
    {
        return TESCommFunc::CompDouble2(a.x, b.x, 4.0 * g_dVerTol) == 0;
    }
    // Vertices whose x agree within the tolerance are ordered by y and z,
    // which is not transitive across them: the vertex set looks for an
    // equivalent vertex among such neighbours too, so that a point closer
    // than the tolerance to an existing vertex always merges with it.
    static bool SameBand(const _sVertex* a, const _sVertex* b)
    {
        return TESCommFunc::CompDouble2(a->pt.x, b->pt.x, 4.0 * g_dVerTol) == 0;
    }
    // The size of the cells the vertex set grids a band too dense to walk
    // with: a vertex closer than the tolerance lies in a neighbouring cell.
    static double CellSize() { return g_dVerTol; }
};

// The order of a mesh's edge set: (pVer[0], pVer[1]) by pointer value.
struct CKrEdgeLess {
    bool operator()(const _sEdge* a, const _sEdge* b) const
    {
        const uintptr_t a0 = detail::KrPtrValue(a->pVer[0]), b0 = detail::KrPtrValue(b->pVer[0]);
        return a0 < b0 || (a0 == b0 && detail::KrPtrValue(a->pVer[1]) < detail::KrPtrValue(b->pVer[1]));
    }
};

// A topological triangle mesh: vertices merged within g_dVerTol, edges
// shared by at most two triangles, triangles that know their corners and
// edges, vertices that know their triangles, an extent and an optional octree
// over the triangles.
//
// The mesh owns every record in its sets. Vertices are heap objects (an
// algorithm may create one with new, insert it into m_setVer and keep the
// existing vertex when the insert finds an equivalent one); triangles and
// edges come from the mesh's own pools and are created and freed only through
// AddTri/DelTri, the imports and the cleanup operations.
class KRTES_API CKrMeshData {
public:
    using VerSet = detail::CKrOrderedSet<_sVertex*, CKrVerLess>;  // B+tree; iterates in the tolerant order
    using TriSet = detail::CKrPoolSet<_sTri>;       // iterates in allocation order
    using EdgeSet = detail::CKrEdgeSet<_sEdge, _sVertex>;  // iterates in (pVer[0], pVer[1]) order

    // The vertices, in the tolerant order; owned. The set caches each
    // vertex's x and y: move vertices only by a shift that keeps their order,
    // followed by m_setVer.RefreshPrefixes().
    VerSet m_setVer;
    TriSet m_setTri;    // the triangles, in allocation order; owned (and their pool)
    EdgeSet m_setEdge;  // the edges, by vertex pair; owned (and their pool)
    GeoTreeEx::CKrOctaTreeEx* m_pOctTree;  // over the triangles; null until ResetOctTree
    CKrPoint3d m_ptMax;  // extent; (-DBL_MAX, ...) when empty
    CKrPoint3d m_ptMin;  // extent; (DBL_MAX, ...) when empty

    CKrMeshData();
    // Sets the process-wide merge tolerance g_dVerTol to dTol.
    explicit CKrMeshData(double dTol);
    // Frees every record and the octree.
    virtual ~CKrMeshData();
    CKrMeshData(const CKrMeshData&) = delete;
    CKrMeshData& operator=(const CKrMeshData&) = delete;

    // ---- editing -------------------------------------------------------------
    // A new triangle (a, b, c) on three vertices of this mesh, linked into the
    // corners' setTri and into its three edges (created as needed) and filed
    // in the octree when there is one. Null, with nothing created, when two
    // corners are the same vertex (or a corner is null). An edge that already
    // holds two triangles does not take the new one, but the triangle still
    // points to it. A triangle duplicating an existing one is not detected.
    // The extent is not updated.
    _sTri* AddTri(_sVertex* a, _sVertex* b, _sVertex* c);

    // Removes t and every link to it: octree entry, corners' setTri, edge
    // slots; edges left without triangles are deleted. Vertices stay, even
    // without triangles. Null t does nothing.
    void DelTri(_sTri* t);

    // Erases t from v->setTri (nothing when absent); touches nothing else.
    static void TopoDelVetTri(_sVertex* v, _sTri* t);

    // Deletes the edge of the set that has e's vertex pair, empty or not.
    void DelVoidEdge(_sEdge* e);

    // The first of t->pEdge[0..2] joining a and b (either order); null when
    // any argument is null or there is none. Works on inverted triangles.
    _sEdge* FindEdgeByVer(_sVertex* a, _sVertex* b, _sTri* t) const;

    // The triangle across e from t (null when e is null, t is not on e, or e
    // has no other triangle).
    _sTri* FindTriCoEdge(const _sEdge* e, const _sTri* t) const;

    // The vertex of this mesh at pt: the existing one within g_dVerTol, or a
    // new one (which widens the extent).
    _sVertex* InsertVertex(const CKrPoint3d& pt);

    void UpdateExtent(const _sVertex& v);
    CKrPoint3d GetMinLimit() const { return m_ptMin; }
    CKrPoint3d GetMaxLimit() const { return m_ptMax; }
    long TriNum() const { return static_cast<long>(m_setTri.size()); }

    // Rebuilds the octree over the current extent (depth 8, looseness 0.2)
    // with every triangle, in set order; no octree for a mesh without
    // triangles. The extent must be current.
    void ResetOctTree();

    // Deletes every triangle, and with them every edge (edges exist only
    // through triangles); empties the corners' setTri and clears the octree.
    // The vertices stay.
    void ClearTriData();
    // Deletes every edge object and empties m_setEdge.
    void ClearEdgeData();
    // Deletes every vertex, edge and triangle and resets the extent. The
    // octree object stays, emptied, until the next ResetOctTree.
    void ClearAllData();

    // ---- interchange ---------------------------------------------------------
    // Imports: bClear true empties the mesh first, false adds to it (points
    // merging with the existing vertices). Points merge within g_dVerTol; a
    // triple naming a missing point (index out of range, null record) or
    // whose corners merge into fewer than three vertices produces no
    // triangle. The octree is rebuilt at the end.
    void InputData(const std::vector<CKrPoint3d>& pts, const std::vector<KrTesGeo::_sTri_ID>& ids, bool bClear);
    void InputData(const CGeDataTriMesh& mesh, bool bClear);
    void InputData(const std::vector<CKrTri3d>& tris, bool bClear);

    // Exports. Points come in the tolerant vertex order, and each vertex's
    // nID becomes its point index; triangles come in set (pointer) order, so
    // only the vertex order is reproducible.
    void OutputData(std::vector<CKrPoint3d>& pts, std::vector<KrTesGeo::_sTri_ID>& ids);
    // Empties both arrays first (capacity kept), then sizes them with the
    // interchange growth rule.
    void OutputData(CGeDataTriMesh& mesh);
    void OutputData(std::vector<CKrTri3d>& tris) const;
    // Copies this mesh into dst (vertices re-merged there under g_dVerTol).
    // False, dst untouched, when this mesh has neither vertices nor triangles
    // or dst is this mesh.
    bool OutputData(CKrMeshData& dst);
    void OutputPoints(std::vector<CKrPoint3d>& pts) const;

    // ---- validation ----------------------------------------------------------
    // Counting checks: 0 when sound, else a bit set of the faults found.
    //  Same:  1 a triangle with two equal corners, 2 with two equal edge
    //         pointers, 4 an edge with equal ends, 8 an edge holding one
    //         triangle in both slots.
    //  Null:  1 a null corner, 2 a null edge pointer, 4 an edge with a null end.
    //  Unite: 1 a triangle missing from a corner's setTri, 2 a triangle
    //         missing from one of its edges, 4 a corner that is not an end of
    //         two of the triangle's edges, 8 a vertex whose setTri lists a
    //         triangle that lacks it.
    // Null links met on the way count as faults of the check, never crash.
    int CheckMeshDataSame();
    int CheckMeshDataNull();
    int CheckMeshDataUnite();
    int CheckPointer() const;  // always 0

    static bool CheckTriEdgeUnite(_sTri* t);
    static bool CheckTriVerEdgeUnite(_sTri* t);
    static bool CheckTriVerUnite(_sTri* t);
    static bool CheckVerTriUnite(_sVertex* v);
    bool CheckHasThePointer(_sVertex* v) const;
    bool CheckHasTheEdge(_sEdge* e) const;
    bool CheckHasTheTri(_sTri* t) const;
    // True when some edge of t is null, does not hold t, or has nothing
    // across it.
    static bool IsBorderTri(_sTri* t);

    // Every edge's slots agree with the triangles its two ends share.
    bool CheckEdgeOk();
    // No two edge objects share a vertex pair and the set's order holds.
    bool CheckEdgeSetOk();
    // All counting checks 0, CheckEdgeOk and CheckEdgeSetOk.
    bool IsMeshOk();

    // ---- cleanup and bulk edits ------------------------------------------------
    void DelVoidEdge();  // deletes every edge without triangles
    // Deletes every vertex without triangles (and the edges without
    // triangles that start at it); the extent is kept.
    void DelVoidVet();
    // Rebuilds the mesh through an export and re-import: vertices re-merged
    // under the current g_dVerTol, collapsed triangles dropped, empty edges
    // gone, vertices renumbered, octree rebuilt. Unused vertices survive.
    void Simplify();
    void ResetSign();  // triangles' nSign to -1, edges' bSign to false
    void Invert();     // _sTri::Invert on every triangle
    void SetZ(double z);  // every vertex's z; extent, edges, octree untouched

    // ---- border lines ----------------------------------------------------------
    // The boundary of the mesh, formed by the edges that hold exactly one
    // triangle, as polylines. A closed loop comes back closed, without
    // repeating its first vertex; it runs with the triangles' winding (so a
    // counter-clockwise surface gives a counter-clockwise outer loop and
    // clockwise holes). Where loops touch at a vertex they are returned as
    // separate simple loops. Border chains that do not close (only on broken
    // or non-manifold topology) come back open unless closedOnly is true, in
    // which case only closed loops are returned. The result is deterministic:
    // loops start at their first vertex in the tolerant vertex order and come
    // in that order. `lines` is emptied first; returns true when at least
    // one line was produced.
    bool GetBorderLine(std::vector<CKrPolyLine>& lines, bool closedOnly) const;

private:
    // Creates and links a triangle on three distinct vertices (no octree).
    _sTri* LinkTri(_sVertex* a, _sVertex* b, _sVertex* c);
    // The edge of (a, b) in the set, created when missing.
    _sEdge* GetEdge(_sVertex* a, _sVertex* b);
    // The merged vertex for a point (a new one widens the extent).
    _sVertex* MergeVertex(double x, double y, double z);
};

// The axis-aligned box of a triangle's corners: min x, y, z, max x, y, z.
void KrTriBox(const _sTri* t, double box[6]);

}  // namespace TesTriMesh

#endif
