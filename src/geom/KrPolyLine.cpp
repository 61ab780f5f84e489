#include "KrTesGeometry/geom/KrPolyLine.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>

#include "KrTesGeometry/geom/KrPlanarFunc.h"
#include "geom/KrPlanarInternal.h"
#include "KrTesGeometry/geom/KrSpaceMath.h"
#include "KrTesGeometry/math/CGeDataPLine3D.h"
#include "KrTesGeometry/math/TESCommFunc.h"

using KrTesGeo::CGeoVector;
using TESCommFunc::TesCompDouble;

CKrPolyLine::CKrPolyLine(const CKrPolyLine& other) { CopyObj(other); }

CKrPolyLine& CKrPolyLine::operator=(const CKrPolyLine& other)
{
    if (this != &other) CopyObj(other);
    return *this;
}

void CKrPolyLine::CopyObj(const CKrPolyLine& other)
{
    m_bClosed = other.m_bClosed;
    m_arrVerts = other.m_arrVerts;
}

unsigned int CKrPolyLine::NumSegs() const
{
    const unsigned int n = NumVerts();
    if (n < 2) return 0;
    return m_bClosed ? n : n - 1;
}

// ---- vertex access and editing ------------------------------------------------

bool CKrPolyLine::GetVertex(unsigned int i, CKrPoint3d& pt) const
{
    if (i >= NumVerts()) return false;
    pt = m_arrVerts[i];
    return true;
}

void CKrPolyLine::SetVertex(unsigned int i, const CKrPoint3d& pt)
{
    if (i < NumVerts()) m_arrVerts[i] = pt;
}

void CKrPolyLine::SetVertex(const std::vector<CKrPoint3d>& pts)
{
    // Each vertex is compared with its predecessor in pts (not with the last
    // one kept), so a run of points creeping by less than the tolerance each
    // collapses onto its first point.
    m_arrVerts.clear();
    m_arrVerts.reserve(pts.size());
    for (size_t k = 0; k < pts.size(); ++k) {
        if (k == 0 || !(pts[k] == pts[k - 1])) m_arrVerts.push_back(pts[k]);
    }
}

void CKrPolyLine::AddVertex(const CKrPoint3d& pt) { m_arrVerts.push_back(pt); }

void CKrPolyLine::InsertVertex(unsigned int i, const CKrPoint3d& pt)
{
    if (i >= NumVerts())
        m_arrVerts.push_back(pt);
    else
        m_arrVerts.insert(m_arrVerts.begin() + i, pt);
}

void CKrPolyLine::DelVertex(unsigned int i)
{
    if (i < NumVerts()) m_arrVerts.erase(m_arrVerts.begin() + i);
}

void CKrPolyLine::Clear() { m_arrVerts.clear(); }

void CKrPolyLine::SetData(const CGeDataPLine3D& src)
{
    m_bClosed = src.IsClosed();
    m_arrVerts.clear();
    const int32_t n = src.GetPointCount();
    m_arrVerts.reserve(n > 0 ? static_cast<size_t>(n) : 0);
    for (int32_t k = 0; k < n; ++k) {
        const CGeDataPoint3D* p = src.GetPoint(k);
        if (p != nullptr) {
            CKrPoint3d v;
            v = *p;
            m_arrVerts.push_back(v);
        }
    }
}

void CKrPolyLine::OutputData(std::vector<CKrPoint3d>& pts) const { pts = m_arrVerts; }

void CKrPolyLine::SetGC(double z)
{
    for (CKrPoint3d& v : m_arrVerts) v.z = z;
}

void CKrPolyLine::Offset(const CKrPoint3d& d, bool add)
{
    for (CKrPoint3d& v : m_arrVerts) {
        if (add)
            v += d;
        else
            v -= d;
    }
}

void CKrPolyLine::Invert() { std::reverse(m_arrVerts.begin(), m_arrVerts.end()); }

