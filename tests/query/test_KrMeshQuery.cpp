#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <set>
#include <vector>

#include "support/KrTestMeshes.h"
#include "KrTesGeometry/query/KrMeshQuery.h"

using namespace TesTriMesh;
using KrTesGeo::CGeoVector;
using Q = CKrMeshQuery;

namespace {

// Reaches the protected searches.
struct Searches : CKrMeshQuery {
    using CKrMeshQuery::CKrMeshQuery;
    using CKrMeshQuery::FindTriIncludePt;
    using CKrMeshQuery::GetVersInMapPolygon;
};

using testmesh::Load;

// The highest z over (x, y) of any triangle holding the point in plan, by
// plain barycentric coordinates over every triangle.
bool BruteMapPoint(const CKrMeshData& mesh, double x, double y, double& z)
{
    bool found = false;
    for (const _sTri* t : mesh.m_setTri) {
        const CKrPoint3d &a = t->pVer[0]->pt, &b = t->pVer[1]->pt, &c = t->pVer[2]->pt;
        const double det = (b.x - a.x) * (c.y - a.y) - (c.x - a.x) * (b.y - a.y);
        const double u = ((x - a.x) * (c.y - a.y) - (c.x - a.x) * (y - a.y)) / det;
        const double v = ((b.x - a.x) * (y - a.y) - (x - a.x) * (b.y - a.y)) / det;
        if (std::fabs(det) < 1e-12 || u < -1e-9 || v < -1e-9 || u + v > 1 + 1e-9) continue;
        const double h = a.z + u * (b.z - a.z) + v * (c.z - a.z);
        z = found ? std::max(z, h) : h;
        found = true;
    }
    return found;
}

}  // namespace

// A TIN of a curved surface (so that a neighbouring triangle would answer
// differently) with holes: each answer of a fresh query
// object, which goes through the octree, is checked against a search of
// every triangle. An object that has answered many elevations switches to
// its own plan grid and must give exactly the same answers: on triangles, on
// edges and vertices, just outside the border and far away.
TEST(MeshQueryMapPoint, OctreeAndPlanGridAgreeWithEveryTriangle)
{
    // 40 x 40 cells of 12.5 with a few left out, the inner points moved
    // by up to 2.5 (too little to fold a triangle) so that no two are alike.
    auto f = [](double x, double y) { return std::sin(x * 0.02) * 30.0 + 0.002 * (y - 250) * (y - 250); };
    testmesh::Solid tin = testmesh::Grid(40, 40, 0, 0, 12.5, f, [](int i, int j) { return (7 * i + 3 * j) % 23 == 0; });
    for (CKrPoint3d& p : tin.pts)
        if (p.x > 0 && p.x < 500 && p.y > 0 && p.y < 500)
            p = CKrPoint3d(p.x + 2.5 * std::sin(p.y * 1.3 + p.x), p.y + 2.5 * std::cos(p.x * 0.7 - p.y), 0.0);
    for (CKrPoint3d& p : tin.pts) p.z = f(p.x, p.y);
    CKrMeshData mesh;
    Load(mesh, tin);
    std::mt19937_64 rng(17);
    std::uniform_real_distribution<double> v(-20.0, 520.0);
    std::vector<CKrPoint3d> probes;
    for (int i = 0; i < 4000; ++i) probes.emplace_back(v(rng), v(rng), 0.0);
    for (const _sVertex* w : mesh.m_setVer) probes.push_back(w->pt);  // exactly on vertices
    for (const _sEdge* e : mesh.m_setEdge)                             // and on edge midpoints
        probes.push_back((e->pVer[0]->pt + e->pVer[1]->pt) * 0.5);
    Q warm(mesh);
    int mismatches = 0, on = 0;
    for (std::size_t i = 0; i < probes.size(); ++i) {
        const CKrPoint3d& p = probes[i];
        double z1 = -1e300, z2 = -1e300, ref = -1e300;
        const bool a = Q(mesh).GetMapPoint(p.x, p.y, z1);  // a fresh object answers through the octree
        const bool b = warm.GetMapPoint(p.x, p.y, z2);     // through the grid after the first few
        if (i % 12 == 0) {                                 // the brute force is slow
            EXPECT_EQ(BruteMapPoint(mesh, p.x, p.y, ref), a) << p.x << " " << p.y;
            EXPECT_NEAR(z1, ref, 1e-9);
        }
        on += a;
        mismatches += a != b || (a && z1 != z2);
    }
    EXPECT_EQ(mismatches, 0);
    EXPECT_GT(on, 3000);  // most probes lie over the surface
    double z = 7.0;
    EXPECT_FALSE(warm.GetMapPoint(1e6, 1e6, z));
    EXPECT_FALSE(warm.GetMapPoint(std::nan(""), 10.0, z));
    EXPECT_EQ(z, 7.0);
}

