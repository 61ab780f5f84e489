#include <gtest/gtest.h>

#include <set>

#include "support/MeshTestUtil.h"
#include "tin/TinTestUtil.h"

using namespace TesTriMesh;
using namespace tintest;

namespace {

double MeshArea(const CKrMeshData& mesh)
{
    double s = 0.0;
    for (const _sTri* t : mesh.m_setTri) {
        const CKrPoint3d &a = t->pVer[0]->pt, &b = t->pVer[1]->pt, &c = t->pVer[2]->pt;
        s += 0.5 * ((b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x));
    }
    return s;
}

std::vector<CKrPoint3d> Circle(int n, double z)
{
    std::vector<CKrPoint3d> c;
    for (int k = 0; k < n; ++k) c.emplace_back(100.0 * std::cos(2.0 * M_PI * k / n), 100.0 * std::sin(2.0 * M_PI * k / n), z);
    return c;
}

}  // namespace

TEST(KrDelaunay, PointSetsGiveAValidDelaunayTriangulationOfTheirHull)
{
    // Random sets, the last in projected survey coordinates (the in-circle
    // determinants are formed relative to the data's centre; the result comes
    // back in place); a regular grid, whose cells' corners are cocircular, so
    // that insertion order decides the diagonals, yet the rectangle must be
    // complete; 5000 points on a circle and its centre, whose cavity is the
    // whole disc (the search must not recurse that deep). With the count of
    // triangles when it is known.
    std::vector<std::pair<std::vector<CKrPoint3d>, long>> inputs{
        {RandomPoints(2000, 1), 0}, {RandomPoints(2000, 2), 0}, {RandomPoints(2000, 7, 500000.0, 4000000.0), 0},
        {{}, 2L * 39 * 29}, {Circle(5000, 1.0), 5000}};
    for (int j = 0; j < 30; ++j)
        for (int i = 0; i < 40; ++i) inputs[3].first.emplace_back(1000.0 + i * 74.676, 2000.0 + j * 92.662, (i * j) % 7);
    inputs[4].first.emplace_back(0.0, 0.0, 5.0);
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        SCOPED_TRACE(i);
        const auto& [pts, tris] = inputs[i];
        CKrMeshData mesh;
        ASSERT_TRUE(Triangulate(mesh, pts));
        ExpectValid(mesh);
        // Every point used, exactly in place; the super triangle gone, and
        // the extent the data's.
        std::set<std::pair<double, double>> in;
        double minX = pts[0].x, maxY = pts[0].y;
        for (const auto& p : pts) in.insert({p.x, p.y}), minX = std::min(minX, p.x), maxY = std::max(maxY, p.y);
        std::size_t found = 0;
        for (const _sVertex* v : mesh.m_setVer) found += in.count({v->pt.x, v->pt.y});
        EXPECT_EQ(found, pts.size());
        EXPECT_EQ(mesh.m_setVer.size(), pts.size());
        EXPECT_EQ(mesh.GetMinLimit().x, minX);
        EXPECT_EQ(mesh.GetMaxLimit().y, maxY);
        // Euler: a triangulated disc with n vertices and h on its border has
        // 2n - 2 - h triangles.
        std::size_t border = 0;
        for (const _sEdge* e : mesh.m_setEdge) border += !e->pTri[0] || !e->pTri[1];
        EXPECT_EQ(static_cast<std::size_t>(mesh.TriNum()), 2 * pts.size() - 2 - border);
        EXPECT_TRUE(!tris || mesh.TriNum() == tris) << mesh.TriNum();
        EXPECT_NE(mesh.m_pOctTree, nullptr);  // rebuilt for queries
    }
}

