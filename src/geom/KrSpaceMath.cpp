// Planes, point/line/segment/plane/triangle distances and the point-on-segment
// and point-in-triangle tests of CKrSpaceMath. The intersection tests live in
// KrSpaceMathIntersect.cpp.

#include "KrTesGeometry/geom/KrSpaceMath.h"

#include <algorithm>
#include <cmath>

#include "KrTesGeometry/math/TESCommFunc.h"

using KrTesGeo::CGeoVector;

CKrSpaceMath::CKrSpaceMath() {}
CKrSpaceMath::~CKrSpaceMath() {}

// ---- planes ---------------------------------------------------------------------

int CKrSpaceMath::IntersectPlaneAndLine(const CGeoVector& n, const double& d, const CGeoVector& p0,
                                        const CGeoVector& dir, CKrPoint3d& out)
{
    const double den = n * dir;
    const double num = -(n * p0 + d);
    if (std::fabs(den) >= 1e-6) {
        out = p0 + dir * (num / den);
        return 2;
    }
    return std::fabs(num) < 1e-6 ? 1 : 0;
}

// Unit normal of a -> b -> c (right-hand rule), or false when two corners
// coincide or the three are collinear (all within 1e-6).
static bool UnitNormalOf(const CGeoVector& a, const CGeoVector& b, const CGeoVector& c, CGeoVector& n)
{
    const CGeoVector u = b - a;
    const CGeoVector v = c - a;
    if (u.Length() < 1e-6 || v.Length() < 1e-6) return false;
    CGeoVector w = u ^ v;
    w.Normalize();
    if (w.Length() < 1e-6) return false;
    n = w;
    return true;
}

int CKrSpaceMath::PlaneFromPoints(const CGeoVector& a, const CGeoVector& b, const CGeoVector& c, CGeoVector& n,
                                  double& d)
{
    if (!UnitNormalOf(a, b, c, n)) return 0;
    d = -(n * a);
    return 1;
}

int CKrSpaceMath::PlaneFromPoints(const CGeoVector& a, const CGeoVector& b, const CGeoVector& c, CGeoVector& n,
                                  CKrPoint3d& p)
{
    if (!UnitNormalOf(a, b, c, n)) return 0;
    p = a;
    return 1;
}

int CKrSpaceMath::PlaneFromPointsEx(const CGeoVector& a, const CGeoVector& b, const CGeoVector& c, CGeoVector& n,
                                    CKrPoint3d& p)
{
    const CGeoVector u = b - a;
    const CGeoVector v = c - a;
    const CGeoVector w = c - b;
    if (u.Length() < 1e-6 || v.Length() < 1e-6 || w.Length() < 1e-6) return 0;
    n = u ^ v;
    p = a;
    return 1;
}

double CKrSpaceMath::Get_Plane_D(const CGeoVector& n, const CKrPoint3d& p)
{
    // The normalised copy is deliberately not used: the result is -(n.p) with
    // n as given, so callers wanting the distance form pass a unit normal.
    CGeoVector unit(n);
    unit.Normalize();
    (void)unit;
    return -(n * CGeoVector(p));
}

int CKrSpaceMath::PointToPlane(const CKrPoint3d& pt, const CKrPoint3d& onPlane, const CGeoVector& n, double eps)
{
    CGeoVector unit(n);
    unit.Normalize();
    const double s = unit * CGeoVector(pt) + Get_Plane_D(unit, onPlane);
    if (s > eps) return 1;
    if (s < -eps) return -1;
    return 0;
}

// Shared parallel test of the two plane-plane functions: the cross product of
// the normals has a component sum below 1e-6. Writes that cross product.
static bool PlanesParallel(const CGeoVector& nA, const CGeoVector& nB, CGeoVector& u)
{
    u = nA ^ nB;
    return std::fabs(u.x) + std::fabs(u.y) + std::fabs(u.z) < 1e-6;
}

int CKrSpaceMath::Test_State_Plane_And_Plane_3D(const CKrPoint3d& p1, const CGeoVector& nA, const CKrPoint3d& p2,
                                                const CGeoVector& nB)
{
    CGeoVector u;
    if (!PlanesParallel(nA, nB, u)) return 2;
    return std::fabs(nA * CGeoVector(p2 - p1)) < 1e-6 ? 1 : 0;
}

