#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <set>

#include "KrTesGeometry/collision/KrCollision.h"
#include "KrTesGeometry/geom/KrSpaceMath.h"
#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "KrTesGeometry/math/TESCommFunc.h"
#include "support/KrTestMeshes.h"

namespace TesTriMesh {
// Reaches the private steps of a check.
class CCollisionTestAccess {
public:
    static std::set<void*> Region(CCollision& c, bool aInB)
    {
        const GeoTreeEx::CKrOctaTreeEx* a = c.m_pTreeA.get();
        const GeoTreeEx::CKrOctaTreeEx* b = c.m_pTreeB.get();
        return aInB ? c.GetCollRegionTri(a, b) : c.GetCollRegionTri(b, a);
    }
    static bool PairLoop(CCollision& c, const CGeDataTriMesh& a, const CGeDataTriMesh& b, const std::set<void*>& sa,
                         const std::set<void*>& sb)
    {
        return c.CollisionCheck_Tri(a, b, sa, sb);
    }
};
}  // namespace TesTriMesh

using TesTriMesh::CCollision;
using Access = TesTriMesh::CCollisionTestAccess;

namespace {

double Wave(double x, double y) { return std::sin(0.7 * x) + 0.5 * std::cos(0.9 * y); }

CGeDataTriMesh Grid(int nx, int ny, double x0, double y0, double h, const std::function<double(double, double)>& z)
{
    return testmesh::ToGeData(testmesh::Grid(nx, ny, x0, y0, h, z));
}

// The closed surface of the box [lo, lo + size]^3.
CGeDataTriMesh Box(double lo, double size)
{
    return testmesh::ToGeData(testmesh::Box(lo, lo, lo, lo + size, lo + size, lo + size));
}

void AddTri(CGeDataTriMesh& m, const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c)
{
    const int base = m.GetPointCount();
    m.AddPoint(a.x, a.y, a.z), m.AddPoint(b.x, b.y, b.z), m.AddPoint(c.x, c.y, c.z);
    m.AddTri(base, base + 1, base + 2);
}

// n small random triangles around points of [0, 10]^2 x [z0, z1], then one degenerate one.
CGeDataTriMesh Soup(std::mt19937_64& rng, int n, double z0, double z1, double spread)
{
    std::uniform_real_distribution<double> u(0.0, 10.0), h(z0, z1), s(-spread, spread);
    CGeDataTriMesh m;
    for (int i = 0; i < n; ++i) {
        const double x = u(rng), y = u(rng), z = h(rng);
        const int k = m.AddPoint(x, y, z);
        m.AddPoint(x + s(rng), y + s(rng), z + s(rng)), m.AddPoint(x + s(rng), y + s(rng), z + s(rng));
        m.AddTri(k, k + 1, k + 2);
    }
    const int k = m.AddPoint(1, 1, 1);
    m.AddPoint(2, 2, 2), m.AddPoint(3, 3, 3), m.AddTri(k, k + 1, k + 2);
    return m;
}

CKrPoint3d Corner(const CGeDataTriMesh& m, const void* tri, int k)
{
    const CGeDataPoint3D* p = m.GetPoint(static_cast<const CGeDataTriIndex*>(tri)->n[k]);
    return CKrPoint3d(p->x, p->y, p->z);
}

CKrPoint3d Centroid(const CGeDataTriMesh& m, const void* t) { return (Corner(m, t, 0) + Corner(m, t, 1) + Corner(m, t, 2)) / 3.0; }

double BruteCentroidMin(const CGeDataTriMesh& a, const CGeDataTriMesh& b)
{
    double best = DBL_MAX;
    for (int i = 0; i < a.GetTriCount(); ++i)
        for (int j = 0; j < b.GetTriCount(); ++j)
            best = std::min(best, Centroid(a, a.GetTri(i)).Distance(Centroid(b, b.GetTri(j))));
    return best;
}

std::set<void*> AllTris(const CGeDataTriMesh& m) { return std::set<void*>(m.m_arrTris.m_pData, m.m_arrTris.m_pData + m.GetTriCount()); }

// The pair loop as a plain double loop over every pair, starting from a held state.
struct Outcome {
    bool ret = false, coll = false;
    double dist = DBL_MAX;
    CKrPoint3d pts[6];
};

Outcome PlainLoop(const CGeDataTriMesh& A, const CGeDataTriMesh& B, const std::set<void*>& sa,
                  const std::set<void*>& sb, Outcome held)
{
    held.ret = false;
    for (void* a : sa)
        for (void* b : sb) {
            double d;
            if (!CKrSpaceMath::Test_Dist_Tri_And_Tri_3D(Corner(A, a, 0), Corner(A, a, 1), Corner(A, a, 2), Corner(B, b, 0),
                                                        Corner(B, b, 1), Corner(B, b, 2), d))
                continue;
            if (d < held.dist) {
                held.dist = d, held.ret = true;
                for (int k = 0; k < 3; ++k) held.pts[k] = Corner(A, a, k), held.pts[3 + k] = Corner(B, b, k);
            }
            if (TESCommFunc::TesCompDouble(held.dist, 0.0, 1e-6) == 0) {
                held.coll = true;
                return held;
            }
        }
    return held;
}

void ExpectState(const CCollision& c, const Outcome& o)
{
    EXPECT_EQ(c.IsColl(), o.coll);
    EXPECT_EQ(c.DistClose(), o.dist);
    CKrTri3d ta, tb;
    c.GetClosePair(ta, tb);
    for (int k = 0; k < 3; ++k) {
        EXPECT_TRUE(ta.m_pt[k].IsEqualTo(o.pts[k])) << "corner " << k;
        EXPECT_TRUE(tb.m_pt[k].IsEqualTo(o.pts[3 + k])) << "corner " << k;
    }
}

}  // namespace

