#ifndef KRTES_KREXACTPREDICATES_H
#define KRTES_KREXACTPREDICATES_H

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/KrTesExport.h"

// Exact geometric predicates on double coordinates.
//
// Each function returns the exact sign (-1, 0 or 1) of a determinant of its
// input coordinates, as if it were evaluated with unlimited precision. A
// plain floating-point evaluation is tried first and accepted when its
// magnitude exceeds a rigorous bound on its rounding error; otherwise the
// determinant is recomputed exactly with floating-point expansion arithmetic
// (every product split into an exact sum of two doubles, every sum kept as a
// non-overlapping expansion).
//
// The results are exact as long as no intermediate product underflows or
// overflows: coordinates whose magnitudes, and the magnitudes of whose
// non-zero differences, lie between 1e-50 and 1e50 are safe for all
// predicates. A NaN or infinite coordinate gives 0.
namespace KrTesGeo {

// Sign of (b - a) x (c - a) in the plane: 1 when a, b, c turn
// counter-clockwise, -1 clockwise, 0 collinear.
KRTES_API int Orient2dExact(double ax, double ay, double bx, double by, double cx, double cy);

// Orient2dExact on the x and y of the points (z ignored).
KRTES_API int Orient2dExact(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c);

// Sign of (d - a) . ((b - a) x (c - a)): 1 when d lies on the side of the plane
// abc towards which the right-hand normal of a -> b -> c points, -1 on the
// other side, 0 when the four points are coplanar.
KRTES_API int Orient3dExact(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c, const CKrPoint3d& d);

// In-circle test on x and y: 1 when d lies strictly inside the circle through
// a, b, c, -1 strictly outside, 0 on it, whichever way a, b, c wind. Collinear
// a, b, c (no circle) give 0.
KRTES_API int InCircleExact(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c, const CKrPoint3d& d);

// Sign of the raw in-circle determinant on x and y: positive when d is inside
// the circle through a counter-clockwise a, b, c (for a clockwise triangle the
// sign is reversed). Useful to Delaunay code that already knows the winding.
KRTES_API int InCircleDetExact(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c,
                               const CKrPoint3d& d);

}  // namespace KrTesGeo

#endif