TEST(KrDelaunay, BulkRunTakesTheDecisionsOfPointByPointInsertion)
{
    // Delaunay() inserts on compact arrays; InsertPtIntoMesh inserts through
    // the mesh's records. Both must give the same triangles, also where the
    // insertion order decides (cocircular grids) and where rounding makes the
    // cavities need repair (points a hair off a line). The extents are
    // centred on the origin so that both evaluate the in-circle determinants
    // with the same numbers.
    auto box = [](double w, double h) { return std::vector<CKrPoint3d>{{-w, -h, 0}, {w, h, 0}, {-w, h, 0}, {w, -h, 0}}; };
    std::vector<std::vector<CKrPoint3d>> inputs{RandomPoints(1500, 21, -50.0, -50.0, 100.0), {}, box(60, 40), box(20, 20),
                                                Circle(2000, 0.0)};
    for (int j = -12; j <= 12; ++j)
        for (int i = -15; i <= 15; ++i) inputs[1].emplace_back(i * 2.5, j * 1.5, 0.0);
    for (int i = -200; i <= 200; ++i) inputs[2].emplace_back(i * 0.25, i * 0.125 + (i % 3) * 1e-12, 0.0);
    std::mt19937_64 rng(5);
    std::uniform_real_distribution<double> hair(-1e-13, 1e-13);
    for (int j = -20; j <= 20; ++j)
        for (int i = -20; i <= 20; ++i) inputs[3].emplace_back(i * 0.7 + hair(rng), j * 0.7 + hair(rng), 0.0);
    inputs[4].emplace_back(0.0, 0.0, 0.0);
    for (const auto& pts : inputs) {
        CKrMeshData bulk, single;
        ASSERT_TRUE(Triangulate(bulk, pts));
        CKrDelaunay d(single, 0.01);
        for (const auto& p : pts) d.AddVertex(p);
        const std::set<_sVertex*> data(single.m_setVer.begin(), single.m_setVer.end());
        d.SetTriBound();
        for (_sVertex* v : single.m_setVer) EXPECT_TRUE(!data.count(v) || d.InsertPtIntoMesh(v));
        for (_sVertex* v : single.m_setVer) {
            const std::vector<_sTri*> around(v->setTri.begin(), v->setTri.end());
            if (!data.count(v))
                for (_sTri* t : around) single.DelTri(t);
        }
        ExpectValid(bulk, false);
        EXPECT_GT(bulk.TriNum(), 0);
        EXPECT_TRUE(meshtest::TriKeys(bulk) == meshtest::TriKeys(single)) << pts.size() << " points";
    }
}

TEST(KrDelaunay, TranslateCoordMovesTheMeshAndItsIndexesAndBack)
{
    const auto pts = RandomPoints(500, 31, 500000.0, 4000000.0);
    CKrMeshData mesh;
    CKrDelaunay d(mesh, 0.01);
    for (const auto& p : pts) d.AddVertex(p);
    const CKrPoint3d lo = mesh.GetMinLimit(), hi = mesh.GetMaxLimit();
    d.TranslateCoord(false);
    EXPECT_NEAR(mesh.GetMinLimit().x, -mesh.GetMaxLimit().x, 1e-6);
    // The vertex set and the duplicate index still find every vertex at its
    // new place.
    EXPECT_TRUE(mesh.m_setVer.CheckStructure());
    for (_sVertex* v : mesh.m_setVer) {
        EXPECT_EQ(*mesh.m_setVer.find(v), v);
        EXPECT_EQ(d.AddVertex(CKrPoint3d(v->pt.x + 0.004, v->pt.y - 0.004, 0.0)), v);
    }
    d.TranslateCoord(true);
    EXPECT_TRUE(mesh.m_setVer.CheckStructure());
    EXPECT_NEAR(mesh.GetMinLimit().x, lo.x, 1e-6);
    EXPECT_NEAR(mesh.GetMaxLimit().y, hi.y, 1e-6);
    ASSERT_TRUE(d.Delaunay());
    ExpectValid(mesh);
}