int CKrSpaceMath::Test_Insersect_Plane_And_Plane_3D(const CKrPoint3d& p1, const CGeoVector& nA,
                                                    const CKrPoint3d& p2, const CGeoVector& nB, CKrPoint3d& l0,
                                                    CKrPoint3d& l1)
{
    CGeoVector u;
    if (PlanesParallel(nA, nB, u)) return std::fabs(nA * CGeoVector(p2 - p1)) < 1e-6 ? 1 : 0;

    const double ax = std::fabs(u.x), ay = std::fabs(u.y), az = std::fabs(u.z);
    const double d1 = Get_Plane_D(nA, p1);
    const double d2 = Get_Plane_D(nB, p2);
    // The point of the common line whose coordinate on the dominant axis of
    // the line direction is 0.
    if (ax > ay && ax > az) {
        l0 = CKrPoint3d(0.0, (d2 * nA.z - d1 * nB.z) / u.x, (d1 * nB.y - d2 * nA.y) / u.x);
    } else if (ay >= ax && ay > az) {
        l0 = CKrPoint3d((d1 * nB.z - d2 * nA.z) / u.y, 0.0, (d2 * nA.x - d1 * nB.x) / u.y);
    } else {
        l0 = CKrPoint3d((d2 * nA.y - d1 * nB.y) / u.z, (d1 * nB.x - d2 * nA.x) / u.z, 0.0);
    }
    l1 = l0 + u;
    return 2;
}

// ---- distances --------------------------------------------------------------------

double CKrSpaceMath::Get_Dist_Point_To_Plane_3D(const CKrPoint3d& pt, const CKrPoint3d& onPlane, const CGeoVector& n,
                                                CKrPoint3d& foot)
{
    const CGeoVector w = pt - onPlane;
    const double t = -(n * w) / (n * n);
    foot = pt + n * t;
    return pt.Distance(foot);
}

int CKrSpaceMath::JH_TestPointIn_LineSection3D(double px, double py, double pz, double ax, double ay, double az,
                                               double bx, double by, double bz)
{
    const CKrPoint3d p(px, py, pz), a(ax, ay, az), b(bx, by, bz);
    if (p == a || p == b) return 1;

    // Seen from a point on the segment, the two end points lie in exactly
    // opposite directions: their unit vectors are parallel.
    CGeoVector toA = a - p;
    CGeoVector toB = b - p;
    toA.Normalize();
    toB.Normalize();
    const CGeoVector c = toA ^ toB;
    using TESCommFunc::TesCompDouble;
    if (TesCompDouble(c.x, 0.0, 1e-6) != 0 || TesCompDouble(c.y, 0.0, 1e-6) != 0 ||
        TesCompDouble(c.z, 0.0, 1e-6) != 0)
        return 0;

    // Parallel also holds beyond either end: the widened box rules that out.
    const auto inRange = [](double v, double e0, double e1) {
        return v >= std::min(e0, e1) - 1e-6 && v <= std::max(e0, e1) + 1e-6;
    };
    return (inRange(px, ax, bx) && inRange(py, ay, by) && inRange(pz, az, bz)) ? 1 : 0;
}

double CKrSpaceMath::Get_Dist_Point_To_Line3D_Adv(double px, double py, double pz, double ax, double ay, double az,
                                                  double bx, double by, double bz)
{
    const CGeoVector a(ax, ay, az), p(px, py, pz);
    const CGeoVector u = CGeoVector(bx, by, bz) - a;
    const CGeoVector v = p - a;
    const double t = (v * u) / (u * u);
    return p.Distance(a + u * t);
}

double CKrSpaceMath::Get_Dist_Point_To_LineSection3D_Adv(double px, double py, double pz, double ax, double ay,
                                                         double az, double bx, double by, double bz)
{
    const CGeoVector a(ax, ay, az), b(bx, by, bz), p(px, py, pz);
    const CGeoVector u = b - a;
    const CGeoVector v = p - a;
    const double c1 = v * u;
    if (c1 <= 0.0) return p.Distance(a);
    const double c2 = u * u;
    if (c2 <= c1) return p.Distance(b);
    return p.Distance(a + u * (c1 / c2));
}

double CKrSpaceMath::Get_Dist_Line_To_Line_3D(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c,
                                              const CKrPoint3d& d)
{
    const CGeoVector u = b - a, v = d - c, w = a - c;
    const double ka = u * u, kb = u * v, kc = v * v, kd = u * w, ke = v * w;
    const double D = ka * kc - kb * kb;
    double s = 0.0, t = 0.0;
    if (D >= 1e-6) {
        s = (kb * ke - kc * kd) / D;
        t = (ka * ke - kb * kd) / D;
    } else {
        t = kb > kc ? kd / kb : ke / kc;
    }
    return CGeoVector(w + u * s - v * t).Length();
}

