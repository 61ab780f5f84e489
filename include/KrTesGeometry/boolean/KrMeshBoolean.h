#ifndef KRTES_KRMESHBOOLEAN_H
#define KRTES_KRMESHBOOLEAN_H

#include <array>
#include <unordered_set>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/KrSeg3d.h"
#include "KrTesGeometry/KrTesExport.h"
#include "KrTesGeometry/geom/KrTri3d.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

namespace TesTriMesh {

// Intersecting two triangle meshes, cutting both along the intersection and
// sorting the triangles of one against the solid bounded by the other.
//
// Cutting. Every pair of triangles that meet (found through the octree of
// the first mesh, boxes widened by 1e-6) is sectioned: corners within 1e-6
// of the other triangle's plane count as lying in it, and triangles lying in
// one plane contribute the pieces of each one's edges that lie on the other.
// The end points of the pieces become vertices of both meshes, at the same
// positions in both. Points that a mesh could not keep apart are settled
// first: a point within 1.5 times the merge tolerance (g_dVerTol) of a
// vertex of either mesh goes to that vertex, and points closer than the
// tolerance to each other become one. A point on an edge (within 1e-5, or
// just across it after such a merge) is shared by the two triangles of the
// edge. Each cut triangle is re-triangulated in its own plane so that every
// piece is made of edges, and those edges are flagged (_sEdge::bSign);
// triangles touched by the intersection get _sTri::bSign. Cutting again
// along the same lines finds the vertices and edges already there and
// changes nothing.
//
// Where the two surfaces come within the merge tolerance of each other's
// vertices and edges, merged points move the surfaces by up to that
// tolerance; solids should therefore be large against it (the tolerance is
// 0.01 by default: metres for mine models).
//
// Classification sorts whole regions bounded by flagged edges, each by the
// side of the other surface its first triangle lies on
// (CKrMeshTrans::SortTrisByEdge with CKrMeshQuery::HitTestTri), so it needs
// a closed, consistently oriented reference surface. A triangle counts as
// lying on the reference only where the cut found the surfaces coplanar; a
// sliver along an intersection line that merely comes that close takes the
// class of its neighbour across a free edge.
class KRTES_API CKrMeshBoolean {
public:
    // Which cut ClassifyMesh_New and IntersectMesh run (one setting for the
    // process). kTolerant is the cut described above; it fails on surfaces
    // that cross along many shallow lines (it then reports the failure).
    //
    // kExact, the default, decides everything exactly: triangle pairs come from a cell
    // grid over both meshes' triangle boxes; each pair is intersected with
    // exact orientation predicates on the input coordinates; every point of
    // the intersection is named by the simplices of the two meshes (vertex,
    // edge or triangle) holding it in their relative interiors, so one point
    // found from several pairs is one point, and points off the inputs stay
    // implicit (a segment meeting a plane, two segments meeting in a plane)
    // under exact, filtered predicates. Met triangles are re-triangulated in
    // their planes with the intersection as constraints. Edges both meshes
    // then have bound the regions of the target; a region is sorted by the
    // exact position of one of its triangles against the two reference
    // triangles at such an edge (lying in one of them: same or opposite by
    // facing), one without such an edge by the parity of an upward ray,
    // symbolically perturbed, from one of its input vertices. Cut triangles
    // are re-triangulated with Delaunay flips (on the rounded points, each
    // flip checked by exact orientation), so that large triangles crossed by
    // many lines get no slivers for rounding to fold.
    // Before the cut, every target vertex within about 1.5e-11 of the
    // largest coordinate of the reference surface (a rounded seam point of
    // an earlier cut) becomes a vertex of the reference, and target edges
    // joining two such vertices inside one reference triangle become its
    // edges: a target cut once and sorted again against the uncut other
    // surface keeps its seam instead of being cut beside it. A target edge
    // between two such vertices that crosses a reference edge (its crossing
    // point merged into an end by an earlier cut) has that end taken onto
    // the reference edge, so the seam is laid into one reference triangle;
    // the reference then moves by up to twice g_dVerTol there. Points are
    // rounded once, when written. Each new point closer than g_dVerTol to
    // vertices goes to the nearest target vertex, else the nearest
    // reference vertex (which moves onto the first such point: it lies on
    // both surfaces), else the nearest earlier new point; both meshes use
    // the same representative, vertices of one mesh never merge with each
    // other, and written positions lie at least g_dVerTol from every
    // vertex they are not merged with. Pieces that collapse, or fold onto
    // a piece in opposite winding, are dropped; a target piece merging laid
    // onto a reference piece is sorted as lying on it. Features smaller
    // than g_dVerTol therefore still lose detail: an intersection line
    // passing closer than the tolerance to a vertex is pulled through it.
    // Known limits: on dense curved pairs (offset spheres of 20,000 and
    // 80,000 triangles) results are closed and oriented but a few triangle
    // pairs still cross where merging folded a piece; volumes agree to
    // what the merging moves (about 1e-8 to 1e-6 of the volume for solids
    // of radius 10), not to rounding.
    enum class CutEngine { kExact, kTolerant };
    static void SetCutEngine(CutEngine engine);
    static CutEngine GetCutEngine();

