#include "geom/KrPlanarInternal.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace KrTesGeo {

double GetTriArea2D(double x1, double y1, double x2, double y2, double x3, double y3)
{
    return -0.5 * ((x2 - x1) * (y3 - y1) - (x3 - x1) * (y2 - y1));
}

double GetPolygonArea2D(int n, const double* xs, const double* ys)
{
    double sum = 0.0;
    for (int i = 0; i < n; ++i) {
        const int k = (i + 1) % n;
        sum += xs[i] * ys[k] - xs[k] * ys[i];
    }
    return 0.5 * sum;
}

double GetDistPtToLine2D(double px, double py, double ax, double ay, double bx, double by)
{
    const double cross = (bx - ax) * (py - ay) - (px - ax) * (by - ay);
    return std::fabs(cross) / std::sqrt((bx - ax) * (bx - ax) + (by - ay) * (by - ay));
}

int LocatePtInTri2D(double px, double py, double ax, double ay, double bx, double by, double cx, double cy,
                    bool fixOrientation, double eps)
{
    int s[3] = {IsPtLeftLine(px, py, ax, ay, bx, by, eps), IsPtLeftLine(px, py, bx, by, cx, cy, eps),
                IsPtLeftLine(px, py, cx, cy, ax, ay, eps)};
    if (fixOrientation && GetTriArea2D(ax, ay, bx, by, cx, cy) >= 0.0) {
        for (int& v : s) v = -v;
    }

    for (int k = 0; k < 3; ++k) {
        if (s[k] == -1) return k + 1;
    }
    const int zeros = (s[0] == 0) + (s[1] == 0) + (s[2] == 0);
    if (zeros == 0) return 0;
    if (zeros == 1) {
        if (s[0] == 0) return -1;
        return s[1] == 0 ? -2 : -3;
    }

    // P lies on the lines of two (or, for a flat triangle, three) edges:
    // normally it sits at their common vertex.
    const double vx[3] = {ax, bx, cx}, vy[3] = {ay, by, cy};
    for (int k = 0; k < 3; ++k) {
        if (std::fabs(px - vx[k]) < eps && std::fabs(py - vy[k]) < eps) return -4;
    }
    // Otherwise the nearer edge line takes it; equal distances (or a
    // zero-length edge) leave it undecided, reported as a vertex.
    int best = -1;
    double bestDist = 0.0;
    bool tie = false;
    for (int k = 0; k < 3; ++k) {
        if (s[k] != 0) continue;
        const int e = (k + 1) % 3;
        const double d = GetDistPtToLine2D(px, py, vx[k], vy[k], vx[e], vy[e]);
        if (std::isnan(d)) return -4;
        if (best < 0 || d < bestDist) {
            best = k;
            bestDist = d;
            tie = false;
        } else if (d == bestDist) {
            tie = true;
        }
    }
    if (best < 0 || tie) return -4;
    return -(best + 1);
}

double GetLineAngle2D(double x1, double y1, double x2, double y2)
{
    const double dx = x2 - x1;
    const double dy = y2 - y1;
    if (dx == 0.0) return dy >= 0.0 ? PLANAR_HALF_PI : PLANAR_3HALF_PI;
    // Rounded to single precision on purpose: intersection points computed
    // through this angle have always carried that rounding.
    const float a = static_cast<float>(std::atan(dy / dx));
    if (dx > 0.0) return dy >= 0.0 ? a : a + PLANAR_2PI;
    return a + PLANAR_PI;
}

void RotatePt2D(double& x, double& y, double angle)
{
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    const double nx = c * x + s * y;
    const double ny = c * y - s * x;
    x = nx;
    y = ny;
}

void GetLineCoef2D(double x1, double y1, double x2, double y2, double* a, double* b, double* c)
{
    const double dx = x2 - x1;
    const double dy = y2 - y1;
    if (std::fabs(dx) < std::fabs(dy)) {
        *a = dx / dy;
        *b = 1.0;
        *c = *a * y1 - x1;
    } else {
        *a = 1.0;
        *b = dy / dx;
        *c = y1 - *b * x1;
    }
}

namespace {

// Ranges [a1, a2] and [b1, b2] overlap by more than eps.
bool RangeOverlap(double a1, double a2, double b1, double b2, double eps)
{
    return (a1 < b1 && b1 < a2 - eps) || (a1 + eps < b2 && b2 < a2) || (b1 < a1 && a1 < b2 - eps) ||
           (b1 + eps < a2 && a2 < b2);
}

// Ranges [a1, a2] and [b1, b2] come within eps of each other.
bool RangeOverlapEx(double a1, double a2, double b1, double b2, double eps)
{
    return (a1 - eps < b1 && b1 < a2 + eps) || (a1 - eps < b2 && b2 < a2 + eps) ||
           (b1 - eps < a1 && a1 < b2 + eps) || (b1 - eps < a2 && a2 < b2 + eps);
}

}  // namespace

bool IsBoxOverlap2D(double minx1, double miny1, double maxx1, double maxy1, double minx2, double miny2,
                    double maxx2, double maxy2, double eps)
{
    return RangeOverlap(minx1, maxx1, minx2, maxx2, eps) && RangeOverlap(miny1, maxy1, miny2, maxy2, eps);
}

bool IsBoxOverlap2DEx(double minx1, double miny1, double maxx1, double maxy1, double minx2, double miny2,
                      double maxx2, double maxy2, double eps)
{
    return RangeOverlapEx(minx1, maxx1, minx2, maxx2, eps) && RangeOverlapEx(miny1, maxy1, miny2, maxy2, eps);
}

