#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "KrTesGeometry/tin/KrDelaunay.h"
#include "KrTesGeometry/geom/KrExactPredicates.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "support/MeshTestUtil.h"

using namespace TesTriMesh;

namespace {

std::vector<CKrPoint3d> RandomPoints(std::size_t n, unsigned seed, double ox = 0.0, double oy = 0.0,
                                     double size = 1000.0)
{
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> u(0.0, size);
    std::vector<CKrPoint3d> pts;
    for (std::size_t i = 0; i < n; ++i) pts.emplace_back(ox + u(rng), oy + u(rng), u(rng) * 0.1);
    return pts;
}

bool Triangulate(CKrMeshData& mesh, const std::vector<CKrPoint3d>& pts)
{
    CKrDelaunay d(mesh, 0.01);
    for (const auto& p : pts) d.AddVertex(p);
    return d.Delaunay();
}

double TriArea(const _sTri* t)
{
    const CKrPoint3d &a = t->pVer[0]->pt, &b = t->pVer[1]->pt, &c = t->pVer[2]->pt;
    return 0.5 * ((b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x));
}

double MeshArea(const CKrMeshData& mesh)
{
    double s = 0.0;
    for (const _sTri* t : mesh.m_setTri) s += TriArea(t);
    return s;
}

double RingArea(const std::vector<CKrPoint3d>& r)
{
    double s = 0.0;
    for (std::size_t i = 0; i < r.size(); ++i) {
        const CKrPoint3d &p = r[i], &q = r[(i + 1) % r.size()];
        s += p.x * q.y - q.x * p.y;
    }
    return 0.5 * s;
}

// Every triangle counter-clockwise (exactly), topology sound.
void ExpectValidCcw(CKrMeshData& mesh)
{
    EXPECT_TRUE(mesh.IsMeshOk());
    int bad = 0;
    for (const _sTri* t : mesh.m_setTri)
        if (KrTesGeo::Orient2dExact(t->pVer[0]->pt, t->pVer[1]->pt, t->pVer[2]->pt) <= 0) ++bad;
    EXPECT_EQ(bad, 0) << "triangles not counter-clockwise";
}

// Edges whose opposite vertex lies strictly inside the other triangle's
// circumcircle (exact test).
int NonDelaunayEdges(const CKrMeshData& mesh)
{
    int bad = 0;
    for (const _sEdge* e : mesh.m_setEdge) {
        if (!e->pTri[0] || !e->pTri[1]) continue;
        const _sTri *t = e->pTri[0], *o = e->pTri[1];
        const _sVertex* far = nullptr;
        for (const _sVertex* v : o->pVer)
            if (v != e->pVer[0] && v != e->pVer[1]) far = v;
        if (KrTesGeo::InCircleExact(t->pVer[0]->pt, t->pVer[1]->pt, t->pVer[2]->pt, far->pt) > 0) ++bad;
    }
    return bad;
}

_sVertex* VertexAt(const CKrMeshData& mesh, const CKrPoint3d& p)
{
    for (_sVertex* v : mesh.m_setVer)
        if (std::fabs(v->pt.x - p.x) <= 0.01 && std::fabs(v->pt.y - p.y) <= 0.01) return v;
    return nullptr;
}

// True when the plan segment between the vertices at a and b is covered by
// mesh edges: a chain of edges through vertices lying on it. Crossing points
// of split constraints are computed through a single-precision angle, so
// they may sit up to about 1e-7 of the length off the ideal line.
bool SegmentIsCovered(const CKrMeshData& mesh, const CKrPoint3d& pa, const CKrPoint3d& pb)
{
    _sVertex* v = VertexAt(mesh, pa);
    _sVertex* end = VertexAt(mesh, pb);
    if (!v || !end) return false;
    const CKrPoint3d a = v->pt, b = end->pt;
    const double len = a.Distance2d(b);
    const double tol = 1e-6 + 1e-7 * len;
    for (int guard = 0; guard < 100000 && v != end; ++guard) {
        _sVertex* next = nullptr;
        double bestRemain = v->pt.Distance2d(end->pt);
        for (const _sTri* t : v->setTri) {
            for (_sVertex* u : t->pVer) {
                if (u == v) continue;
                const double dx = b.x - a.x, dy = b.y - a.y;
                const double off = std::fabs(dx * (u->pt.y - a.y) - dy * (u->pt.x - a.x)) / len;
                const double remain = u->pt.Distance2d(end->pt);
                if (off <= tol && remain < bestRemain) {
                    bestRemain = remain;
                    next = u;
                }
            }
        }
        if (!next) return false;
        v = next;
    }
    return v == end;
}

}  // namespace