double CKrSpaceMath::Get_Dist_Seg_To_Seg_3D(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c,
                                            const CKrPoint3d& d)
{
    const CGeoVector u = b - a, v = d - c, w = a - c;
    const double ka = u * u, kb = u * v, kc = v * v, kd = u * w, ke = v * w;
    const double D = ka * kc - kb * kb;
    double sN, sD = D, tN, tD = D;
    if (D < 1e-6) {
        // Parallel: fix s at the start of AB and clamp t only.
        sN = 0.0;
        sD = 1.0;
        tN = ke;
        tD = kc;
    } else {
        sN = kb * ke - kc * kd;
        tN = ka * ke - kb * kd;
        if (sN < 0.0) {
            sN = 0.0;
            tN = ke;
            tD = kc;
        } else if (sN > sD) {
            sN = sD;
            tN = ke + kb;
            tD = kc;
        }
    }
    // Clamping t to the segment CD moves s: recompute it from the clamped end.
    const auto reclamp = [&](double num) {
        if (num < 0.0) {
            sN = 0.0;
        } else if (num > ka) {
            sN = sD;
        } else {
            sN = num;
            sD = ka;
        }
    };
    if (tN < 0.0) {
        tN = 0.0;
        reclamp(-kd);
    } else if (tN > tD) {
        tN = tD;
        reclamp(-kd + kb);
    }
    const double s = std::fabs(sN) < 1e-6 ? 0.0 : sN / sD;
    const double t = std::fabs(tN) < 1e-6 ? 0.0 : tN / tD;
    return CGeoVector(w + u * s - v * t).Length();
}

bool CKrSpaceMath::IsTriDegenerate(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c)
{
    const CGeoVector n = CGeoVector(b - a) ^ CGeoVector(c - a);
    return n.Length2() < 1e-6;
}

double CKrSpaceMath::CalDistPtToTri(const CKrPoint3d& pt, const CKrPoint3d& a, const CKrPoint3d& b,
                                    const CKrPoint3d& c)
{
    CGeoVector n;
    CKrPoint3d q;
    if (!PlaneFromPoints(a, b, c, n, q)) return -1.0;
    CKrPoint3d foot;
    Get_Dist_Point_To_Plane_3D(pt, q, n, foot);
    const double h2 = pt.Dist2(foot);
    if (IsPtInTri3D(a, b, c, foot) <= 0) return h2;

    const auto toEdge = [&foot](const CKrPoint3d& e0, const CKrPoint3d& e1) {
        return Get_Dist_Point_To_LineSection3D_Adv(foot.x, foot.y, foot.z, e0.x, e0.y, e0.z, e1.x, e1.y, e1.z);
    };
    const double m = std::min({toEdge(a, b), toEdge(b, c), toEdge(c, a)});
    return m * m + h2;
}

int CKrSpaceMath::Is_Point_In_Seg_2D(const CKrPoint3d& pt, const CKrPoint3d& a, const CKrPoint3d& b)
{
    const bool useY = std::fabs(a.x - b.x) <= 1e-6;
    const double v = useY ? pt.y : pt.x;
    const double e0 = useY ? a.y : a.x;
    const double e1 = useY ? b.y : b.x;
    return (v >= std::min(e0, e1) && v <= std::max(e0, e1)) ? 1 : 0;
}

// ---- point in triangle ---------------------------------------------------------------

int CKrSpaceMath::IsPtInTri3D(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c, CKrPoint3d pt)
{
    const double eps = 1e-6;
    CGeoVector n;
    CKrPoint3d onPlane;
    if (!PlaneFromPoints(a, b, c, n, onPlane)) return 4;
    if (std::fabs(n * CGeoVector(pt - a)) > eps) return 4;

    if (pt.Distance(a) <= eps) return -4;
    if (pt.Distance(b) <= eps) return -5;
    if (pt.Distance(c) <= eps) return -6;

    // Signed distance from each edge's line inside the plane, positive on the
    // triangle's side (the corners wind counter-clockwise about n).
    const CKrPoint3d* corner[3] = {&a, &b, &c};
    double dist[3];
    for (int i = 0; i < 3; ++i) {
        const CKrPoint3d& e0 = *corner[i];
        const CKrPoint3d& e1 = *corner[(i + 1) % 3];
        const CGeoVector edge = e1 - e0;
        dist[i] = ((edge ^ CGeoVector(pt - e0)) * n) / edge.Length();
    }
    for (int i = 0; i < 3; ++i)
        if (dist[i] < -eps) return i + 1;
    for (int i = 0; i < 3; ++i)
        if (dist[i] <= eps) return -(i + 1);
    return 0;
}
