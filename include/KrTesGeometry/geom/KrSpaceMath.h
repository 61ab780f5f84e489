#ifndef KRTES_KRSPACEMATH_H
#define KRTES_KRSPACEMATH_H

#include "KrTesGeometry/geom/GeoVector.h"
#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/KrTesExport.h"

// Static 3D geometry: planes, point/line/segment/plane/triangle distances and
// the intersection tests between rays, lines, segments, planes, boxes and
// triangles. Never instantiated.
//
// Unless stated otherwise the tolerance is the absolute 1e-6 of the library
// (lengths, distances, dot products). A plane is either (unit or non-unit
// normal n, d) with n.X + d = 0, or (point on it, normal).
class KRTES_API CKrSpaceMath {
public:
    using CGeoVector = KrTesGeo::CGeoVector;

    // ---- planes -----------------------------------------------------------------
    // Plane n.X + d = 0 against the line p0 + t*dir: 2 one point (written to out),
    // 1 the line lies in the plane, 0 parallel. |n.dir| < 1e-6 counts as
    // parallel; out is written only for 2.
    static int IntersectPlaneAndLine(const CGeoVector& n, const double& d, const CGeoVector& p0,
                                     const CGeoVector& dir, CKrPoint3d& out);
    // Plane through a, b, c with the unit right-hand normal of a -> b -> c:
    // 1 with n and d written; 0 when two corners lie within 1e-6 of each other
    // or |(b-a) x (c-a)| < 1e-6 (collinear).
    static int PlaneFromPoints(const CGeoVector& a, const CGeoVector& b, const CGeoVector& c, CGeoVector& n,
                               double& d);
    // As above, writing p = a instead of d.
    static int PlaneFromPoints(const CGeoVector& a, const CGeoVector& b, const CGeoVector& c, CGeoVector& n,
                               CKrPoint3d& p);
    // n = (b-a) x (c-a) not normalised and not checked for collinearity, p = a:
    // 1, or 0 when any two corners lie within 1e-6 of each other.
    static int PlaneFromPointsEx(const CGeoVector& a, const CGeoVector& b, const CGeoVector& c, CGeoVector& n,
                                 CKrPoint3d& p);
    // -(n.p) with n exactly as passed (pass a unit normal for the distance form).
    static double Get_Plane_D(const CGeoVector& n, const CKrPoint3d& p);
    // Side of pt: 1 on the side n points to, -1 on the other, 0 within eps.
    static int PointToPlane(const CKrPoint3d& pt, const CKrPoint3d& onPlane, const CGeoVector& n, double eps);
    // 2 the planes cross; 1 the same plane; 0 parallel and distinct.
    static int Test_State_Plane_And_Plane_3D(const CKrPoint3d& p1, const CGeoVector& nA, const CKrPoint3d& p2,
                                             const CGeoVector& nB);
    // As Test_State_Plane_And_Plane_3D; for 2 writes two points of the common
    // line: l0 (its coordinate on the line's dominant axis is 0) and
    // l1 = l0 + nA x nB.
    static int Test_Insersect_Plane_And_Plane_3D(const CKrPoint3d& p1, const CGeoVector& nA, const CKrPoint3d& p2,
                                                 const CGeoVector& nB, CKrPoint3d& l0, CKrPoint3d& l1);

    // ---- distances ----------------------------------------------------------------
    // Unsigned distance; foot of the perpendicular written (n need not be unit).
    static double Get_Dist_Point_To_Plane_3D(const CKrPoint3d& pt, const CKrPoint3d& onPlane, const CGeoVector& n,
                                             CKrPoint3d& foot);
    // 1 when P lies on the segment AB (an end point within 1e-6 per axis, or
    // on the line within 1e-6 and inside the box of AB widened by 1e-6), else 0.
    static int JH_TestPointIn_LineSection3D(double px, double py, double pz, double ax, double ay, double az,
                                            double bx, double by, double bz);
    // Distance from P to the infinite line AB (A != B).
    static double Get_Dist_Point_To_Line3D_Adv(double px, double py, double pz, double ax, double ay, double az,
                                               double bx, double by, double bz);
    // Distance from P to the segment AB.
    static double Get_Dist_Point_To_LineSection3D_Adv(double px, double py, double pz, double ax, double ay,
                                                      double az, double bx, double by, double bz);
    // Distance between the infinite lines AB and CD.
    static double Get_Dist_Line_To_Line_3D(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c,
                                           const CKrPoint3d& d);
    // Distance between the segments AB and CD.
    static double Get_Dist_Seg_To_Seg_3D(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c,
                                         const CKrPoint3d& d);
    // True when |(b-a) x (c-a)|^2 (the squared doubled area) is below 1e-6.
    static bool IsTriDegenerate(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c);
    // SQUARED distance from pt to the triangle; -1.0 when PlaneFromPoints
    // rejects the triangle.
    static double CalDistPtToTri(const CKrPoint3d& pt, const CKrPoint3d& a, const CKrPoint3d& b,
                                 const CKrPoint3d& c);
    // 1 when pt's coordinate lies between a's and b's (inclusive) along the
    // segment's dominant axis (y when |a.x - b.x| <= 1e-6, else x); else 0.
    static int Is_Point_In_Seg_2D(const CKrPoint3d& pt, const CKrPoint3d& a, const CKrPoint3d& b);

