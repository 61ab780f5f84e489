#ifndef KRTES_KRBOOLEANCUT_H
#define KRTES_KRBOOLEANCUT_H

// Internal helpers of the mesh boolean (not exported): the tolerance of the
// sections, the orders in which records are visited, and the constrained
// triangulation that re-triangulates one cut triangle in its own plane.

#include <array>
#include <cstddef>
#include <map>
#include <utility>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

namespace TesTriMesh {

// The mesh's sets iterate in the order of record addresses, which depends on
// what the process allocated before. Every visit whose order can change a
// decision or the output goes through one of these orders instead, which
// depend on positions only.

// Triangles by their corners in winding order, each list starting at its
// lexicographically smallest corner (so a triangle keeps its key however its
// corners were rotated; a flipped one differs).
bool TriPosLess(const _sTri* a, const _sTri* b);
// The mesh's triangles in TriPosLess order.
std::vector<_sTri*> SortedTris(const CKrMeshData& mesh);
// Edges by their ends, the lexicographically smaller end first.
bool EdgePosLess(const _sEdge* a, const _sEdge* b);
// CKrMeshData::ResetOctTree, filing the triangles in TriPosLess order, so
// that every search of the octree meets its items in that order.
void ResetOctTreeByPos(CKrMeshData& mesh);

// Tolerance of the sections: corners closer than this to the other
// triangle's plane lie in it, and shorter pieces are only touching.
constexpr double kBoolEps = 1e-6;

// Constrained Delaunay triangulation of a triangle in its own plane, with
// points on its edges and inside it and segments between them.
//
// The points are given in 2D; 0, 1, 2 are the corners, counter-clockwise.
// The boundary is the closed chain of the corners and the points on the
// edges, counter-clockwise from corner 0; its pieces may be flagged. Segments
// join any two points and are all flagged. Every decision is made with exact
// orientation and in-circle predicates, inside a super triangle, so that
// points lying a rounding error off an edge do no harm.
class CKrCutTriangulator {
public:
    explicit CKrCutTriangulator(const std::vector<CKrPoint3d>& pts);

    // Builds the triangulation: boundary pieces, then segments. False when a
    // piece could not be placed (two segments cross) or the result does not
    // tile the region the boundary encloses; no output then.
    bool Run(const std::vector<int>& boundary, const std::vector<bool>& boundaryFlag,
             const std::vector<std::pair<int, int>>& segments);

    // Counter-clockwise triangles of the input indices.
    const std::vector<std::array<int, 3>>& Triangles() const { return m_out; }
    // True when the edge (i, j) of the result came from a flagged piece.
    bool IsFlagged(int i, int j) const;

private:
    struct Tri {
        int v[3];   // counter-clockwise
        int nb[3];  // nb[k]: the triangle across the edge opposite v[k]; -1 for none
    };

    const CKrPoint3d& P(int i) const { return m_pts[static_cast<std::size_t>(i)]; }
    int Orient(int a, int b, int c) const;
    static int IndexOf(const Tri& t, int v);
    static std::pair<int, int> Key(int a, int b) { return a < b ? std::make_pair(a, b) : std::make_pair(b, a); }
    bool IsConstrained(int a, int b) const { return m_cons.count(Key(a, b)) != 0; }

    bool InsertPoint(int p);
    int Locate(int p, int& where) const;
    void SplitTri(int t, int p);
    void SplitEdge(int t, int i, int p);
    void Legalize(std::vector<std::pair<int, int>>& stack);
    void Flip(int t, int i);
    void ReplaceNb(int t, int from, int to);
    bool FindEdge(int a, int b, int& t, int& i) const;
    bool InsertSegment(int a, int b, bool flag);
    bool RecoverPiece(int a, int b, int& stop);
    // Keeps the triangles inside the boundary; false unless their doubled
    // areas add up to `whole`, the doubled area the boundary encloses.
    bool Extract(double whole);

    std::vector<CKrPoint3d> m_pts;  // the inputs, then the three super vertices
    int m_nReal;
    std::vector<int> m_alias;       // a point coinciding with an earlier one stands for it
    std::vector<Tri> m_tris;
    std::vector<int> m_vtri;        // a triangle at each vertex
    std::map<std::pair<int, int>, bool> m_cons;  // constrained edges and their flags
    std::vector<std::array<int, 3>> m_out;
    int m_last = 0;
};

}  // namespace TesTriMesh

#endif
