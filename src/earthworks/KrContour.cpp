#include "KrTesGeometry/earthworks/KrContour.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <map>
#include <utility>

#include "earthworks/KrEarthTin.h"

namespace TesTriMesh {

namespace {

using namespace earth;

// More levels than this is taken for a mistaken interval.
constexpr double kMaxLevels = 1.0e7;

// Each triangle's neighbour across each of its edges: nbr[3 t + k] is
// 3 t' + k' for the edge k of t (pVer k to k + 1) being edge k' of t', or
// -1 on the border. Edges are matched by their vertex numbers, an edge
// (u, v) of one triangle with (v, u) of the next (both counter-clockwise);
// an edge on more than two triangles pairs its first two matching sides.
std::vector<int64_t> Neighbours(const CKrEarthTin& s, std::size_t npts)
{
    const std::size_t nh = s.tri.size() * 3;
    std::vector<uint32_t> start(npts + 1, 0);
    for (const auto& t : s.tri)
        for (int k = 0; k < 3; ++k) ++start[static_cast<std::size_t>(std::min(t[k], t[(k + 1) % 3])) + 1];
    for (std::size_t i = 0; i < npts; ++i) start[i + 1] += start[i];
    std::vector<int64_t> bucket(nh);  // half-edge numbers, grouped by their lower vertex
    {
        std::vector<uint32_t> fill(start.begin(), start.end() - 1);
        for (std::size_t h = 0; h < nh; ++h) {
            const auto& t = s.tri[h / 3];
            const int k = static_cast<int>(h % 3);
            bucket[fill[static_cast<std::size_t>(std::min(t[k], t[(k + 1) % 3]))]++] = static_cast<int64_t>(h);
        }
    }
    std::vector<int64_t> nbr(nh, -1);
    auto from = [&](int64_t h) { return s.tri[static_cast<std::size_t>(h / 3)][h % 3]; };
    auto to = [&](int64_t h) { return s.tri[static_cast<std::size_t>(h / 3)][(h % 3 + 1) % 3]; };
    for (std::size_t v = 0; v < npts; ++v)
        for (uint32_t i = start[v]; i < start[v + 1]; ++i) {
            const int64_t h = bucket[i];
            if (nbr[h] >= 0) continue;
            for (uint32_t j = i + 1; j < start[v + 1]; ++j) {
                const int64_t g = bucket[j];
                if (nbr[g] < 0 && from(g) == to(h) && to(g) == from(h)) {
                    nbr[h] = g;
                    nbr[g] = h;
                    break;
                }
            }
        }
    return nbr;
}

struct Levels {
    double base, step;
    double At(int64_t k) const { return base + static_cast<double>(k) * step; }
    // The lowest level strictly above z.
    int64_t FirstAbove(double z) const
    {
        int64_t k = static_cast<int64_t>(std::floor((z - base) / step)) + 1;
        while (At(k - 1) > z) --k;
        while (At(k) <= z) ++k;
        return k;
    }
};

// A traced chain: its points and, for each, the vertex it is (a vertex on
// the level) or -1 (a crossing inside an edge).
struct Chain {
    std::vector<CKrPoint3d> pts;
    std::vector<int32_t> vid;
    bool closed = false;
};

bool Same(const CKrPoint3d& a, const CKrPoint3d& b) { return a.x == b.x && a.y == b.y; }

// Drops pieces of zero length (the chain passing through a vertex on the
// level: every triangle around it gives the vertex itself).
void DropRepeats(Chain& c)
{
    std::size_t m = 0;
    for (std::size_t i = 0; i < c.pts.size(); ++i) {
        if (m > 0 && Same(c.pts[m - 1], c.pts[i])) continue;
        c.pts[m] = c.pts[i];
        c.vid[m] = c.vid[i];
        ++m;
    }
    c.pts.resize(m);
    c.vid.resize(m);
    if (c.closed)
        while (c.pts.size() > 1 && Same(c.pts.front(), c.pts.back())) {
            c.pts.pop_back();
            c.vid.pop_back();
        }
}

Chain Slice(const Chain& c, std::size_t from, std::size_t to, bool closed)  // [from, to)
{
    Chain r;
    r.closed = closed;
    r.pts.assign(c.pts.begin() + static_cast<std::ptrdiff_t>(from), c.pts.begin() + static_cast<std::ptrdiff_t>(to));
    r.vid.assign(c.vid.begin() + static_cast<std::ptrdiff_t>(from), c.vid.begin() + static_cast<std::ptrdiff_t>(to));
    return r;
}

void Append(Chain& a, const Chain& b, std::size_t from)
{
    a.pts.insert(a.pts.end(), b.pts.begin() + static_cast<std::ptrdiff_t>(from), b.pts.end());
    a.vid.insert(a.vid.end(), b.vid.begin() + static_cast<std::ptrdiff_t>(from), b.vid.end());
}

// Removes the ridges: an edge lying on the level with lower ground on both
// sides is gone along by the chain once each way (the sliver "above" it has
// no area, like a peak exactly on a level). Both passes are cut out and the
// chain falls apart into what it joined: the part before and after (one
// chain again) and the loop between. Only a piece between two vertices can
// be such a pass. The pieces are appended to out.
void SplitRidges(Chain first, std::vector<Chain>& out)
{
    std::vector<Chain> work;
    work.push_back(std::move(first));
    while (!work.empty()) {
        Chain c = std::move(work.back());
        work.pop_back();
        DropRepeats(c);
        const std::size_t n = c.pts.size();
        const std::size_t nseg = n < 2 ? 0 : (c.closed ? n : n - 1);
        std::map<std::pair<int32_t, int32_t>, std::size_t> seen;
        std::size_t i = 0, j = 0;
        bool found = false;
        for (std::size_t k = 0; k < nseg && !found; ++k) {
            const int32_t a = c.vid[k], b = c.vid[(k + 1) % n];
            if (a < 0 || b < 0) continue;
            const auto key = std::minmax(a, b);
            const auto it = seen.find(key);
            if (it == seen.end()) {
                seen.emplace(key, k);
            } else if (c.vid[it->second] == b) {
                i = it->second;
                j = k;
                found = true;
            }
        }
        if (!found) {
            if (c.pts.size() >= (c.closed ? 3u : 2u)) out.push_back(std::move(c));
            continue;
        }
        // Piece i goes P -> Q, piece j comes back Q -> P.
        if (!c.closed) {
            Chain ac = Slice(c, 0, i + 1, false);
            Append(ac, c, j + 2);
            work.push_back(std::move(ac));
            work.push_back(Slice(c, i + 1, j, true));
        } else {
            // Start the loop at Q (after piece i): P is then its last point.
            Chain r = c;
            std::rotate(r.pts.begin(), r.pts.begin() + static_cast<std::ptrdiff_t>((i + 1) % n), r.pts.end());
            std::rotate(r.vid.begin(), r.vid.begin() + static_cast<std::ptrdiff_t>((i + 1) % n), r.vid.end());
            const std::size_t jj = (j + n - i - 1) % n;  // r[jj] = Q, r[jj + 1] = P
            work.push_back(Slice(r, jj + 1, n - 1, true));
            work.push_back(Slice(r, 0, jj, true));
        }
    }
}

// The points of closed chain c from index `from` forward around to index
// `to`, both included.
Chain Around(const Chain& c, std::size_t from, std::size_t to)
{
    Chain r;
    const std::size_t n = c.pts.size();
    for (std::size_t k = from;; k = (k + 1) % n) {
        r.pts.push_back(c.pts[k]);
        r.vid.push_back(c.vid[k]);
        if (k == to) break;
    }
    return r;
}

// A ridge between two chains (one goes P -> Q along it, another Q -> P):
// both passes are cut and the chains rejoined - two loops become one, a
// loop is spliced into an open chain, two open chains swap their ends.
// Repeats until no ridge joins two chains.
void MergeAcrossRidges(std::vector<Chain>& chains)
{
    for (;;) {
        std::map<std::pair<int32_t, int32_t>, std::pair<std::size_t, std::size_t>> seen;  // piece -> (chain, index)
        std::size_t c1 = 0, i = 0, c2 = 0, j = 0;
        bool found = false;
        for (std::size_t k = 0; k < chains.size() && !found; ++k) {
            const Chain& c = chains[k];
            const std::size_t n = c.pts.size();
            const std::size_t nseg = n < 2 ? 0 : (c.closed ? n : n - 1);
            for (std::size_t q = 0; q < nseg && !found; ++q) {
                const int32_t a = c.vid[q], b = c.vid[(q + 1) % n];
                if (a < 0 || b < 0) continue;
                const auto it = seen.find(std::make_pair(b, a));
                if (it != seen.end() && it->second.first != k) {
                    c1 = it->second.first;
                    i = it->second.second;
                    c2 = k;
                    j = q;
                    found = true;
                } else {
                    seen.emplace(std::make_pair(a, b), std::make_pair(k, q));
                }
            }
        }
        if (!found) return;
        // Piece i of chain c1 goes P -> Q, piece j of chain c2 comes Q -> P.
        const Chain& A = chains[c1];
        const Chain& B = chains[c2];
        std::vector<Chain> made;
        if (A.closed && B.closed) {
            Chain loop = Around(A, (i + 1) % A.pts.size(), i);  // Q .. P
            const Chain back = Around(B, (j + 1) % B.pts.size(), j);  // P .. Q
            loop.pts.insert(loop.pts.end(), back.pts.begin() + 1, back.pts.end() - 1);
            loop.vid.insert(loop.vid.end(), back.vid.begin() + 1, back.vid.end() - 1);
            loop.closed = true;
            made.push_back(std::move(loop));
        } else if (A.closed || B.closed) {
            // The loop goes into the open chain at the ridge.
            const Chain& L = A.closed ? A : B;
            const Chain& O = A.closed ? B : A;
            const std::size_t li = A.closed ? i : j, oi = A.closed ? j : i;
            Chain line = Slice(O, 0, oi + 1, false);                             // .. to the ridge's near end
            const Chain loop = Around(L, (li + 1) % L.pts.size(), li);           // far end .. near end
            Append(line, loop, 1);
            Append(line, O, oi + 2);
            made.push_back(std::move(line));
        } else {
            Chain first = Slice(A, 0, i + 1, false);  // .. P
            Append(first, B, j + 2);                  // P ..
            Chain second = Slice(B, 0, j + 1, false); // .. Q
            Append(second, A, i + 2);                 // Q ..
            made.push_back(std::move(first));
            made.push_back(std::move(second));
        }
        chains.erase(chains.begin() + static_cast<std::ptrdiff_t>(std::max(c1, c2)));
        chains.erase(chains.begin() + static_cast<std::ptrdiff_t>(std::min(c1, c2)));
        for (Chain& m : made) SplitRidges(std::move(m), chains);
    }
}

// Traces every contour of one level through the triangles that cross it
// (`cross`, ascending). visited holds stamp for the triangles done.
void TraceLevel(const CKrEarthTin& s, const std::vector<int64_t>& nbr, const uint32_t* cross, std::size_t count,
                double L, int64_t k, const KrContourOptions& opt, std::vector<uint32_t>& visited, uint32_t stamp,
                std::vector<KrContourLine>& out)
{
    auto above = [&](uint32_t t, int c) { return s.p[s.tri[t][c]].z >= L; };
    // The edge the contour enters by (above to below, counter-clockwise)
    // and the one it leaves by (below to above): higher ground on its left.
    auto entry = [&](uint32_t t) {
        for (int c = 0; c < 3; ++c)
            if (above(t, c) && !above(t, (c + 1) % 3)) return c;
        return -1;
    };
    auto exit = [&](uint32_t t) {
        for (int c = 0; c < 3; ++c)
            if (!above(t, c) && above(t, (c + 1) % 3)) return c;
        return -1;
    };
    // The crossing on edge c of t, from its lower end to its upper one; the
    // upper end itself when it lies on the level.
    auto crossing = [&](uint32_t t, int c) {
        const CKrPoint3d* lo = &s.p[s.tri[t][c]];
        const CKrPoint3d* hi = &s.p[s.tri[t][(c + 1) % 3]];
        if (lo->z >= L) std::swap(lo, hi);
        if (hi->z == L) return CKrPoint3d(hi->x, hi->y, L);
        const double f = (L - lo->z) / (hi->z - lo->z);
        return CKrPoint3d(lo->x + f * (hi->x - lo->x), lo->y + f * (hi->y - lo->y), L);
    };
    // Appends the crossing on edge c of t and the vertex it is, if any.
    auto push = [&](Chain& ch, uint32_t t, int c) {
        ch.pts.push_back(crossing(t, c));
        const int32_t a = s.tri[t][c], b = s.tri[t][(c + 1) % 3];
        ch.vid.push_back(s.p[a].z == L ? a : (s.p[b].z == L ? b : -1));
    };
    std::vector<Chain> chains;
    for (std::size_t i = 0; i < count; ++i) {
        const uint32_t t0 = cross[i];
        if (visited[t0] == stamp) continue;
        // Back to where the chain starts: the border, or t0 again (a loop).
        uint32_t st = t0;
        bool loop = false;
        for (std::size_t guard = 0; guard <= count; ++guard) {
            const int64_t h = nbr[3 * static_cast<std::size_t>(st) + static_cast<std::size_t>(entry(st))];
            if (h < 0) break;
            const uint32_t n = static_cast<uint32_t>(h / 3);
            if (n == t0) {
                loop = true;
                break;
            }
            if (visited[n] == stamp || exit(n) != h % 3) break;  // folded or broken surface: the chain ends
            st = n;
        }
        if (loop) st = t0;
        Chain line;
        push(line, st, entry(st));
        uint32_t cur = st;
        for (;;) {
            visited[cur] = stamp;
            const int ex = exit(cur);
            push(line, cur, ex);
            const int64_t h = nbr[3 * static_cast<std::size_t>(cur) + static_cast<std::size_t>(ex)];
            if (h < 0) break;
            const uint32_t n = static_cast<uint32_t>(h / 3);
            if (n == st) {
                line.closed = true;
                line.pts.pop_back();  // the loop's first point again
                line.vid.pop_back();
                break;
            }
            if (visited[n] == stamp || entry(n) != h % 3) break;
            cur = n;
        }
        SplitRidges(std::move(line), chains);
    }
    MergeAcrossRidges(chains);
    for (Chain& c : chains) {
        if (c.pts.size() < (c.closed ? 3u : 2u)) continue;
        KrContourLine line;
        line.level = L;
        line.k = k;
        line.isIndex = opt.indexEvery > 0 && k % opt.indexEvery == 0;
        line.closed = c.closed;
        line.pts = std::move(c.pts);
        out.push_back(std::move(line));
    }
}

}  // namespace

bool KrContours(const std::vector<CKrPoint3d>& pts, const std::vector<KrTesGeo::_sTri_ID>& tris,
                const KrContourOptions& opt, KrContourResult& out)
{
    out = KrContourResult();
    if (!(opt.interval > 0.0) || !std::isfinite(opt.interval)) {
        out.error = "contour interval: must be a positive number";
        return false;
    }
    if (!std::isfinite(opt.base)) {
        out.error = "contour base: not a finite number";
        return false;
    }
    if (opt.indexEvery < 0) {
        out.error = "index contour step: must not be negative";
        return false;
    }
    CKrEarthTin s;
    if (!PrepareTin(pts, tris, "surface", s, out.error)) return false;
    if (s.tri.empty()) return true;

    double zmin = s.p[s.tri[0][0]].z, zmax = zmin;
    for (const auto& t : s.tri)
        for (const int32_t v : t) {
            zmin = std::min(zmin, s.p[v].z);
            zmax = std::max(zmax, s.p[v].z);
        }
    const Levels lv{opt.base, opt.interval};
    if ((zmax - zmin) / opt.interval > kMaxLevels || std::fabs(zmin - opt.base) / opt.interval > 1.0e15 ||
        std::fabs(zmax - opt.base) / opt.interval > 1.0e15) {
        out.error = "contour interval: too small for the surface's height range (more than ten million levels)";
        return false;
    }
    const int64_t k0 = lv.FirstAbove(zmin), k1 = lv.FirstAbove(zmax) - 1;
    if (k1 < k0) return true;
    const std::size_t nLev = static_cast<std::size_t>(k1 - k0 + 1);

    // The triangles crossing each level (zmin < level <= zmax), ascending.
    std::vector<std::array<int64_t, 2>> range(s.tri.size());
    std::vector<uint32_t> start(nLev + 1, 0);
    uint64_t total = 0;
    for (std::size_t t = 0; t < s.tri.size(); ++t) {
        const double a = s.p[s.tri[t][0]].z, b = s.p[s.tri[t][1]].z, c = s.p[s.tri[t][2]].z;
        range[t] = {lv.FirstAbove(std::min({a, b, c})) - k0, lv.FirstAbove(std::max({a, b, c})) - 1 - k0};
        total += static_cast<uint64_t>(range[t][1] - range[t][0] + 1);
    }
    if (total > 2000000000u) {
        out.error = "contour interval: too small for the surface (more than two billion contour segments)";
        return false;
    }
    for (std::size_t t = 0; t < s.tri.size(); ++t)
        for (int64_t l = range[t][0]; l <= range[t][1]; ++l) ++start[static_cast<std::size_t>(l) + 1];
    for (std::size_t l = 0; l < nLev; ++l) start[l + 1] += start[l];
    std::vector<uint32_t> cross(start.back());
    {
        std::vector<uint32_t> fill(start.begin(), start.end() - 1);
        for (std::size_t t = 0; t < s.tri.size(); ++t)
            for (int64_t l = range[t][0]; l <= range[t][1]; ++l)
                cross[fill[static_cast<std::size_t>(l)]++] = static_cast<uint32_t>(t);
    }
    range.clear();
    range.shrink_to_fit();
    const std::vector<int64_t> nbr = Neighbours(s, pts.size());

    // Levels are independent: blocks of levels over the threads, each block
    // with its own marks, the lines kept per level.
    std::vector<std::vector<KrContourLine>> perLevel(nLev);
    const std::size_t block = std::max<std::size_t>(1, nLev / 16);
    RunBlocks(nLev, block, opt.threads, [&](std::size_t, std::size_t begin, std::size_t end) {
        std::vector<uint32_t> visited(s.tri.size(), 0);
        for (std::size_t l = begin; l < end; ++l) {
            const int64_t k = k0 + static_cast<int64_t>(l);
            TraceLevel(s, nbr, cross.data() + start[l], start[l + 1] - start[l], lv.At(k), k, opt, visited,
                       static_cast<uint32_t>(l - begin + 1), perLevel[l]);
        }
    });
    for (auto& v : perLevel)
        for (auto& line : v) out.lines.push_back(std::move(line));
    return true;
}

bool KrContours(const CKrMeshData& mesh, const KrContourOptions& opt, KrContourResult& out)
{
    std::vector<CKrPoint3d> p;
    std::vector<KrTesGeo::_sTri_ID> t;
    MeshArrays(mesh, p, t);
    return KrContours(p, t, opt, out);
}

}  // namespace TesTriMesh
