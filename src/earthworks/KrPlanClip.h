#ifndef KRTES_KRPLANCLIP_H
#define KRTES_KRPLANCLIP_H

// Plan polygons for the volume overlay: convex clipping with exact
// inside/outside decisions, simple polygons cut into triangles, and the
// exact integral of a linear function over a convex polygon split where the
// function changes sign.

#include <cstdint>
#include <string>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"

namespace TesTriMesh {
namespace earth {

// The owners of the lines and corners of an overlay piece.
enum : int8_t { kOwnerA = 0, kOwnerB = 1, kOwnerBoundary = 2 };

// A corner of a convex plan polygon and the edge leaving it. The corner is
// either an original vertex of surface A and/or B (cA / cB point at it: its
// height on that surface is known exactly) or a crossing of two original
// lines. The leaving edge lies on the original line (la, lb) of owner lOwner.
struct CKrClipVert {
    double x, y;
    const CKrPoint3d* cA;
    const CKrPoint3d* cB;
    const CKrPoint3d* la;
    const CKrPoint3d* lb;
    int8_t lOwner;
};

// Most corners a clipped piece can have: a triangle cut by two triangles in
// turn has at most nine.
constexpr int kMaxClipVerts = 12;

// The triangle p0 p1 p2 (counter-clockwise in plan) as a polygon whose
// corners belong to owner (kOwnerA or kOwnerB set cA or cB).
int TrianglePoly(const CKrPoint3d* p0, const CKrPoint3d* p1, const CKrPoint3d* p2, int8_t owner, CKrClipVert* out);

// Clips the convex counter-clockwise polygon (n corners) by the closed
// half-plane left of the directed line p -> q (an original line of owner).
// Which corners are kept is decided by Orient2dExact on the corners'
// coordinates. A new corner where an edge crosses the line is computed from
// the two original lines (the same bits whichever piece asks), or is the
// original vertex the two lines share. Returns the new count (below 3: the
// piece is gone).
int ClipHalfPlane(const CKrClipVert* in, int n, const CKrPoint3d* p, const CKrPoint3d* q, int8_t owner,
                  CKrClipVert* out);

// Clips the polygon by the counter-clockwise triangle t0 t1 t2 of owner.
int ClipByTriangle(const CKrClipVert* in, int n, const CKrPoint3d* t0, const CKrPoint3d* t1, const CKrPoint3d* t2,
                   int8_t owner, CKrClipVert* out);

// The crossing of the lines (a, b) and (c, d) of two owners, the same bits for
// either order of the lines and of each line's ends.
void LineCrossing(const CKrPoint3d* a, const CKrPoint3d* b, int8_t ownerAB, const CKrPoint3d* c,
                  const CKrPoint3d* d, int8_t ownerCD, double& x, double& y);

// Triangulates a simple plan polygon (either winding; closing point and
// repeated consecutive points allowed) by ear clipping with exact
// orientation tests. The triangles come counter-clockwise, as triples of
// indices into `ring`, the cleaned counter-clockwise polygon. False, with a
// message, when fewer than three distinct corners remain, the area is zero
// or the polygon is not simple enough to be cut into ears.
bool TriangulatePolygon(const std::vector<CKrPoint3d>& poly, std::vector<CKrPoint3d>& ring,
                        std::vector<int32_t>& tris, std::string& error);

// Sums over convex pieces of the integral of a linear function d.
struct CKrSplitSum {
    double pos = 0.0;      // integral of d where d > 0
    double neg = 0.0;      // integral of -d where d < 0
    double posArea = 0.0;  // area where d > 0
    double negArea = 0.0;  // area where d < 0
};

// A piece of the line d = 0: from (x0, y0) to (x1, y1); z0, z1 carry a height
// along (interpolated like d).
struct CKrZeroSeg {
    double x0, y0, z0, x1, y1, z1;
};

// Adds the convex counter-clockwise polygon (x, y, d, n corners; z is
// carried along for the zero line) to sum: split along d = 0, each part
// integrated exactly (area times the mean of d over a fan). When zero is
// given, the piece's part of d = 0 between the two signs is appended, and an
// edge where d is zero at both ends when the piece is positive beside it.
void AddSplitPiece(const double* x, const double* y, const double* d, const double* z, int n, CKrSplitSum& sum,
                   std::vector<CKrZeroSeg>* zero);

}  // namespace earth
}  // namespace TesTriMesh

#endif