TEST(KrDelaunay, RandomPointsGiveAValidDelaunayTriangulationOfTheHull)
{
    // The last set has projected survey coordinates: the shift to a local
    // origin keeps the in-circle determinants meaningful, and the result
    // comes back in place.
    for (unsigned seed : {1u, 2u, 7u}) {
        const double far = seed == 7u ? 1.0 : 0.0;
        const auto pts = RandomPoints(2000, seed, 500000.0 * far, 4000000.0 * far);
        CKrMeshData mesh;
        ASSERT_TRUE(Triangulate(mesh, pts));
        ExpectValidCcw(mesh);
        EXPECT_EQ(NonDelaunayEdges(mesh), 0) << seed;
        std::set<std::pair<double, double>> in;
        for (const auto& p : pts) in.insert({p.x, p.y});
        std::size_t found = 0;
        for (const _sVertex* v : mesh.m_setVer) found += in.count({v->pt.x, v->pt.y});
        EXPECT_EQ(found, pts.size());  // every point used, exactly in place; super triangle gone
        EXPECT_EQ(mesh.m_setVer.size(), pts.size());
        EXPECT_GE(mesh.GetMinLimit().x, 500000.0 * far);  // the extent is the data's, not the super triangle's
        EXPECT_LE(mesh.GetMaxLimit().y, 4000000.0 * far + 1000.0);
        // Euler: a triangulated disc with n vertices and h on its border has
        // 2n - 2 - h triangles.
        std::size_t border = 0;
        for (const _sEdge* e : mesh.m_setEdge)
            if (!e->pTri[0] || !e->pTri[1]) ++border;
        EXPECT_EQ(static_cast<std::size_t>(mesh.TriNum()), 2 * pts.size() - 2 - border);
        EXPECT_NE(mesh.m_pOctTree, nullptr);  // rebuilt for queries
    }
}

TEST(KrDelaunay, CocircularGridIsTriangulatedCompletely)
{
    // A regular grid: every cell's four corners are cocircular. Insertion
    // order decides the diagonals; the result must still be a complete,
    // valid triangulation of the rectangle.
    std::vector<CKrPoint3d> pts;
    const int nx = 40, ny = 30;
    for (int j = 0; j < ny; ++j)
        for (int i = 0; i < nx; ++i) pts.emplace_back(1000.0 + i * 74.676, 2000.0 + j * 92.662, (i * j) % 7);
    CKrMeshData mesh;
    ASSERT_TRUE(Triangulate(mesh, pts));
    ExpectValidCcw(mesh);
    EXPECT_EQ(NonDelaunayEdges(mesh), 0);
    EXPECT_NEAR(MeshArea(mesh), (nx - 1) * 74.676 * (ny - 1) * 92.662, 1e-3);
    EXPECT_EQ(mesh.TriNum(), 2L * (nx - 1) * (ny - 1));
}

TEST(KrDelaunay, PointInsideManyCocircularPoints)
{
    // 5000 points on a circle and its centre: the centre's cavity is the
    // whole disc; the search must not recurse that deep.
    std::vector<CKrPoint3d> pts;
    const int n = 5000;
    for (int k = 0; k < n; ++k) {
        const double a = 2.0 * 3.141592653589793 * k / n;
        pts.emplace_back(100.0 * std::cos(a), 100.0 * std::sin(a), 1.0);
    }
    pts.emplace_back(0.0, 0.0, 5.0);
    CKrMeshData mesh;
    ASSERT_TRUE(Triangulate(mesh, pts));
    ExpectValidCcw(mesh);
    EXPECT_EQ(mesh.m_setVer.size(), pts.size());
}

