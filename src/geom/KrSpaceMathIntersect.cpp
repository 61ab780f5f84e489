// Intersection tests of CKrSpaceMath: segments, lines, rays, planes, boxes and
// triangles. Result codes are documented in KrSpaceMath.h.

#include <algorithm>
#include <cmath>
#include <limits>

#include "KrTesGeometry/geom/KrExactPredicates.h"
#include "KrTesGeometry/geom/KrSpaceMath.h"
#include "KrTesGeometry/math/TESCommFunc.h"
#include "geom/KrClosestSegSeg.h"

using KrTesGeo::CGeoVector;
using TESCommFunc::TesCompDouble;

namespace {

constexpr double kEps = 1e-6;

double Clamp01(double v) { return v < 0.0 ? 0.0 : (v > 1.0 ? 1.0 : v); }

// Distance from x to the segment a-b (a point when a == b).
double DistPointSeg(const CKrPoint3d& x, const CKrPoint3d& a, const CKrPoint3d& b)
{
    return CKrSpaceMath::Get_Dist_Point_To_LineSection3D_Adv(x.x, x.y, x.z, a.x, a.y, a.z, b.x, b.y, b.z);
}

inline void Sub3(const double* a, const double* b, double* r)
{
    r[0] = a[0] - b[0];
    r[1] = a[1] - b[1];
    r[2] = a[2] - b[2];
}
inline double Dot3(const double* a, const double* b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

// Closest points of the segments p1-q1 and p2-q2: c1 on the first, c2 on the
// second.
void ClosestPointsSegSeg(const CKrPoint3d& p1, const CKrPoint3d& q1, const CKrPoint3d& p2, const CKrPoint3d& q2,
                         CKrPoint3d& c1, CKrPoint3d& c2)
{
    const double a0[3] = {p1.x, p1.y, p1.z}, a1[3] = {q1.x, q1.y, q1.z}, b0[3] = {p2.x, p2.y, p2.z},
                 b1[3] = {q2.x, q2.y, q2.z};
    double x[3], y[3];
    KrTesGeo::detail::ClosestSegSeg(a0, a1, b0, b1, x, y);
    c1 = CKrPoint3d(x[0], x[1], x[2]);
    c2 = CKrPoint3d(y[0], y[1], y[2]);
}

// Collinear overlap of segments within kEps of one line. Returns 0 (apart),
// 2 (touching at one end point, written to p and q) or 3 (overlap p..q,
// ordered along a1 -> a2).
int CollinearSegSeg(const CKrPoint3d& a1, const CKrPoint3d& a2, const CKrPoint3d& b1, const CKrPoint3d& b2,
                    CKrPoint3d& p, CKrPoint3d& q)
{
    const bool aLonger = a1.Distance(a2) >= b1.Distance(b2);
    const CKrPoint3d& r0 = aLonger ? a1 : b1;
    const CKrPoint3d& r1 = aLonger ? a2 : b2;
    const CKrPoint3d* o0 = aLonger ? &b1 : &a1;
    const CKrPoint3d* o1 = aLonger ? &b2 : &a2;
    CGeoVector u = r1 - r0;
    const double len = u.Length();
    u = u * (1.0 / len);
    double t0 = CGeoVector(*o0 - r0) * u;
    double t1 = CGeoVector(*o1 - r0) * u;
    if (t0 > t1) {
        std::swap(t0, t1);
        std::swap(o0, o1);
    }
    const double lo = std::max(0.0, t0);
    const double hi = std::min(len, t1);
    if (lo > hi + kEps) return 0;
    // The overlap ends are end points of one segment or the other.
    CKrPoint3d from = t0 > 0.0 ? *o0 : r0;
    CKrPoint3d to = t1 < len ? *o1 : r1;
    if (hi - lo <= kEps) {
        p = q = from;
        return 2;
    }
    if (CGeoVector(to - from) * CGeoVector(a2 - a1) < 0.0) std::swap(from, to);
    p = from;
    q = to;
    return 3;
}

// Distance from x to the infinite line through r0 along the unit vector u.
double DistPointLine(const CKrPoint3d& x, const CKrPoint3d& r0, const CGeoVector& u)
{
    return (CGeoVector(x - r0) ^ u).Length();
}

}  // namespace

namespace KrTesGeo {
namespace detail {

double ClosestSegSeg(const double* p1, const double* q1, const double* p2, const double* q2, double* c1,
                     double* c2)
{
    double d1[3], d2[3], r[3];
    Sub3(q1, p1, d1);
    Sub3(q2, p2, d2);
    Sub3(p1, p2, r);
    const double a = Dot3(d1, d1), e = Dot3(d2, d2), f = Dot3(d2, r);
    double s, t;
    if (a <= 0.0 && e <= 0.0) {
        s = t = 0.0;
    } else if (a <= 0.0) {
        s = 0.0;
        t = Clamp01(f / e);
    } else {
        const double c = Dot3(d1, r);
        if (e <= 0.0) {
            t = 0.0;
            s = Clamp01(-c / a);
        } else {
            const double b = Dot3(d1, d2);
            const double denom = a * e - b * b;
            // Nearly parallel segments: any s works for the lines; the clamps
            // below then find the right ends.
            s = denom > 1e-14 * a * e ? Clamp01((b * f - c * e) / denom) : 0.0;
            t = (b * s + f) / e;
            if (t < 0.0) {
                t = 0.0;
                s = Clamp01(-c / a);
            } else if (t > 1.0) {
                t = 1.0;
                s = Clamp01((b - c) / a);
            }
        }
    }
    for (int k = 0; k < 3; ++k) {
        c1[k] = p1[k] + d1[k] * s;
        c2[k] = p2[k] + d2[k] * t;
    }
    double d[3];
    Sub3(c1, c2, d);
    return Dot3(d, d);
}

}  // namespace detail
}  // namespace KrTesGeo

// ---- segments and lines -----------------------------------------------------------------

int CKrSpaceMath::Test_Intersect_Seg_And_Seg_3D(const CKrPoint3d& a1, const CKrPoint3d& a2, const CKrPoint3d& b1,
                                                const CKrPoint3d& b2, CKrPoint3d& p, CKrPoint3d& q)
{
    const double la = a1.Distance(a2);
    const double lb = b1.Distance(b2);
    if (!(la == la) || !(lb == lb)) return 0;  // NaN coordinates meet nothing

    // A segment shorter than the tolerance is a point: it can only touch.
    if (la <= kEps || lb <= kEps) {
        const CKrPoint3d& pt = la <= kEps ? a1 : b1;
        const double d = la <= kEps ? DistPointSeg(a1, b1, b2) : DistPointSeg(b1, a1, a2);
        if (d > kEps) return 0;
        p = q = pt;
        return 2;
    }

    // Collinear within the tolerance: both ends of the shorter segment lie on
    // the line of the longer one.
    {
        const bool aLonger = la >= lb;
        const CKrPoint3d& r0 = aLonger ? a1 : b1;
        const CGeoVector u = CGeoVector(aLonger ? a2 - a1 : b2 - b1) * (1.0 / (aLonger ? la : lb));
        if (DistPointLine(aLonger ? b1 : a1, r0, u) <= kEps && DistPointLine(aLonger ? b2 : a2, r0, u) <= kEps)
            return CollinearSegSeg(a1, a2, b1, b2, p, q);
    }

    CKrPoint3d ca, cb;
    ClosestPointsSegSeg(a1, a2, b1, b2, ca, cb);
    if (ca.Distance(cb) > kEps) return 0;
    const CKrPoint3d m = (ca + cb) * 0.5;
    for (const CKrPoint3d* end : {&a1, &a2, &b1, &b2}) {
        if (m.Distance(*end) <= kEps) {
            p = q = *end;
            return 2;
        }
    }
    p = q = m;
    return 1;
}

int CKrSpaceMath::Test_Insertsect_Seg_And_Line_2D(const CKrPoint3d& s1, const CKrPoint3d& s2, const CKrPoint3d& l1,
                                                  const CKrPoint3d& l2, CKrPoint3d& p)
{
    const double lx = l2.x - l1.x, ly = l2.y - l1.y;
    const double len = std::sqrt(lx * lx + ly * ly);
    if (!(len > kEps)) return -1;
    // Signed plan distances of the segment's ends from the line.
    const double d1 = (lx * (s1.y - l1.y) - ly * (s1.x - l1.x)) / len;
    const double d2 = (lx * (s2.y - l1.y) - ly * (s2.x - l1.x)) / len;
    const int c1 = TesCompDouble(d1, 0.0, kEps);
    const int c2 = TesCompDouble(d2, 0.0, kEps);
    if (c1 == 0 && c2 == 0) {
        if (s1.Distance2d(s2) > kEps) return 2;
        p = s1;
        return 1;
    }
    if (c1 * c2 > 0) return 0;
    if (c1 == 0) {
        p = s1;
    } else if (c2 == 0) {
        p = s2;
    } else {
        p = s1 + (s2 - s1) * (d1 / (d1 - d2));
    }
    return 1;
}

// ---- boxes --------------------------------------------------------------------------------

bool CKrSpaceMath::Test_Intersect_Ray_And_BoxAABB(const CKrPoint3d& origin, const CGeoVector& dir,
                                                  const CKrPoint3d& boxMin, const CKrPoint3d& boxMax)
{
    const double o[3] = {origin.x, origin.y, origin.z};
    const double d[3] = {dir.x, dir.y, dir.z};
    const double lo[3] = {boxMin.x, boxMin.y, boxMin.z};
    const double hi[3] = {boxMax.x, boxMax.y, boxMax.z};
    double tEnter = 0.0;
    double tLeave = std::numeric_limits<double>::infinity();
    for (int k = 0; k < 3; ++k) {
        if (!(lo[k] <= hi[k])) return false;  // empty box or NaN
        if (std::isnan(o[k]) || std::isnan(d[k])) return false;
        if (d[k] == 0.0) {
            // Parallel to this slab: inside it for good, or never.
            if (o[k] < lo[k] || o[k] > hi[k]) return false;
            continue;
        }
        double t0 = (lo[k] - o[k]) / d[k];
        double t1 = (hi[k] - o[k]) / d[k];
        if (t0 > t1) std::swap(t0, t1);
        if (t0 > tEnter) tEnter = t0;
        if (t1 < tLeave) tLeave = t1;
        if (!(tEnter <= tLeave)) return false;
    }
    return true;
}

// ---- lines, rays and triangles ----------------------------------------------------------------

namespace {

// Where the line pt + t*dir meets the closed triangle abc, with the boundary
// widened by eps (measured across the line). 1: hit written, t its parameter
// along dir; 0: the line misses or runs parallel to the triangle; -1: zero
// direction or a degenerate triangle.
//
// The hit is the combination of the corners weighted by the volumes that the
// line spans with the opposite edges, so a line through an edge or a corner
// gives a point exactly on that edge or corner; a line passing just outside
// (within eps) gives the nearest such combination on the boundary.
int LineTriangle(const CKrPoint3d& pt, const CGeoVector& dir, const CKrPoint3d& a, const CKrPoint3d& b,
                 const CKrPoint3d& c, double eps, CKrPoint3d& hit, double& t)
{
    const double dirLen = dir.Length();
    if (!(dirLen > 0.0)) return -1;
    CGeoVector n;
    CKrPoint3d onPlane;
    if (!CKrSpaceMath::PlaneFromPoints(a, b, c, n, onPlane)) return -1;
    const CGeoVector u = dir * (1.0 / dirLen);
    // The sine of the angle between the line and the plane: a line (nearly)
    // in the plane's direction, e.g. a vertical line against a vertical
    // triangle, has no single meeting point.
    const double den = u * n;
    if (std::fabs(den) < 1e-10) return 0;

    const CGeoVector pa = a - pt, pb = b - pt, pc = c - pt;
    double w[3] = {u * (pb ^ pc), u * (pc ^ pa), u * (pa ^ pb)};  // weights of a, b, c
    const CGeoVector edge[3] = {c - b, a - c, b - a};             // edge opposite each corner
    const double sign = den > 0.0 ? 1.0 : -1.0;
    double sum = 0.0;
    for (int i = 0; i < 3; ++i) {
        w[i] *= sign;
        // Distance of the line from the edge's line, seen along the line.
        const double across = (edge[i] ^ u).Length();
        if (w[i] < -eps * across) return 0;
        if (w[i] < 0.0) w[i] = 0.0;
        sum += w[i];
    }
    if (!(sum > 0.0)) return 0;
    hit = a * (w[0] / sum) + b * (w[1] / sum) + c * (w[2] / sum);
    t = CGeoVector(hit - pt) * u;
    return 1;
}

}  // namespace

int CKrSpaceMath::Test_Intersect_Line_And_Triangle_3D(const CKrPoint3d& pt, const CGeoVector& dir,
                                                      const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c,
                                                      CKrPoint3d& hit, double eps)
{
    double t;
    return LineTriangle(pt, dir, a, b, c, eps, hit, t);
}

int CKrSpaceMath::Test_Intersect_Ray_And_Triangle_3D(const CKrPoint3d& origin, const CGeoVector& dir,
                                                     const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c,
                                                     CKrPoint3d& hit)
{
    CKrPoint3d h;
    double t;
    const int r = LineTriangle(origin, dir, a, b, c, kEps, h, t);
    if (r != 1) return r;
    if (t < -kEps) return 0;
    // An origin on the triangle whose line meets the plane just behind it
    // (within the tolerance) is hit where it stands, not behind itself.
    hit = t < 0.0 ? origin : h;
    return 1;
}

int CKrSpaceMath::Test_Intersect_Ray_And_Plane_3D(const CKrPoint3d& origin, const CGeoVector& dir,
                                                  const CKrPoint3d& planePt, const CGeoVector& normal,
                                                  CKrPoint3d& hit)
{
    const double nLen = normal.Length();
    if (!(nLen > 0.0)) return 0;
    const CGeoVector n = normal * (1.0 / nLen);
    const double s = n * CGeoVector(origin - planePt);  // signed distance of the origin
    const bool onPlane = std::fabs(s) <= kEps;
    const double dirLen = dir.Length();
    if (!(dirLen > 0.0)) return onPlane ? 2 : 0;
    const double den = (n * dir) / dirLen;  // cosine between direction and normal
    if (onPlane && std::fabs(den) <= kEps) return 2;
    if (den == 0.0) return 0;
    const double t = -s / (n * dir);
    if (t >= 0.0) {
        hit = origin + dir * t;
        return 1;
    }
    if (onPlane) {  // starts on the plane and leaves it backwards: the origin itself
        hit = origin;
        return 1;
    }
    return 0;
}

int CKrSpaceMath::Test_Intersect_Seg_And_Plane_3D(const CKrPoint3d& from, const CKrPoint3d& to,
                                                  const CKrPoint3d& planePt, const CGeoVector& normal,
                                                  CKrPoint3d& out)
{
    const double nLen = normal.Length();
    if (!(nLen > 0.0)) return -1;
    const CGeoVector n = normal * (1.0 / nLen);
    const double sf = n * CGeoVector(from - planePt);
    const double st = n * CGeoVector(to - planePt);
    const int cf = TesCompDouble(sf, 0.0, kEps);
    const int ct = TesCompDouble(st, 0.0, kEps);
    if (cf == 0 && ct == 0) return 2;
    if (cf == 0) {
        out = from;
        return 1;
    }
    if (ct == 0) {
        out = to;
        return 1;
    }
    if (cf == ct) return 0;
    out = from + (to - from) * (sf / (sf - st));
    return 1;
}

bool CKrSpaceMath::Test_Intersect_MapSeg_And_Tri_3D(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c,
                                                    const CKrPoint3d& p1, const CKrPoint3d& p2, CKrPoint3d& s,
                                                    CKrPoint3d& e)
{
    // Doubled plan area; a triangle seen edge-on from above covers no area and
    // has no height to lift onto.
    const double area2 = (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
    if (!(std::fabs(area2) > 1e-12)) return false;
    const CKrPoint3d* corner[3] = {&a, &b, &c};
    if (area2 < 0.0) std::swap(corner[1], corner[2]);  // counter-clockwise in plan

    const double segLen = p1.Distance2d(p2);
    double tLo = 0.0, tHi = 1.0;
    for (int i = 0; i < 3; ++i) {
        const CKrPoint3d& e0 = *corner[i];
        const CKrPoint3d& e1 = *corner[(i + 1) % 3];
        const double ex = e1.x - e0.x, ey = e1.y - e0.y;
        const double len = std::sqrt(ex * ex + ey * ey);
        // Signed plan distances of the segment's ends from the edge, inside positive.
        const double f0 = (ex * (p1.y - e0.y) - ey * (p1.x - e0.x)) / len;
        const double f1 = (ex * (p2.y - e0.y) - ey * (p2.x - e0.x)) / len;
        if (f0 < -kEps && f1 < -kEps) return false;
        // Only an end outside by more than the tolerance is cut back.
        if (f0 < -kEps) tLo = std::max(tLo, f0 / (f0 - f1));
        if (f1 < -kEps) tHi = std::min(tHi, f0 / (f0 - f1));
    }
    if (tLo > tHi) {
        if ((tLo - tHi) * segLen > kEps) return false;
        tLo = tHi = 0.5 * (tLo + tHi);
    }

    // Lift a plan point onto the plane of abc by its plan barycentric weights.
    const auto lift = [&a, &b, &c, area2](const CKrPoint3d& q) {
        const double wa = (b.x - q.x) * (c.y - q.y) - (b.y - q.y) * (c.x - q.x);
        const double wb = (c.x - q.x) * (a.y - q.y) - (c.y - q.y) * (a.x - q.x);
        const double wc = (a.x - q.x) * (b.y - q.y) - (a.y - q.y) * (b.x - q.x);
        return CKrPoint3d(q.x, q.y, (wa * a.z + wb * b.z + wc * c.z) / area2);
    };
    const CKrPoint3d d = p2 - p1;
    s = lift(tLo == 0.0 ? p1 : p1 + d * tLo);
    e = lift(tHi == 1.0 ? p2 : p1 + d * tHi);
    return true;
}

// ---- triangle against triangle --------------------------------------------------------------

namespace {

using KrTesGeo::Orient2dExact;
using KrTesGeo::Orient3dExact;

// Exact orientation of three points projected along a coordinate axis
// (drop = 0: onto y-z, 1: onto z-x, 2: onto x-y).
int Orient2dDrop(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c, int drop)
{
    switch (drop) {
    case 0:
        return Orient2dExact(a.y, a.z, b.y, b.z, c.y, c.z);
    case 1:
        return Orient2dExact(a.z, a.x, b.z, b.x, c.z, c.x);
    default:
        return Orient2dExact(a.x, a.y, b.x, b.y, c.x, c.y);
    }
}

// An axis along which the triangle projects with non-zero area (exactly), the
// one of its largest normal component when possible; -1 when the corners are
// exactly collinear.
int ProjectionAxis(const CKrPoint3d t[3])
{
    const CGeoVector n = CGeoVector(t[1] - t[0]) ^ CGeoVector(t[2] - t[0]);
    const double m[3] = {std::fabs(n.x), std::fabs(n.y), std::fabs(n.z)};
    int order[3] = {0, 1, 2};
    std::sort(order, order + 3, [&m](int i, int j) { return m[i] > m[j]; });
    for (int k : order)
        if (Orient2dDrop(t[0], t[1], t[2], k) != 0) return k;
    return -1;
}

// Coordinates of a point in the projection that drops axis `drop`.
void Project(const CKrPoint3d& p, int drop, double& u, double& v)
{
    switch (drop) {
    case 0:
        u = p.y;
        v = p.z;
        break;
    case 1:
        u = p.z;
        v = p.x;
        break;
    default:
        u = p.x;
        v = p.y;
        break;
    }
}

// p lies on the closed segment a-b, all three collinear in the projection.
bool BetweenDrop(const CKrPoint3d& p, const CKrPoint3d& a, const CKrPoint3d& b, int drop)
{
    double pu, pv, au, av, bu, bv;
    Project(p, drop, pu, pv);
    Project(a, drop, au, av);
    Project(b, drop, bu, bv);
    return pu >= std::min(au, bu) && pu <= std::max(au, bu) && pv >= std::min(av, bv) && pv <= std::max(av, bv);
}

bool OnSegDrop(const CKrPoint3d& p, const CKrPoint3d& a, const CKrPoint3d& b, int drop)
{
    return Orient2dDrop(a, b, p, drop) == 0 && BetweenDrop(p, a, b, drop);
}

// Closed point-in-triangle test in the projection (the triangle projects with
// non-zero area).
bool InTriDrop(const CKrPoint3d& p, const CKrPoint3d t[3], int drop)
{
    bool pos = false, neg = false;
    for (int i = 0; i < 3; ++i) {
        const int o = Orient2dDrop(t[i], t[(i + 1) % 3], p, drop);
        pos = pos || o > 0;
        neg = neg || o < 0;
    }
    return !(pos && neg);
}

// Collects the points where the triangles meet, for the segment overload.
struct HitPoints {
    CKrPoint3d pt[64];
    int n = 0;
    void Add(const CKrPoint3d& p)
    {
        if (n < 64) pt[n++] = p;
    }
};

// Point where segment p-q crosses segment e0-e1, both in one plane and
// properly crossing in the projection (approximate, clamped to p-q).
CKrPoint3d CrossingDrop(const CKrPoint3d& p, const CKrPoint3d& q, const CKrPoint3d& e0, const CKrPoint3d& e1,
                        int drop)
{
    double pu, pv, qu, qv, au, av, bu, bv;
    Project(p, drop, pu, pv);
    Project(q, drop, qu, qv);
    Project(e0, drop, au, av);
    Project(e1, drop, bu, bv);
    const double du = qu - pu, dv = qv - pv, eu = bu - au, ev = bv - av;
    const double den = du * ev - dv * eu;
    const double s = den != 0.0 ? Clamp01(((au - pu) * ev - (av - pv) * eu) / den) : 0.5;
    return p + (q - p) * s;
}

// Closed segment p-q against the closed triangle t, all in one plane; the
// triangle projects with non-zero area along `drop`. With `hits`, every
// extreme point of the common piece is collected.
bool SegTriCoplanar(const CKrPoint3d& p, const CKrPoint3d& q, const CKrPoint3d t[3], int drop, HitPoints* hits)
{
    bool meet = false;
    for (const CKrPoint3d* end : {&p, &q}) {
        if (InTriDrop(*end, t, drop)) {
            meet = true;
            if (!hits) return true;
            hits->Add(*end);
        }
    }
    for (int i = 0; i < 3; ++i) {
        const CKrPoint3d& e0 = t[i];
        const CKrPoint3d& e1 = t[(i + 1) % 3];
        if (OnSegDrop(e0, p, q, drop)) {
            meet = true;
            if (!hits) return true;
            hits->Add(e0);
        }
        const int o1 = Orient2dDrop(p, q, e0, drop), o2 = Orient2dDrop(p, q, e1, drop);
        const int o3 = Orient2dDrop(e0, e1, p, drop), o4 = Orient2dDrop(e0, e1, q, drop);
        if (o1 * o2 < 0 && o3 * o4 < 0) {
            meet = true;
            if (!hits) return true;
            hits->Add(CrossingDrop(p, q, e0, e1, drop));
        }
    }
    return meet;
}

// Closed segment p-q against the closed triangle t when the segment is not in
// the triangle's plane; sp, sq are the exact sides of p and q (Orient3dExact
// against t). Collects the piercing point into `hits`.
bool SegTriPierce(const CKrPoint3d& p, const CKrPoint3d& q, int sp, int sq, const CKrPoint3d t[3], HitPoints* hits)
{
    if (sp * sq > 0) return false;
    // The line through p and q passes the triangle's edges all on one side
    // (or touching them) exactly when it pierces the closed triangle.
    bool pos = false, neg = false;
    for (int i = 0; i < 3; ++i) {
        const int o = Orient3dExact(p, q, t[i], t[(i + 1) % 3]);
        pos = pos || o > 0;
        neg = neg || o < 0;
    }
    if (pos && neg) return false;
    if (hits) {
        if (sp == 0) {
            hits->Add(p);
        } else if (sq == 0) {
            hits->Add(q);
        } else {
            const CGeoVector n = CGeoVector(t[1] - t[0]) ^ CGeoVector(t[2] - t[0]);
            const double vp = n * CGeoVector(p - t[0]);
            const double vq = n * CGeoVector(q - t[0]);
            const double s = vp != vq ? Clamp01(vp / (vp - vq)) : 0.5;
            hits->Add(p + (q - p) * s);
        }
    }
    return true;
}

// The exact decision of Test_Intersect_Tri_And_Tri_3D; with `hits`, gathers
// the extreme points of the common segment of non-coplanar meeting triangles.
int TriTri(const CKrPoint3d A[3], const CKrPoint3d B[3], HitPoints* hits, bool& coplanar)
{
    coplanar = false;
    const int dropA = ProjectionAxis(A);
    const int dropB = ProjectionAxis(B);
    if (dropA < 0 || dropB < 0) return -1;

    int sB[3], sA[3];
    for (int i = 0; i < 3; ++i) sB[i] = Orient3dExact(A[0], A[1], A[2], B[i]);
    if (sB[0] == 0 && sB[1] == 0 && sB[2] == 0) {
        coplanar = true;
        for (int i = 0; i < 3; ++i)
            if (SegTriCoplanar(A[i], A[(i + 1) % 3], B, dropB, nullptr)) return 2;
        for (int i = 0; i < 3; ++i)
            if (InTriDrop(B[i], A, dropA)) return 2;
        return 1;
    }
    if (sB[0] * sB[1] > 0 && sB[1] * sB[2] > 0) return 0;
    for (int i = 0; i < 3; ++i) sA[i] = Orient3dExact(B[0], B[1], B[2], A[i]);
    if (sA[0] * sA[1] > 0 && sA[1] * sA[2] > 0) return 0;

    // Not coplanar: the common part is a segment on the planes' common line,
    // and each of its ends lies on an edge of one triangle inside the other.
    bool meet = false;
    const auto edges = [&](const CKrPoint3d P[3], const int sP[3], const CKrPoint3d Q[3], int dropQ) {
        for (int i = 0; i < 3; ++i) {
            const int j = (i + 1) % 3;
            const bool hit = (sP[i] == 0 && sP[j] == 0) ? SegTriCoplanar(P[i], P[j], Q, dropQ, hits)
                                                        : SegTriPierce(P[i], P[j], sP[i], sP[j], Q, hits);
            meet = meet || hit;
            if (meet && !hits) return;
        }
    };
    edges(A, sA, B, dropB);
    if (!meet || hits) edges(B, sB, A, dropA);
    return meet ? 2 : 0;
}

}  // namespace

int CKrSpaceMath::Test_Intersect_Tri_And_Tri_3D(const CKrPoint3d& a0, const CKrPoint3d& a1, const CKrPoint3d& a2,
                                                const CKrPoint3d& b0, const CKrPoint3d& b1, const CKrPoint3d& b2)
{
    const CKrPoint3d A[3] = {a0, a1, a2};
    const CKrPoint3d B[3] = {b0, b1, b2};
    bool coplanar;
    return TriTri(A, B, nullptr, coplanar);
}

int CKrSpaceMath::Test_Intersect_Tri_And_Tri_3D(const CKrPoint3d& a0, const CKrPoint3d& a1, const CKrPoint3d& a2,
                                                const CKrPoint3d& b0, const CKrPoint3d& b1, const CKrPoint3d& b2,
                                                CKrPoint3d& p, CKrPoint3d& q, bool& coplanar)
{
    const CKrPoint3d A[3] = {a0, a1, a2};
    const CKrPoint3d B[3] = {b0, b1, b2};
    HitPoints hits;
    const int r = TriTri(A, B, &hits, coplanar);
    if (r != 2 || coplanar || hits.n == 0) return r;
    // The ends of the common segment are the two collected points farthest apart.
    int bi = 0, bj = 0;
    double best = -1.0;
    for (int i = 0; i < hits.n; ++i) {
        for (int j = i; j < hits.n; ++j) {
            const double d = hits.pt[i].Dist2(hits.pt[j]);
            if (d > best) {
                best = d;
                bi = i;
                bj = j;
            }
        }
    }
    p = hits.pt[bi];
    q = hits.pt[bj];
    return r;
}

bool CKrSpaceMath::Test_Dist_Tri_And_Tri_3D(const CKrPoint3d& a0, const CKrPoint3d& a1, const CKrPoint3d& a2,
                                            const CKrPoint3d& b0, const CKrPoint3d& b1, const CKrPoint3d& b2,
                                            double& distance)
{
    switch (Test_Intersect_Tri_And_Tri_3D(a0, a1, a2, b0, b1, b2)) {
    case 2:
        distance = 0.0;
        return true;
    case 0:
    case 1:
        distance = ((a0 + a1 + a2) / 3.0).Distance((b0 + b1 + b2) / 3.0);
        return true;
    default:
        return false;
    }
}