TEST(MeshQueryMapPoint, TopSheetWinsAndOffSurfaceFails)
{
    // A strip folded back over itself along x = 10 (lower sheet z = 0, upper
    // z = 1 + 0.1 x from x = 10 back to 2, joined by a vertical face).
    testmesh::Pts pts = {{0, 0, 0}, {10, 0, 0}, {10, 5, 0}, {0, 5, 0}, {2, 0, 1.2}, {2, 5, 1.2}, {10, 0, 2}, {10, 5, 2}};
    CKrMeshData fold;
    Load(fold, {pts, {{0, 1, 2}, {0, 2, 3}, {1, 6, 7}, {1, 7, 2}, {6, 4, 5}, {6, 5, 7}}});
    Q q(fold);
    double z = -7.0;
    for (auto [x, want] : {std::pair{6.0, 1.6}, {1.0, 0.0}, {10.0, 2.0}}) {  // x = 10: the fold's top edge
        EXPECT_TRUE(q.GetMapPoint(x, 2.5, z) && std::fabs(z - want) < 1e-9) << x << ": " << z;
    }
    // Within 1e-6 of the border a point is on the surface, beyond it not.
    EXPECT_TRUE(q.GetMapPoint(-5e-7, 1.0, z));
    EXPECT_FALSE(q.GetMapPoint(-0.001, 1.0, z));
    EXPECT_FALSE(q.GetMapPoint(5.0, 5.001, z));
    CKrMeshData empty;
    EXPECT_FALSE(Q(empty).GetMapPoint(0.0, 0.0, z));
}

TEST(MeshQueryRay, NearestHitOnClosedSphereFromOutsideAndInside)
{
    const double r = 50.0;
    CKrMeshData mesh;
    Load(mesh, testmesh::Sphere({0, 0, 0}, r, 3));
    Q q(mesh);
    struct Ray {
        CKrPoint3d o;
        CGeoVector d;
        int axis;     // the hit's coordinate on this axis has the sign below
        double sign;  // (the near side of the sphere)
    };
    const Ray rays[] = {{{3, 7, -300}, {0, 0, 1}, 2, -1}, {{200, 10, -5}, {-1, 0.01, 0}, 0, 1},
                        {{10, -20, 5}, {0.2, 1, -0.5}, 1, 1}};
    for (const Ray& ray : rays) {
        CKrPoint3d hit;
        ASSERT_TRUE(q.IntersectRay(hit, ray.o, ray.d)) << ray.o.x;
        const double c[3] = {hit.x, hit.y, hit.z};
        EXPECT_GT(c[ray.axis] * ray.sign, 0.0);
        const double rho = std::sqrt(hit.x * hit.x + hit.y * hit.y + hit.z * hit.z);
        EXPECT_TRUE(rho <= r + 1e-9 && rho > 0.98 * r) << rho;  // on the inscribed polyhedron
        const CGeoVector along = hit - ray.o;  // ahead on the ray
        EXPECT_TRUE(along * ray.d > 0.0 && (along ^ ray.d).Length() / ray.d.Length() < 1e-6);
    }
    CKrPoint3d hit(9, 9, 9);
    EXPECT_FALSE(q.IntersectRay(hit, CKrPoint3d(0, 0, -300), CGeoVector(0, 0, -1)));  // pointing away
    EXPECT_FALSE(q.IntersectRay(hit, CKrPoint3d(60, 0, -300), CGeoVector(0, 0, 1)));  // passing beside
    EXPECT_EQ(hit.x, 9.0);
    CKrMeshData empty;
    EXPECT_FALSE(Q(empty).IntersectRay(hit, CKrPoint3d(0, 0, 0), CGeoVector(1, 0, 0)));
}