    // ---- intersection tests ------------------------------------------------------

    // Position of pt against the triangle abc, tolerance 1e-6:
    //   0        strictly inside;
    //  -1/-2/-3  on edge AB / BC / CA (within 1e-6 of it, not at a corner);
    //  -4/-5/-6  at corner A / B / C (within 1e-6);
    //   1/2/3    in the triangle's plane but outside, beyond edge AB / BC / CA
    //            (the first such edge in that order);
    //   4        farther than 1e-6 from the triangle's plane, or the triangle
    //            is degenerate (PlaneFromPoints rejects it).
    // Positive codes thus mean "not on the closed triangle".
    static int IsPtInTri3D(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c, CKrPoint3d pt);

    // Segments a1-a2 and b1-b2 in 3D; segments within 1e-6 of each other meet.
    //   1  they cross at one point inside both: p = q = the point;
    //   2  they touch at one point that is an end point of either segment
    //      (within 1e-6): p = q = that end point (a segment shorter than 1e-6
    //      counts as a point and can only give 2 or 0);
    //   3  collinear (within 1e-6) and overlapping longer than 1e-6: the overlap
    //      p..q, ordered along a1 -> a2, its ends being end points of the inputs;
    //   0  apart (p and q untouched).
    static int Test_Intersect_Seg_And_Seg_3D(const CKrPoint3d& a1, const CKrPoint3d& a2, const CKrPoint3d& b1,
                                             const CKrPoint3d& b2, CKrPoint3d& p, CKrPoint3d& q);

    // Segment s1-s2 against the infinite line through l1, l2, in plan (z ignored
    // for the decision; tolerance 1e-6 on plan distances):
    //   1  the segment meets the line at one point, end points included:
    //      p = that point, its z interpolated along the segment (an end point
    //      within 1e-6 of the line is written as it is);
    //   2  the segment lies along the line (p untouched);
    //   0  the segment lies on one side (p untouched);
    //  -1  l1 and l2 coincide in plan (no line).
    static int Test_Insertsect_Seg_And_Line_2D(const CKrPoint3d& s1, const CKrPoint3d& s2, const CKrPoint3d& l1,
                                               const CKrPoint3d& l2, CKrPoint3d& p);

    // True exactly when the ray origin + t*dir, t >= 0, meets the CLOSED box
    // [boxMin, boxMax] (touching a face, edge or corner counts; an origin in
    // the box counts). A zero component of dir means the ray never leaves its
    // slab on that axis; a zero dir is true iff the origin is in the box. A box
    // with boxMin > boxMax on some axis is empty: false.
    static bool Test_Intersect_Ray_And_BoxAABB(const CKrPoint3d& origin, const CGeoVector& dir,
                                               const CKrPoint3d& boxMin, const CKrPoint3d& boxMax);

