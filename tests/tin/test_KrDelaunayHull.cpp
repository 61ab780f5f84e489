#include <gtest/gtest.h>

#include <set>
#include <string>

#include "support/MeshTestUtil.h"
#include "tin/TinTestUtil.h"

using namespace TesTriMesh;
using namespace tintest;
using KrTesGeo::Orient2dExact;

namespace {

struct Result {
    bool ok = false;
    std::multiset<meshtest::TriKey> tris;
    std::size_t vertices = 0;
    int faults = 0;  // not counter-clockwise, or not Delaunay
};

Result Build(const std::vector<CKrPoint3d>& pts, bool fullHull)
{
    CKrMeshData mesh;
    const bool ok = Triangulate(mesh, pts, [&](CKrDelaunay& d) { d.SetFullHull(fullHull); }, 1e-9);
    return {ok, meshtest::TriKeys(mesh), mesh.m_setVer.size(), Faults(mesh)};
}

// Points on the hull boundary (corners and points on hull edges), by brute
// force: p is on it when some line through p and another point has every
// point on one side.
std::size_t BruteHullCount(const std::vector<CKrPoint3d>& pts)
{
    std::size_t h = 0;
    for (std::size_t i = 0; i < pts.size(); ++i) {
        bool onHull = false;
        for (std::size_t j = 0; j < pts.size() && !onHull; ++j) {
            bool left = j != i;
            for (std::size_t k = 0; k < pts.size() && left; ++k) left = Orient2dExact(pts[i], pts[j], pts[k]) >= 0;
            onHull = left;
        }
        h += onHull;
    }
    return h;
}

}  // namespace

// The full hull gives 2n - 2 - h triangles, each with an empty circumcircle,
// on inputs whose hull the super triangle used to fray: uniform random,
// clustered, a jittered grid, points along a convex arc and a thin
// near-collinear strip; on cocircular points and a square grid (any
// triangulation of the hull is Delaunay) the count must still be complete.
// What survives with the hull off is part of the full result.
TEST(KrDelaunayHull, WholeHullCountsAndEmptyCircles)
{
    std::vector<std::vector<CKrPoint3d>> inputs{RandomPoints(300, 1), RandomPoints(250, 2, 5e5)};
    auto add = [&inputs](int n, auto f) {  // the points f(0) .. f(n - 1)
        inputs.emplace_back();
        for (int i = 0; i < n; ++i) inputs.back().push_back(f(i));
    };
    std::mt19937_64 rng(3);
    std::normal_distribution<double> g(0.0, 1.0);
    std::uniform_real_distribution<double> jit(-0.01, 0.01), u(0.0, 1.0);
    add(240, [&](int i) { return CKrPoint3d(i / 80 * 400.0 + 30.0 * g(rng), i / 80 * (i / 80) * 100.0 + 30.0 * g(rng), 0.0); });
    add(225, [&](int i) { return CKrPoint3d(10.0 * (i % 15) + jit(rng), 10.0 * (i / 15) + jit(rng), 0.0); });
    // Points whose triangles all touch the super triangle, strictly inside the
    // hull: on a diagonal towards a far corner, and on the medians of a
    // large triangle (no mirror images: they would be cocircular).
    inputs.push_back({{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {2, 2, 0}, {3, 3, 0}, {4, 4, 0}});
    inputs.push_back({{0, 0, 0}, {1000, 0, 0}, {500, 900, 0}});
    const double steps[3] = {41.0, 43.0, 47.0};
    for (int m = 0; m < 3; ++m)
        for (int i = 1; i < 40; ++i) {
            const CKrPoint3d corner = inputs.back()[m];
            const double f = i / steps[m];
            inputs.back().emplace_back(500 + f * (corner.x - 500), 300 + f * (corner.y - 300), 0.0);
        }
    // A sheared grid far from the origin (its sides are straight only
    // nearly); a convex arc and points below it; a long strip one thousandth
    // as wide; points on a circle (cocircular to rounding); a square grid.
    add(81, [](int i) { return CKrPoint3d(500000.0 + 50.0 * (i % 9) + 0.3 * (i / 9), 4000000.0 + 50.0 * (i / 9), 0.0); });
    add(161, [](int i) {
        const double x = i - 60.0, k = i - 121.0;
        return i <= 120 ? CKrPoint3d(x, 1000.0 - 0.2 * x * x, 0.0) : CKrPoint3d(-50.0 + 2.5 * k, 300.0 + (i - 121) % 7, 0.0);
    });
    add(200, [&](int) { return CKrPoint3d(1000.0 * u(rng), u(rng), 0.0); });
    add(64, [](int i) { return CKrPoint3d(100.0 * std::cos(i * 2.0 * M_PI / 64), 100.0 * std::sin(i * 2.0 * M_PI / 64), 0.0); });
    add(144, [](int i) { return CKrPoint3d(i % 12, i / 12, (i % 12) * (i / 12)); });
    for (std::size_t in = 0; in < inputs.size(); ++in) {
        SCOPED_TRACE("input " + std::to_string(in));
        const auto& pts = inputs[in];
        const Result full = Build(pts, true);
        ASSERT_TRUE(full.ok);
        ASSERT_EQ(full.vertices, pts.size());
        EXPECT_EQ(full.tris.size(), 2 * pts.size() - 2 - BruteHullCount(pts));
        // The circle's points are cocircular only to rounding: their circles may hold each other.
        EXPECT_TRUE(full.faults == 0 || in == 9) << full.faults;
        const Result off = Build(pts, false);
        EXPECT_TRUE(std::includes(full.tris.begin(), full.tris.end(), off.tris.begin(), off.tris.end()));
    }
}

// Breaklines stay edges of the completed surface, which is still complete.
TEST(KrDelaunayHull, BreaklinesStayEdges)
{
    const std::vector<std::vector<CKrPoint3d>> lines = {{{50, 50, 0}, {950, 900, 0}}, {{100, 300, 0}, {700, 870, 0}}};
    CKrMeshData mesh;
    ASSERT_TRUE(Triangulate(mesh, RandomPoints(400, 21), [&](CKrDelaunay& d) {
        d.SetFullHull(true);
        for (const auto& l : lines) d.AddSegYS(l, false, false);
    }, 1e-9));
    ExpectValid(mesh, false);
    std::vector<CKrPoint3d> all;
    for (const _sVertex* v : mesh.m_setVer) all.push_back(v->pt);
    EXPECT_EQ(static_cast<std::size_t>(mesh.TriNum()), 2 * all.size() - 2 - BruteHullCount(all));
    for (const auto& l : lines) EXPECT_TRUE(SegmentIsCovered(mesh, l[0], l[1]));
}
