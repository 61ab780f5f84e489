#ifndef KRTES_KREXACTCUT_H
#define KRTES_KREXACTCUT_H

// The exact cut and classification behind CKrMeshBoolean (internal).
//
// Both meshes are read into index arrays in an order that depends on
// positions only (vertices in the vertex set's order, triangles by their
// corners' positions). Candidate triangle pairs come from a cell grid over
// the triangles' boxes, in index order. Every pair is intersected with exact
// orientation predicates on the input coordinates; each point of the
// intersection is named by the pair of simplices (vertex, edge or triangle
// of either mesh) whose relative interiors hold it, so that one point found
// from several pairs is one point. Points off the inputs are kept implicit
// (a segment meeting a plane, or two segments meeting in a plane) and all
// later decisions on them are exact. Every triangle met is re-triangulated
// in its plane with the points on it and the pieces of the intersection
// through it as constraints.
//
// An edge of the result lies on the intersection exactly when both meshes
// have it (shared points have one name). The target's triangles fall into
// regions bounded by such edges; a region is sorted by the exact position of
// one of its triangles against the two reference triangles at such an edge,
// and a region without one by the parity of an upward ray from one of its
// input vertices (symbolically perturbed, so that grazing hits count once).
//
// Points are rounded to doubles once, when written back. A new point closer
// than the mesh tolerance (g_dVerTol) to vertices is written as the nearest
// target vertex, else the nearest reference vertex (moved onto the point),
// else the nearest earlier new point: the same representative in both
// meshes, and never two input vertices of one mesh made one. Pieces left
// with two corners in one vertex are dropped; the counts by cause are
// reported.

#include <vector>

#include "KrTesGeometry/geom/KrSeg3d.h"
#include "KrTesGeometry/geom/KrTri3d.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

namespace TesTriMesh {
namespace exact {

struct KrExactCutResult {
    // The target's triangles after the cut: outside, inside, same, opposite,
    // unknown (filled only when classifying).
    std::vector<_sTri*> lists[5];
    std::vector<CKrSeg3d> segments;  // the target's edges on the intersection
    CKrTri3d lastSeed;
    bool cutOk = true;  // every met triangle re-triangulated
    std::size_t pairs = 0, points = 0, cutTris = 0, dropped = 0;
    // Target vertices made reference vertices before the cut (lying on the
    // reference up to rounding), and target edges between them that could
    // not be laid into one reference triangle.
    // snapOnEdge: ends of such edges taken to lie on the reference edge the
    // target edge crossed (see SnapNearVertices).
    std::size_t snapped = 0, snapUnsupported = 0, snapOnEdge = 0;
    // Why pieces were dropped when written: collapsed onto an edge or a
    // point by merging, cancelled by a piece folded onto them in opposite
    // winding, or duplicating a triangle already there. vertexClashes counts
    // written vertices the mesh merged with an existing one (none expected).
    std::size_t droppedCollapsed = 0, droppedCancelled = 0, droppedDuplicate = 0, vertexClashes = 0;
    // Written pieces whose corners, as written, face against their source
    // triangle (exact orientation on the rounded coordinates; counted, not
    // repaired).
    std::size_t inverted = 0;
};

// Cuts both meshes along their intersection and, when classify is true,
// sorts the target's triangles against the reference solid. False when some
// triangle could not be re-triangulated (it is left whole).
bool ExactCut(CKrMeshData& reference, CKrMeshData& target, bool classify, KrExactCutResult& out);

}  // namespace exact
}  // namespace TesTriMesh

#endif