bool CKrPolyLine::BuildPLine(const std::vector<CKrPolyLine>& lines)
{
    // Every piece as an open run of vertices; a closed piece runs once round.
    std::vector<std::vector<CKrPoint3d>> runs;
    for (const CKrPolyLine& l : lines) {
        if (l.m_arrVerts.empty()) continue;
        runs.push_back(l.m_arrVerts);
        if (l.m_bClosed && l.m_arrVerts.size() > 1) runs.back().push_back(l.m_arrVerts.front());
    }
    if (runs.empty()) return false;

    // Grow one chain at either end until no piece fits any more.
    std::deque<CKrPoint3d> chain(runs[0].begin(), runs[0].end());
    std::vector<bool> used(runs.size(), false);
    used[0] = true;
    size_t left = runs.size() - 1;
    bool grown = true;
    while (left > 0 && grown) {
        grown = false;
        for (size_t k = 1; k < runs.size(); ++k) {
            if (used[k]) continue;
            const std::vector<CKrPoint3d>& r = runs[k];
            if (r.front() == chain.back()) {
                chain.insert(chain.end(), r.begin() + 1, r.end());
            } else if (r.back() == chain.back()) {
                chain.insert(chain.end(), r.rbegin() + 1, r.rend());
            } else if (r.back() == chain.front()) {
                chain.insert(chain.begin(), r.begin(), r.end() - 1);
            } else if (r.front() == chain.front()) {
                chain.insert(chain.begin(), r.rbegin(), r.rend() - 1);
            } else {
                continue;
            }
            used[k] = true;
            --left;
            grown = true;
        }
    }
    if (left > 0) return false;

    // Ends that meet close the line (at least three distinct vertices).
    bool closed = false;
    if (chain.size() >= 4 && chain.front() == chain.back()) {
        chain.pop_back();
        closed = true;
    }
    m_arrVerts.assign(chain.begin(), chain.end());
    m_bClosed = closed;
    return true;
}

// ---- measures -------------------------------------------------------------------

void CKrPolyLine::GetBound(CKrPoint3d& min, CKrPoint3d& max) const
{
    if (m_arrVerts.empty()) return;
    CKrPoint3d lo = m_arrVerts[0], hi = m_arrVerts[0];
    for (const CKrPoint3d& v : m_arrVerts) {
        lo.x = std::min(lo.x, v.x);
        lo.y = std::min(lo.y, v.y);
        lo.z = std::min(lo.z, v.z);
        hi.x = std::max(hi.x, v.x);
        hi.y = std::max(hi.y, v.y);
        hi.z = std::max(hi.z, v.z);
    }
    min = lo;
    max = hi;
}

double CKrPolyLine::GetArea() const
{
    if (!m_bClosed || m_arrVerts.size() < 3) return 0.0;
    const size_t n = m_arrVerts.size();
    std::vector<double> xs(n), ys(n);
    for (size_t k = 0; k < n; ++k) {
        xs[k] = m_arrVerts[k].x;
        ys[k] = m_arrVerts[k].y;
    }
    return KrTesGeo::GetPolygonArea2D(static_cast<int>(n), xs.data(), ys.data());
}

double CKrPolyLine::GetLength() const
{
    double len = 0.0;
    const unsigned int n = NumVerts();
    for (unsigned int k = 0; k < NumSegs(); ++k) len += m_arrVerts[k].Distance(m_arrVerts[(k + 1) % n]);
    return len;
}

double CKrPolyLine::GetLength2d() const
{
    double len = 0.0;
    const unsigned int n = NumVerts();
    for (unsigned int k = 0; k < NumSegs(); ++k) len += m_arrVerts[k].Distance2d(m_arrVerts[(k + 1) % n]);
    return len;
}

double CKrPolyLine::GetLength(unsigned int i) const
{
    if (i >= NumVerts()) return -1.0;
    double len = 0.0;
    for (unsigned int k = 0; k < i; ++k) len += m_arrVerts[k].Distance(m_arrVerts[k + 1]);
    return len;
}

double CKrPolyLine::GetLength2d(unsigned int i) const
{
    if (i >= NumVerts()) return -1.0;
    double len = 0.0;
    for (unsigned int k = 0; k < i; ++k) len += m_arrVerts[k].Distance2d(m_arrVerts[k + 1]);
    return len;
}

double CKrPolyLine::GetLength(const CKrPoint3d& pt) const
{
    const unsigned int n = NumVerts();
    double len = 0.0;
    for (unsigned int k = 0; k < NumSegs(); ++k) {
        const CKrPoint3d& a = m_arrVerts[k];
        const CKrPoint3d& b = m_arrVerts[(k + 1) % n];
        if (CKrSpaceMath::JH_TestPointIn_LineSection3D(pt.x, pt.y, pt.z, a.x, a.y, a.z, b.x, b.y, b.z) != 0)
            return len + pt.Distance(a);
        len += a.Distance(b);
    }
    return -1.0;
}

