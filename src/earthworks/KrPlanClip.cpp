#include "earthworks/KrPlanClip.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>

#include "KrTesGeometry/geom/KrExactPredicates.h"

namespace TesTriMesh {
namespace earth {

namespace {

int Orient(const CKrPoint3d* p, const CKrPoint3d* q, double x, double y)
{
    return KrTesGeo::Orient2dExact(p->x, p->y, q->x, q->y, x, y);
}

bool SamePlan(const CKrPoint3d* a, const CKrPoint3d* b) { return a == b || (a->x == b->x && a->y == b->y); }

// Records that the original vertex v of `owner` is the corner c.
void MarkCorner(CKrClipVert& c, const CKrPoint3d* v, int8_t owner)
{
    if (owner == kOwnerA) c.cA = v;
    if (owner == kOwnerB) c.cB = v;
}

// The corner where the edge leaving `from` (on its original line) meets the
// clip line p -> q; it leaves along `next` (la, lb, lOwner of the new edge).
CKrClipVert Crossing(const CKrClipVert& from, const CKrPoint3d* p, const CKrPoint3d* q, int8_t owner,
                     const CKrPoint3d* nla, const CKrPoint3d* nlb, int8_t nOwner)
{
    CKrClipVert c{0.0, 0.0, nullptr, nullptr, nla, nlb, nOwner};
    // Two lines with an end in common meet there (they are not parallel,
    // or the edge would not cross).
    const CKrPoint3d* ends[2] = {from.la, from.lb};
    const CKrPoint3d* clip[2] = {p, q};
    for (const CKrPoint3d* e : ends)
        for (const CKrPoint3d* f : clip)
            if (SamePlan(e, f)) {
                c.x = e->x;
                c.y = e->y;
                MarkCorner(c, e, from.lOwner);
                MarkCorner(c, f, owner);
                return c;
            }
    LineCrossing(from.la, from.lb, from.lOwner, p, q, owner, c.x, c.y);
    return c;
}

}  // namespace

void LineCrossing(const CKrPoint3d* a, const CKrPoint3d* b, int8_t ownerAB, const CKrPoint3d* c,
                  const CKrPoint3d* d, int8_t ownerCD, double& x, double& y)
{
    // One order of the lines and of each line's ends, so that every piece
    // asking for this crossing gets the same bits.
    const std::less<const CKrPoint3d*> before;
    if (before(b, a)) std::swap(a, b);
    if (before(d, c)) std::swap(c, d);
    if (ownerCD < ownerAB || (ownerCD == ownerAB && before(c, a))) {
        std::swap(a, c);
        std::swap(b, d);
    }
    const double dx = d->x - c->x, dy = d->y - c->y;
    const double s1 = dx * (a->y - c->y) - dy * (a->x - c->x);
    const double s2 = dx * (b->y - c->y) - dy * (b->x - c->x);
    if (s1 == s2) {  // parallel in floating point: only for a crossing at a tiny angle
        x = 0.5 * (a->x + b->x);
        y = 0.5 * (a->y + b->y);
        return;
    }
    const double t = std::clamp(s1 / (s1 - s2), 0.0, 1.0);
    x = a->x + t * (b->x - a->x);
    y = a->y + t * (b->y - a->y);
}

int TrianglePoly(const CKrPoint3d* p0, const CKrPoint3d* p1, const CKrPoint3d* p2, int8_t owner, CKrClipVert* out)
{
    const CKrPoint3d* p[3] = {p0, p1, p2};
    for (int k = 0; k < 3; ++k) {
        out[k] = CKrClipVert{p[k]->x, p[k]->y, nullptr, nullptr, p[k], p[(k + 1) % 3], owner};
        MarkCorner(out[k], p[k], owner);
    }
    return 3;
}

int ClipHalfPlane(const CKrClipVert* in, int n, const CKrPoint3d* p, const CKrPoint3d* q, int8_t owner,
                  CKrClipVert* out)
{
    int s[kMaxClipVerts];
    bool anyIn = false, anyOut = false;
    for (int i = 0; i < n; ++i) {
        s[i] = Orient(p, q, in[i].x, in[i].y);
        anyIn |= s[i] > 0;
        anyOut |= s[i] < 0;
    }
    if (!anyOut) {
        std::copy(in, in + n, out);
        return n;
    }
    if (!anyIn) return 0;  // outside, or touching the line: no area left
    int m = 0;
    for (int i = 0; i < n && m + 2 <= kMaxClipVerts; ++i) {
        const int j = i + 1 == n ? 0 : i + 1;
        const CKrClipVert& a = in[i];
        if (s[i] >= 0) {
            if (s[j] >= 0) {
                out[m++] = a;
            } else if (s[i] > 0) {
                out[m++] = a;
                out[m++] = Crossing(a, p, q, owner, p, q, owner);
            } else {  // on the line, the edge leaves outwards: go along the line instead
                out[m] = a;
                out[m].la = p;
                out[m].lb = q;
                out[m].lOwner = owner;
                ++m;
            }
        } else if (s[j] > 0) {
            out[m++] = Crossing(a, p, q, owner, a.la, a.lb, a.lOwner);
        }
    }
    return m >= 3 ? m : 0;
}

int ClipByTriangle(const CKrClipVert* in, int n, const CKrPoint3d* t0, const CKrPoint3d* t1, const CKrPoint3d* t2,
                   int8_t owner, CKrClipVert* out)
{
    CKrClipVert tmp[kMaxClipVerts];
    n = ClipHalfPlane(in, n, t0, t1, owner, tmp);
    if (n == 0) return 0;
    n = ClipHalfPlane(tmp, n, t1, t2, owner, out);
    if (n == 0) return 0;
    const int m = ClipHalfPlane(out, n, t2, t0, owner, tmp);
    std::copy(tmp, tmp + m, out);
    return m;
}

bool TriangulatePolygon(const std::vector<CKrPoint3d>& poly, std::vector<CKrPoint3d>& ring,
                        std::vector<int32_t>& tris, std::string& error)
{
    ring.clear();
    tris.clear();
    for (const CKrPoint3d& p : poly) {
        if (!std::isfinite(p.x) || !std::isfinite(p.y)) {
            error = "boundary: a corner has a coordinate that is not a finite number";
            return false;
        }
        if (ring.empty() || ring.back().x != p.x || ring.back().y != p.y) ring.emplace_back(p.x, p.y, 0.0);
    }
    while (ring.size() > 1 && ring.front().x == ring.back().x && ring.front().y == ring.back().y) ring.pop_back();
    if (ring.size() < 3) {
        error = "boundary: fewer than three distinct corners";
        return false;
    }
    double area2 = 0.0;
    for (std::size_t i = 0; i < ring.size(); ++i) {
        const CKrPoint3d& a = ring[i];
        const CKrPoint3d& b = ring[(i + 1) % ring.size()];
        area2 += (a.x - ring[0].x) * (b.y - ring[0].y) - (b.x - ring[0].x) * (a.y - ring[0].y);
    }
    if (!(area2 != 0.0)) {
        error = "boundary: the polygon has no area";
        return false;
    }
    if (area2 < 0.0) std::reverse(ring.begin(), ring.end());

    auto orient = [&](int32_t a, int32_t b, int32_t c) { return KrTesGeo::Orient2dExact(ring[a], ring[b], ring[c]); };
    std::vector<int32_t> idx(ring.size());
    for (std::size_t i = 0; i < idx.size(); ++i) idx[i] = static_cast<int32_t>(i);
    std::size_t k = 0;
    while (idx.size() > 3) {
        bool cut = false;
        for (std::size_t tries = 0; tries < idx.size() && !cut; ++tries, k = (k + 1) % idx.size()) {
            const std::size_t m = idx.size();
            const int32_t i0 = idx[(k + m - 1) % m], i1 = idx[k], i2 = idx[(k + 1) % m];
            const int o = orient(i0, i1, i2);
            if (o < 0) continue;
            if (o > 0) {
                // An ear holds no other corner, not even on its sides
                // (corners at the same place as its own excepted).
                bool empty = true;
                for (const int32_t j : idx) {
                    if (j == i0 || j == i1 || j == i2) continue;
                    const CKrPoint3d& q = ring[j];
                    if ((q.x == ring[i0].x && q.y == ring[i0].y) || (q.x == ring[i1].x && q.y == ring[i1].y) ||
                        (q.x == ring[i2].x && q.y == ring[i2].y))
                        continue;
                    if (orient(i0, i1, j) >= 0 && orient(i1, i2, j) >= 0 && orient(i2, i0, j) >= 0) {
                        empty = false;
                        break;
                    }
                }
                if (!empty) continue;
                tris.push_back(i0);
                tris.push_back(i1);
                tris.push_back(i2);
            }
            // An ear is cut off; a corner in line with its neighbours goes
            // without a triangle (nothing of the area is lost).
            idx.erase(idx.begin() + static_cast<std::ptrdiff_t>(k));
            if (k >= idx.size()) k = 0;
            cut = true;
        }
        if (!cut) {
            error = "boundary: the polygon is not simple (its sides cross)";
            tris.clear();
            return false;
        }
    }
    if (orient(idx[0], idx[1], idx[2]) > 0) {
        tris.push_back(idx[0]);
        tris.push_back(idx[1]);
        tris.push_back(idx[2]);
    }
    if (tris.empty()) {
        error = "boundary: the polygon has no area";
        return false;
    }
    return true;
}

namespace {

struct SplitVert {
    double x, y, d, z;
};

// Adds the integral of d and the area of the convex polygon v (fan from the
// first corner: each triangle's area times the mean of d at its corners).
void Integrate(const SplitVert* v, int n, double& integral, double& area)
{
    for (int k = 1; k + 1 < n; ++k) {
        const double a2 = (v[k].x - v[0].x) * (v[k + 1].y - v[0].y) - (v[k + 1].x - v[0].x) * (v[k].y - v[0].y);
        area += 0.5 * a2;
        integral += a2 * (v[0].d + v[k].d + v[k + 1].d) / 6.0;
    }
}

// The point where d is zero on the edge u-w (d of opposite signs), computed
// from the lower end in (x, y) order so both pieces on the edge agree.
SplitVert ZeroOnEdge(SplitVert u, SplitVert w)
{
    if (w.x < u.x || (w.x == u.x && w.y < u.y)) std::swap(u, w);
    const double t = u.d / (u.d - w.d);
    return SplitVert{u.x + t * (w.x - u.x), u.y + t * (w.y - u.y), 0.0, u.z + t * (w.z - u.z)};
}

}  // namespace

void AddSplitPiece(const double* x, const double* y, const double* d, const double* z, int n, CKrSplitSum& sum,
                   std::vector<CKrZeroSeg>* zero)
{
    if (n < 3) return;
    bool hasPos = false, hasNeg = false;
    for (int i = 0; i < n; ++i) {
        hasPos |= d[i] > 0.0;
        hasNeg |= d[i] < 0.0;
    }
    if (!hasPos && !hasNeg) return;  // no difference at all: neither cut nor fill
    SplitVert pos[kMaxClipVerts + 2], neg[kMaxClipVerts + 2], zp[kMaxClipVerts + 2];
    int np = 0, nn = 0, nz = 0;
    for (int i = 0; i < n; ++i) {
        const int j = i + 1 == n ? 0 : i + 1;
        const SplitVert vi{x[i], y[i], d[i], z[i]};
        if (d[i] >= 0.0) pos[np++] = vi;
        if (d[i] <= 0.0) neg[nn++] = vi;
        if (d[i] == 0.0) zp[nz++] = vi;
        if ((d[i] > 0.0 && d[j] < 0.0) || (d[i] < 0.0 && d[j] > 0.0)) {
            const SplitVert c = ZeroOnEdge(vi, SplitVert{x[j], y[j], d[j], z[j]});
            pos[np++] = c;
            neg[nn++] = c;
            zp[nz++] = c;
        }
    }
    if (hasPos) {
        double in = 0.0, a = 0.0;
        Integrate(pos, np, in, a);
        sum.pos += in;
        sum.posArea += a;
    }
    if (hasNeg) {
        double in = 0.0, a = 0.0;
        Integrate(neg, nn, in, a);
        sum.neg -= in;
        sum.negArea += a;
    }
    if (!zero) return;
    if (hasPos && hasNeg) {
        if (nz >= 2) zero->push_back(CKrZeroSeg{zp[0].x, zp[0].y, zp[0].z, zp[nz - 1].x, zp[nz - 1].y, zp[nz - 1].z});
    } else if (hasPos) {
        // The piece rests on d = 0 along an edge: the line between cut and
        // whatever lies beyond (the fill side adds nothing, so each such
        // edge comes from its cut side).
        for (int i = 0; i < n; ++i) {
            const int j = i + 1 == n ? 0 : i + 1;
            if (d[i] == 0.0 && d[j] == 0.0) zero->push_back(CKrZeroSeg{x[i], y[i], z[i], x[j], y[j], z[j]});
        }
    }
}

}  // namespace earth
}  // namespace TesTriMesh
