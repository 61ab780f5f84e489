#include "KrTesGeometry/geom/KrPlanarFunc.h"

#include <algorithm>
#include <cmath>

#include "geom/KrPlanarInternal.h"
#include "KrTesGeometry/geom/KrPolyLine.h"
#include "KrTesGeometry/geom/KrSpaceMath.h"
#include "KrTesGeometry/geom/KrTransReferent.h"
#include "KrTesGeometry/math/TESCommFunc.h"

using TESCommFunc::TesCompDouble;

namespace KrTesGeo {

double get_dist(double x1, double y1, double z1, double x2, double y2, double z2)
{
    return std::sqrt((x2 - x1) * (x2 - x1) + (y2 - y1) * (y2 - y1) + (z2 - z1) * (z2 - z1));
}

double get_dist(double x1, double y1, double x2, double y2) { return std::sqrt(GetDistSqur(x1, y1, x2, y2)); }

double GetDistSqur(double x1, double y1, double x2, double y2)
{
    return (x2 - x1) * (x2 - x1) + (y2 - y1) * (y2 - y1);
}

namespace {

bool SameXY(double x1, double y1, double x2, double y2, double eps)
{
    return std::fabs(x1 - x2) < eps && std::fabs(y1 - y2) < eps;
}

// Segment intersection by turning segment 2 into the frame where segment 1
// runs from the origin along +x.
int InterPointLineSection(double x1, double y1, double x2, double y2, double x3, double y3, double x4, double y4,
                          double* px, double* py, double eps, bool widenedBox)
{
    if (SameXY(x1, y1, x3, y3, eps) || SameXY(x1, y1, x4, y4, eps)) {
        *px = x1;
        *py = y1;
        return 2;
    }
    if (SameXY(x2, y2, x4, y4, eps) || SameXY(x2, y2, x3, y3, eps)) {
        *px = x2;
        *py = y2;
        return 2;
    }

    const double minx1 = std::min(x1, x2), maxx1 = std::max(x1, x2);
    const double miny1 = std::min(y1, y2), maxy1 = std::max(y1, y2);
    const double minx2 = std::min(x3, x4), maxx2 = std::max(x3, x4);
    const double miny2 = std::min(y3, y4), maxy2 = std::max(y3, y4);
    const bool overlap = widenedBox ? IsBoxOverlap2DEx(minx1, miny1, maxx1, maxy1, minx2, miny2, maxx2, maxy2, eps)
                                    : IsBoxOverlap2D(minx1, miny1, maxx1, maxy1, minx2, miny2, maxx2, maxy2, eps);
    if (!overlap) return 0;

    const double len = get_dist(x1, y1, x2, y2);
    const double theta = GetLineAngle2D(x1, y1, x2, y2);
    double ax = x3 - x1, ay = y3 - y1;
    double bx = x4 - x1, by = y4 - y1;
    RotatePt2D(ax, ay, theta);
    RotatePt2D(bx, by, theta);
    if ((ay > eps && by > eps) || (ay < -eps && by < -eps)) return 0;

    double a = 0.0, b = 0.0, c = 0.0;
    GetLineCoef2D(ax, ay, bx, by, &a, &b, &c);
    if (std::fabs(b) < 1e-6) return 0;  // parallel to segment 1
    double x = -c / b;
    if (x < -eps || x > len + eps) return 0;

    double y = 0.0;
    RotatePt2D(x, y, -theta);
    *px = x + x1;
    *py = y + y1;
    return 1;
}

}  // namespace

int JH_GetInterPoint_LineSection(double x1, double y1, double x2, double y2, double x3, double y3, double x4,
                                 double y4, double* px, double* py, double eps)
{
    return InterPointLineSection(x1, y1, x2, y2, x3, y3, x4, y4, px, py, eps, false);
}

int JH_GetInterPoint_LineSection_Ex(double x1, double y1, double x2, double y2, double x3, double y3, double x4,
                                    double y4, double* px, double* py, double eps)
{
    return InterPointLineSection(x1, y1, x2, y2, x3, y3, x4, y4, px, py, eps, true);
}

int IsPtLeftLine(double px, double py, double ax, double ay, double bx, double by, double eps)
{
    const bool aFirst = ax < bx || (ax == bx && ay <= by);
    const double d = aFirst ? (bx - ax) * (py - ay) - (by - ay) * (px - ax)
                            : (py - by) * (ax - bx) - (ay - by) * (px - bx);
    if (d > eps) return aFirst ? 1 : -1;
    if (d <= -eps) return aFirst ? -1 : 1;
    return 0;
}

int HitSeg3D(double px, double py, double pz, double ax, double ay, double az, double bx, double by, double bz)
{
    const CKrPoint3d p(px, py, pz), a(ax, ay, az), b(bx, by, bz);
    auto same = [](const CKrPoint3d& u, const CKrPoint3d& v) {
        return TesCompDouble(u.x, v.x, POINT_EPS) == 0 && TesCompDouble(u.y, v.y, POINT_EPS) == 0 &&
               TesCompDouble(u.z, v.z, POINT_EPS) == 0;
    };
    if (same(p, a) || same(p, b)) return 0;

    const double pc[3] = {px, py, pz}, ac[3] = {ax, ay, az}, bc[3] = {bx, by, bz};
    for (int k = 0; k < 3; ++k) {
        if (TesCompDouble(pc[k], std::max(ac[k], bc[k]), POINT_EPS) > 0) return -1;
        if (TesCompDouble(pc[k], std::min(ac[k], bc[k]), POINT_EPS) < 0) return -1;
    }

    const CGeoVector u = b - a;
    const CGeoVector v = p - a;
    const double d = u * v;
    const int cd = TesCompDouble(d, 0.0, POINT_EPS);
    if (cd < 0) return -1;
    if (cd == 0) return 0;  // projects onto A
    const double len2 = u * u;
    const int cl = TesCompDouble(len2, d, POINT_EPS);
    if (cl < 0) return -1;
    if (cl == 0) return 0;  // projects onto B
    const CKrPoint3d foot = a + u * (d / len2);
    return p.Dist2(foot) < 1e-12 ? 1 : -1;
}

bool IsPtInSeg2D(double px, double py, double ax, double ay, double bx, double by)
{
    auto same = [](double x1, double y1, double x2, double y2) {
        return TesCompDouble(x1, x2, POINT_EPS) == 0 && TesCompDouble(y1, y2, POINT_EPS) == 0;
    };
    if (same(px, py, ax, ay) || same(px, py, bx, by)) return true;
    if (TesCompDouble(px, std::max(ax, bx), POINT_EPS) > 0 || TesCompDouble(px, std::min(ax, bx), POINT_EPS) < 0)
        return false;
    if (TesCompDouble(py, std::max(ay, by), POINT_EPS) > 0 || TesCompDouble(py, std::min(ay, by), POINT_EPS) < 0)
        return false;
    return IsPtLeftLine(px, py, ax, ay, bx, by, POINT_EPS) == 0;
}

bool IsPtInSeg2DEx(double px, double py, double ax, double ay, double bx, double by, double eps)
{
    if (SameXY(px, py, ax, ay, eps) || SameXY(px, py, bx, by, eps)) return true;
    if (px < std::min(ax, bx) || px > std::max(ax, bx)) return false;
    if (py < std::min(ay, by) || py > std::max(ay, by)) return false;
    return IsPtLeftLine(px, py, ax, ay, bx, by, eps) == 0;
}

double GetTwoSegAngle(double ax, double ay, double ox, double oy, double bx, double by)
{
    double alpha = std::atan2(ay - oy, ax - ox);
    if (alpha < 0.0) alpha += PLANAR_2PI;
    double beta = std::atan2(by - oy, bx - ox);
    if (beta < 0.0) beta += PLANAR_2PI;
    double angle = alpha - beta;
    if (angle < 0.0) angle += PLANAR_2PI;
    return angle;
}

double GetVolumeTetrahedron(double (&a)[3], double (&b)[3], double (&c)[3])
{
    return (c[1] - c[2]) * (b[0] - b[1]) * a[2] - (b[1] - b[2]) * (c[0] - c[1]) * a[2] +
           (a[0] - a[1]) * (c[2] * (b[1] - b[2]) - b[2] * (c[1] - c[2])) -
           (a[1] - a[2]) * (c[2] * (b[0] - b[1]) - b[2] * (c[0] - c[1]));
}

double GetNearestPtToSeg2D(double px, double py, double ax, double ay, double bx, double by, double& qx, double& qy)
{
    const double ux = bx - ax, uy = by - ay;
    const double d = ux * (px - ax) + uy * (py - ay);
    const double len2 = ux * ux + uy * uy;
    if (TesCompDouble(d, 0.0, POINT_EPS) <= 0) {
        qx = ax;
        qy = ay;
    } else if (TesCompDouble(len2, d, POINT_EPS) <= 0) {
        qx = bx;
        qy = by;
    } else {
        const double t = d / len2;
        qx = ax + ux * t;
        qy = ay + uy * t;
    }
    return get_dist(px, py, qx, qy);
}

bool IsIntersectLineSeg(double x1, double y1, double x2, double y2, double x3, double y3, double x4, double y4,
                        double eps)
{
    if (!IsBoxOverlap2D(std::min(x1, x2), std::min(y1, y2), std::max(x1, x2), std::max(y1, y2), std::min(x3, x4),
                        std::min(y3, y4), std::max(x3, x4), std::max(y3, y4), eps))
        return false;
    // +1 strictly left, -1 otherwise (on the line counts as -1).
    auto side = [](double ax, double ay, double bx, double by, double px, double py) {
        return (bx - ax) * (py - ay) - (by - ay) * (px - ax) > 0.0 ? 1 : -1;
    };
    const int s1 = side(x1, y1, x2, y2, x3, y3);
    const int s2 = side(x1, y1, x2, y2, x4, y4);
    const int s3 = side(x3, y3, x4, y4, x1, y1);
    const int s4 = side(x3, y3, x4, y4, x2, y2);
    return s1 * s2 < 0 && s3 * s4 < 0;
}

int IsPtInPolygon(const std::vector<CKrPoint3d>& poly, const CKrPoint3d& pt, double eps)
{
    const size_t n = poly.size();
    if (n < 3) return 0;
    bool inside = false;
    for (size_t i = 0; i < n; ++i) {
        const CKrPoint3d& a = poly[i];
        const CKrPoint3d& b = poly[(i + 1) % n];
        const int ca = TesCompDouble(a.y, pt.y, eps);
        const int cb = TesCompDouble(b.y, pt.y, eps);
        if (ca * cb >= 1) continue;  // the edge stays on one side of the ray's height

        if (TesCompDouble(a.y, b.y, eps) == 0) {
            if ((a.x - pt.x) * (b.x - pt.x) < 0.0) return -1;
            continue;
        }
        const double e = (a.x - pt.x) - (b.x - a.x) * (a.y - pt.y) / (b.y - a.y);
        if (std::fabs(e) < eps) return -1;
        if (e >= 0.0) {
            // A vertex on the ray counts only for the edge whose other end is
            // not above it, so a ray through a vertex is counted once where the
            // boundary passes through and zero or two times where it turns.
            if ((ca == 0 && cb > 0) || (cb == 0 && ca > 0)) continue;
            inside = !inside;
        }
    }
    return inside ? 1 : 0;
}

bool CalRegionCenter(const std::vector<CKrPoint3d>& poly, CKrPoint3d& center)
{
    const size_t n = poly.size();
    if (n < 3) return false;
    double s = 0.0, sx = 0.0, sy = 0.0;
    for (size_t i = 0; i < n; ++i) {
        const CKrPoint3d& a = poly[i];
        const CKrPoint3d& b = poly[(i + 1) % n];
        const double c = a.x * b.y - b.x * a.y;
        s += c;
        sx += (a.x + b.x) * c;
        sy += (a.y + b.y) * c;
    }
    center.x = sx / (3.0 * s);
    center.y = sy / (3.0 * s);
    center.z = 0.0;
    return true;
}

bool IsPLine2DClockwise(const std::vector<CKrPoint3d>& poly, bool& clockwise)
{
    const size_t n = poly.size();
    if (n < 3) return false;
    size_t i = 0;
    for (size_t k = 1; k < n; ++k) {
        if (poly[k].x < poly[i].x) i = k;
    }
    for (size_t step = 0; step <= n; ++step) {
        const CKrPoint3d& v = poly[i];
        const CKrPoint3d& p = poly[(i + n - 1) % n];
        const size_t q = (i + 1) % n;
        const CKrPoint3d& w = poly[q];
        const double k = (v.x - p.x) * (w.y - p.y) - (v.y - p.y) * (w.x - p.x);
        const int c = TesCompDouble(k, 0.0, POINT_EPS);
        if (c > 0) {
            clockwise = false;
            return true;
        }
        if (c < 0) {
            clockwise = true;
            return true;
        }
        i = q;
    }
    return false;
}

CGeoVector CalcPLineNodeDir(const CKrPolyLine& pl, int i)
{
    const std::vector<CKrPoint3d>& v = pl.GetVerts();
    const int n = static_cast<int>(v.size());
    if (n < 2 || i < 0 || i >= n) return CGeoVector();
    CGeoVector dir;
    if (!pl.IsClosed() && i == 0) {
        dir = v[1] - v[0];
    } else if (!pl.IsClosed() && i == n - 1) {
        dir = v[n - 1] - v[n - 2];
    } else {
        CGeoVector a = v[(i + n - 1) % n] - v[i];
        CGeoVector b = v[(i + 1) % n] - v[i];
        a.Normalize();
        b.Normalize();
        dir = b - a;
    }
    dir.Normalize();
    return dir;
}

bool CalRoundOutLine(std::vector<CKrPoint3d>& out, const CKrPoint3d& center, double radius,
                     const CGeoVector& normal, int n)
{
    if (TesCompDouble(normal.x, 0.0, POINT_EPS) == 0 && TesCompDouble(normal.y, 0.0, POINT_EPS) == 0 &&
        TesCompDouble(normal.z, 0.0, POINT_EPS) == 0)
        return false;
    if (n < 1) return false;
    CKrTransReferent frame;
    if (!frame.SetData(normal, center)) return false;
    const double step = 6.283185307179586 / n;
    std::vector<CKrPoint3d> local(static_cast<size_t>(n));
    for (int k = 0; k < n; ++k) {
        local[k] = CKrPoint3d(radius * std::cos(k * step), radius * std::sin(k * step), 0.0);
    }
    return frame.Trans2DTo3D(out, local);
}

namespace {

// Calls f(start, end) for every segment of the polyline, closing one included
// when it is closed; stops early when f returns true.
template <class F>
bool ForEachSeg(const CKrPolyLine& pl, F&& f)
{
    const std::vector<CKrPoint3d>& v = pl.GetVerts();
    const size_t n = v.size();
    if (n < 2) return false;
    const size_t segs = pl.IsClosed() ? n : n - 1;
    for (size_t i = 0; i < segs; ++i) {
        if (f(v[i], v[(i + 1) % n])) return true;
    }
    return false;
}

// Parameter in [0, 1] of the plan projection of p onto segment ab.
double PlanParam(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& p)
{
    const double len2 = a.Dist2d2(b);
    if (!(len2 > 0.0)) return 0.0;
    const double t = ((p.x - a.x) * (b.x - a.x) + (p.y - a.y) * (b.y - a.y)) / len2;
    return std::min(1.0, std::max(0.0, t));
}

}  // namespace

bool IntersectWithPolyLine(const CKrPolyLine& a, const CKrPolyLine& b, std::vector<CKrPoint3d>& out)
{
    out.clear();
    if (a.NumVerts() < 2 || b.NumVerts() < 2) return false;
    ForEachSeg(b, [&](const CKrPoint3d& b1, const CKrPoint3d& b2) {
        ForEachSeg(a, [&](const CKrPoint3d& a1, const CKrPoint3d& a2) {
            CKrPoint3d p, q;
            if (CKrSpaceMath::Test_Intersect_Seg_And_Seg_3D(a1, a2, b1, b2, p, q) > 0) out.push_back(p);
            return false;
        });
        return false;
    });
    return !out.empty();
}

bool CatPlineInBound(const CKrPolyLine& line, const CKrPolyLine& bound, std::vector<CKrPolyLine>& pieces)
{
    if (line.NumVerts() < 2 || bound.NumVerts() < 2) return false;
    const size_t before = pieces.size();

    // The boundary as a flat ring, whatever its closed flag says.
    CKrPolyLine ring(bound);
    ring.SetGC(0.0);
    ring.SetClosed(true);
    const std::vector<CKrPoint3d>& rv = ring.GetVerts();
    const size_t nr = rv.size();

    // The line as an open run of vertices (a closed line once round, back to
    // its first vertex), split wherever the boundary meets it, so that every
    // segment lies wholly inside or wholly outside. The crossings are placed
    // on the segment that produced them: a point-on-segment test would reject
    // some of them on long segments far from the origin.
    std::vector<CKrPoint3d> src = line.GetVerts();
    if (line.IsClosed()) src.push_back(src.front());
    auto flat = [](const CKrPoint3d& p) { return CKrPoint3d(p.x, p.y, 0.0); };
    std::vector<CKrPoint3d> wv;  // with the line's elevations
    std::vector<std::pair<double, CKrPoint3d>> cuts;
    for (size_t k = 0; k + 1 < src.size(); ++k) {
        const CKrPoint3d a = flat(src[k]), b = flat(src[k + 1]);
        wv.push_back(src[k]);
        cuts.clear();
        auto addCut = [&](const CKrPoint3d& p) {
            if (!std::isfinite(p.x) || !std::isfinite(p.y)) return;
            if (TesCompDouble(p.Distance2d(a), 0.0, POINT_EPS) == 0) return;
            if (TesCompDouble(p.Distance2d(b), 0.0, POINT_EPS) == 0) return;
            cuts.emplace_back(PlanParam(a, b, p), p);
        };
        for (size_t r = 0; r < nr; ++r) {
            CKrPoint3d p, q;
            const int hit = CKrSpaceMath::Test_Intersect_Seg_And_Seg_3D(a, b, rv[r], rv[(r + 1) % nr], p, q);
            if (hit <= 0) continue;
            addCut(p);
            if (!(q == p)) addCut(q);  // the far end of a stretch along the boundary
        }
        std::sort(cuts.begin(), cuts.end(),
                  [](const std::pair<double, CKrPoint3d>& l, const std::pair<double, CKrPoint3d>& r) {
                      return l.first < r.first;
                  });
        for (const auto& c : cuts) {
            const CKrPoint3d pt(c.second.x, c.second.y, src[k].z + (src[k + 1].z - src[k].z) * c.first);
            if (TesCompDouble(flat(pt).Distance2d(flat(wv.back())), 0.0, POINT_EPS) != 0) wv.push_back(pt);
        }
    }
    wv.push_back(src.back());

    const size_t n = wv.size();
    std::vector<CKrPoint3d> fv(n);
    std::vector<int> code(n, 0);
    for (size_t k = 0; k < n; ++k) {
        fv[k] = flat(wv[k]);
        ring.HitTest(fv[k], code[k], POINT_EPS);
    }

    // Segment k -> k+1 is inside when neither end is outside and its middle is
    // strictly inside; a segment along the boundary is not.
    auto segInside = [&](size_t k) {
        if (code[k] == 0 || code[k + 1] == 0) return false;
        int mid = 0;
        ring.HitTest((fv[k] + fv[k + 1]) * 0.5, mid, POINT_EPS);
        return mid == 1;
    };
    // p on segment k -> k+1 with the line's elevation there.
    auto lift = [&](const CKrPoint3d& p, size_t k) {
        return CKrPoint3d(p.x, p.y, wv[k].z + (wv[k + 1].z - wv[k].z) * PlanParam(fv[k], fv[k + 1], p));
    };
    auto holds = [](const CKrPolyLine& piece, const CKrPoint3d& p) {
        for (const CKrPoint3d& v : piece.GetVerts()) {
            if (TesCompDouble(v.Distance2d(p), 0.0, POINT_EPS) == 0) return true;
        }
        return false;
    };

    // Runs of inside vertices become pieces, in order along the line. A run
    // normally starts and ends on a crossing; should one have been missed,
    // the run starts or ends at a vertex strictly inside, and the crossing is
    // looked for on the segment leaving the run, from the inside vertex out.
    size_t k = 0;
    while (k < n) {
        size_t s = k;
        while (s < n && !(code[s] == 1 || (code[s] == -1 && s + 1 < n && segInside(s)))) ++s;
        if (s >= n) break;
        size_t e = s;
        while (e + 1 < n && segInside(e)) ++e;

        CKrPolyLine piece;
        for (size_t m = s; m <= e; ++m) piece.AddVertex(wv[m]);
        CKrPoint3d p;
        if (s > 0 && code[s] == 1 && ring.IntersectWithLine2D(fv[s], fv[s - 1], p) && !holds(piece, p))
            piece.InsertVertex(0, lift(p, s - 1));
        if (e + 1 < n && code[e] == 1 && ring.IntersectWithLine2D(fv[e], fv[e + 1], p) && !holds(piece, p))
            piece.AddVertex(lift(p, e));
        if (piece.NumVerts() >= 2) pieces.push_back(piece);
        k = e + 1;
    }
    return pieces.size() > before;
}

}  // namespace KrTesGeo