TEST(MeshQueryHitTest, SidesOfClosedMeshes)
{
    const CGeoVector up(0, 0, 1);
    testmesh::Solid ball = testmesh::Sphere({0, 0, 0}, 50.0, 3);
    CKrMeshData sphere;
    Load(sphere, ball);
    Q qs(sphere);
    const CKrPoint3d v = ball.pts[0];  // a vertex
    EXPECT_EQ(qs.HitTestPt(CKrPoint3d(0, 0, 0), up), Q::eHitBack);
    EXPECT_EQ(qs.HitTestPt(CKrPoint3d(48.5, 0, 0), up), Q::eHitBack);
    EXPECT_EQ(qs.HitTestPt(CKrPoint3d(200, 0, 0), up), Q::eHitFront);
    EXPECT_EQ(qs.HitTestPt(v * 1.01, up), Q::eHitFront);  // facing a vertex
    EXPECT_EQ(qs.HitTestPt(v, CGeoVector(v)), Q::eHitOnFront);
    EXPECT_EQ(qs.HitTestPt(v, CGeoVector(v * -1.0)), Q::eHitOnBack);
    const _sTri* t = *sphere.m_setTri.begin();
    const CKrPoint3d a = t->pVer[0]->pt, b = t->pVer[1]->pt, c = t->pVer[2]->pt;
    EXPECT_EQ(qs.HitTestPt((a + b + c) * (1.0 / 3.0), CGeoVector(b - a)), Q::eHitOnBack);  // along the surface
    EXPECT_EQ(qs.HitTestTri(a, b, c), Q::eHitOnFront);
    EXPECT_EQ(qs.HitTestTri(b, a, c), Q::eHitOnBack);
    EXPECT_EQ(qs.HitTestTri(CKrPoint3d(0, 0, 0), CKrPoint3d(1, 1, 1), CKrPoint3d(2, 2, 2)), Q::eHitNone);

    // An open square in z = 0: in its plane beyond a side is "back"; beyond
    // the corner both triangles share, nothing decides.
    CKrMeshData sq, empty;
    Load(sq, testmesh::Grid(1, 1, 0, 0, 10, [](double, double) { return 0.0; }));
    EXPECT_EQ(Q(sq).HitTestPt(CKrPoint3d(12, 5, 0), up), Q::eHitBack);
    EXPECT_EQ(Q(sq).HitTestPt(CKrPoint3d(12, 12, 0), up), Q::eHitNone);
    EXPECT_EQ(Q(empty).HitTestPt(CKrPoint3d(0, 0, 0), up), Q::eHitNone);

    // A sliver (a cut leaves them) cannot decide a side, even when the point
    // lies on it and it is among the triangles sampled for the search bound:
    // the tetrahedron's faces decide, as they do without the sliver.
    testmesh::Solid tet;
    tet.pts = {{0, 0, 0}, {10, 0, 0}, {0, 10, 0}, {0, 0, 10}, {20, 0, 0}, {30, 0, 0}, {25, 1e-5, 0}};
    tet.ids = {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}};
    CKrMeshData clean;
    Load(clean, tet);
    tet.ids.emplace_back(4, 5, 6);
    CKrMeshData withSliver;
    Load(withSliver, tet);
    ASSERT_EQ(withSliver.TriNum(), 5u);
    const CKrPoint3d onSliver(25, 3e-6, 0);
    EXPECT_EQ(Q(clean).HitTestPt(onSliver, up), Q::eHitFront);
    EXPECT_EQ(Q(withSliver).HitTestPt(onSliver, up), Q::eHitFront);
}

TEST(MeshQueryOutline, LoopsOfMeshesWithHoles)
{
    // 6 x 6 grid with a one-square and a two-square hole.
    auto skip = [](int i, int j) { return (i == 1 && j == 1) || (j == 3 && (i == 3 || i == 4)); };
    CKrMeshData mesh;
    Load(mesh, testmesh::Grid(6, 6, 0, 0, 1, [](double x, double y) { return 0.5 * x + y; }, skip));
    Q q(mesh);
    std::vector<CKrPolyLine> loops;
    ASSERT_TRUE(q.GetOutline(loops));
    std::multiset<unsigned> sizes;
    for (const CKrPolyLine& l : loops) {
        EXPECT_TRUE(l.IsClosed());
        sizes.insert(l.NumVerts());
        const auto& v = l.GetVerts();
        std::set<std::pair<double, double>> distinct;
        for (std::size_t k = 0; k < v.size(); ++k) {
            EXPECT_NEAR(v[k].Distance2d(v[(k + 1) % v.size()]), 1.0, 1e-12);  // border neighbours, closing one too
            distinct.insert({v[k].x, v[k].y});
        }
        EXPECT_EQ(distinct.size(), v.size());  // no vertex repeated, the first one included
    }
    EXPECT_EQ(sizes, (std::multiset<unsigned>{4, 6, 24}));
    CKrPolyLine outer;
    EXPECT_TRUE(q.GetOutline(outer) && outer.NumVerts() == 24u) << outer.NumVerts();  // the longest loop

    // An isolated triangle has no outline.
    CKrMeshData one;
    Load(one, {{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}}});
    EXPECT_FALSE(Q(one).GetOutline(outer));
}

