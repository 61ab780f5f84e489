// Border lines of a CKrMeshData: the chains of edges that hold one triangle.

#include <algorithm>
#include <cstdint>
#include <unordered_map>

#include "KrTesGeometry/geom/KrPolyLine.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

namespace TesTriMesh {

namespace {

constexpr size_t kNone = SIZE_MAX;

struct BorderEdge {
    _sVertex* from;
    _sVertex* to;
    _sTri* tri;         // the one triangle on the edge
    const _sEdge* rec;  // the edge record
    bool used;
};

// Chains the border edges of a mesh into simple lines.
class CBorderWalker {
public:
    CBorderWalker(const CKrMeshData::VerSet& vers, const CKrMeshData::EdgeSet& edges);
    void Run(bool closedOnly, std::vector<CKrPolyLine>& lines);

private:
    size_t Rank(const _sVertex* v) const
    {
        auto it = m_rank.find(v);
        return it != m_rank.end() ? it->second : kNone;
    }
    size_t NextByFan(size_t arrived) const;
    size_t NextUnusedOut(const _sVertex* w) const;
    void Walk(_sVertex* start, size_t first, bool closedOnly);
    void WalkFromHeads(bool closedOnly);
    void Emit(std::vector<_sVertex*>::const_iterator b, std::vector<_sVertex*>::const_iterator e, bool closed,
              bool closedOnly);