TEST(Collision, EmptyAndBadMeshes)
{
    CCollision c;
    const CGeDataTriMesh good = Grid(2, 2, 0, 0, 1, [](double, double) { return 0.0; });
    CGeDataTriMesh empty, tri;
    tri.AddPoint(0, 0, 0), tri.AddPoint(1, 0, 0), tri.AddPoint(0, 1, 0);
    EXPECT_FALSE(c.CollisionCheck(empty, good));
    EXPECT_FALSE(c.CollisionCheck(tri, good));  // points, no triangle
    tri.AddTri(0, 1, 7);
    EXPECT_FALSE(c.CollisionCheck(good, tri));  // no usable triangle
    CGeDataTriMesh inf = tri;
    inf.AddTri(0, 1, 2), inf.AddPoint(std::numeric_limits<double>::infinity(), 0, 0);
    EXPECT_FALSE(c.CollisionCheck(inf, good));
    ExpectState(c, Outcome{});  // a fresh object's state, untouched
    // A bad triangle or a NaN corner beside a good triangle leaves the good one usable.
    tri.AddPoint(std::nan(""), 0, 0), tri.AddTri(0, 1, 3), tri.AddTri(0, 1, 2);
    EXPECT_TRUE(c.CollisionCheck(tri, good));
    EXPECT_TRUE(c.IsColl());
    // Contact, once found, stays through a check that fails.
    EXPECT_FALSE(c.CollisionCheck(empty, good));
    EXPECT_TRUE(c.IsColl() && c.DistClose() == 0.0);
}

// Meshes in contact give distance 0 and a pair that meets; meshes apart
// (root boxes apart, or one inside the other's hollow) give the smallest
// centroid distance over all pairs, and a pair that far apart.
TEST(Collision, ContactOrTheClosestCentroids)
{
    CGeDataTriMesh t1, t2, wall;
    AddTri(t1, {0, 0, 0}, {1, 0, 0}, {0, 1, 0});
    AddTri(t2, {1, 0, 0}, {2, 0, 1}, {2, 1, 1});
    // Leaning far over, it crosses the terrain far from its centroid; its
    // triangle is too large for a leaf, so GetNearTri must rank meeting pairs first.
    AddTri(wall, {2, 1, -1}, {18, 1, -1}, {10, 18, 60});
    const struct {
        const char* name;
        CGeDataTriMesh a, b;
        bool touch;
    } cases[] = {
        {"one shared corner", t1, t2, true},
        {"terrains sharing an edge", Grid(8, 8, 0, 0, 1, Wave), Grid(8, 8, 8, 0, 1, Wave), true},
        {"leaning wall", Grid(20, 20, 0, 0, 1, [](double x, double y) { return 0.1 * Wave(x, y); }), wall, true},
        {"box into box", Box(0, 2), Box(1.1, 2), true},
        {"box in the corner of a hollow box", Box(0, 10), Box(0, 2), true},
        {"side by side", Grid(30, 30, 0, 0, 1, Wave), Grid(30, 30, 40, 5, 1, Wave), false},
        {"nested", Box(0, 10), Box(4, 2), false},
        {"nested, inner first", Box(4, 2), Box(0, 10), false},
    };
    for (const auto& cs : cases) {
        SCOPED_TRACE(cs.name);
        CCollision c;
        ASSERT_TRUE(c.CollisionCheck(cs.a, cs.b));
        EXPECT_EQ(c.IsColl(), cs.touch);
        EXPECT_DOUBLE_EQ(c.DistClose(), cs.touch ? 0.0 : BruteCentroidMin(cs.a, cs.b));
        CKrTri3d ta, tb;
        c.GetClosePair(ta, tb);
        const CKrPoint3d* p = ta.m_pt;
        const CKrPoint3d* q = tb.m_pt;
        if (cs.touch) {
            EXPECT_EQ(CKrSpaceMath::Test_Intersect_Tri_And_Tri_3D(p[0], p[1], p[2], q[0], q[1], q[2]), 2);
        } else {
            EXPECT_DOUBLE_EQ(((p[0] + p[1] + p[2]) / 3.0).Distance((q[0] + q[1] + q[2]) / 3.0), c.DistClose());
        }
    }
}

