#include <algorithm>
#include <cmath>
#include <deque>

#include "boolean/KrBooleanCut.h"
#include "KrTesGeometry/geom/KrExactPredicates.h"

namespace TesTriMesh {

CKrCutTriangulator::CKrCutTriangulator(const std::vector<CKrPoint3d>& pts)
    : m_pts(pts), m_nReal(static_cast<int>(pts.size()))
{
    for (CKrPoint3d& p : m_pts) p.z = 0.0;
    m_alias.resize(pts.size());
    for (std::size_t i = 0; i < m_alias.size(); ++i) m_alias[i] = static_cast<int>(i);
}

int CKrCutTriangulator::Orient(int a, int b, int c) const
{
    return KrTesGeo::Orient2dExact(P(a).x, P(a).y, P(b).x, P(b).y, P(c).x, P(c).y);
}

int CKrCutTriangulator::IndexOf(const Tri& t, int v)
{
    return t.v[0] == v ? 0 : (t.v[1] == v ? 1 : (t.v[2] == v ? 2 : -1));
}

bool CKrCutTriangulator::IsFlagged(int i, int j) const
{
    auto it = m_cons.find(Key(m_alias[static_cast<std::size_t>(i)], m_alias[static_cast<std::size_t>(j)]));
    return it != m_cons.end() && it->second;
}

bool CKrCutTriangulator::Run(const std::vector<int>& boundary, const std::vector<bool>& boundaryFlag,
                             const std::vector<std::pair<int, int>>& segments)
{
    m_out.clear();
    if (m_nReal < 3 || boundary.size() < 3) return false;
    // A super triangle far around the points: everything outside the
    // boundary is removed at the end, so its size only has to contain them.
    double x0 = P(0).x, x1 = x0, y0 = P(0).y, y1 = y0;
    for (int i = 0; i < m_nReal; ++i) {
        const CKrPoint3d& p = P(i);
        if (!std::isfinite(p.x) || !std::isfinite(p.y)) return false;
        x0 = std::min(x0, p.x);
        x1 = std::max(x1, p.x);
        y0 = std::min(y0, p.y);
        y1 = std::max(y1, p.y);
    }
    const double cx = 0.5 * (x0 + x1), cy = 0.5 * (y0 + y1);
    const double d = std::max({x1 - x0, y1 - y0, 1e-9}) * 16.0;
    m_pts.emplace_back(cx - 2.0 * d, cy - d, 0.0);
    m_pts.emplace_back(cx + 2.0 * d, cy - d, 0.0);
    m_pts.emplace_back(cx, cy + 2.0 * d, 0.0);
    const int s = m_nReal;
    m_tris.assign(1, Tri{{s, s + 1, s + 2}, {-1, -1, -1}});
    m_vtri.assign(m_pts.size(), -1);
    m_vtri[static_cast<std::size_t>(s)] = m_vtri[static_cast<std::size_t>(s + 1)] =
        m_vtri[static_cast<std::size_t>(s + 2)] = 0;

    for (int i = 0; i < m_nReal; ++i)
        if (!InsertPoint(i)) return false;

    const std::size_t nb = boundary.size();
    for (std::size_t k = 0; k < nb; ++k) {
        const int a = m_alias[static_cast<std::size_t>(boundary[k])];
        const int b = m_alias[static_cast<std::size_t>(boundary[(k + 1) % nb])];
        if (a != b && !InsertSegment(a, b, k < boundaryFlag.size() && boundaryFlag[k])) return false;
    }
    for (const auto& sg : segments) {
        const int a = m_alias[static_cast<std::size_t>(sg.first)];
        const int b = m_alias[static_cast<std::size_t>(sg.second)];
        if (a != b && !InsertSegment(a, b, true)) return false;
    }
    // The pieces must tile the region the boundary encloses (which differs
    // from the triangle where a shared point sits a little off its edge).
    double whole = 0.0;
    for (std::size_t k = 0; k < nb; ++k) {
        const CKrPoint3d& p = P(boundary[k]);
        const CKrPoint3d& q = P(boundary[(k + 1) % nb]);
        whole += p.x * q.y - p.y * q.x;
    }
    return Extract(whole);
}

int CKrCutTriangulator::Locate(int p, int& where) const
{
    // A visibility walk; on the (never expected) failure to arrive, a scan.
    int t = m_last < static_cast<int>(m_tris.size()) ? m_last : 0;
    const std::size_t cap = 4 * m_tris.size() + 16;
    for (std::size_t step = 0; step < cap; ++step) {
        const Tri& tr = m_tris[static_cast<std::size_t>(t)];
        int next = -1;
        for (int k = 0; k < 3 && next < 0; ++k) {
            const int i = static_cast<int>((step + static_cast<std::size_t>(k)) % 3);
            if (Orient(tr.v[(i + 1) % 3], tr.v[(i + 2) % 3], p) < 0) next = tr.nb[i];
        }
        if (next < 0) break;
        t = next;
    }
    for (int pass = 0; pass < 2; ++pass) {
        const Tri& tr = m_tris[static_cast<std::size_t>(t)];
        int o[3], zeros = 0;
        bool inside = true;
        for (int i = 0; i < 3; ++i) {
            o[i] = Orient(tr.v[(i + 1) % 3], tr.v[(i + 2) % 3], p);
            inside = inside && o[i] >= 0;
            zeros += o[i] == 0;
        }
        if (inside) {
            where = -1;
            if (zeros == 1)
                where = o[0] == 0 ? 0 : (o[1] == 0 ? 1 : 2);
            else if (zeros == 2)
                where = 3 + (o[0] != 0 ? 0 : (o[1] != 0 ? 1 : 2));
            return t;
        }
        // Scan every triangle for one holding p.
        t = -1;
        for (std::size_t k = 0; k < m_tris.size() && t < 0; ++k) {
            const Tri& c = m_tris[k];
            if (Orient(c.v[1], c.v[2], p) >= 0 && Orient(c.v[2], c.v[0], p) >= 0 && Orient(c.v[0], c.v[1], p) >= 0)
                t = static_cast<int>(k);
        }
        if (t < 0) return -1;
    }
    return -1;
}

bool CKrCutTriangulator::InsertPoint(int p)
{
    int where = -1;
    const int t = Locate(p, where);
    if (t < 0) return false;
    m_last = t;
    if (where >= 3) {  // the very same position as an earlier point
        m_alias[static_cast<std::size_t>(p)] = m_tris[static_cast<std::size_t>(t)].v[where - 3];
        return true;
    }
    if (where < 0)
        SplitTri(t, p);
    else
        SplitEdge(t, where, p);
    return true;
}

void CKrCutTriangulator::ReplaceNb(int t, int from, int to)
{
    if (t < 0) return;
    for (int& n : m_tris[static_cast<std::size_t>(t)].nb)
        if (n == from) {
            n = to;
            return;
        }
}

void CKrCutTriangulator::SplitTri(int t, int p)
{
    const Tri old = m_tris[static_cast<std::size_t>(t)];
    const int a = old.v[0], b = old.v[1], c = old.v[2];
    const int t0 = t, t1 = static_cast<int>(m_tris.size()), t2 = t1 + 1;
    m_tris[static_cast<std::size_t>(t0)] = Tri{{a, b, p}, {t1, t2, old.nb[2]}};
    m_tris.push_back(Tri{{b, c, p}, {t2, t0, old.nb[0]}});
    m_tris.push_back(Tri{{c, a, p}, {t0, t1, old.nb[1]}});
    ReplaceNb(old.nb[0], t, t1);
    ReplaceNb(old.nb[1], t, t2);
    m_vtri[static_cast<std::size_t>(a)] = t0;
    m_vtri[static_cast<std::size_t>(b)] = t1;
    m_vtri[static_cast<std::size_t>(c)] = t2;
    m_vtri[static_cast<std::size_t>(p)] = t0;
    std::vector<std::pair<int, int>> stack{{t0, 2}, {t1, 2}, {t2, 2}};
    Legalize(stack);
}

void CKrCutTriangulator::SplitEdge(int t, int i, int p)
{
    const Tri ot = m_tris[static_cast<std::size_t>(t)];
    const int a = ot.v[i], b = ot.v[(i + 1) % 3], c = ot.v[(i + 2) % 3];
    const int tnB = ot.nb[(i + 1) % 3], tnC = ot.nb[(i + 2) % 3];
    const int u = ot.nb[i];
    const int T0 = t, T1 = static_cast<int>(m_tris.size());
    if (u < 0) {  // cannot happen inside the super triangle; split one side only
        m_tris[static_cast<std::size_t>(T0)] = Tri{{a, b, p}, {-1, T1, tnC}};
        m_tris.push_back(Tri{{a, p, c}, {-1, tnB, T0}});
        ReplaceNb(tnB, t, T1);
        m_vtri[static_cast<std::size_t>(a)] = m_vtri[static_cast<std::size_t>(b)] = m_vtri[static_cast<std::size_t>(p)] = T0;
        m_vtri[static_cast<std::size_t>(c)] = T1;
        std::vector<std::pair<int, int>> stack{{T0, 2}, {T1, 1}};
        Legalize(stack);
        return;
    }
    const Tri ou = m_tris[static_cast<std::size_t>(u)];
    const int j = IndexOf(ou, b) >= 0 && IndexOf(ou, c) >= 0 ? 3 - IndexOf(ou, b) - IndexOf(ou, c) : 0;
    const int dv = ou.v[j];
    const int unC = ou.nb[(IndexOf(ou, c))], unB = ou.nb[(IndexOf(ou, b))];
    // u = (d, c, b): the edge opposite c is b-d, opposite b is d-c.
    const int U0 = u, U1 = T1 + 1;
    m_tris[static_cast<std::size_t>(T0)] = Tri{{a, b, p}, {U1, T1, tnC}};
    m_tris.push_back(Tri{{a, p, c}, {U0, tnB, T0}});
    m_tris[static_cast<std::size_t>(U0)] = Tri{{dv, c, p}, {T1, U1, unB}};
    m_tris.push_back(Tri{{dv, p, b}, {T0, unC, U0}});
    ReplaceNb(tnB, t, T1);
    ReplaceNb(unC, u, U1);
    m_vtri[static_cast<std::size_t>(a)] = T0;
    m_vtri[static_cast<std::size_t>(b)] = T0;
    m_vtri[static_cast<std::size_t>(p)] = T0;
    m_vtri[static_cast<std::size_t>(c)] = T1;
    m_vtri[static_cast<std::size_t>(dv)] = U0;
    std::vector<std::pair<int, int>> stack{{T0, 2}, {T1, 1}, {U0, 2}, {U1, 1}};
    Legalize(stack);
}

void CKrCutTriangulator::Flip(int t, int i)
{
    Tri& T = m_tris[static_cast<std::size_t>(t)];
    const int a = T.v[i], b = T.v[(i + 1) % 3], c = T.v[(i + 2) % 3];
    const int u = T.nb[i];
    Tri& U = m_tris[static_cast<std::size_t>(u)];
    const int jb = IndexOf(U, b), jc = IndexOf(U, c);
    const int j = 3 - jb - jc;
    const int d = U.v[j];
    const int ntB = T.nb[(i + 1) % 3], ntC = T.nb[(i + 2) % 3];
    const int nuC = U.nb[jc], nuB = U.nb[jb];
    T = Tri{{a, b, d}, {nuC, u, ntC}};
    U = Tri{{a, d, c}, {nuB, ntB, t}};
    ReplaceNb(nuC, u, t);
    ReplaceNb(ntB, t, u);
    m_vtri[static_cast<std::size_t>(a)] = t;
    m_vtri[static_cast<std::size_t>(b)] = t;
    m_vtri[static_cast<std::size_t>(d)] = t;
    m_vtri[static_cast<std::size_t>(c)] = u;
}

void CKrCutTriangulator::Legalize(std::vector<std::pair<int, int>>& stack)
{
    std::size_t guard = 0;
    const std::size_t cap = 64 * (m_pts.size() + 8) * (m_pts.size() + 8);
    while (!stack.empty() && guard++ < cap) {
        const auto [t, i] = stack.back();
        stack.pop_back();
        const Tri& T = m_tris[static_cast<std::size_t>(t)];
        const int u = T.nb[i];
        if (u < 0) continue;
        const int b = T.v[(i + 1) % 3], c = T.v[(i + 2) % 3];
        if (IsConstrained(b, c)) continue;
        const Tri& U = m_tris[static_cast<std::size_t>(u)];
        const int jb = IndexOf(U, b), jc = IndexOf(U, c);
        if (jb < 0 || jc < 0) continue;
        const int d = U.v[3 - jb - jc];
        if (KrTesGeo::InCircleDetExact(P(T.v[0]), P(T.v[1]), P(T.v[2]), P(d)) <= 0) continue;
        Flip(t, i);  // t = (a, b, d), u = (a, d, c); a is the new point
        stack.emplace_back(t, 0);
        stack.emplace_back(u, 0);
    }
}

bool CKrCutTriangulator::FindEdge(int a, int b, int& t, int& i) const
{
    const int start = m_vtri[static_cast<std::size_t>(a)];
    if (start < 0) return false;
    // Around a one way; a corner of the super triangle lies on the hull, so
    // the walk may end there and continue the other way round.
    for (int turn = 1; turn <= 2; ++turn) {
        int cur = start;
        for (std::size_t guard = 0; guard <= m_tris.size(); ++guard) {
            const Tri& T = m_tris[static_cast<std::size_t>(cur)];
            const int ia = IndexOf(T, a);
            if (ia < 0) return false;
            const int ib = IndexOf(T, b);
            if (ib >= 0) {
                t = cur;
                i = 3 - ia - ib;
                return true;
            }
            cur = T.nb[(ia + turn) % 3];  // across the edge from a to v[ia + 2] (turn 1) or v[ia + 1] (turn 2)
            if (cur == start) return false;
            if (cur < 0) break;
        }
    }
    return false;
}

bool CKrCutTriangulator::InsertSegment(int a, int b, bool flag)
{
    // A segment through existing vertices is recovered piece by piece.
    for (std::size_t guard = 0; a != b && guard <= m_pts.size(); ++guard) {
        int stop = -1;
        if (!RecoverPiece(a, b, stop)) return false;
        auto& f = m_cons[Key(a, stop)];
        f = f || flag;
        a = stop;
    }
    return a == b;
}

// Makes a-stop an edge, where stop is b or the first vertex lying exactly on
// the way from a to b: the edges crossing the way are flipped away.
bool CKrCutTriangulator::RecoverPiece(int a, int b, int& stop)
{
    int t0 = -1, dummy = -1;
    if (FindEdge(a, b, t0, dummy)) {
        stop = b;
        return true;
    }
    // The triangle at a whose corner holds the direction to b.
    const int start = m_vtri[static_cast<std::size_t>(a)];
    int cur = start, R = -1, L = -1, first = -1;
    for (std::size_t guard = 0; guard <= m_tris.size(); ++guard) {
        const Tri& T = m_tris[static_cast<std::size_t>(cur)];
        const int ia = IndexOf(T, a);
        if (ia < 0) return false;
        const int v1 = T.v[(ia + 1) % 3], v2 = T.v[(ia + 2) % 3];
        const int o1 = Orient(a, v1, b), o2 = Orient(a, v2, b);
        auto ahead = [&](int v) {
            return (P(v).x - P(a).x) * (P(b).x - P(a).x) + (P(v).y - P(a).y) * (P(b).y - P(a).y) > 0.0;
        };
        if (o1 == 0 && ahead(v1)) {
            stop = v1;
            return true;
        }
        if (o2 == 0 && ahead(v2)) {
            stop = v2;
            return true;
        }
        if (o1 > 0 && o2 < 0) {
            R = v1;
            L = v2;
            first = cur;
            break;
        }
        cur = T.nb[(ia + 1) % 3];
        if (cur < 0 || cur == start) return false;
    }
    if (first < 0) return false;

    // Walk towards b collecting the crossed edges.
    std::deque<std::pair<int, int>> crossed;
    cur = first;
    stop = -1;
    for (std::size_t guard = 0; guard <= m_tris.size() && stop < 0; ++guard) {
        if (IsConstrained(R, L)) return false;  // two segments cross
        crossed.emplace_back(R, L);
        const Tri& T = m_tris[static_cast<std::size_t>(cur)];
        const int iR = IndexOf(T, R), iL = IndexOf(T, L);
        if (iR < 0 || iL < 0) return false;
        const int next = T.nb[3 - iR - iL];
        if (next < 0) return false;
        const Tri& N = m_tris[static_cast<std::size_t>(next)];
        const int nR = IndexOf(N, R), nL = IndexOf(N, L);
        if (nR < 0 || nL < 0) return false;
        const int w = N.v[3 - nR - nL];
        cur = next;
        if (w == b) {
            stop = b;
            break;
        }
        const int o = Orient(a, b, w);
        if (o == 0)
            stop = w;
        else if (o > 0)
            L = w;
        else
            R = w;
    }
    if (stop < 0) return false;

    // Flip the crossed edges away (a flip that is not possible yet waits
    // for its neighbours).
    auto crosses = [&](int p, int q) {
        if (p == a || p == stop || q == a || q == stop) return false;
        return Orient(a, stop, p) * Orient(a, stop, q) < 0 && Orient(p, q, a) * Orient(p, q, stop) < 0;
    };
    std::vector<std::pair<int, int>> made;
    const std::size_t cap = 16 * (crossed.size() + 4) * (crossed.size() + 4) + 1024;
    std::size_t guard = 0;
    while (!crossed.empty()) {
        if (++guard > cap) return false;
        const auto e = crossed.front();
        crossed.pop_front();
        int t = -1, i = -1;
        if (!FindEdge(e.first, e.second, t, i)) return false;
        const Tri& T = m_tris[static_cast<std::size_t>(t)];
        const int u = T.nb[i];
        if (u < 0) return false;
        const int p = T.v[i], qb = T.v[(i + 1) % 3], qc = T.v[(i + 2) % 3];
        const Tri& U = m_tris[static_cast<std::size_t>(u)];
        const int jb = IndexOf(U, qb), jc = IndexOf(U, qc);
        if (jb < 0 || jc < 0) return false;
        const int d = U.v[3 - jb - jc];
        // The quad p, qb, d, qc is strictly convex when qb and qc lie on
        // either side of p-d.
        if (!(Orient(p, d, qb) < 0 && Orient(p, d, qc) > 0)) {
            crossed.push_back(e);
            continue;
        }
        Flip(t, i);
        if (crosses(p, d))
            crossed.emplace_back(p, d);
        else
            made.emplace_back(p, d);
    }
    m_cons[Key(a, stop)];  // constrained from now on (flag set by the caller)

    // Restore the Delaunay property among the new edges.
    bool swapped = true;
    for (std::size_t pass = 0; swapped && pass < 4 * made.size() + 4; ++pass) {
        swapped = false;
        for (auto& e : made) {
            if (Key(e.first, e.second) == Key(a, stop) || IsConstrained(e.first, e.second)) continue;
            int t = -1, i = -1;
            if (!FindEdge(e.first, e.second, t, i)) continue;
            const Tri& T = m_tris[static_cast<std::size_t>(t)];
            const int u = T.nb[i];
            if (u < 0) continue;
            const int qb = T.v[(i + 1) % 3], qc = T.v[(i + 2) % 3];
            const Tri& U = m_tris[static_cast<std::size_t>(u)];
            const int jb = IndexOf(U, qb), jc = IndexOf(U, qc);
            if (jb < 0 || jc < 0) continue;
            const int d = U.v[3 - jb - jc];
            if (KrTesGeo::InCircleDetExact(P(T.v[0]), P(T.v[1]), P(T.v[2]), P(d)) <= 0) continue;
            const int p = T.v[i];
            Flip(t, i);
            e = std::make_pair(p, d);
            swapped = true;
        }
    }
    return true;
}

bool CKrCutTriangulator::Extract(double whole)
{
    // Everything reachable from the super triangle's corners without crossing
    // a constrained edge lies outside the boundary.
    std::vector<char> outside(m_tris.size(), 0);
    std::vector<int> stack;
    for (std::size_t k = 0; k < m_tris.size(); ++k) {
        const Tri& T = m_tris[k];
        if (T.v[0] >= m_nReal || T.v[1] >= m_nReal || T.v[2] >= m_nReal) {
            outside[k] = 1;
            stack.push_back(static_cast<int>(k));
        }
    }
    while (!stack.empty()) {
        const int t = stack.back();
        stack.pop_back();
        const Tri& T = m_tris[static_cast<std::size_t>(t)];
        for (int i = 0; i < 3; ++i) {
            const int u = T.nb[i];
            if (u < 0 || outside[static_cast<std::size_t>(u)]) continue;
            if (IsConstrained(T.v[(i + 1) % 3], T.v[(i + 2) % 3])) continue;
            outside[static_cast<std::size_t>(u)] = 1;
            stack.push_back(u);
        }
    }
    auto area2 = [&](int a, int b, int c) {
        return (P(b).x - P(a).x) * (P(c).y - P(a).y) - (P(b).y - P(a).y) * (P(c).x - P(a).x);
    };
    double sum = 0.0, mag = 0.0;
    for (std::size_t k = 0; k < m_tris.size(); ++k) {
        if (outside[k]) continue;
        const Tri& T = m_tris[k];
        if (T.v[0] >= m_nReal || T.v[1] >= m_nReal || T.v[2] >= m_nReal) return false;
        const double a = area2(T.v[0], T.v[1], T.v[2]);
        sum += a;
        mag += std::fabs(a);
        m_out.push_back({T.v[0], T.v[1], T.v[2]});
    }
    if (!(whole > 0.0) || std::fabs(sum - whole) > 1e-9 * whole || std::fabs(mag - whole) > 1e-9 * whole) {
        m_out.clear();
        return false;
    }
    return true;
}

}  // namespace TesTriMesh