    // Cuts both meshes along their intersection (as above) and sorts the
    // triangles of `target` against the solid of `reference`:
    //  outside   in front of the reference surface (outside the solid);
    //  inside    behind it (inside);
    //  same      lying on it, facing the same way;
    //  opposite  lying on it, facing the other way;
    //  fifth     triangles without an answer (degenerate ones).
    // The lists are emptied first; every target triangle ends in exactly one.
    // segments is replaced by the intersection lines as they were cut into
    // the target: one segment per flagged edge, from the lexicographically
    // smaller end, sorted. lastSeed receives the corners of the last region
    // seed. A reference without triangles puts every target triangle
    // outside. Both octrees are current afterwards; the target's triangles
    // keep the visit marks of the sort.
    // Every visit that decides a class or an order goes by positions, never
    // by record addresses: the same meshes give the same lists in the same
    // order, whatever the process allocated before.
    // False when the meshes are one object, when some cut could not be made
    // (the lists are still filled, but regions may have run together across
    // the gap), when the reference, once cut, is not a closed, consistently
    // oriented surface (CheckClosedSolid: its sides are then undefined), or
    // when some target triangle could not be classified.
    static bool ClassifyMesh_New(CKrMeshData& reference, CKrMeshData& target, std::vector<CKrSeg3d>& segments,
                                 std::vector<_sTri*>& outside, std::vector<_sTri*>& inside, std::vector<_sTri*>& same,
                                 std::vector<_sTri*>& opposite, std::vector<_sTri*>& fifth, CKrTri3d& lastSeed);

    // Cuts both meshes along their intersection. segments is replaced by
    // the flagged edges of meshB, as in ClassifyMesh_New. The sign marks of
    // both meshes are reset first (CKrMeshData::ResetSign, and every
    // triangle's bSign cleared). Extents are recomputed from the vertices
    // and octrees rebuilt. False when some cut triangle could not be
    // re-triangulated (it is then left whole) or a piece could not be placed
    // in it; true otherwise, also when the meshes do not meet.
    static bool IntersectMesh(CKrMeshData& meshA, CKrMeshData& meshB, std::vector<CKrSeg3d>& segments);

private:
    friend class CKrMeshBooleanTestAccess;  // test hook: defined only by the unit tests

    // A piece of the intersection inside one triangle of a mesh.
    struct CutPiece {
        _sTri* tri;
        _sVertex* v0;
        _sVertex* v1;
    };

    // The common part of the triangles a and b (corner positions) as
    // segments appended to out: 0 apart or touching at a point, 1 crossing or
    // touching along a segment, 2 coplanar and overlapping (the pieces of
    // each triangle's edges lying on the other), -1 a degenerate triangle.
    // The sides of the corners come from CKrMeshTrans::IntersectTriAndPlane3D.
    static int IntersectTriAndTri3D(const _sTri* a, const _sTri* b,
                                    std::vector<std::array<CKrPoint3d, 2>>& out);

    // IntersectMesh; when coplanarB is given it receives the triangles of
    // meshB (after the cut) that come from triangles found coplanar with,
    // and overlapping, a triangle of meshA.
    static bool Cut(CKrMeshData& meshA, CKrMeshData& meshB, std::vector<CKrSeg3d>& segments,
                    std::unordered_set<_sTri*>* coplanarB);

    // Cuts the mesh along the pieces; false when some piece or triangle
    // could not be handled. Triangles in `tracked` that are re-triangulated
    // are replaced there by their pieces.
    static bool CutMesh(CKrMeshData& mesh, const std::vector<CutPiece>& pieces, std::unordered_set<_sTri*>* tracked);
};

}  // namespace TesTriMesh

#endif