TEST(Collision, PairLoopAgreesWithAPlainDoubleLoop)
{
    std::mt19937_64 rng(7);
    // Clouds of small triangles one above the other: the root boxes overlap
    // and the triangles sit in leaves, so the region sets are measured.
    {
        const CGeDataTriMesh lo = Soup(rng, 3000, 0.0, 5.0, 0.05), hi = Soup(rng, 3000, 5.3, 10.0, 0.05);
        CCollision c;
        const bool ret = c.CollisionCheck(lo, hi);
        const std::set<void*> ra = Access::Region(c, true), rb = Access::Region(c, false);
        ASSERT_FALSE(ra.empty() || rb.empty());
        const Outcome expect = PlainLoop(lo, hi, ra, rb, Outcome{});
        EXPECT_EQ(ret, expect.ret);
        ExpectState(c, expect);
        EXPECT_GT(c.DistClose(), 0.2);
    }
    // Whole clouds, large enough for the candidate grid, one check after
    // another on one object: the held distance and flag carry over.
    CCollision c;
    Outcome held;
    for (double lift : {30.0, 12.0, 40.0, 5.0, 4.4, 0.0}) {
        SCOPED_TRACE(lift);
        const CGeDataTriMesh a = Soup(rng, 300, 0.0, 4.0, 0.6), b = Soup(rng, 260, lift, lift + 4.0, 0.6);
        held = PlainLoop(a, b, AllTris(a), AllTris(b), held);
        EXPECT_EQ(Access::PairLoop(c, a, b, AllTris(a), AllTris(b)), held.ret);
        ExpectState(c, held);
    }
    EXPECT_TRUE(c.IsColl());
}

TEST(Collision, ContactToleranceAndTies)
{
    // Two tiny parallel triangles that do not meet count as in contact when
    // their centroids are within 1e-6 (the band is closed), not farther.
    for (double gap : {5e-7, 1e-6, 5e-4}) {
        SCOPED_TRACE(gap);
        CGeDataTriMesh a, b;
        AddTri(a, CKrPoint3d(0, 0, 0), CKrPoint3d(1e-4, 0, 0), CKrPoint3d(0, 1e-4, 0));
        AddTri(b, CKrPoint3d(0, 0, gap), CKrPoint3d(1e-4, 0, gap), CKrPoint3d(0, 1e-4, gap));
        CCollision c;
        ASSERT_TRUE(c.CollisionCheck(a, b));
        EXPECT_EQ(c.IsColl(), gap <= 1e-6);
        EXPECT_NEAR(c.DistClose(), gap, 1e-12);
    }

    const CKrPoint3d p0(0, 0, 0), p1(1, 0, 0), p2(0, 1, 0);
    CGeDataTriMesh one;
    AddTri(one, p0, p1, p2);

    // Two pairs at exactly the same distance: the first measured is kept.
    CGeDataTriMesh mirrored;
    AddTri(mirrored, CKrPoint3d(0, 0, 5), CKrPoint3d(1, 0, 5), CKrPoint3d(0, 1, 5));
    AddTri(mirrored, CKrPoint3d(0, 0, -5), CKrPoint3d(1, 0, -5), CKrPoint3d(0, 1, -5));
    CCollision c;
    ASSERT_TRUE(Access::PairLoop(c, one, mirrored, AllTris(one), AllTris(mirrored)));
    EXPECT_EQ(c.DistClose(), 5.0);
    CKrTri3d ta, tb;
    c.GetClosePair(ta, tb);
    const bool firstIsUpper = std::less<const void*>()(mirrored.GetTri(0), mirrored.GetTri(1));
    EXPECT_EQ(tb.m_pt[0].z, firstIsUpper ? 5.0 : -5.0);
}