int CKrPolyLine::GetIndex(const CKrPoint3d& pt) const
{
    for (size_t k = 0; k < m_arrVerts.size(); ++k) {
        if (m_arrVerts[k] == pt) return static_cast<int>(k);
    }
    return -1;
}

unsigned int CKrPolyLine::PtNumInLen(double len, bool fromStart) const
{
    const unsigned int n = NumVerts();
    if (!(len > 0.0) || n == 0) return 0;
    if (GetLength() < len) return n;

    // Walk from the chosen end; on a closed line walked from its end, the
    // closing segment (back from the first vertex) comes first.
    unsigned int count = 1;
    double acc = 0.0;
    unsigned int cur = fromStart ? 0 : n - 1;
    if (!fromStart && m_bClosed) {
        acc = m_arrVerts[0].Distance(m_arrVerts[n - 1]);
        if (TesCompDouble(acc, len, POINT_EPS) > 0) return 1;
        count = 2;
    }
    while (count < n) {
        const unsigned int nxt = fromStart ? cur + 1 : cur - 1;
        acc += m_arrVerts[cur].Distance(m_arrVerts[nxt]);
        if (TesCompDouble(acc, len, POINT_EPS) > 0) break;
        ++count;
        cur = nxt;
    }
    return count;
}

// ---- point queries ---------------------------------------------------------------

void CKrPolyLine::CalcPtZ(const CKrPoint3d& a, const CKrPoint3d& b, CKrPoint3d& p) const
{
    if (TesCompDouble(p.x, a.x, POINT_EPS) == 0 && TesCompDouble(p.y, a.y, POINT_EPS) == 0) {
        p.z = a.z;
        return;
    }
    if (TesCompDouble(p.x, b.x, POINT_EPS) == 0 && TesCompDouble(p.y, b.y, POINT_EPS) == 0) {
        p.z = b.z;
        return;
    }
    const bool alongX = std::fabs(a.x - b.x) > std::fabs(a.y - b.y);
    const double t = alongX ? std::fabs(a.x - p.x) / std::fabs(a.x - b.x) : std::fabs(a.y - p.y) / std::fabs(a.y - b.y);
    p.z = (1.0 - t) * a.z + t * b.z;
}

bool CKrPolyLine::GetZbyXY(double x, double y, double& z) const
{
    const unsigned int n = NumVerts();
    for (unsigned int k = 0; k < NumSegs(); ++k) {
        const CKrPoint3d& a = m_arrVerts[k];
        const CKrPoint3d& b = m_arrVerts[(k + 1) % n];
        if (KrTesGeo::IsPtInSeg2D(x, y, a.x, a.y, b.x, b.y)) {
            CKrPoint3d p(x, y, 0.0);
            CalcPtZ(a, b, p);
            z = p.z;
            return true;
        }
    }
    return false;
}

bool CKrPolyLine::GetPoint(double len, CKrPoint3d& pt) const
{
    int i = 0, j = 0;
    return GetPoint(len, pt, i, j);
}

bool CKrPolyLine::GetPoint(double len, CKrPoint3d& pt, int& i, int& j) const
{
    const unsigned int n = NumVerts();
    if (n < 2 || !(len >= 0.0)) return false;
    double acc = 0.0;
    for (unsigned int k = 0; k < NumSegs(); ++k) {
        const CKrPoint3d& a = m_arrVerts[k];
        const CKrPoint3d& b = m_arrVerts[(k + 1) % n];
        const double seg = a.Distance(b);
        if (TesCompDouble(acc + seg, len, POINT_EPS) > -1) {
            // Within the tolerance past the segment's end counts as its end.
            const double t = seg > 0.0 ? std::min(1.0, std::max(0.0, (len - acc) / seg)) : 0.0;
            pt = a + (b - a) * t;
            i = static_cast<int>(k);
            j = static_cast<int>((k + 1) % n);
            return true;
        }
        acc += seg;
    }
    return false;
}

