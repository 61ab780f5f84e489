#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <tuple>
#include <vector>

#include "KrTesGeometry/earthworks/KrContour.h"
#include "KrTesGeometry/geom/KrExactPredicates.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "earthworks/EarthTestUtil.h"

using namespace TesTriMesh;
using earthtest::Solid;
using testmesh::Grid;

namespace {

KrContourResult Contours(const Solid& s, double interval, double base = 0.0, int index = 0, unsigned threads = 0)
{
    KrContourOptions opt;
    opt.interval = interval;
    opt.base = base;
    opt.indexEvery = index;
    opt.threads = threads;
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
    std::map<std::pair<int, int>, int> edgeUse;
    std::map<std::pair<int, int>, std::vector<int32_t>> opposite;  // the third corners on each edge
    for (const auto& t : s.ids)
        for (int k = 0; k < 3; ++k) {
            ++edgeUse[std::minmax(t[k], t[(k + 1) % 3])];
            opposite[std::minmax(t[k], t[(k + 1) % 3])].push_back(t[(k + 2) % 3]);
        }
    std::vector<std::pair<int, int>> border;
    for (const auto& e : edgeUse)
        if (e.second == 1) border.push_back(e.first);
    auto onBorder = [&](const CKrPoint3d& p) {
        for (const auto& e : border) {
            const CKrPoint3d& a = s.pts[e.first];
            const CKrPoint3d& b = s.pts[e.second];
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
        for (const CKrPoint3d& p : l.pts) ASSERT_EQ(p.z, l.level);
        const std::size_t n = l.pts.size();
        for (std::size_t i = 0; i + 1 < n + (l.closed ? 1 : 0); ++i) {
            CKrPoint3d a = l.pts[i], b = l.pts[(i + 1) % n];
            if (std::tie(b.x, b.y) < std::tie(a.x, a.y)) std::swap(a, b);
            EXPECT_TRUE(segs.insert({l.level, a.x, a.y, b.x, b.y}).second)
                << "segment twice at level " << l.level << ": " << a.x << " " << a.y;
        }
        if (!l.closed) {
            EXPECT_TRUE(onBorder(l.pts.front())) << "open line starts inside, level " << l.level;
            EXPECT_TRUE(onBorder(l.pts.back())) << "open line ends inside, level " << l.level;
        }
    }
    std::map<double, double> wantAt;
    for (const auto& t : s.ids) {
        const double lo = std::min({s.pts[t[0]].z, s.pts[t[1]].z, s.pts[t[2]].z});
        const double hi = std::max({s.pts[t[0]].z, s.pts[t[1]].z, s.pts[t[2]].z});
        for (auto lv = lengthAt.upper_bound(lo); lv != lengthAt.end() && lv->first <= hi; ++lv) {
            const double L = lv->first;
            CKrPoint3d cross[3];
            int nc = 0;
            for (int k = 0; k < 3; ++k) {
                const CKrPoint3d& u = s.pts[t[k]];
                const CKrPoint3d& v = s.pts[t[(k + 1) % 3]];
                if ((u.z >= L) == (v.z >= L)) continue;
                const double f = (L - u.z) / (v.z - u.z);
                cross[nc++] = CKrPoint3d(u.x + f * (v.x - u.x), u.y + f * (v.y - u.y), L);
            }
            if (nc != 2) continue;
            // A ridge: two corners on the level, the third below, and the
            // triangle across that edge also dipping below.
            int low = -1, onCount = 0;
            for (int k = 0; k < 3; ++k) {
                if (s.pts[t[k]].z == L) ++onCount;
                if (s.pts[t[k]].z < L) low = k;
            }
            if (onCount == 2 && low >= 0) {
                const int a = t[(low + 1) % 3], b = t[(low + 2) % 3];
                int below = 0;
                for (const int32_t third : opposite[std::minmax(a, b)]) below += s.pts[third].z < L;
                if (below == 2) continue;
            }
            wantAt[L] += std::hypot(cross[1].x - cross[0].x, cross[1].y - cross[0].y);
        }
    }
    for (const auto& lv : lengthAt) {
        const double want = wantAt[lv.first];
        const double L = lv.first;
        EXPECT_NEAR(lv.second, want, 1e-9 * std::max(1.0, want)) << "level " << L;
    }
}

}  // namespace

// A cone: one closed loop per level, around the apex, counter-clockwise
// (higher ground on the left). Integer levels pass exactly through the
// rings' vertices: the loop is the ring itself, n corners at radius 10 - L.
// Half-integer levels cut n radial edges on the circle and n diagonals just
// inside it.
TEST(KrContour, ConeLoops)
{
    const int n = 48;
    const Solid cone = Cone(n);
    const KrContourResult ring = Contours(cone, 1.0);
    // Level 10 is the apex alone (a loop shrunk to a point), level 0 the
    // lowest point: levels 1 .. 9.
    ASSERT_EQ(ring.lines.size(), 9u);
    for (std::size_t i = 0; i < ring.lines.size(); ++i) {
        const KrContourLine& l = ring.lines[i];
        EXPECT_EQ(l.k, static_cast<int64_t>(i + 1));
        EXPECT_EQ(l.level, static_cast<double>(i + 1));
        EXPECT_TRUE(l.closed);
        ASSERT_EQ(l.pts.size(), static_cast<std::size_t>(n));
        for (const CKrPoint3d& p : l.pts) EXPECT_NEAR(std::hypot(p.x, p.y), 10.0 - l.level, 1e-12);
        EXPECT_GT(KrTesGeo::Orient2dExact(l.pts[0], l.pts[n / 3], l.pts[2 * n / 3]), 0);
    }
    CheckAgainstTriangles(cone, ring);

    const KrContourResult half = Contours(cone, 1.0, 0.5, 2);
    ASSERT_EQ(half.lines.size(), 10u);  // 0.5 .. 9.5
    for (const KrContourLine& l : half.lines) {
        EXPECT_TRUE(l.closed);
        // The top level cuts only the apex's n spokes.
        ASSERT_EQ(l.pts.size(), static_cast<std::size_t>(l.level > 9.0 ? n : 2 * n)) << l.level;
        EXPECT_EQ(l.isIndex, l.k % 2 == 0);
        const double r = 10.0 - l.level;
        for (const CKrPoint3d& p : l.pts) {
            EXPECT_LE(std::hypot(p.x, p.y), r + 1e-12);
            EXPECT_GE(std::hypot(p.x, p.y), r * std::cos(M_PI / n) - 1e-12);
        }
    }
    CheckAgainstTriangles(cone, half);
}

// A plane z = x + 2 y on a unit grid: every level is one straight open line
// across the square, and integer levels run through vertices (heights are
// exact integers), along grid diagonals and through corners.
TEST(KrContour, PlaneParallelLines)
{
    const Solid plane = Grid(10, 10, 0.0, 0.0, 1.0, [](double x, double y) { return x + 2.0 * y; });
    for (const double base : {0.0, 0.25}) {
        const KrContourResult r = Contours(plane, 1.0, base, 5);
        // Levels in (0, 30]; the top corner's level (30) is a single point.
        ASSERT_EQ(r.lines.size(), base == 0.0 ? 29u : 30u);
        for (const KrContourLine& l : r.lines) {
            EXPECT_FALSE(l.closed);
            EXPECT_EQ(l.isIndex, l.k % 5 == 0);
            for (const CKrPoint3d& p : l.pts) EXPECT_NEAR(p.x + 2.0 * p.y, l.level, 1e-12);
            // The higher ground on the left: the line runs along (2, -1).
            const CKrPoint3d& a = l.pts.front();
            const CKrPoint3d& b = l.pts.back();
            EXPECT_GT(b.x, a.x);
            EXPECT_LT(b.y, a.y);
            // The length of x + 2y = L inside the square.
            const double L = l.level;
            const double y0 = std::max(0.0, (L - 10.0) / 2.0), y1 = std::min(10.0, L / 2.0);
            EXPECT_NEAR(Length(l), (y1 - y0) * std::sqrt(5.0), 1e-9) << L;
        }
        CheckAgainstTriangles(plane, r);
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
    const KrContourResult r = Contours(tin, 2.0, 1.0 /* odd metres */, 5, 1);
    const KrContourResult e = Contours(tin, 1.0, 0.0, 10, 1);
    ASSERT_GT(r.lines.size(), 20u);
    CheckAgainstTriangles(tin, r);
    CheckAgainstTriangles(tin, e);
    std::size_t closed = 0;
    for (const KrContourLine& l : e.lines) closed += l.closed;
    EXPECT_GT(closed, 0u);

    const KrContourResult e3 = Contours(tin, 1.0, 0.0, 10, 3);
    ASSERT_EQ(e3.lines.size(), e.lines.size());
    for (std::size_t i = 0; i < e.lines.size(); ++i) {
        ASSERT_EQ(e3.lines[i].pts.size(), e.lines[i].pts.size());
        for (std::size_t j = 0; j < e.lines[i].pts.size(); ++j) {
            EXPECT_EQ(e3.lines[i].pts[j].x, e.lines[i].pts[j].x);
            EXPECT_EQ(e3.lines[i].pts[j].y, e.lines[i].pts[j].y);
        }
    }
    KrContourOptions opt;
    opt.interval = 1.0;
    KrContourResult m;
    ASSERT_TRUE(KrContours(mesh, opt, m));
    double lenE = 0.0, lenM = 0.0;
    for (const auto& l : e.lines) lenE += Length(l);
    for (const auto& l : m.lines) lenM += Length(l);
    EXPECT_EQ(m.lines.size(), e.lines.size());
    EXPECT_NEAR(lenM, lenE, 1e-9 * lenE);
}

TEST(KrContour, BadInput)
{
    const Solid plane = Grid(2, 2, 0.0, 0.0, 1.0, [](double x, double) { return x; });
    KrContourResult r;
    KrContourOptions opt;
    opt.interval = 0.0;
    EXPECT_FALSE(KrContours(plane.pts, plane.ids, opt, r));
    EXPECT_NE(r.error.find("interval"), std::string::npos) << r.error;
    opt.interval = 1e-12;
    EXPECT_FALSE(KrContours(plane.pts, plane.ids, opt, r));
    EXPECT_NE(r.error.find("interval"), std::string::npos) << r.error;
    opt.interval = 1.0;
    Solid bad = plane;
    bad.ids[3] = KrTesGeo::_sTri_ID(-1, 0, 1);
    EXPECT_FALSE(KrContours(bad.pts, bad.ids, opt, r));
    EXPECT_NE(r.error.find("triangle 3"), std::string::npos) << r.error;
    EXPECT_TRUE(r.lines.empty());
}