bool IsValidDiagonal(const std::vector<CKrPoint3d>& poly, int i, int j, double eps)
{
    const int n = static_cast<int>(poly.size());
    if (n < 4 || i < 0 || j < 0 || i >= n || j >= n || i == j) return false;
    const int p = (i + n - 1) % n;
    const int q = (i + 1) % n;
    if (j == p || j == q) return false;  // an edge, not a diagonal

    const CKrPoint3d& vi = poly[i];
    const CKrPoint3d& vj = poly[j];
    const CKrPoint3d& vp = poly[p];
    const CKrPoint3d& vq = poly[q];

    // The diagonal must leave vertex i into the polygon's interior cone.
    const int turn = IsPtLeftLine(vq.x, vq.y, vp.x, vp.y, vi.x, vi.y, eps);
    if (turn == 0) return false;
    if (turn > 0) {
        // Convex corner: j strictly between the two edges.
        if (IsPtLeftLine(vp.x, vp.y, vi.x, vi.y, vj.x, vj.y, eps) != 1) return false;
        if (IsPtLeftLine(vq.x, vq.y, vj.x, vj.y, vi.x, vi.y, eps) != 1) return false;
    } else {
        // Reflex corner: j anywhere but inside the outer wedge.
        if (IsPtLeftLine(vq.x, vq.y, vi.x, vi.y, vj.x, vj.y, eps) != -1 &&
            IsPtLeftLine(vp.x, vp.y, vj.x, vj.y, vi.x, vi.y, eps) != -1)
            return false;
    }

    // No other edge may meet it. The widened box test is used here: the plain
    // one misses edges whose extent on an axis equals the diagonal's, which
    // is common on gridded data.
    for (int k = 0; k < n; ++k) {
        const int e = (k + 1) % n;
        if (k == i || k == j || e == i || e == j) continue;
        double x = 0.0, y = 0.0;
        if (JH_GetInterPoint_LineSection_Ex(vi.x, vi.y, vj.x, vj.y, poly[k].x, poly[k].y, poly[e].x, poly[e].y, &x,
                                            &y, eps) != 0)
            return false;
    }
    return true;
}

bool TriangulatePolygonByAngle(const std::vector<CKrPoint3d>& poly, std::vector<_sTri_ID>& tris, double eps)
{
    tris.clear();
    const int n = static_cast<int>(poly.size());
    if (n < 3) return false;
    if (n == 3) {
        tris.emplace_back(0, 1, 2);
        return true;
    }

    // Ears are cut on the counter-clockwise traversal; a clockwise polygon is
    // walked backwards and its triangles are written back in its own winding.
    std::vector<double> xs(n), ys(n);
    for (int k = 0; k < n; ++k) {
        xs[k] = poly[k].x;
        ys[k] = poly[k].y;
    }
    const bool reversed = GetPolygonArea2D(n, xs.data(), ys.data()) < 0.0;
    std::vector<int> rem(n);  // remaining input indices, counter-clockwise
    for (int k = 0; k < n; ++k) rem[k] = reversed ? n - 1 - k : k;

    auto emit = [&](int a, int b, int c) {
        if (reversed)
            tris.emplace_back(c, b, a);
        else
            tris.emplace_back(a, b, c);
    };
    auto angleAt = [&](int pos) {
        const int m = static_cast<int>(rem.size());
        const CKrPoint3d& a = poly[rem[(pos + m - 1) % m]];
        const CKrPoint3d& o = poly[rem[pos]];
        const CKrPoint3d& b = poly[rem[(pos + 1) % m]];
        const double v = GetTwoSegAngle(a.x, a.y, o.x, o.y, b.x, b.y);
        return std::isnan(v) ? 10.0 : v;  // never a candidate, keeps the sort well-defined
    };

    std::vector<double> angle(n);  // by position in rem
    for (int k = 0; k < n; ++k) angle[k] = angleAt(k);

    std::vector<CKrPoint3d> ring;
    std::vector<int> order;
    while (rem.size() > 3) {
        const int m = static_cast<int>(rem.size());
        ring.resize(m);
        for (int k = 0; k < m; ++k) ring[k] = poly[rem[k]];

        // Smallest angle first (earlier position on ties); the first one whose
        // neighbours can be joined is the ear.
        order.resize(m);
        for (int k = 0; k < m; ++k) order[k] = k;
        std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return angle[a] < angle[b]; });
        int ear = -1;
        for (int pos : order) {
            if (!(angle[pos] < 10.0)) break;
            if (IsValidDiagonal(ring, (pos + m - 1) % m, (pos + 1) % m, eps)) {
                ear = pos;
                break;
            }
        }
        if (ear < 0) return false;

        const int prev = (ear + m - 1) % m;
        const int next = (ear + 1) % m;
        emit(rem[prev], rem[ear], rem[next]);
        rem.erase(rem.begin() + ear);
        angle.erase(angle.begin() + ear);
        const int m2 = m - 1;
        const int prevPos = (ear + m2 - 1) % m2;
        const int nextPos = ear % m2;
        angle[prevPos] = angleAt(prevPos);
        angle[nextPos] = angleAt(nextPos);
    }
    emit(rem[0], rem[1], rem[2]);
    return true;
}

void GetPlanBound(const std::vector<CKrPoint3d>& pts, double& x0, double& y0, double& x1, double& y1)
{
    x0 = y0 = DBL_MAX;
    x1 = y1 = -DBL_MAX;
    for (const CKrPoint3d& p : pts) {
        x0 = std::min(x0, p.x);
        y0 = std::min(y0, p.y);
        x1 = std::max(x1, p.x);
        y1 = std::max(y1, p.y);
    }
}

}  // namespace KrTesGeo
