#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <tuple>
#include <vector>

#include "KrTesGeometry/earthworks/KrContour.h"
#include "KrTesGeometry/geom/KrExactPredicates.h"
#include "earthworks/EarthTestUtil.h"

using namespace TesTriMesh;
using earthtest::Solid;
using testmesh::Grid;

namespace {

KrContourResult Contours(const Solid& s, const KrContourOptions& opt)
{
    KrContourResult r;
    EXPECT_TRUE(KrContours(s.pts, s.ids, opt, r)) << r.error;
    return r;
}

// A cone z = 10 - r: a centre and rings of n points at r = 1 .. 10.
Solid Cone(int n)
{
    Solid s;
    s.pts.emplace_back(0.0, 0.0, 10.0);
    for (int r = 1; r <= 10; ++r)
        for (int i = 0; i < n; ++i) {
            const double a = 2.0 * M_PI * i / n;
            s.pts.emplace_back(r * std::cos(a), r * std::sin(a), 10.0 - r);
        }
    auto at = [&](int r, int i) { return r == 0 ? 0 : 1 + (r - 1) * n + (i % n); };
    for (int i = 0; i < n; ++i) s.ids.emplace_back(at(0, 0), at(1, i), at(1, i + 1));
    for (int r = 1; r < 10; ++r)
        for (int i = 0; i < n; ++i) {
            s.ids.emplace_back(at(r, i), at(r + 1, i), at(r + 1, i + 1));
            s.ids.emplace_back(at(r, i), at(r + 1, i + 1), at(r, i + 1));
        }
    return s;
}

double Length(const KrContourLine& l)
{
    double len = 0.0;
    const std::size_t n = l.pts.size();
    for (std::size_t i = 0; i + 1 < n + (l.closed ? 1 : 0); ++i)
        len += std::hypot(l.pts[(i + 1) % n].x - l.pts[i].x, l.pts[(i + 1) % n].y - l.pts[i].y);
    return len;
}

// Checks of every line against the surface, computed here without the
// chaining: at each level the lines' total length equals the sum over the
// triangles of the segment each gives under the rule "a vertex at the level
// is above it", less the edges lying on the level with lower ground on both
// sides (ridges, which bound no area above them); no segment comes twice;
// every line is closed or has both ends on the border of the surface.
void CheckAgainstTriangles(const Solid& s, const KrContourResult& r)
{
    std::map<std::pair<int, int>, std::vector<int32_t>> opposite;  // the third corners on each edge
    for (const auto& t : s.ids)
        for (int k = 0; k < 3; ++k) opposite[std::minmax(t[k], t[(k + 1) % 3])].push_back(t[(k + 2) % 3]);
    std::vector<std::pair<int, int>> border;
    for (const auto& [e, third] : opposite)
        if (third.size() == 1) border.push_back(e);
    auto onBorder = [&](const CKrPoint3d& p) {
        for (const auto& e : border) {
            const CKrPoint3d &a = s.pts[e.first], &b = s.pts[e.second];
            const double len = std::hypot(b.x - a.x, b.y - a.y);
            const double dist = std::fabs((b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x)) / len;
            const double along = ((p.x - a.x) * (b.x - a.x) + (p.y - a.y) * (b.y - a.y)) / len;
            if (dist < 1e-7 && along > -1e-7 && along < len + 1e-7) return true;
        }
        return false;
    };
    std::map<double, double> lengthAt;
    std::set<std::tuple<double, double, double, double, double>> segs;
    for (const KrContourLine& l : r.lines) {
        lengthAt[l.level] += Length(l);
        const std::size_t n = l.pts.size();
        for (std::size_t i = 0; i < n; ++i) {
            ASSERT_EQ(l.pts[i].z, l.level);
            if (i + 1 == n && !l.closed) break;
            CKrPoint3d a = l.pts[i], b = l.pts[(i + 1) % n];
            if (std::tie(b.x, b.y) < std::tie(a.x, a.y)) std::swap(a, b);
            EXPECT_TRUE(segs.insert({l.level, a.x, a.y, b.x, b.y}).second) << "segment twice at level " << l.level;
        }
        EXPECT_TRUE(l.closed || (onBorder(l.pts.front()) && onBorder(l.pts.back()))) << "open line ends inside at " << l.level;
    }
    std::map<double, double> wantAt;
    for (const auto& t : s.ids) {
        const double lo = std::min({s.pts[t[0]].z, s.pts[t[1]].z, s.pts[t[2]].z});
        const double hi = std::max({s.pts[t[0]].z, s.pts[t[1]].z, s.pts[t[2]].z});
        for (auto lv = lengthAt.upper_bound(lo); lv != lengthAt.end() && lv->first <= hi; ++lv) {
            const double L = lv->first;
            CKrPoint3d cross[3];
            int nc = 0, low = -1, onCount = 0;
            for (int k = 0; k < 3; ++k) {
                const CKrPoint3d &u = s.pts[t[k]], &v = s.pts[t[(k + 1) % 3]];
                onCount += u.z == L;
                if (u.z < L) low = k;
                if ((u.z >= L) == (v.z >= L)) continue;
                const double f = (L - u.z) / (v.z - u.z);
                cross[nc++] = CKrPoint3d(u.x + f * (v.x - u.x), u.y + f * (v.y - u.y), L);
            }
            if (nc != 2) continue;
            // A ridge: two corners on the level, the third below, and the
            // triangle across that edge also dipping below.
            if (onCount == 2 && low >= 0) {
                const int a = t[(low + 1) % 3], b = t[(low + 2) % 3];
                int below = 0;
                for (const int32_t third : opposite[std::minmax(a, b)]) below += s.pts[third].z < L;
                if (below == 2) continue;
            }
            wantAt[L] += std::hypot(cross[1].x - cross[0].x, cross[1].y - cross[0].y);
        }
    }
    for (const auto& [L, len] : lengthAt) EXPECT_NEAR(len, wantAt[L], 1e-9 * std::max(1.0, wantAt[L])) << "level " << L;
}

}  // namespace

