#ifndef KRTES_KRPLANARINTERNAL_H
#define KRTES_KRPLANARINTERNAL_H

// Plan helpers shared inside the library (not part of its binary interface).

#include <vector>

#include "KrTesGeometry/geom/KrPlanarFunc.h"
#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"

namespace KrTesGeo {

// The angle constants of the plan helpers. The shortened forms of 2pi, pi/2
// and 3pi/2 are the ones direction angles have always been computed with;
// results depend on them, so they are kept beside full-precision pi.
constexpr double PLANAR_PI = 3.141592653589793;
constexpr double PLANAR_2PI = 6.28318530718;
constexpr double PLANAR_HALF_PI = 1.570796326795;
constexpr double PLANAR_3HALF_PI = 4.712388980385;

// -1/2 ((x2-x1)(y3-y1) - (x3-x1)(y2-y1)): positive for a CLOCKWISE triangle,
// the opposite of the usual signed area.
double GetTriArea2D(double x1, double y1, double x2, double y2, double x3, double y3);

// Shoelace area of the ring (xs[i], ys[i]), i < n: positive counter-clockwise.
double GetPolygonArea2D(int n, const double* xs, const double* ys);

// Code of P against triangle ABC:
//   0 strictly inside;
//  -1/-2/-3 on edge AB/BC/CA; -4 on a vertex;
//   1/2/3 outside across AB/BC/CA (the first edge in that order that P is
//   right of).
// With fixOrientation a clockwise (or flat) triangle is treated as if it
// were counter-clockwise; without it the codes assume counter-clockwise.
int LocatePtInTri2D(double px, double py, double ax, double ay, double bx, double by, double cx, double cy,
                    bool fixOrientation, double eps);

// Ear cutting by smallest interior angle. tris is replaced by triangles of
// indices into poly, wound the same way as poly. True when the polygon was
// triangulated completely (n - 2 triangles); false for fewer than 3 vertices
// or when every remaining ear is blocked, in which case tris holds the
// triangles cut so far.
bool TriangulatePolygonByAngle(const std::vector<CKrPoint3d>& poly, std::vector<_sTri_ID>& tris, double eps);

// Direction angle of P1->P2 in [0, 2pi); pi/2 for a zero-length segment. The
// arctangent is rounded to single precision.
double GetLineAngle2D(double x1, double y1, double x2, double y2);

// Turns (x, y) about the origin by -angle.
void RotatePt2D(double& x, double& y, double angle);

// The line through P1, P2 as a*y = b*x + c (a = 1 unless the line is steep,
// then b = 1). P1 must differ from P2.
void GetLineCoef2D(double x1, double y1, double x2, double y2, double* a, double* b, double* c);

// Box overlap. Plain: the boxes overlap by more than eps on both axes.
// Ex: the boxes come within eps of each other. All comparisons are strict.
bool IsBoxOverlap2D(double minx1, double miny1, double maxx1, double maxy1, double minx2, double miny2,
                    double maxx2, double maxy2, double eps);
bool IsBoxOverlap2DEx(double minx1, double miny1, double maxx1, double maxy1, double minx2, double miny2,
                      double maxx2, double maxy2, double eps);

// Plan extent of a point list: min x, min y, max x, max y (the largest
// doubles, inverted, for an empty list).
void GetPlanBound(const std::vector<CKrPoint3d>& pts, double& x0, double& y0, double& x1, double& y1);

// Perpendicular plan distance from P to the infinite line AB (A != B).
double GetDistPtToLine2D(double px, double py, double ax, double ay, double bx, double by);

// True when i->j is a diagonal of the counter-clockwise polygon: it leaves
// vertex i into the interior (a vertex whose neighbours are collinear with it
// admits none) and touches no edge that is not incident to i or j.
bool IsValidDiagonal(const std::vector<CKrPoint3d>& poly, int i, int j, double eps);

}  // namespace KrTesGeo

#endif