    // The infinite line pt + t*dir against the closed triangle abc, its
    // boundary widened by eps (measured across the line):
    //   1  hit written: the point of the line in the triangle's plane; a line
    //      through an edge or a corner gives a point exactly on that edge or
    //      corner (so a vertical line gives the edge's interpolated z); a line
    //      passing outside by at most eps gives the nearest boundary point of
    //      that kind;
    //   0  no hit: the line misses, or runs parallel to the triangle's plane
    //      (sine of the angle below 1e-10, e.g. a vertical line against a
    //      vertical triangle);
    //  -1  zero dir, or a degenerate triangle (PlaneFromPoints rejects it).
    static int Test_Intersect_Line_And_Triangle_3D(const CKrPoint3d& pt, const CGeoVector& dir, const CKrPoint3d& a,
                                                   const CKrPoint3d& b, const CKrPoint3d& c, CKrPoint3d& hit,
                                                   double eps);
    // The ray origin + t*dir against the triangle, as the line test with
    // eps = 1e-6 and the hit required at t >= -eps: an origin on the triangle
    // (within 1e-6) counts. The hit is where the line meets the plane when that
    // is ahead of the origin (even by less than 1e-6), else the origin itself.
    // 1 hit written, 0 no hit (miss, behind the origin, parallel), -1 zero dir
    // or degenerate triangle.
    static int Test_Intersect_Ray_And_Triangle_3D(const CKrPoint3d& origin, const CGeoVector& dir,
                                                  const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c,
                                                  CKrPoint3d& hit);
    // The ray origin + t*dir, t >= 0, against the plane through planePt:
    //   1  one hit written (an origin within 1e-6 of the plane is a hit at
    //      the origin);
    //   2  the ray lies in the plane: the origin is within 1e-6 of it and the
    //      direction runs along it (|cos| <= 1e-6 to the normal), or dir is zero;
    //   0  no hit: parallel off the plane, the plane behind the origin, a zero
    //      normal, or a zero dir off the plane.
    static int Test_Intersect_Ray_And_Plane_3D(const CKrPoint3d& origin, const CGeoVector& dir,
                                               const CKrPoint3d& planePt, const CGeoVector& normal, CKrPoint3d& hit);
    // The segment from-to against the plane, sides decided within 1e-6:
    //   1  one point written: an end point lying in the plane, or the crossing
    //      point when the ends lie strictly on opposite sides;
    //   2  both ends lie in the plane (out untouched);
    //   0  both ends strictly on one side (out untouched);
    //  -1  zero normal.
    static int Test_Intersect_Seg_And_Plane_3D(const CKrPoint3d& from, const CKrPoint3d& to,
                                               const CKrPoint3d& planePt, const CGeoVector& normal, CKrPoint3d& out);
    // True when the plan segment p1-p2 overlaps the plan projection of the
    // triangle abc (closed, tolerance 1e-6; touching gives s == e); s-e is the
    // overlapping piece in the direction p1 -> p2, lifted onto abc's plane (a
    // corner of abc keeps its own z). False for a triangle with (almost) no plan
    // area (twice the plan area <= 1e-12), i.e. seen edge-on from above.
    static bool Test_Intersect_MapSeg_And_Tri_3D(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c,
                                                 const CKrPoint3d& p1, const CKrPoint3d& p2, CKrPoint3d& s,
                                                 CKrPoint3d& e);
    // Exact triangle-triangle test (no tolerance: every decision is made with
    // exact orientation predicates, so touching at a vertex, along an edge or
    // a vertex on a face is reliably "meeting"):
    //  -1  a degenerate triangle (its corners exactly collinear);
    //   0  the triangles are apart and not coplanar;
    //   1  they are coplanar and apart;
    //   2  they meet (touching included), coplanar or not.
    static int Test_Intersect_Tri_And_Tri_3D(const CKrPoint3d& a0, const CKrPoint3d& a1, const CKrPoint3d& a2,
                                             const CKrPoint3d& b0, const CKrPoint3d& b1, const CKrPoint3d& b2);
    // The same decision; coplanar tells whether the triangles lie in one plane.
    // For meeting, non-coplanar triangles (2 with coplanar false) p and q are
    // the ends of the common segment (p == q when they touch at one point),
    // computed in floating point; otherwise p and q are untouched.
    static int Test_Intersect_Tri_And_Tri_3D(const CKrPoint3d& a0, const CKrPoint3d& a1, const CKrPoint3d& a2,
                                             const CKrPoint3d& b0, const CKrPoint3d& b1, const CKrPoint3d& b2,
                                             CKrPoint3d& p, CKrPoint3d& q, bool& coplanar);
    // Collision measure of two triangles: false for a degenerate triangle;
    // distance 0 when they meet; otherwise the distance between the two
    // centroids (not the closest distance). True in the last two cases.
    static bool Test_Dist_Tri_And_Tri_3D(const CKrPoint3d& a0, const CKrPoint3d& a1, const CKrPoint3d& a2,
                                         const CKrPoint3d& b0, const CKrPoint3d& b1, const CKrPoint3d& b2,
                                         double& distance);

private:
    CKrSpaceMath();
    virtual ~CKrSpaceMath();
};

#endif