TEST(KrDelaunay, SmallAndDegenerateInputs)
{
    const std::vector<std::vector<CKrPoint3d>> inputs{
        {CKrPoint3d(0, 0, 0), CKrPoint3d(0, 10, 0), CKrPoint3d(10, 0, 0)},                      // clockwise three
        {CKrPoint3d(0, 0, 1), CKrPoint3d(1, 1, 2), CKrPoint3d(2, 2, 3)},                       // collinear three
        {CKrPoint3d(0, 0, 1), CKrPoint3d(5, 0, 2), CKrPoint3d(9, 0, 3), CKrPoint3d(12, 0, 4)},  // collinear four
        {CKrPoint3d(3, 4, 5), CKrPoint3d(7, 1, 2)},                                             // two points
        {CKrPoint3d(3, 4, 5), CKrPoint3d(3.005, 4.001, 9), CKrPoint3d(3.002, 3.999, 1)}};     // one vertex
    for (const auto& pts : inputs) {
        // The three points make one counter-clockwise triangle; the others
        // fail, with the coordinates restored.
        CKrMeshData mesh;
        EXPECT_EQ(Triangulate(mesh, pts), &pts == &inputs[0]);
        EXPECT_EQ(mesh.TriNum(), &pts == &inputs[0]);
        ExpectValid(mesh);
        for (const _sVertex* v : mesh.m_setVer)
            EXPECT_TRUE(std::any_of(pts.begin(), pts.end(), [&](const CKrPoint3d& p) { return v->pt.x == p.x && v->pt.y == p.y; }));
    }
    // Duplicates within the tolerance collapse (the band is closed); the
    // first z and tag win.
    CKrMeshData mesh;
    CKrDelaunay d(mesh, 0.01);
    _sVertex* a = d.AddVertex(CKrPoint3d(10.0, 10.0, 1.0), 7);
    EXPECT_EQ(d.AddVertex(CKrPoint3d(10.009, 9.992, 99.0)), a);
    EXPECT_EQ(d.AddVertex(CKrPoint3d(10.01, 10.0, 5.0)), a);
    EXPECT_NE(d.AddVertex(CKrPoint3d(10.011, 10.0, 5.0)), a);
    EXPECT_EQ(a->pt.z, 1.0);
    EXPECT_EQ(a->nID, 7);
    EXPECT_EQ(d.AddVertex(CKrPoint3d(std::nan(""), 0.0, 0.0)), nullptr);
    d.AddVertex(CKrPoint3d(0.0, 20.0, 0.0));
    ASSERT_TRUE(d.Delaunay());
    EXPECT_EQ(mesh.m_setVer.size(), 3u);
}

TEST(KrDelaunay, ZeroToleranceMergesOnlyIdenticalPoints)
{
    // Without a tolerance only equal coordinates are one vertex (-0 and +0
    // included); round values, whose bit patterns share their low half, stay
    // apart however many there are.
    CKrMeshData mesh(0.0);
    CKrDelaunay d(mesh, 0.0);
    std::vector<_sVertex*> first;
    for (double z : {1.0, 7.0})
        for (int j = -30, k = 0; j <= 30; ++j)
            for (int i = -30; i <= 30; ++i, ++k) {
                _sVertex* v = d.AddVertex(CKrPoint3d(i * 1024.0, j * 0.5, z));
                if (z == 1.0) first.push_back(v);
                else EXPECT_EQ(v, first[k]);
            }
    EXPECT_EQ(std::set<_sVertex*>(first.begin(), first.end()).size(), first.size());
    EXPECT_EQ(d.AddVertex(CKrPoint3d(-0.0, 0.0, 0.0)), d.AddVertex(CKrPoint3d(0.0, -0.0, 0.0)));
    EXPECT_NE(d.AddVertex(CKrPoint3d(std::nextafter(1024.0, 2048.0), 0.0, 0.0)), d.AddVertex(CKrPoint3d(1024.0, 0.0, 0.0)));
    EXPECT_EQ(mesh.m_setVer.size(), first.size() + 1);
}

