#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "KrTesGeometry/geom/KrExactPredicates.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/tin/KrDelaunay.h"

using namespace TesTriMesh;
using KrTesGeo::Orient2dExact;

namespace {

struct Result {
    bool ok = false;
    std::set<std::array<int, 3>> tris;  // point indices, rotated to start at the smallest
    std::size_t vertices = 0;
};

// Triangulates pts (with optional breaklines) and returns the triangles as
// index triples into pts, found by exact position.
Result Build(const std::vector<CKrPoint3d>& pts, bool fullHull,
             const std::vector<std::vector<CKrPoint3d>>& lines = {})
{
    CKrMeshData mesh;
    CKrDelaunay d(mesh, 1e-9);
    d.SetFullHull(fullHull);
    for (const auto& p : pts) d.AddVertex(p);
    for (const auto& l : lines) d.AddSegYS(l, false, false);
    Result r;
    r.ok = d.Delaunay();
    std::map<std::pair<double, double>, int> index;
    for (std::size_t i = 0; i < pts.size(); ++i) index.emplace(std::make_pair(pts[i].x, pts[i].y), int(i));
    r.vertices = mesh.m_setVer.size();
    for (const _sTri* t : mesh.m_setTri) {
        std::array<int, 3> v;
        for (int k = 0; k < 3; ++k) v[k] = index.at({t->pVer[k]->pt.x, t->pVer[k]->pt.y});
        std::rotate(v.begin(), std::min_element(v.begin(), v.end()), v.end());
        r.tris.insert(v);
    }
    return r;
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
            if (j == i) continue;
            bool left = true;
            for (std::size_t k = 0; k < pts.size() && left; ++k)
                if (Orient2dExact(pts[i], pts[j], pts[k]) < 0) left = false;
            onHull = left;
        }
        h += onHull;
    }
    return h;
}

// Every triangle counter-clockwise and with a circumcircle holding no point:
// the Delaunay property, checked against all points.
void ExpectEmptyCircles(const std::vector<CKrPoint3d>& pts, const Result& r)
{
    for (const auto& t : r.tris) {
        ASSERT_GT(Orient2dExact(pts[t[0]], pts[t[1]], pts[t[2]]), 0);
        for (std::size_t k = 0; k < pts.size(); ++k)
            ASSERT_LE(KrTesGeo::InCircleDetExact(pts[t[0]], pts[t[1]], pts[t[2]], pts[k]), 0)
                << "point " << k << " inside the circle of " << t[0] << " " << t[1] << " " << t[2];
    }
}

std::vector<CKrPoint3d> Random(std::size_t n, unsigned seed, double ox = 0.0)
{
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> u(0.0, 1000.0);
    std::vector<CKrPoint3d> pts;
    for (std::size_t i = 0; i < n; ++i) pts.emplace_back(ox + u(rng), u(rng), u(rng) * 0.1);
    return pts;
}

}  // namespace