int CKrPolyLine::HitTest(const CKrPoint3d& pt, int& i, int& j) const
{
    i = j = -1;
    const unsigned int n = NumVerts();
    if (n < 2) return 0;
    for (unsigned int k = 0; k < n; ++k) {
        if (m_arrVerts[k] == pt) {
            i = static_cast<int>(k);
            return 1;
        }
    }
    for (unsigned int k = 0; k < NumSegs(); ++k) {
        const CKrPoint3d& a = m_arrVerts[k];
        const CKrPoint3d& b = m_arrVerts[(k + 1) % n];
        if (CKrSpaceMath::JH_TestPointIn_LineSection3D(pt.x, pt.y, pt.z, a.x, a.y, a.z, b.x, b.y, b.z) != 0) {
            i = static_cast<int>(k);
            j = static_cast<int>((k + 1) % n);
            return 2;
        }
    }
    return 0;
}

int CKrPolyLine::HitTest2D(const CKrPoint3d& pt, int& i, int& j) const
{
    i = j = -1;
    const unsigned int n = NumVerts();
    if (n < 2) return 0;
    for (unsigned int k = 0; k < n; ++k) {
        if (TesCompDouble(pt.Distance2d(m_arrVerts[k]), 0.0, POINT_EPS) == 0) {
            i = static_cast<int>(k);
            return 1;
        }
    }
    for (unsigned int k = 0; k < NumSegs(); ++k) {
        const CKrPoint3d& a = m_arrVerts[k];
        const CKrPoint3d& b = m_arrVerts[(k + 1) % n];
        if (KrTesGeo::IsPtInSeg2D(pt.x, pt.y, a.x, a.y, b.x, b.y)) {
            i = static_cast<int>(k);
            j = static_cast<int>((k + 1) % n);
            return 2;
        }
    }
    return 0;
}

bool CKrPolyLine::HitTest(const CKrPoint3d& pt, int& code, double eps) const
{
    if (NumVerts() < 3) return false;
    code = KrTesGeo::IsPtInPolygon(m_arrVerts, pt, eps);
    return true;
}

bool CKrPolyLine::IsOn2D(const CKrPoint3d& pt, double eps) const
{
    const unsigned int n = NumVerts();
    for (unsigned int k = 0; k < NumSegs(); ++k) {
        const CKrPoint3d& a = m_arrVerts[k];
        const CKrPoint3d& b = m_arrVerts[(k + 1) % n];
        if (KrTesGeo::IsPtInSeg2DEx(pt.x, pt.y, a.x, a.y, b.x, b.y, eps)) return true;
    }
    return false;
}

bool CKrPolyLine::GetNearPt2D(const CKrPoint3d& pt, CKrPoint3d& near, int& i, int& j) const
{
    const unsigned int n = NumVerts();
    if (n < 2) return false;
    double best = std::numeric_limits<double>::max();
    unsigned int bestSeg = 0;
    double bx = 0.0, by = 0.0;
    for (unsigned int k = 0; k < NumSegs(); ++k) {
        const CKrPoint3d& a = m_arrVerts[k];
        const CKrPoint3d& b = m_arrVerts[(k + 1) % n];
        double qx = 0.0, qy = 0.0;
        const double d = KrTesGeo::GetNearestPtToSeg2D(pt.x, pt.y, a.x, a.y, b.x, b.y, qx, qy);
        if (d < best) {
            best = d;
            bestSeg = k;
            bx = qx;
            by = qy;
            if (TesCompDouble(d, 0.0, POINT_EPS) == 0) break;
        }
    }
    if (best == std::numeric_limits<double>::max()) return false;  // only NaN distances
    i = static_cast<int>(bestSeg);
    j = static_cast<int>((bestSeg + 1) % n);
    near = CKrPoint3d(bx, by, 0.0);
    CalcPtZ(m_arrVerts[i], m_arrVerts[j], near);
    return true;
}

bool CKrPolyLine::IntersectWithPolyLine(const CKrPolyLine& other, CKrPoint3d& pt) const
{
    const unsigned int n = NumVerts(), m = other.NumVerts();
    if (n < 2 || m < 2) return false;
    for (unsigned int k = 0; k < NumSegs(); ++k) {
        const CKrPoint3d& a1 = m_arrVerts[k];
        const CKrPoint3d& a2 = m_arrVerts[(k + 1) % n];
        for (unsigned int l = 0; l < other.NumSegs(); ++l) {
            CKrPoint3d p, q;
            if (CKrSpaceMath::Test_Intersect_Seg_And_Seg_3D(a1, a2, other.m_arrVerts[l],
                                                            other.m_arrVerts[(l + 1) % m], p, q) > 0) {
                pt = p;
                return true;
            }
        }
    }
    return false;
}