// A cone: one closed loop per level, around the apex, counter-clockwise
// (higher ground on the left). Integer levels pass exactly through the
// rings' vertices: the loop is the ring itself, n corners at radius 10 - L
// (level 10 is the apex alone, a loop shrunk to a point, and level 0 the
// lowest point). Half-integer levels cut n radial edges on the circle and n
// diagonals just inside it (the top one only the apex's n spokes).
TEST(KrContour, ConeLoops)
{
    const int n = 48;
    const Solid cone = Cone(n);
    for (const double base : {0.0, 0.5}) {
        const KrContourResult c = Contours(cone, {1.0, base, 2});
        ASSERT_EQ(c.lines.size(), base == 0.0 ? 9u : 10u);
        for (std::size_t i = 0; i < c.lines.size(); ++i) {
            const KrContourLine& l = c.lines[i];
            EXPECT_EQ(l.k, static_cast<int64_t>(i) + (base == 0.0));
            EXPECT_EQ(l.level, base + static_cast<double>(l.k));
            EXPECT_EQ(l.isIndex, l.k % 2 == 0);
            EXPECT_TRUE(l.closed);
            ASSERT_EQ(l.pts.size(), static_cast<std::size_t>(base == 0.0 || l.level > 9.0 ? n : 2 * n)) << l.level;
            const double r = 10.0 - l.level, inner = base == 0.0 ? r : r * std::cos(M_PI / n);
            for (const CKrPoint3d& p : l.pts)
                EXPECT_TRUE(std::hypot(p.x, p.y) <= r + 1e-12 && std::hypot(p.x, p.y) >= inner - 1e-12) << l.level;
            EXPECT_GT(KrTesGeo::Orient2dExact(l.pts[0], l.pts[n / 3], l.pts[2 * n / 3]), 0);
        }
        CheckAgainstTriangles(cone, c);
    }
}

// The survey terrain: heights are whole metres, so every whole-metre level
// runs through many vertices. No gaps, no segment twice, chains end only on
// the border, and the lines do not depend on the thread count or on
// whether the surface comes as a mesh.
TEST(KrContour, TerrainLevelsThroughVertices)
{
    CKrMeshData mesh;
    const Solid tin = earthtest::Tin(earthtest::JacksboroPoints(), mesh);
    const KrContourResult r = Contours(tin, {2.0, 1.0 /* odd metres */, 5, 1});
    const KrContourResult e = Contours(tin, {1.0, 0.0, 10, 1});
    ASSERT_GT(r.lines.size(), 20u);
    CheckAgainstTriangles(tin, r);
    CheckAgainstTriangles(tin, e);
    // Every line's closed flag and points, in order, and their total length.
    auto flat = [](const KrContourResult& c, double& len) {
        std::vector<double> v;
        for (const KrContourLine& l : c.lines) {
            len += Length(l);
            v.push_back(l.closed);
            for (const CKrPoint3d& p : l.pts) v.insert(v.end(), {p.x, p.y});
        }
        return v;
    };
    double lenE = 0.0, lenE3 = 0.0, lenM = 0.0;
    const std::vector<double> fe = flat(e, lenE);
    EXPECT_TRUE(std::any_of(e.lines.begin(), e.lines.end(), [](const KrContourLine& l) { return l.closed; }));
    EXPECT_TRUE(flat(Contours(tin, {1.0, 0.0, 10, 3}), lenE3) == fe) << "the thread count matters";
    // The mesh's triangles come in another order: the same lines, maybe
    // traced from elsewhere.
    KrContourResult m;
    ASSERT_TRUE(KrContours(mesh, {1.0}, m));
    flat(m, lenM);
    EXPECT_EQ(m.lines.size(), e.lines.size());
    EXPECT_NEAR(lenM, lenE, 1e-9 * lenE);
}

TEST(KrContour, BadInput)
{
    const Solid plane = Grid(2, 2, 0.0, 0.0, 1.0, [](double x, double) { return x; });
    KrContourResult r;
    for (double interval : {0.0, 1e-12}) {
        EXPECT_FALSE(KrContours(plane.pts, plane.ids, {interval}, r));
        EXPECT_NE(r.error.find("interval"), std::string::npos) << r.error;
    }
    Solid bad = plane;
    bad.ids[3] = KrTesGeo::_sTri_ID(-1, 0, 1);
    EXPECT_FALSE(KrContours(bad.pts, bad.ids, {1.0}, r));
    EXPECT_NE(r.error.find("triangle 3"), std::string::npos) << r.error;
    EXPECT_TRUE(r.lines.empty());
}