TEST(MeshQueryDrape, PolylinesFollowTheSurface)
{
    auto f = [](double x, double y) { return 0.05 * x * x - 0.1 * y; };
    CKrMeshData mesh;
    Load(mesh, testmesh::Grid(8, 8, 0, 0, 1, f, [](int i, int j) { return i == 4 && j >= 2 && j <= 5; }));
    Q q(mesh);
    // Pieces over each triangle, on the surface, covering the line once.
    const std::vector<CKrPoint3d> line = {{0.5, 0.5, 0}, {3.5, 1.7, 0}};
    std::vector<CKrSeg3d> segs;
    ASSERT_TRUE(q.GetMapPolyline(line, false, segs));
    ASSERT_GT(segs.size(), 3u);
    double len = 0.0, z = 0.0;
    for (const CKrSeg3d& s : segs) {
        len += s.m_pt[0].Distance2d(s.m_pt[1]);
        for (const CKrPoint3d& p : s.m_pt) {
            ASSERT_TRUE(q.GetMapPoint(p.x, p.y, z));
            EXPECT_NEAR(p.z, z, 1e-9);
        }
    }
    EXPECT_NEAR(len, line[0].Distance2d(line[1]), 1e-9);
    std::vector<CKrPolyLine> pl;

    // Closed, the last point joins the first.
    const std::vector<CKrPoint3d> tri = {{0.5, 0.5, 0}, {2.5, 0.5, 0}, {1.5, 3.5, 0}};
    ASSERT_TRUE(q.GetMapPolyline(tri, true, pl));
    ASSERT_EQ(pl.size(), 1u);
    EXPECT_TRUE(pl[0].IsClosed());
    // Across the hole the drape breaks in two; off the surface it is cut.
    ASSERT_TRUE(q.GetMapPolyline({{1.5, 3.5, 0}, {7.5, 3.5, 0}}, false, pl));
    EXPECT_EQ(pl.size(), 2u);
    ASSERT_TRUE(q.GetMapPolyline({{-5, 1.5, 0}, {3, 1.5, 0}}, false, pl));
    ASSERT_EQ(pl.size(), 1u);
    EXPECT_NEAR(pl[0].GetLength2d(), 3.0, 1e-9);
    EXPECT_FALSE(q.GetMapPolyline({{1, 1, 0}}, true, pl));
    EXPECT_FALSE(q.GetMapPolyline({{20, 20, 0}, {30, 20, 0}}, false, pl));
    EXPECT_TRUE(pl.empty());
}

TEST(MeshQuerySearch, TrianglesAtAPointAndVerticesInAPolygon)
{
    CKrMeshData mesh;
    Load(mesh, testmesh::Grid(5, 5, 0, 0, 1, [](double x, double y) { return x + y; }));
    Searches q(mesh);
    // Inside one triangle, then on a vertex where six meet (out is not
    // cleared); far above nothing (a spatial search).
    std::vector<_sTri*> in;
    ASSERT_TRUE(q.FindTriIncludePt(CKrPoint3d(2.7, 1.2, 3.9), in));
    ASSERT_TRUE(q.FindTriIncludePt(CKrPoint3d(2, 2, 4), in));
    EXPECT_EQ(std::set<_sTri*>(in.begin(), in.end()).size(), 7u);
    in.clear();
    EXPECT_FALSE(q.FindTriIncludePt(CKrPoint3d(2.7, 1.2, 99), in));

    // Vertices strictly inside, each once; those on the boundary are not.
    std::vector<_sVertex*> vs;
    auto plan = [&vs]() {
        std::set<std::pair<double, double>> got;
        for (const _sVertex* v : vs) got.insert({v->pt.x, v->pt.y});
        EXPECT_EQ(got.size(), vs.size());
        return got;
    };
    using XYs = std::set<std::pair<double, double>>;
    ASSERT_TRUE(q.GetVersInMapPolygon({{0.5, 0.5, 0}, {3, 0.5, 0}, {3, 3.5, 0}, {0.5, 3.5, 0}}, vs));
    EXPECT_EQ(plan(), (XYs{{1, 1}, {2, 1}, {1, 2}, {2, 2}, {1, 3}, {2, 3}}));
    // A triangle: of the vertices in its bounding box, those on the slanted
    // side and beyond it are left out.
    ASSERT_TRUE(q.GetVersInMapPolygon({{0.5, 0.5, 0}, {3.5, 0.5, 0}, {0.5, 3.5, 0}}, vs));
    EXPECT_EQ(plan(), (XYs{{1, 1}, {2, 1}, {1, 2}}));
    EXPECT_FALSE(q.GetVersInMapPolygon({{0, 0, 0}, {5, 5, 0}}, vs));
    EXPECT_FALSE(q.GetVersInMapPolygon({{1.2, 1.2, 0}, {1.8, 1.2, 0}, {1.5, 1.8, 0}}, vs));
}
