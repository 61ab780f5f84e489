#ifndef KRTES_KRPLANARFUNC_H
#define KRTES_KRPLANARFUNC_H

#include <vector>

#include "KrTesGeometry/geom/GeoVector.h"
#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/KrTesExport.h"

class CKrPolyLine;

// Plan (x, y) geometry: distances, sides, segment and polygon tests, angles
// and polyline clipping. z is carried along and ignored unless a function
// says otherwise. All functions are stateless.
namespace KrTesGeo {

KRTES_API double get_dist(double x1, double y1, double z1, double x2, double y2, double z2);
KRTES_API double get_dist(double x1, double y1, double x2, double y2);
KRTES_API double GetDistSqur(double x1, double y1, double x2, double y2);

// Segment P1P2 against segment P3P4.
// 0: no intersection (collinear overlaps included);
// 1: they cross, the crossing is written;
// 2: they share an end point (per-coordinate within eps), the shared point is
//    written, P1 taking precedence over P2.
// The plain form needs the bounding boxes to overlap by more than eps; the
// _Ex form accepts boxes up to eps apart.
KRTES_API int JH_GetInterPoint_LineSection(double x1, double y1, double x2, double y2, double x3, double y3,
                                           double x4, double y4, double* px, double* py, double eps);
KRTES_API int JH_GetInterPoint_LineSection_Ex(double x1, double y1, double x2, double y2, double x3, double y3,
                                              double x4, double y4, double* px, double* py, double eps);

// Side of P against the directed line A->B: 1 left (counter-clockwise side),
// -1 right, 0 when the cross product is within eps. The cross product is
// always formed from the lexicographically smaller end, so swapping A and B
// negates the result exactly.
KRTES_API int IsPtLeftLine(double px, double py, double ax, double ay, double bx, double by, double eps);

// Point against the 3D segment AB (tolerance 1e-6): 1 inside the open segment,
// 0 at an end point (also when P only projects onto an end point), -1 off it.
KRTES_API int HitSeg3D(double px, double py, double pz, double ax, double ay, double az, double bx, double by,
                       double bz);

// Point on the closed plan segment AB, tolerance 1e-6 everywhere.
KRTES_API bool IsPtInSeg2D(double px, double py, double ax, double ay, double bx, double by);
// Same with the caller's tolerance for end points and the side test; the box
// test is exact.
KRTES_API bool IsPtInSeg2DEx(double px, double py, double ax, double ay, double bx, double by, double eps);

// Angle at O swept counter-clockwise from O->B to O->A, in [0, 2pi): the
// interior angle at O of a counter-clockwise polygon with A before O and B
// after it.
KRTES_API double GetTwoSegAngle(double ax, double ay, double ox, double oy, double bx, double by);

// det[a; b; c] = a . (b x c): six times the signed volume of the tetrahedron
// spanned from the origin (not divided by 6).
KRTES_API double GetVolumeTetrahedron(double (&a)[3], double (&b)[3], double (&c)[3]);

// Plan distance from P to segment AB; Q receives the nearest point.
KRTES_API double GetNearestPtToSeg2D(double px, double py, double ax, double ay, double bx, double by, double& qx,
                                     double& qy);

// True only when the two segments cross properly; touching, shared end points
// and collinear overlaps are false.
KRTES_API bool IsIntersectLineSeg(double x1, double y1, double x2, double y2, double x3, double y3, double x4,
                                  double y4, double eps);

// Even-odd test of pt against the ring of poly (closing edge implied):
// 1 inside, 0 outside (also for fewer than 3 vertices), -1 on the boundary.
KRTES_API int IsPtInPolygon(const std::vector<CKrPoint3d>& poly, const CKrPoint3d& pt, double eps);

// Area centroid (z = 0). False for fewer than 3 vertices; a polygon of zero
// area is the caller's responsibility.
KRTES_API bool CalRegionCenter(const std::vector<CKrPoint3d>& poly, CKrPoint3d& center);

// Plan orientation of the ring; false for fewer than 3 vertices or when no
// vertex decides it (all collinear).
KRTES_API bool IsPLine2DClockwise(const std::vector<CKrPoint3d>& poly, bool& clockwise);

// Unit 3D direction of the polyline at vertex i: the first or last segment at
// the ends of an open line, else the mean of the incoming and outgoing
// directions. The zero vector for an index out of range or fewer than 2
// vertices.
KRTES_API CGeoVector CalcPLineNodeDir(const CKrPolyLine& pl, int i);

// n points on the circle of the given radius around center, in the plane with
// the given normal. False for a zero normal or n < 1.
KRTES_API bool CalRoundOutLine(std::vector<CKrPoint3d>& out, const CKrPoint3d& center, double radius,
                               const CGeoVector& normal, int n);

// Every point where a segment of a meets a segment of b (3D test, closing
// segments of closed lines included, no de-duplication). True when any.
KRTES_API bool IntersectWithPolyLine(const CKrPolyLine& a, const CKrPolyLine& b, std::vector<CKrPoint3d>& out);

// Appends to pieces the parts of line that lie inside the plan ring bound.
// Pieces start and end on the boundary where the line crosses it, with the
// elevation of the line there. True when at least one piece was produced.
KRTES_API bool CatPlineInBound(const CKrPolyLine& line, const CKrPolyLine& bound, std::vector<CKrPolyLine>& pieces);

}  // namespace KrTesGeo

#endif
