#include "KrTesGeometry/boolean/KrSolidBoolean.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <set>
#include <charconv>
#include <cstdio>
#include <functional>
#include <string>

#include "KrTesGeometry/boolean/KrBooleanDiagnostics.h"
#include "KrTesGeometry/boolean/KrMeshBoolean.h"
#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "KrTesGeometry/geom/GeoVector.h"
#include "boolean/KrBooleanCut.h"

namespace TesTriMesh {

namespace {

// A diagnostic file is assembled in one buffer and written at once. Numbers
// are formatted as "%.3f" would (to_chars with a precision rounds the exact
// binary value the same way), without the per-call cost of printf.
class DiagText {
public:
    void Num(double v, char sep)
    {
        char buf[400];  // a fixed-notation double has at most 309 integer digits
        const auto r = std::to_chars(buf, buf + sizeof buf, v, std::chars_format::fixed, 3);
        m_text.append(buf, r.ptr);
        m_text.push_back(sep);
    }
    void Pt(const CKrPoint3d& p, char last)
    {
        Num(p.x, ',');
        Num(p.y, ',');
        Num(p.z, last);
    }
    // Best effort: a file that cannot be created is skipped.
    void WriteTo(const char* path) const
    {
        std::FILE* f = std::fopen(path, "wb");
        if (!f) return;
        std::fwrite(m_text.data(), 1, m_text.size(), f);
        std::fclose(f);
    }

private:
    std::string m_text;
};

void WriteSegs(const char* path, const std::vector<CKrSeg3d>& segs)
{
    DiagText out;
    for (const CKrSeg3d& s : segs) {
        out.Pt(s.m_pt[0], ',');
        out.Pt(s.m_pt[1], '\n');
    }
    out.WriteTo(path);
}

void WriteTris(const char* path, const std::vector<_sTri*>& tris)
{
    DiagText out;
    for (const _sTri* t : tris) {
        out.Pt(t->pVer[0]->pt, ',');
        out.Pt(t->pVer[1]->pt, ',');
        out.Pt(t->pVer[2]->pt, '\n');
    }
    out.WriteTo(path);
}

// The four files of one sort, from the segments' file on.
void WriteSort(std::size_t first, const std::vector<CKrSeg3d>& segs, const std::vector<_sTri*>& outside,
               const std::vector<_sTri*>& inside, const std::vector<_sTri*>& same)
{
    WriteSegs(kBooleanDiagnosticFiles[first], segs);
    WriteTris(kBooleanDiagnosticFiles[first + 1], outside);
    WriteTris(kBooleanDiagnosticFiles[first + 2], inside);
    WriteTris(kBooleanDiagnosticFiles[first + 3], same);
}

// The distinct corners of the triangles, in the exact order of their
// positions (the vertices of one mesh lie apart, so no two tie).
std::vector<_sVertex*> DistinctVertices(const std::vector<_sTri*>& tris)
{
    std::vector<_sVertex*> vers;
    vers.reserve(tris.size() * 3);
    for (const _sTri* t : tris)
        for (_sVertex* v : t->pVer) vers.push_back(v);
    std::sort(vers.begin(), vers.end(), [](const _sVertex* a, const _sVertex* b) {
        const int c = CKrPoint3d::CompPt(a->pt, b->pt);
        return c != 0 ? c < 0 : std::less<const _sVertex*>()(a, b);
    });
    vers.erase(std::unique(vers.begin(), vers.end()), vers.end());
    return vers;
}

// A triangle of B that the exact second sort found lying on A, facing the
// same way, is a sliver that merging within the tolerance laid onto A's
// surface after the first sort had decided A's side: it lies on A where A
// has a triangle outside or inside B instead of one lying on it. The two
// are one patch with both solids behind it, which every operation must
// take once or not at all: the union takes A's triangle when it is
// outside, so the sliver goes inside (the intersection takes it), and the
// other way round. A's triangle is the one sharing an edge of the sliver,
// in its plane (within 1e-9 of the coordinates), on the sliver's side.
void MatchSlivers(std::vector<_sTri*>& bSame, std::vector<_sTri*>& bOpposite, std::vector<_sTri*>& bOutside,
                  std::vector<_sTri*>& bInside, const std::vector<_sTri*>& aOutside, const std::vector<_sTri*>& aInside,
                  const std::vector<_sTri*>& aSame, const std::vector<_sTri*>& aOpposite)
{
    if (bSame.empty() && bOpposite.empty()) return;
    std::map<std::array<double, 6>, std::vector<std::pair<const _sTri*, int>>> byEdge;  // A edges -> (triangle, class)
    auto edgeKey = [](const CKrPoint3d& p, const CKrPoint3d& q) {
        const bool swap = CKrPoint3d::CompPt(q, p) < 0;
        const CKrPoint3d &a = swap ? q : p, &b = swap ? p : q;
        return std::array<double, 6>{a.x, a.y, a.z, b.x, b.y, b.z};
    };
    double scale = 1.0;
    for (int c = 0; c < 2; ++c)
        for (const _sTri* t : c == 0 ? aOutside : aInside)
            for (int k = 0; k < 3; ++k) {
                const CKrPoint3d& p = t->pVer[k]->pt;
                scale = std::max({scale, std::fabs(p.x), std::fabs(p.y), std::fabs(p.z)});
                byEdge[edgeKey(p, t->pVer[(k + 1) % 3]->pt)].emplace_back(t, c);
            }
    const double eps = 1e-9 * scale;
    std::set<std::array<double, 6>> aEdges;  // every edge of A's sorted triangles
    for (const auto* l : {&aOutside, &aInside, &aSame, &aOpposite})
        for (const _sTri* t : *l)
            for (int k = 0; k < 3; ++k) aEdges.insert(edgeKey(t->pVer[k]->pt, t->pVer[(k + 1) % 3]->pt));
    std::map<std::array<double, 6>, std::vector<std::pair<const _sTri*, int>>> bByEdge;  // B edges -> (triangle, class)
    for (int c = 0; c < 2; ++c)
        for (const _sTri* t : c == 0 ? bOutside : bInside)
            for (int k = 0; k < 3; ++k) bByEdge[edgeKey(t->pVer[k]->pt, t->pVer[(k + 1) % 3]->pt)].emplace_back(t, c);
    std::vector<_sTri*> toOutside, toInside;
    for (int list = 0; list < 2; ++list) {
    std::vector<_sTri*>& from = list == 0 ? bSame : bOpposite;
    std::vector<_sTri*> keep;
    for (_sTri* t : from) {
        const CKrPoint3d &a = t->pVer[0]->pt, &b = t->pVer[1]->pt, &c = t->pVer[2]->pt;
        const KrTesGeo::CGeoVector n = KrTesGeo::CGeoVector(b - a) ^ KrTesGeo::CGeoVector(c - a);
        const double nl = std::sqrt(n * n);
        int cls = -1;
        for (int k = 0; k < 3 && cls < 0 && nl > 0.0 && list == 0; ++k) {
            const CKrPoint3d &p = t->pVer[k]->pt, &q = t->pVer[(k + 1) % 3]->pt, &r = t->pVer[(k + 2) % 3]->pt;
            auto it = byEdge.find(edgeKey(p, q));
            if (it == byEdge.end()) continue;
            const KrTesGeo::CGeoVector side = n ^ KrTesGeo::CGeoVector(q - p);  // towards r in the plane
            for (const auto& [x, xc] : it->second) {
                const _sVertex* o = nullptr;
                for (const _sVertex* v : x->pVer)
                    if (CKrPoint3d::CompPt(v->pt, p) != 0 && CKrPoint3d::CompPt(v->pt, q) != 0) o = v;
                if (!o) continue;
                const KrTesGeo::CGeoVector d(o->pt - p);
                if (std::fabs(d * n) / nl > eps) continue;  // not in the sliver's plane
                if ((d * side) * (KrTesGeo::CGeoVector(r - p) * side) <= 0.0) continue;  // other side of the edge
                cls = xc;
                break;
            }
        }
        if (cls >= 0) cls = 1 - cls;  // the other side of A's triangle
        // Where A has nothing in the sliver's plane there, the sliver lies
        // between A's seam edges and an edge A does not have: it belongs
        // to B's region across that edge.
        for (int k = 0; k < 3 && cls < 0; ++k) {
            const auto key = edgeKey(t->pVer[k]->pt, t->pVer[(k + 1) % 3]->pt);
            if (aEdges.count(key)) continue;
            auto it = bByEdge.find(key);
            if (it != bByEdge.end()) cls = it->second.front().second;
        }
        if (cls == 0)
            toOutside.push_back(t);
        else if (cls == 1)
            toInside.push_back(t);
        else
            keep.push_back(t);
    }
    from.swap(keep);
    }
    if (toOutside.empty() && toInside.empty()) return;
    bOutside.insert(bOutside.end(), toOutside.begin(), toOutside.end());
    bInside.insert(bInside.end(), toInside.begin(), toInside.end());
    for (auto* l : {&bOutside, &bInside}) std::sort(l->begin(), l->end(), TriPosLess);
}

}  // namespace

CKrSolidBoolean::CKrSolidBoolean(CKrMeshData& meshA, CKrMeshData& meshB) : m_meshA(0.01), m_meshB(0.01)
{
    // B is later sorted against A as it was before the first sort cut it.
    // The copy's triangles are made in the order of their position keys, so
    // that it does not inherit the memory order of A's records.
    CKrMeshData copyA(0.01);
    {
        std::vector<CKrPoint3d> pts;
        std::vector<KrTesGeo::_sTri_ID> ids;
        meshA.OutputData(pts, ids);
        for (KrTesGeo::_sTri_ID& t : ids) {
            const int k = t.nID[0] <= t.nID[1] && t.nID[0] <= t.nID[2] ? 0 : (t.nID[1] <= t.nID[2] ? 1 : 2);
            t = KrTesGeo::_sTri_ID(t.nID[k], t.nID[(k + 1) % 3], t.nID[(k + 2) % 3]);
        }
        std::sort(ids.begin(), ids.end(), [](const KrTesGeo::_sTri_ID& x, const KrTesGeo::_sTri_ID& y) {
            return std::lexicographical_compare(x.nID, x.nID + 3, y.nID, y.nID + 3);
        });
        copyA.InputData(pts, ids, true);
    }
    std::vector<CKrSeg3d> segments;
    CKrTri3d seed;
    m_bClassifiedA = CKrMeshBoolean::ClassifyMesh_New(meshB, meshA, segments, m_vecAOutside, m_vecAInside, m_vecASame,
                                                      m_vecAOpposite, m_vecAFifth, seed);
    WriteSort(kDiagSegments1, segments, m_vecAOutside, m_vecAInside, m_vecASame);
    m_bClassifiedB = CKrMeshBoolean::ClassifyMesh_New(copyA, meshB, segments, m_vecBOutside, m_vecBInside, m_vecBSame,
                                                      m_vecBOpposite, m_vecBFifth, seed);
    WriteSort(kDiagSegments2, segments, m_vecBOutside, m_vecBInside, m_vecBSame);
    if (CKrMeshBoolean::GetCutEngine() == CKrMeshBoolean::CutEngine::kExact)
        MatchSlivers(m_vecBSame, m_vecBOpposite, m_vecBOutside, m_vecBInside, m_vecAOutside, m_vecAInside, m_vecASame,
                     m_vecAOpposite);
}

CKrSolidBoolean::CKrSolidBoolean(const CGeDataTriMesh& meshA, const CGeDataTriMesh& meshB) : m_meshA(0.01), m_meshB(0.01)
{
    m_meshA.InputData(meshA, true);
    m_meshB.InputData(meshB, true);
    // The classification belongs to the temporary object and goes with it:
    // this object's lists stay empty.
    CKrSolidBoolean classified(m_meshA, m_meshB);
    m_bClassifiedA = classified.IsAClassified();
    m_bClassifiedB = classified.IsBClassified();
}

CKrSolidBoolean::~CKrSolidBoolean() {}

void CKrSolidBoolean::InvertList(std::vector<_sTri*>& tris)
{
    for (std::size_t i = tris.size(); i-- > 0;) tris[i]->Invert();
}

void CKrSolidBoolean::InvertAInsideTris() { InvertList(m_vecAInside); }
void CKrSolidBoolean::InvertAOppositeTris() { InvertList(m_vecAOpposite); }
void CKrSolidBoolean::InvertBInsideTris() { InvertList(m_vecBInside); }

bool CKrSolidBoolean::ComposeSolid(int aCode1, int aCode2, int bCode, CKrMeshData& result)
{
    auto hasA = [&](int code) { return aCode1 == code || aCode2 == code; };
    std::vector<_sTri*> partA;
    if (hasA(2)) partA.insert(partA.end(), m_vecAInside.begin(), m_vecAInside.end());
    if (hasA(1)) partA.insert(partA.end(), m_vecAOutside.begin(), m_vecAOutside.end());
    if (hasA(3)) partA.insert(partA.end(), m_vecASame.begin(), m_vecASame.end());
    if (hasA(4)) partA.insert(partA.end(), m_vecAOpposite.begin(), m_vecAOpposite.end());
    std::vector<_sVertex*> versA = DistinctVertices(partA);

    const std::vector<_sTri*>& partB = bCode == 2   ? m_vecBInside
                                       : bCode == 1 ? m_vecBOutside
                                       : bCode == 3 ? m_vecBSame
                                                    : m_vecBOpposite;
    std::vector<_sVertex*> versB = DistinctVertices(partB);

    // The larger part goes in first and the other's corners merge with its
    // vertices closer than the tolerance (the nearest one). The merging is
    // done here, on a grid of tolerance-sized cells, so that the result
    // receives points at least the tolerance apart: the vertex set's own
    // tolerant lookup is never asked to find an equivalent, which it can
    // miss among many vertices of nearly equal x.
    const bool bFirst = versA.size() <= versB.size();
    const std::vector<_sTri*>* parts[2] = {bFirst ? &partB : &partA, bFirst ? &partA : &partB};
    const std::vector<_sVertex*>* vers[2] = {bFirst ? &versB : &versA, bFirst ? &versA : &versB};
    const double tol = g_dVerTol;
    std::vector<CKrPoint3d> pts;
    std::vector<KrTesGeo::_sTri_ID> ids;
    std::map<std::array<int64_t, 3>, std::vector<int32_t>> cells;
    auto cellOf = [tol](const CKrPoint3d& p) {
        return std::array<int64_t, 3>{int64_t(std::floor(p.x / tol)), int64_t(std::floor(p.y / tol)),
                                      int64_t(std::floor(p.z / tol))};
    };
    for (int k = 0; k < 2; ++k) {
        for (_sVertex* v : *vers[k]) {
            int32_t found = -1;
            if (tol > 0.0) {
                const auto c = cellOf(v->pt);
                double best = tol * tol;
                for (int dz = -1; dz <= 1; ++dz)
                    for (int dy = -1; dy <= 1; ++dy)
                        for (int dx = -1; dx <= 1; ++dx) {
                            auto it = cells.find({c[0] + dx, c[1] + dy, c[2] + dz});
                            if (it == cells.end()) continue;
                            for (int32_t i : it->second) {
                                const CKrPoint3d& q = pts[static_cast<std::size_t>(i)];
                                const double ex = q.x - v->pt.x, ey = q.y - v->pt.y, ez = q.z - v->pt.z;
                                const double d = ex * ex + ey * ey + ez * ez;
                                if (d < best || (d == best && found >= 0 && i < found)) {
                                    if (d >= tol * tol) continue;
                                    best = d;
                                    found = i;
                                }
                            }
                        }
            }
            if (found < 0) {
                found = static_cast<int32_t>(pts.size());
                pts.push_back(v->pt);
                if (tol > 0.0) cells[cellOf(v->pt)].push_back(found);
            }
            v->nID = found;
        }
        for (const _sTri* t : *parts[k]) ids.emplace_back(t->pVer[0]->nID, t->pVer[1]->nID, t->pVer[2]->nID);
    }
    result.InputData(pts, ids, true);
    return true;
}

bool CKrSolidBoolean::Union_A_And_B(CKrMeshData& result) { return ComposeSolid(1, 3, 1, result); }

bool CKrSolidBoolean::Intersect_A_And_B(CKrMeshData& result) { return ComposeSolid(2, 3, 2, result); }

bool CKrSolidBoolean::Diference_A_And_B(CKrMeshData& result)
{
    InvertBInsideTris();
    const bool ok = ComposeSolid(1, 4, 2, result);
    InvertBInsideTris();
    return ok;
}

bool CKrSolidBoolean::Diference_B_And_A(CKrMeshData& result)
{
    InvertAInsideTris();
    InvertAOppositeTris();
    const bool ok = ComposeSolid(2, 4, 1, result);
    InvertAInsideTris();
    InvertAOppositeTris();
    return ok;
}

}  // namespace TesTriMesh