TEST(KrDelaunay, BulkRunTakesTheDecisionsOfPointByPointInsertion)
{
    // Delaunay() inserts on compact arrays; InsertPtIntoMesh inserts through
    // the mesh's records. Both must give the same triangles, also where the
    // insertion order decides (cocircular grids) and where rounding makes the
    // cavities need repair (points a hair off a line). The extents are
    // centred on the origin so that both evaluate the in-circle determinants
    // with the same numbers.
    std::vector<std::vector<CKrPoint3d>> inputs;
    inputs.push_back(RandomPoints(1500, 21, -50.0, -50.0, 100.0));
    std::vector<CKrPoint3d> grid;
    for (int j = -12; j <= 12; ++j)
        for (int i = -15; i <= 15; ++i) grid.emplace_back(i * 2.5, j * 1.5, 0.0);
    inputs.push_back(grid);
    std::vector<CKrPoint3d> nearLine{CKrPoint3d(-60, -40, 0), CKrPoint3d(60, 40, 0), CKrPoint3d(-60, 40, 0),
                                     CKrPoint3d(60, -40, 0)};
    for (int i = -200; i <= 200; ++i) nearLine.emplace_back(i * 0.25, i * 0.125 + (i % 3) * 1e-12, 0.0);
    inputs.push_back(nearLine);
    std::vector<CKrPoint3d> jittered{CKrPoint3d(-20, -20, 0), CKrPoint3d(20, 20, 0), CKrPoint3d(-20, 20, 0),
                                     CKrPoint3d(20, -20, 0)};
    std::mt19937_64 rng(5);
    std::uniform_real_distribution<double> hair(-1e-13, 1e-13);
    for (int j = -20; j <= 20; ++j)
        for (int i = -20; i <= 20; ++i) jittered.emplace_back(i * 0.7 + hair(rng), j * 0.7 + hair(rng), 0.0);
    inputs.push_back(jittered);
    std::vector<CKrPoint3d> circle{CKrPoint3d(0.0, 0.0, 0.0)};
    for (int k = 0; k < 2000; ++k) {
        const double a = 2.0 * 3.141592653589793 * k / 2000;
        circle.emplace_back(100.0 * std::cos(a), 100.0 * std::sin(a), 0.0);
    }
    inputs.push_back(circle);
    for (const auto& pts : inputs) {
        CKrMeshData bulk;
        ASSERT_TRUE(Triangulate(bulk, pts));

        CKrMeshData single;
        CKrDelaunay d(single, 0.01);
        for (const auto& p : pts) d.AddVertex(p);
        const std::set<_sVertex*> data(single.m_setVer.begin(), single.m_setVer.end());
        d.SetTriBound();
        for (_sVertex* v : single.m_setVer) {
            if (data.count(v)) {
                EXPECT_TRUE(d.InsertPtIntoMesh(v));
            }
        }
        for (_sVertex* v : single.m_setVer) {
            if (data.count(v)) continue;
            const std::vector<_sTri*> around(v->setTri.begin(), v->setTri.end());
            for (_sTri* t : around) single.DelTri(t);
        }
        ExpectValidCcw(bulk);
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
    EXPECT_NEAR(mesh.GetMaxLimit().x - mesh.GetMinLimit().x, hi.x - lo.x, 1e-6);
    // The vertex set and the duplicate index still find every vertex at its
    // new place.
    EXPECT_TRUE(mesh.m_setVer.CheckStructure());
    for (_sVertex* v : mesh.m_setVer) {
        EXPECT_EQ(*mesh.m_setVer.find(v), v);
        EXPECT_EQ(d.AddVertex(CKrPoint3d(v->pt.x + 0.004, v->pt.y - 0.004, 0.0)), v);
    }
    d.TranslateCoord(true);
    EXPECT_TRUE(mesh.m_setVer.CheckStructure());
    EXPECT_EQ(mesh.m_setVer.size(), pts.size());
    EXPECT_NEAR(mesh.GetMinLimit().x, lo.x, 1e-6);
    EXPECT_NEAR(mesh.GetMaxLimit().y, hi.y, 1e-6);
    ASSERT_TRUE(d.Delaunay());
    ExpectValidCcw(mesh);
}

TEST(KrDelaunay, SmallAndDegenerateInputs)
{
    {  // three points: one counter-clockwise triangle, whatever the input order
        CKrMeshData mesh;
        ASSERT_TRUE(Triangulate(mesh, {CKrPoint3d(0, 0, 0), CKrPoint3d(0, 10, 0), CKrPoint3d(10, 0, 0)}));
        ASSERT_EQ(mesh.TriNum(), 1);
        EXPECT_GT(TriArea(*mesh.m_setTri.begin()), 0.0);
    }
    for (const auto& pts : std::vector<std::vector<CKrPoint3d>>{
             {CKrPoint3d(0, 0, 1), CKrPoint3d(1, 1, 2), CKrPoint3d(2, 2, 3)},                       // collinear three
             {CKrPoint3d(0, 0, 1), CKrPoint3d(5, 0, 2), CKrPoint3d(9, 0, 3), CKrPoint3d(12, 0, 4)},  // collinear four
             {CKrPoint3d(3, 4, 5), CKrPoint3d(7, 1, 2)},                                             // two points
             {CKrPoint3d(3, 4, 5), CKrPoint3d(3.005, 4.001, 9), CKrPoint3d(3.002, 3.999, 1)}}) {     // one vertex
        CKrMeshData mesh;
        EXPECT_FALSE(Triangulate(mesh, pts));
        EXPECT_EQ(mesh.TriNum(), 0);
        // Coordinates restored after the failed run.
        for (const _sVertex* v : mesh.m_setVer) {
            bool known = false;
            for (const auto& p : pts) known = known || (v->pt.x == p.x && v->pt.y == p.y);
            EXPECT_TRUE(known) << v->pt.x << " " << v->pt.y;
        }
    }
    {  // duplicates within the tolerance collapse; the first z wins
        CKrMeshData mesh;
        CKrDelaunay d(mesh, 0.01);
        _sVertex* a = d.AddVertex(CKrPoint3d(10.0, 10.0, 1.0), 7);
        EXPECT_EQ(d.AddVertex(CKrPoint3d(10.009, 9.992, 99.0)), a);
        EXPECT_EQ(d.AddVertex(CKrPoint3d(10.01, 10.0, 5.0)), a);  // the band is closed
        EXPECT_NE(d.AddVertex(CKrPoint3d(10.011, 10.0, 5.0)), a);
        EXPECT_EQ(a->pt.z, 1.0);
        EXPECT_EQ(a->nID, 7);
        EXPECT_EQ(d.AddVertex(CKrPoint3d(std::nan(""), 0.0, 0.0)), nullptr);
        d.AddVertex(CKrPoint3d(0.0, 20.0, 0.0));
        ASSERT_TRUE(d.Delaunay());
        EXPECT_EQ(mesh.m_setVer.size(), 3u);
    }
}

TEST(KrDelaunay, ZeroToleranceMergesOnlyIdenticalPoints)
{
    // Without a tolerance only equal coordinates are one vertex (-0 and +0
    // included); round values, whose bit patterns share their low half, stay
    // apart however many there are.
    CKrMeshData mesh(0.0);
    CKrDelaunay d(mesh, 0.0);
    std::vector<_sVertex*> first;
    for (int j = -30; j <= 30; ++j)
        for (int i = -30; i <= 30; ++i) first.push_back(d.AddVertex(CKrPoint3d(i * 1024.0, j * 0.5, 1.0)));
    EXPECT_EQ(std::set<_sVertex*>(first.begin(), first.end()).size(), first.size());
    std::size_t k = 0;
    for (int j = -30; j <= 30; ++j)
        for (int i = -30; i <= 30; ++i, ++k) EXPECT_EQ(d.AddVertex(CKrPoint3d(i * 1024.0, j * 0.5, 7.0)), first[k]);
    EXPECT_EQ(d.AddVertex(CKrPoint3d(-0.0, 0.0, 0.0)), d.AddVertex(CKrPoint3d(0.0, -0.0, 0.0)));
    EXPECT_NE(d.AddVertex(CKrPoint3d(std::nextafter(1024.0, 2048.0), 0.0, 0.0)), d.AddVertex(CKrPoint3d(1024.0, 0.0, 0.0)));
    EXPECT_EQ(mesh.m_setVer.size(), first.size() + 1);
}

TEST(KrDelaunay, ConstraintLinesBecomeEdges)
{
    const auto pts = RandomPoints(1500, 11);
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> u(50.0, 950.0);
    std::vector<std::vector<CKrPoint3d>> lines;
    for (int l = 0; l < 6; ++l) {
        std::vector<CKrPoint3d> line;
        for (int k = 0; k < 5; ++k) line.emplace_back(u(rng), u(rng), 3.0);
        lines.push_back(line);
    }
    for (bool check : {false, true}) {
        CKrMeshData mesh;
        CKrDelaunay d(mesh, 0.01);
        for (const auto& p : pts) d.AddVertex(p);
        // Without the splitting of crossings only the very last segment is
        // sure to survive (later recoveries cut earlier ones); with it, every
        // segment does.
        for (const auto& l : lines) ASSERT_TRUE(d.AddSegYS(l, false, false));
        d.SetIsCheckYS(check);
        ASSERT_TRUE(d.Delaunay());
        ExpectValidCcw(mesh);
        const auto& last = lines.back();
        EXPECT_TRUE(SegmentIsCovered(mesh, last[last.size() - 2], last.back()));
        if (check) {
            for (const auto& l : lines)
                for (std::size_t k = 1; k < l.size(); ++k) EXPECT_TRUE(SegmentIsCovered(mesh, l[k - 1], l[k]));
        }
    }
}

TEST(KrDelaunay, CrossingLinesSplitAtTheirCrossingOnlyWhenAsked)
{
    const std::vector<CKrPoint3d> pts{CKrPoint3d(0, 0, 0), CKrPoint3d(100, 0, 0), CKrPoint3d(100, 100, 0),
                                      CKrPoint3d(0, 100, 0), CKrPoint3d(30, 60, 0), CKrPoint3d(70, 40, 0)};
    const std::vector<CKrPoint3d> l1{CKrPoint3d(10, 10, 0), CKrPoint3d(90, 90, 8)};
    const std::vector<CKrPoint3d> l2{CKrPoint3d(10, 90, 2), CKrPoint3d(90, 10, 2)};
    {
        CKrMeshData mesh;
        CKrDelaunay d(mesh, 0.01);
        for (const auto& p : pts) d.AddVertex(p);
        d.AddSegYS(l1, false, false);
        d.AddSegYS(l2, false, false);
        d.SetIsCheckYS(true);
        ASSERT_TRUE(d.Delaunay());
        ExpectValidCcw(mesh);
        _sVertex* x = VertexAt(mesh, CKrPoint3d(50, 50, 0));
        ASSERT_NE(x, nullptr);
        EXPECT_NEAR(x->pt.z, 4.0, 1e-9);  // interpolated along the first line
        EXPECT_TRUE(SegmentIsCovered(mesh, l1[0], CKrPoint3d(50, 50, 0)));
        EXPECT_TRUE(SegmentIsCovered(mesh, CKrPoint3d(50, 50, 0), l1[1]));
        EXPECT_TRUE(SegmentIsCovered(mesh, l2[0], CKrPoint3d(50, 50, 0)));
        EXPECT_TRUE(SegmentIsCovered(mesh, CKrPoint3d(50, 50, 0), l2[1]));
    }
    {
        CKrMeshData mesh;
        CKrDelaunay d(mesh, 0.01);
        for (const auto& p : pts) d.AddVertex(p);
        d.AddSegYS(l1, false, false);
        d.AddSegYS(l2, false, false);
        ASSERT_TRUE(d.Delaunay());
        ExpectValidCcw(mesh);
        EXPECT_EQ(VertexAt(mesh, CKrPoint3d(50, 50, 0)), nullptr);
        EXPECT_TRUE(SegmentIsCovered(mesh, l2[0], l2[1]));   // the later line wins
        EXPECT_FALSE(SegmentIsCovered(mesh, l1[0], l1[1]));  // and cuts through the first
    }
}

TEST(KrDelaunay, LinesThroughAndNearlyThroughExistingPoints)
{
    std::vector<CKrPoint3d> pts = RandomPoints(400, 21);
    // Points exactly on, and within a micrometre of, the line y = x.
    for (int k = 1; k < 10; ++k) pts.emplace_back(100.0 * k, 100.0 * k, 1.0);
    pts.emplace_back(250.0, 250.0 + 4e-7, 1.0);
    pts.emplace_back(450.0 + 3e-7, 450.0, 1.0);
    const std::vector<CKrPoint3d> line{CKrPoint3d(20, 20, 0), CKrPoint3d(980, 980, 0)};
    CKrMeshData mesh;
    CKrDelaunay d(mesh, 0.01);
    for (const auto& p : pts) d.AddVertex(p);
    d.AddSegYS(line, false, false);
    ASSERT_TRUE(d.Delaunay());
    ExpectValidCcw(mesh);
    EXPECT_TRUE(SegmentIsCovered(mesh, line[0], line[1]));
}

TEST(KrDelaunay, OutlineAndHolesClipTheSurface)
{
    std::vector<CKrPoint3d> pts = RandomPoints(3000, 31);
    // A concave outline and two holes.
    const std::vector<CKrPoint3d> outline{CKrPoint3d(100, 100, 0), CKrPoint3d(900, 100, 0), CKrPoint3d(900, 900, 0),
                                          CKrPoint3d(500, 500, 0), CKrPoint3d(100, 900, 0)};
    const std::vector<CKrPoint3d> hole1{CKrPoint3d(200, 200, 0), CKrPoint3d(300, 200, 0), CKrPoint3d(300, 300, 0),
                                        CKrPoint3d(200, 300, 0)};
    const std::vector<CKrPoint3d> hole2{CKrPoint3d(600, 300, 0), CKrPoint3d(800, 250, 0), CKrPoint3d(700, 400, 0)};
    CKrMeshData mesh;
    CKrDelaunay d(mesh, 0.01);
    for (const auto& p : pts) d.AddVertex(p);
    ASSERT_TRUE(d.SetOutline(outline));
    ASSERT_TRUE(d.AddHoleLine(hole1));
    ASSERT_TRUE(d.AddHoleLine(hole2));
    EXPECT_FALSE(d.AddHoleLine({CKrPoint3d(0, 0, 0), CKrPoint3d(1, 1, 0)}));  // too short
    ASSERT_TRUE(d.Delaunay());
    ExpectValidCcw(mesh);
    // Exactly the outline's area minus the holes': nothing outside, nothing
    // inside a hole, no gap anywhere.
    const double expect = RingArea(outline) - RingArea(hole1) - RingArea(hole2);
    EXPECT_NEAR(MeshArea(mesh), expect, 1e-6 * expect);
    for (const auto* ring : {&outline, &hole1, &hole2})
        for (std::size_t k = 0; k < ring->size(); ++k)
            EXPECT_TRUE(SegmentIsCovered(mesh, (*ring)[k], (*ring)[(k + 1) % ring->size()]));
}

TEST(KrDelaunay, OutlineWithRepeatedPointsAndShortOutline)
{
    const auto pts = RandomPoints(500, 41);
    {
        // Consecutive outline points within the tolerance count once; a
        // repeated closing point is the same ring.
        const std::vector<CKrPoint3d> outline{CKrPoint3d(100, 100, 0), CKrPoint3d(100.004, 100.003, 0),
                                              CKrPoint3d(800, 100, 0), CKrPoint3d(800, 800, 0),
                                              CKrPoint3d(100, 800, 0), CKrPoint3d(100, 100, 0)};
        CKrMeshData mesh;
        CKrDelaunay d(mesh, 0.01);
        for (const auto& p : pts) d.AddVertex(p);
        ASSERT_TRUE(d.SetOutline(outline));
        ASSERT_TRUE(d.Delaunay());
        ExpectValidCcw(mesh);
        EXPECT_NEAR(MeshArea(mesh), 700.0 * 700.0, 1e-3);
    }
    {
        CKrMeshData mesh;
        CKrDelaunay d(mesh, 0.01);
        for (const auto& p : pts) d.AddVertex(p);
        EXPECT_FALSE(d.SetOutline({CKrPoint3d(0, 0, 0), CKrPoint3d(10, 0, 0)}));
        ASSERT_TRUE(d.Delaunay());  // no outline: the hull stays
        EXPECT_EQ(mesh.m_setVer.size(), pts.size());
    }
}