bool CKrPolyLine::IntersectWithLine2D(const CKrPoint3d& a, const CKrPoint3d& b, CKrPoint3d& pt) const
{
    const unsigned int n = NumVerts();
    if (n < 2) return false;
    const double dx = b.x - a.x, dy = b.y - a.y;
    double best = std::numeric_limits<double>::max();
    bool found = false;
    for (unsigned int k = 0; k < NumSegs(); ++k) {
        CKrPoint3d p;
        if (CKrSpaceMath::Test_Insertsect_Seg_And_Line_2D(m_arrVerts[k], m_arrVerts[(k + 1) % n], a, b, p) != 1)
            continue;
        if ((p.x - a.x) * dx + (p.y - a.y) * dy <= 0.0) continue;  // behind a
        const double d2 = p.Dist2d2(a);
        if (d2 < best) {
            best = d2;
            pt = p;
            found = true;
        }
    }
    return found;
}

bool CKrPolyLine::GetPtDir(const CKrPoint3d& pt, CGeoVector& dir) const
{
    int i = -1, j = -1;
    const int hit = HitTest(pt, i, j);
    if (hit == 0) return false;
    const unsigned int n = NumVerts();
    CGeoVector d;
    if (hit == 2) {
        d = m_arrVerts[j] - m_arrVerts[i];
    } else {
        d = KrTesGeo::CalcPLineNodeDir(*this, i);
        if (d.Length() < 0.5) {
            // The line turns back on itself here (or repeats the vertex): take
            // the segment leaving the vertex, or arriving at the last one.
            const unsigned int k = static_cast<unsigned int>(i);
            if (m_bClosed || k + 1 < n)
                d = m_arrVerts[(k + 1) % n] - m_arrVerts[k];
            else
                d = m_arrVerts[k] - m_arrVerts[k - 1];
        }
    }
    d.Normalize();
    if (!(d.Length() > 0.5)) return false;
    dir = d;
    return true;
}

bool CKrPolyLine::GetNor(CGeoVector& nor) const
{
    const size_t n = m_arrVerts.size();
    if (n < 3) return false;
    const CKrPoint3d& o = m_arrVerts[0];

    // The two vertices that span the widest triangle with the first one give
    // the scale, and show whether the vertices are collinear at all.
    size_t far = 0;
    double farD2 = 0.0;
    for (size_t k = 1; k < n; ++k) {
        const double d2 = o.Dist2(m_arrVerts[k]);
        if (d2 > farD2) {
            farD2 = d2;
            far = k;
        }
    }
    if (!(farD2 >= POINT_EPS * POINT_EPS)) return false;
    const CGeoVector axis = m_arrVerts[far] - o;
    CGeoVector span;
    double spanLen = 0.0;
    for (size_t k = 1; k < n; ++k) {
        const CGeoVector c = axis ^ CGeoVector(m_arrVerts[k] - o);
        const double len = c.Length();
        if (len > spanLen) {
            spanLen = len;
            span = c;
        }
    }
    // spanLen / |axis| is the largest distance of a vertex from the axis.
    if (!(spanLen / std::sqrt(farD2) >= POINT_EPS)) return false;

    // Newell's normal of the vertex ring, relative to the first vertex to
    // keep large coordinates from swamping it.
    CGeoVector newell;
    for (size_t k = 0; k < n; ++k) {
        const CKrPoint3d a = m_arrVerts[k] - o;
        const CKrPoint3d b = m_arrVerts[(k + 1) % n] - o;
        newell.x += (a.y - b.y) * (a.z + b.z);
        newell.y += (a.z - b.z) * (a.x + b.x);
        newell.z += (a.x - b.x) * (a.y + b.y);
    }
    // A ring whose parts wind opposite ways (an open zigzag, a figure eight)
    // can cancel Newell's sum; the widest spanning triangle still gives the
    // plane then.
    CGeoVector result = newell;
    if (newell.Length() < 1e-3 * spanLen) {
        result = span;
        if (result * newell < 0.0) result = result * -1.0;
    }
    result.Normalize();
    nor = result;
    return true;
}