    std::vector<BorderEdge> m_edges;
    std::unordered_map<const _sEdge*, size_t> m_index;               // edge record -> border edge
    std::unordered_map<const _sVertex*, std::vector<size_t>> m_out;  // outgoing, by rank of `to`
    std::unordered_map<const _sVertex*, size_t> m_unusedIn;
    std::unordered_map<const _sVertex*, size_t> m_rank;  // position in the tolerant vertex order
    std::vector<_sVertex*> m_starts;                     // vertices with outgoing edges, by rank
    std::vector<_sVertex*> m_heads;  // vertices where nothing unused arrives any more
    std::vector<std::pair<size_t, CKrPolyLine>> m_lines;  // (rank of first vertex, line)
};

CBorderWalker::CBorderWalker(const CKrMeshData::VerSet& vers, const CKrMeshData::EdgeSet& edges)
{
    for (_sEdge* e : edges) {
        if (!e->pVer[0] || !e->pVer[1] || e->pVer[0] == e->pVer[1]) continue;
        if (!e->pTri[0] == !e->pTri[1]) continue;  // two triangles or none
        _sTri* t = e->pTri[0] ? e->pTri[0] : e->pTri[1];
        BorderEdge be{e->pVer[0], e->pVer[1], t, e, false};
        // Run the edge the way its triangle winds through it.
        for (int k = 0; k < 3; ++k) {
            if (t->pVer[k] == be.to && t->pVer[(k + 1) % 3] == be.from) {
                std::swap(be.from, be.to);
                break;
            }
        }
        m_index[e] = m_edges.size();
        m_edges.push_back(be);
    }
    for (size_t i = 0; i < m_edges.size(); ++i) {
        m_out[m_edges[i].from].push_back(i);
        ++m_unusedIn[m_edges[i].to];
        m_rank.emplace(m_edges[i].from, kNone);
        m_rank.emplace(m_edges[i].to, kNone);
    }
    size_t r = 0;
    for (const _sVertex* v : vers) {
        auto it = m_rank.find(v);
        if (it != m_rank.end()) it->second = r;
        ++r;
    }
    for (auto& kv : m_out) {
        std::sort(kv.second.begin(), kv.second.end(),
                  [this](size_t a, size_t b) { return Rank(m_edges[a].to) < Rank(m_edges[b].to); });
        m_starts.push_back(const_cast<_sVertex*>(kv.first));
    }
    std::sort(m_starts.begin(), m_starts.end(), [this](const _sVertex* a, const _sVertex* b) {
        const size_t ra = Rank(a), rb = Rank(b);
        return ra != rb ? ra < rb : detail::KrPtrValue(a) < detail::KrPtrValue(b);
    });
}

// The border edge that leaves w within the triangle fan of the edge that
// arrived at w, found by turning about w from triangle to triangle across its
// inner edges. kNone when the fan is broken or its end is not usable.
size_t CBorderWalker::NextByFan(size_t arrived) const
{
    const _sVertex* w = m_edges[arrived].to;
    const _sTri* t = m_edges[arrived].tri;
    const _sEdge* prev = m_edges[arrived].rec;
    for (size_t guard = 0; guard <= w->setTri.size() + 1; ++guard) {
        const _sEdge* f = nullptr;
        for (const _sEdge* e : t->pEdge) {
            if (e && e != prev && (e->pVer[0] == w || e->pVer[1] == w)) {
                f = e;
                break;
            }
        }
        if (!f) return kNone;
        auto it = m_index.find(f);
        if (it != m_index.end()) {
            const BorderEdge& be = m_edges[it->second];
            return (!be.used && be.from == w) ? it->second : kNone;
        }
        const _sTri* n = f->CoEdgeTri(t);
        if (!n) return kNone;
        prev = f;
        t = n;
    }
    return kNone;
}

size_t CBorderWalker::NextUnusedOut(const _sVertex* w) const
{
    auto it = m_out.find(w);
    if (it == m_out.end()) return kNone;
    for (size_t i : it->second)
        if (!m_edges[i].used) return i;
    return kNone;
}

void CBorderWalker::Emit(std::vector<_sVertex*>::const_iterator b, std::vector<_sVertex*>::const_iterator e,
                         bool closed, bool closedOnly)
{
    if (e - b < 2 || (!closed && closedOnly)) return;
    std::vector<_sVertex*> verts(b, e);
    if (closed) {
        // A loop starts at its lowest vertex in the tolerant order.
        auto first = std::min_element(verts.begin(), verts.end(),
                                      [this](const _sVertex* x, const _sVertex* y) { return Rank(x) < Rank(y); });
        std::rotate(verts.begin(), first, verts.end());
    }
    CKrPolyLine line;
    for (const _sVertex* v : verts) line.AddVertex(v->pt);
    line.SetClosed(closed);
    m_lines.emplace_back(Rank(verts.front()), line);
}

// Follows unused border edges from `start`. Whenever the chain comes back to
// a vertex it already holds, the part from there on is a closed loop and is
// split off, so every loop comes out simple.
void CBorderWalker::Walk(_sVertex* start, size_t first, bool closedOnly)
{
    std::vector<_sVertex*> chain{start};
    std::unordered_map<const _sVertex*, size_t> pos{{start, 0}};
    size_t cur = first;
    while (true) {
        BorderEdge& be = m_edges[cur];
        be.used = true;
        _sVertex* w = be.to;
        if (--m_unusedIn[w] == 0) m_heads.push_back(w);
        auto hit = pos.find(w);
        if (hit != pos.end()) {
            const size_t p = hit->second;
            Emit(chain.begin() + static_cast<std::ptrdiff_t>(p), chain.end(), true, closedOnly);
            for (size_t i = p + 1; i < chain.size(); ++i) pos.erase(chain[i]);
            chain.resize(p + 1);
            if (p == 0) return;
        } else {
            pos[w] = chain.size();
            chain.push_back(w);
        }
        size_t next = NextByFan(cur);
        if (next == kNone) next = NextUnusedOut(w);
        if (next == kNone) break;
        cur = next;
    }
    Emit(chain.begin(), chain.end(), false, closedOnly);
}

// Walks from every vertex that still has unused outgoing edges but no unused
// incoming ones: such a vertex can only begin an open chain, and starting
// there keeps the chain whole.
void CBorderWalker::WalkFromHeads(bool closedOnly)
{
    while (!m_heads.empty()) {
        _sVertex* v = m_heads.back();
        m_heads.pop_back();
        size_t e;
        while (m_unusedIn[v] == 0 && (e = NextUnusedOut(v)) != kNone) Walk(v, e, closedOnly);
    }
}

void CBorderWalker::Run(bool closedOnly, std::vector<CKrPolyLine>& lines)
{
    for (auto it = m_starts.rbegin(); it != m_starts.rend(); ++it)
        if (m_unusedIn[*it] == 0) m_heads.push_back(*it);
    WalkFromHeads(closedOnly);
    for (_sVertex* v : m_starts) {
        size_t e;
        while ((e = NextUnusedOut(v)) != kNone) {
            Walk(v, e, closedOnly);
            WalkFromHeads(closedOnly);
        }
    }
    std::stable_sort(m_lines.begin(), m_lines.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (auto& l : m_lines) lines.push_back(std::move(l.second));
}

}  // namespace

bool CKrMeshData::GetBorderLine(std::vector<CKrPolyLine>& lines, bool closedOnly) const
{
    lines.clear();
    CBorderWalker walker(m_setVer, m_setEdge);
    walker.Run(closedOnly, lines);
    return !lines.empty();
}

}  // namespace TesTriMesh