// The full hull gives 2n - 2 - h triangles, each with an empty circumcircle,
// on inputs whose hull the super triangle used to fray: uniform random,
// clustered, a jittered grid, points along a convex arc and a thin
// near-collinear strip; the same counts with the hull off are smaller.
TEST(KrDelaunayHull, WholeHullCountsAndEmptyCircles)
{
    std::vector<std::vector<CKrPoint3d>> inputs;
    inputs.push_back(Random(300, 1));
    inputs.push_back(Random(250, 2, 5e5));
    {
        std::mt19937_64 rng(3);
        std::normal_distribution<double> g(0.0, 1.0);
        std::vector<CKrPoint3d> c;
        for (int k = 0; k < 3; ++k)
            for (int i = 0; i < 80; ++i) c.emplace_back(k * 400.0 + 30.0 * g(rng), k * k * 100.0 + 30.0 * g(rng), 0.0);
        inputs.push_back(c);
    }
    {
        std::mt19937_64 rng(4);
        std::uniform_real_distribution<double> j(-0.01, 0.01);
        std::vector<CKrPoint3d> c;
        for (int y = 0; y < 15; ++y)
            for (int x = 0; x < 15; ++x) c.emplace_back(10.0 * x + j(rng), 10.0 * y + j(rng), 0.0);
        inputs.push_back(c);
    }
    // Points whose triangles all touch the super triangle, strictly inside the
    // hull: on a diagonal towards a far corner, and on the medians of a
    // large triangle.
    inputs.push_back({{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {2, 2, 0}, {3, 3, 0}, {4, 4, 0}});
    {
        std::vector<CKrPoint3d> c = {{0, 0, 0}, {1000, 0, 0}, {500, 900, 0}};
        const double steps[3] = {41.0, 43.0, 47.0};  // no mirror images: they would be cocircular
        for (int m = 0; m < 3; ++m)
            for (int i = 1; i < 40; ++i) {
                const CKrPoint3d corner = c[m];
                const double f = i / steps[m];
                c.emplace_back(500 + f * (corner.x - 500), 300 + f * (corner.y - 300), 0.0);
            }
        inputs.push_back(c);
    }
    {
        std::vector<CKrPoint3d> c;  // a sheared grid far from the origin: its sides are straight only nearly
        for (int j = 0; j < 9; ++j)
            for (int i = 0; i < 9; ++i) c.emplace_back(500000.0 + 50.0 * i + 0.3 * j, 4000000.0 + 50.0 * j, 0.0);
        inputs.push_back(c);
    }
    {
        std::vector<CKrPoint3d> c;  // a convex arc and points below it
        for (int i = 0; i <= 120; ++i) {
            const double x = i - 60.0;
            c.emplace_back(x, 1000.0 - 0.2 * x * x, 0.0);
        }
        for (int i = 0; i < 40; ++i) c.emplace_back(-50.0 + 2.5 * i, 300.0 + (i % 7), 0.0);
        inputs.push_back(c);
    }
    {
        std::mt19937_64 rng(6);
        std::uniform_real_distribution<double> u(0.0, 1.0);
        std::vector<CKrPoint3d> c;  // a long strip one thousandth as wide
        for (int i = 0; i < 200; ++i) c.emplace_back(1000.0 * u(rng), u(rng), 0.0);
        inputs.push_back(c);
    }
    for (std::size_t in = 0; in < inputs.size(); ++in) {
        SCOPED_TRACE("input " + std::to_string(in));
        const auto& pts = inputs[in];
        const Result full = Build(pts, true);
        ASSERT_TRUE(full.ok);
        ASSERT_EQ(full.vertices, pts.size());
        EXPECT_EQ(full.tris.size(), 2 * pts.size() - 2 - BruteHullCount(pts));
        ExpectEmptyCircles(pts, full);
        const Result off = Build(pts, false);
        EXPECT_LE(off.tris.size(), full.tris.size());
        // What survives without the option is part of the full result.
        for (const auto& t : off.tris) EXPECT_TRUE(full.tris.count(t));
    }
}

// On small inputs in general position the result is the one Delaunay
// triangulation: every triple with an empty circumcircle, by brute force.
TEST(KrDelaunayHull, EqualsBruteForceDelaunay)
{
    for (unsigned seed = 10; seed < 16; ++seed) {
        const auto pts = Random(30, seed);
        std::set<std::array<int, 3>> brute;
        const int n = static_cast<int>(pts.size());
        for (int a = 0; a < n; ++a)
            for (int b = a + 1; b < n; ++b)
                for (int c = a + 1; c < n; ++c) {
                    if (c == b || Orient2dExact(pts[a], pts[b], pts[c]) <= 0) continue;
                    bool empty = true;
                    for (int k = 0; k < n && empty; ++k)
                        if (KrTesGeo::InCircleDetExact(pts[a], pts[b], pts[c], pts[k]) > 0) empty = false;
                    if (empty) brute.insert({a, b, c});
                }
        EXPECT_EQ(Build(pts, true).tris, brute) << "seed " << seed;
    }
}

// Cocircular points (every quadruple on one circle) and a square grid: any
// triangulation of the hull is Delaunay; the count must still be complete.
// Breaklines stay edges of the completed surface.
TEST(KrDelaunayHull, DegenerateInputsAndBreaklines)
{
    std::vector<CKrPoint3d> circle;
    for (int i = 0; i < 64; ++i)
        circle.emplace_back(100.0 * std::cos(i * 2.0 * M_PI / 64), 100.0 * std::sin(i * 2.0 * M_PI / 64), 0.0);
    const Result c = Build(circle, true);
    ASSERT_TRUE(c.ok);
    EXPECT_EQ(c.tris.size(), 2 * circle.size() - 2 - BruteHullCount(circle));

    std::vector<CKrPoint3d> grid;
    for (int y = 0; y < 12; ++y)
        for (int x = 0; x < 12; ++x) grid.emplace_back(x, y, x * y);
    const Result g = Build(grid, true);
    EXPECT_EQ(g.tris.size(), 2 * grid.size() - 2 - 44u);  // 44 points on the square's sides

    const auto pts = Random(400, 21);
    const std::vector<std::vector<CKrPoint3d>> lines = {{{50, 50, 0}, {950, 900, 0}}, {{100, 300, 0}, {700, 870, 0}}};
    CKrMeshData mesh;
    CKrDelaunay d(mesh, 1e-9);
    d.SetFullHull(true);
    for (const auto& p : pts) d.AddVertex(p);
    for (const auto& l : lines) d.AddSegYS(l, false, false);
    ASSERT_TRUE(d.Delaunay());
    EXPECT_TRUE(mesh.IsMeshOk());
    std::vector<CKrPoint3d> all;
    for (const _sVertex* v : mesh.m_setVer) all.push_back(v->pt);
    EXPECT_EQ(static_cast<std::size_t>(mesh.TriNum()), 2 * all.size() - 2 - BruteHullCount(all));
    // Each breakline is a chain of edges from end to end: its pieces between
    // the vertices lying on it.
    for (const auto& l : lines) {
        std::vector<const _sVertex*> on;
        for (const _sVertex* v : mesh.m_setVer)
            if (Orient2dExact(l[0], l[1], v->pt) == 0 && (v->pt.x - l[0].x) * (v->pt.x - l[1].x) <= 0) on.push_back(v);
        std::sort(on.begin(), on.end(), [](const _sVertex* a, const _sVertex* b) { return a->pt.x < b->pt.x; });
        ASSERT_GE(on.size(), 2u);
        for (std::size_t i = 0; i + 1 < on.size(); ++i) {
            bool edge = false;
            for (const _sTri* t : on[i]->setTri)
                for (const _sVertex* c : t->pVer) edge |= c == on[i + 1];
            EXPECT_TRUE(edge) << "breakline piece " << i << " is not an edge";
        }
    }
}

// The bundled survey: 27,726 points, 24 of them on the hull.
TEST(KrDelaunayHull, SampleTerrain)
{
    std::ifstream in(KRTES_DATA_DIR "/jacksboro_scattered.xyz");
    ASSERT_TRUE(in);
    CKrMeshData mesh;
    CKrDelaunay d(mesh, 0.01);
    d.SetFullHull(true);
    double x, y, z;
    std::size_t n = 0;
    while (in >> x >> y >> z) n += d.AddVertex(CKrPoint3d(x, y, z)) != nullptr;
    ASSERT_TRUE(d.Delaunay());
    EXPECT_EQ(mesh.TriNum(), 55426);
}
