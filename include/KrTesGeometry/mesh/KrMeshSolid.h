#ifndef KRTES_KRMESHSOLID_H
#define KRTES_KRMESHSOLID_H

// Is a triangulated surface the boundary of a solid, what volume does it
// enclose, and where does it run into itself.

#include <cstddef>
#include <utility>
#include <vector>

#include "KrTesGeometry/KrTesExport.h"
#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"

namespace TesTriMesh {

class CKrMeshData;

// What CheckClosedSolid found. An edge is a pair of point indices, the lower
// first; where a kind of fault was found, the first such edge is the lowest
// in (lower index, higher index) order, and {-1, -1} where there is none.
struct KRTES_API SKrSolidCheck {
    std::size_t openEdges = 0;        // edges with a triangle on one side only
    std::size_t overSharedEdges = 0;  // edges shared by more than two triangles
    std::size_t flippedEdges = 0;     // edges run the same way by both their triangles
    std::size_t invalidTris = 0;      // index triples naming a missing point (left out)
    int firstOpen[2] = {-1, -1};
    int firstOverShared[2] = {-1, -1};
    int firstFlipped[2] = {-1, -1};

    // Every edge has triangles on both sides, and no more than two.
    bool IsClosed() const { return openEdges == 0 && overSharedEdges == 0 && invalidTris == 0; }
    // Every edge with two triangles is run in opposite directions by them.
    bool IsOriented() const { return flippedEdges == 0; }
    // Closed and consistently oriented: the boundary of a solid.
    bool IsSolid() const { return IsClosed() && IsOriented(); }
    // The first faulty edge, open before over-shared before flipped; false
    // (and {-1, -1}) when there is none.
    bool FirstFault(int edge[2]) const;
};

// Checks that the index triples bound a closed, consistently oriented
// surface: every edge is shared by exactly two triangles that run along it in
// opposite directions. A triple with a repeated index is checked as it stands
// (its edge from a point to itself has no partner, so it counts as open).
KRTES_API SKrSolidCheck CheckClosedSolid(const std::vector<CKrPoint3d>& pts,
                                         const std::vector<KrTesGeo::_sTri_ID>& tris);
// The same on the triples alone: the check is topological, so any index of
// zero or more names a point.
KRTES_API SKrSolidCheck CheckClosedSolid(const std::vector<KrTesGeo::_sTri_ID>& tris);
// The same on a mesh's topology. Points are numbered in the tolerant vertex
// order, as CKrMeshData::OutputData numbers them (the vertices' nID are not
// touched).
KRTES_API SKrSolidCheck CheckClosedSolid(const CKrMeshData& mesh);

// Signed volume enclosed by the triangles, by the divergence theorem:
// positive when they face outward. Coordinates are taken relative to the
// first point, so that a solid far from the origin keeps its precision. Only
// meaningful for a closed surface. NaN when a triple names a missing point; 0
// without points.
KRTES_API double SolidVolume(const std::vector<CKrPoint3d>& pts, const std::vector<KrTesGeo::_sTri_ID>& tris);
// The same for a mesh, relative to its first vertex in the tolerant order and
// summed in an order that depends only on the vertex order, not on where the
// records lie in memory.
KRTES_API double SolidVolume(const CKrMeshData& mesh);

// The pairs of triangles (i, j), i < j, indices into tris, that meet
// anywhere beyond what they share by index: triangles with no common index
// may not touch at all; two with one common corner may meet only there; two
// with a common edge only along it (they may not fold onto each other in one
// plane); two with all three corners in common always count. Decisions are
// exact (orientation predicates on the coordinates as given), so touching
// counts as meeting, and two points at one position under different indices
// are two points. Triangles whose corners repeat an index, name a missing
// point or lie exactly on one line are passed over. Candidates come from a
// sweep over the triangles' boxes; the search stops once maxPairs pairs are
// found. The pairs come sorted.
KRTES_API std::vector<std::pair<std::size_t, std::size_t>> FindSelfIntersections(
    const std::vector<CKrPoint3d>& pts, const std::vector<KrTesGeo::_sTri_ID>& tris,
    std::size_t maxPairs = static_cast<std::size_t>(-1));

}  // namespace TesTriMesh

#endif