TEST(KrDelaunay, ConstraintLinesBecomeEdges)
{
    // Six random lines and, last, a diagonal through points lying exactly on
    // it and within a micrometre of it. Without the splitting of crossings
    // only the very last segment is sure to survive (later recoveries cut
    // earlier ones); with it, every segment does.
    std::vector<CKrPoint3d> pts = RandomPoints(1500, 11);
    for (int k = 1; k < 10; ++k) pts.emplace_back(100.0 * k, 100.0 * k, 1.0);
    pts.emplace_back(250.0, 250.0 + 4e-7, 1.0);
    pts.emplace_back(450.0 + 3e-7, 450.0, 1.0);
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> u(50.0, 950.0);
    std::vector<std::vector<CKrPoint3d>> lines(6);
    for (auto& l : lines)
        for (int k = 0; k < 5; ++k) l.emplace_back(u(rng), u(rng), 3.0);
    lines.push_back({{20, 20, 0}, {980, 980, 0}});
    for (bool check : {false, true}) {
        CKrMeshData mesh;
        ASSERT_TRUE(Triangulate(mesh, pts, [&](CKrDelaunay& d) {
            for (const auto& l : lines) EXPECT_TRUE(d.AddSegYS(l, false, false));
            d.SetIsCheckYS(check);
        }));
        ExpectValid(mesh, false);
        for (std::size_t l = check ? 0 : lines.size() - 1; l < lines.size(); ++l)
            for (std::size_t k = check ? 1 : lines[l].size() - 1; k < lines[l].size(); ++k)
                EXPECT_TRUE(SegmentIsCovered(mesh, lines[l][k - 1], lines[l][k])) << l << " " << k;
    }
    // Two crossing lines: split at the crossing when asked (its z along the
    // first line); else the later line wins and cuts through the first.
    const std::vector<CKrPoint3d> sq{{0, 0, 0}, {100, 0, 0}, {100, 100, 0}, {0, 100, 0}, {30, 60, 0}, {70, 40, 0}};
    const std::vector<CKrPoint3d> l1{{10, 10, 0}, {90, 90, 8}}, l2{{10, 90, 2}, {90, 10, 2}};
    for (bool check : {false, true}) {
        CKrMeshData mesh;
        ASSERT_TRUE(Triangulate(mesh, sq, [&](CKrDelaunay& d) {
            d.AddSegYS(l1, false, false);
            d.AddSegYS(l2, false, false);
            d.SetIsCheckYS(check);
        }));
        ExpectValid(mesh, false);
        const _sVertex* x = VertexAt(mesh, CKrPoint3d(50, 50, 0));
        ASSERT_EQ(x != nullptr, check);
        EXPECT_NEAR(x ? x->pt.z : 4.0, 4.0, 1e-9);
        EXPECT_TRUE(SegmentIsCovered(mesh, l2[0], l2[1]));
        EXPECT_EQ(SegmentIsCovered(mesh, l1[0], l1[1]), check);
    }
}

TEST(KrDelaunay, OutlineAndHolesClipTheSurface)
{
    // A concave outline (given with a point repeated within the tolerance and
    // its closing point repeated) and two holes: exactly the outline's area
    // (800^2 less a notch of 160000) minus the holes' (10000 and 12500),
    // nothing outside, nothing inside a hole, no gap.
    const std::vector<CKrPoint3d> outline{{100, 100, 0}, {900, 100, 0}, {900, 900, 0}, {500, 500, 0}, {100, 900, 0}};
    const std::vector<CKrPoint3d> hole1{{200, 200, 0}, {300, 200, 0}, {300, 300, 0}, {200, 300, 0}};
    const std::vector<CKrPoint3d> hole2{{600, 300, 0}, {800, 250, 0}, {700, 400, 0}};
    std::vector<CKrPoint3d> given = outline;
    given.insert(given.begin() + 1, CKrPoint3d(100.004, 100.003, 0));
    given.push_back(outline[0]);
    CKrMeshData mesh;
    ASSERT_TRUE(Triangulate(mesh, RandomPoints(3000, 31), [&](CKrDelaunay& d) {
        EXPECT_TRUE(d.SetOutline(given));
        EXPECT_TRUE(d.AddHoleLine(hole1));
        EXPECT_TRUE(d.AddHoleLine(hole2));
        EXPECT_FALSE(d.AddHoleLine({CKrPoint3d(0, 0, 0), CKrPoint3d(1, 1, 0)}));  // too short
    }));
    ExpectValid(mesh, false);
    EXPECT_NEAR(MeshArea(mesh), 640000.0 - 160000.0 - 10000.0 - 12500.0, 1e-6 * 457500.0);
    for (const auto* ring : {&outline, &hole1, &hole2})
        for (std::size_t k = 0; k < ring->size(); ++k)
            EXPECT_TRUE(SegmentIsCovered(mesh, (*ring)[k], (*ring)[(k + 1) % ring->size()]));
    // Too short an outline is refused: the hull stays.
    const auto pts = RandomPoints(500, 41);
    CKrMeshData hull;
    ASSERT_TRUE(Triangulate(hull, pts, [](CKrDelaunay& d) { EXPECT_FALSE(d.SetOutline({{0, 0, 0}, {10, 0, 0}})); }));
    EXPECT_EQ(hull.m_setVer.size(), pts.size());
}
