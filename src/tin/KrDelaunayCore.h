#ifndef KRTES_KRDELAUNAYCORE_H
#define KRTES_KRDELAUNAYCORE_H

// The decisions of one point insertion - the walk that locates the point,
// the cavity search and the repair of a cavity that rounding left
// non-star-shaped - written once over a topology adapter. The triangulator
// runs them on the mesh's own records (InsertPtIntoMesh) and on the compact
// arrays of its bulk run (CKrDelaunayKernel), which therefore take identical
// decisions.
//
// An adapter G provides:
//   using Tri = ...;                      a triangle handle, G::kNone for none
//   Tri Across(Tri t, int k) const;       the triangle across edge k (corner k
//                                         to corner k+1), kNone when there is none
//   double X(Tri t, int k) const, Y(...)  plan coordinates of corner k
//   int32_t& Mark(Tri t);                 a scratch mark, kUnmarked when unset
//   std::size_t Count() const;            live triangles
//   template <class F> Tri Scan(F ok) const;  the first live triangle with ok(t)
//
// Internal header: not installed.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "KrTesGeometry/geom/KrExactPredicates.h"
#include "KrTesGeometry/geom/KrPoint3d.h"

namespace TesTriMesh {
namespace DelaunayCore {

// Temporary marks kept while a cavity is built; every path puts the mark back
// to kUnmarked before it returns.
constexpr int32_t kUnmarked = -1;
constexpr int32_t kInCavity = 0x4B520001;
constexpr int32_t kReached = 0x4B520002;
constexpr int32_t kKept = 0x4B520003;

template <class G>
int Orient(const G& g, typename G::Tri t, int k, double px, double py)
{
    const int j = k == 2 ? 0 : k + 1;
    return KrTesGeo::Orient2dExact(g.X(t, k), g.Y(t, k), g.X(t, j), g.Y(t, j), px, py);
}

template <class G>
bool Holds(const G& g, typename G::Tri t, double px, double py)
{
    return Orient(g, t, 0, px, py) >= 0 && Orient(g, t, 1, px, py) >= 0 && Orient(g, t, 2, px, py) >= 0;
}

// Visibility walk with exact orientation: leave through the first edge that
// has the point strictly on its outer side. On a valid triangulation the walk
// ends; should rounding in the in-circle tests have left the triangulation
// slightly non-Delaunay, a deterministic walk could cycle, so after a generous
// number of steps the edge order is randomised (which ends with probability
// 1), and as a last resort every triangle is tested. kNone when the walk
// leaves the triangulated region.
template <class G>
typename G::Tri Walk(const G& g, typename G::Tri t, double x, double y)
{
    using Tri = typename G::Tri;
    const std::size_t n = g.Count();
    const std::size_t detLimit = 1000 + 16 * static_cast<std::size_t>(std::sqrt(static_cast<double>(n)));
    const std::size_t hardLimit = detLimit + 4 * n + 1000;
    uint32_t rnd = 0x9E3779B9u;
    for (std::size_t step = 0; t != G::kNone && step < hardLimit; ++step) {
        int first = 0;
        if (step >= detLimit) {
            rnd ^= rnd << 13;
            rnd ^= rnd >> 17;
            rnd ^= rnd << 5;
            first = static_cast<int>(rnd % 3u);
        }
        int exitEdge = -1;
        for (int j = 0; j < 3; ++j) {
            const int k = (first + j) % 3;
            if (Orient(g, t, k, x, y) < 0) {
                exitEdge = k;
                break;
            }
        }
        if (exitEdge < 0) return t;
        t = g.Across(t, exitEdge);
    }
    if (t == G::kNone) return G::kNone;
    return g.Scan([&](Tri c) { return Holds(g, c, x, y); });
}

// The cavity of (px, py): triangles whose circumcircle holds the point (on the
// circle counts), connected to start through such triangles, appended to out
// in depth-first order over the neighbours across edges 0, 1, 2. An explicit
// stack: a point inside thousands of cocircular points has a cavity that
// large. The in-circle determinants are formed relative to (ox, oy).
template <class G>
void CollectCavity(G& g, double px, double py, double ox, double oy, typename G::Tri start,
                   std::vector<typename G::Tri>& out, std::vector<typename G::Tri>& stack)
{
    using Tri = typename G::Tri;
    const std::size_t first = out.size();
    const double lx = px - ox, ly = py - oy;
    stack.clear();
    if (start != G::kNone) stack.push_back(start);
    while (!stack.empty()) {
        const Tri t = stack.back();
        stack.pop_back();
        if (g.Mark(t) == kInCavity) continue;
        if (CKrPoint3d::IsPtIn3PCircle(lx, ly, g.X(t, 0) - ox, g.Y(t, 0) - oy, g.X(t, 1) - ox, g.Y(t, 1) - oy,
                                       g.X(t, 2) - ox, g.Y(t, 2) - oy) < 0)
            continue;
        g.Mark(t) = kInCavity;
        out.push_back(t);
        for (int k = 2; k >= 0; --k) {
            const Tri n = g.Across(t, k);
            if (n != G::kNone) stack.push_back(n);
        }
    }
    for (std::size_t i = first; i < out.size(); ++i) g.Mark(out[i]) = kUnmarked;
}

// The in-circle decisions are made in plain floating point. Near cocircular
// or collinear points they can disagree across an edge and leave a cavity
// that the point does not see entirely, which would create an inverted or
// flat triangle. Check every boundary edge exactly and move the offending
// triangles in or out until the point sees the whole boundary; keep what is
// still connected to start (which holds the point), in the original order.
template <class G>
void RepairCavity(G& g, double px, double py, typename G::Tri start, std::vector<typename G::Tri>& cavity)
{
    using Tri = typename G::Tri;
    for (Tri t : cavity) g.Mark(t) = kInCavity;
    bool changed = false;
    if (g.Mark(start) != kInCavity) {
        g.Mark(start) = kInCavity;
        cavity.push_back(start);
        changed = true;
    }
    for (int round = 0; round < 64; ++round) {
        bool again = false;
        for (std::size_t i = 0; i < cavity.size(); ++i) {
            const Tri t = cavity[i];
            if (g.Mark(t) != kInCavity) continue;
            for (int k = 0; k < 3; ++k) {
                const Tri n = g.Across(t, k);
                if (n != G::kNone && g.Mark(n) == kInCavity) continue;
                const int o = Orient(g, t, k, px, py);
                if (o > 0) continue;
                const int j = k == 2 ? 0 : k + 1;
                const double ax = g.X(t, k), ay = g.Y(t, k);
                const double dx = g.X(t, j) - ax, dy = g.Y(t, j) - ay;
                const double s = (px - ax) * dx + (py - ay) * dy;
                const bool onEdge = o == 0 && s > 0.0 && s < dx * dx + dy * dy;
                if (onEdge && n != G::kNone) {
                    g.Mark(n) = kInCavity;  // the point lies on this edge: both sides must go
                    cavity.push_back(n);
                } else if (t != start) {
                    g.Mark(t) = kUnmarked;  // the point cannot see this edge: keep the triangle
                } else {
                    continue;
                }
                again = changed = true;
                break;
            }
        }
        if (!again) break;
    }
    if (changed) {
        std::vector<Tri> stack{start};
        g.Mark(start) = kReached;
        while (!stack.empty()) {
            const Tri t = stack.back();
            stack.pop_back();
            for (int k = 0; k < 3; ++k) {
                const Tri n = g.Across(t, k);
                if (n != G::kNone && g.Mark(n) == kInCavity) {
                    g.Mark(n) = kReached;
                    stack.push_back(n);
                }
            }
        }
        std::vector<Tri> kept;
        for (Tri t : cavity)
            if (g.Mark(t) == kReached) {  // the list may repeat a triangle: take it once
                kept.push_back(t);
                g.Mark(t) = kKept;
            }
        for (Tri t : cavity) g.Mark(t) = kUnmarked;
        cavity.swap(kept);
    }
    for (Tri t : cavity) g.Mark(t) = kUnmarked;
}

}  // namespace DelaunayCore
}  // namespace TesTriMesh

#endif
