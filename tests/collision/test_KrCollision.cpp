#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
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
    using Tree = GeoTreeEx::CKrOctaTreeEx;
    static std::shared_ptr<Tree> TreeA(const CCollision& c) { return c.m_pTreeA; }
    static std::shared_ptr<Tree> TreeB(const CCollision& c) { return c.m_pTreeB; }
    static std::set<void*> Region(CCollision& c, bool aInB)
    {
        const Tree* a = c.m_pTreeA.get();
        const Tree* b = c.m_pTreeB.get();
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

// The closed surface of the box [lo, lo + size]^3, each face split into n x n squares.
CGeDataTriMesh Box(double lo, double size, int n)
{
    CGeDataTriMesh m;
    for (int face = 0; face < 6; ++face) {
        const int axis = face / 2, u = (axis + 1) % 3, v = (axis + 2) % 3, base = m.GetPointCount();
        for (int j = 0; j <= n; ++j)
            for (int i = 0; i <= n; ++i) {
                double p[3];
                p[axis] = lo + (face % 2) * size;
                p[u] = lo + size * i / n;
                p[v] = lo + size * j / n;
                m.AddPoint(p[0], p[1], p[2]);
            }
        for (int k = 0; k < n * n; ++k) {
            const int a = base + (k / n) * (n + 1) + k % n;
            m.AddTri(a, a + 1, a + n + 2);
            m.AddTri(a, a + n + 2, a + n + 1);
        }
    }
    return m;
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
}

TEST(Collision, TouchingAndInterpenetrating)
{
    struct Case {
        const char* name;
        CGeDataTriMesh a, b;
    };
    CGeDataTriMesh t1, t2, wall;
    t1.AddPoint(0, 0, 0), t1.AddPoint(1, 0, 0), t1.AddPoint(0, 1, 0), t1.AddTri(0, 1, 2);
    t2.AddPoint(1, 0, 0), t2.AddPoint(2, 0, 1), t2.AddPoint(2, 1, 1), t2.AddTri(0, 1, 2);
    // Leaning far over, it crosses the terrain far from its centroid; its
    // triangle is too large for a leaf, so GetNearTri must rank meeting pairs first.
    wall.AddPoint(2, 1, -1), wall.AddPoint(18, 1, -1), wall.AddPoint(10, 18, 60), wall.AddTri(0, 1, 2);
    Case cases[] = {
        {"one shared corner", t1, t2},
        {"terrains sharing an edge", Grid(8, 8, 0, 0, 1, Wave), Grid(8, 8, 8, 0, 1, Wave)},
        {"leaning wall", Grid(20, 20, 0, 0, 1, [](double x, double y) { return 0.1 * Wave(x, y); }), wall},
        {"box into box", Box(0, 2, 3), Box(1.1, 2, 3)},
        {"box in the corner of a hollow box", Box(0, 10, 2), Box(0, 2, 1)},
    };
    for (const Case& cs : cases) {
        SCOPED_TRACE(cs.name);
        CCollision c;
        EXPECT_TRUE(c.CollisionCheck(cs.a, cs.b));
        EXPECT_TRUE(c.IsColl());
        EXPECT_EQ(c.DistClose(), 0.0);
        CKrTri3d ta, tb;
        c.GetClosePair(ta, tb);
        EXPECT_EQ(CKrSpaceMath::Test_Intersect_Tri_And_Tri_3D(ta.m_pt[0], ta.m_pt[1], ta.m_pt[2], tb.m_pt[0], tb.m_pt[1],
                                                              tb.m_pt[2]),
                  2);
    }
}

TEST(Collision, SeparatedAndNestedGiveTheClosestCentroids)
{
    // Root boxes apart, or one mesh inside the other's hollow: the result is
    // the smallest centroid distance over all pairs.
    struct Case {
        const char* name;
        CGeDataTriMesh a, b;
    } cases[] = {
        {"side by side", Grid(30, 30, 0, 0, 1, Wave), Grid(30, 30, 40, 5, 1, Wave)},
        {"stacked", Grid(20, 20, 0, 0, 1, Wave), Grid(20, 20, 3, -4, 1.3, [](double x, double y) { return 9 + Wave(y, x); })},
        {"nested", Box(0, 10, 2), Box(4, 2, 2)},
        {"nested, inner first", Box(4, 2, 2), Box(0, 10, 2)},
    };
    for (const Case& cs : cases) {
        SCOPED_TRACE(cs.name);
        CCollision c;
        ASSERT_TRUE(c.CollisionCheck(cs.a, cs.b));
        EXPECT_FALSE(c.IsColl());
        EXPECT_DOUBLE_EQ(c.DistClose(), BruteCentroidMin(cs.a, cs.b));
        CKrTri3d ta, tb;
        c.GetClosePair(ta, tb);
        const CKrPoint3d ca = (ta.m_pt[0] + ta.m_pt[1] + ta.m_pt[2]) / 3.0, cb = (tb.m_pt[0] + tb.m_pt[1] + tb.m_pt[2]) / 3.0;
        EXPECT_DOUBLE_EQ(ca.Distance(cb), c.DistClose());
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

TEST(Collision, ChecksAccumulateAndTreesAreShared)
{
    const CGeDataTriMesh a = Grid(6, 6, 0, 0, 1, Wave), nearB = Grid(6, 6, 8, 0, 1, Wave);
    const CGeDataTriMesh farB = Grid(6, 6, 20, 0, 1, Wave), touching = Grid(6, 6, 6, 0, 1, Wave);
    CCollision c;
    ASSERT_TRUE(c.CollisionCheck(a, nearB));
    Outcome first{true, false, c.DistClose(), {}};
    CKrTri3d ta, tb;
    c.GetClosePair(ta, tb);
    for (int k = 0; k < 3; ++k) first.pts[k] = ta.m_pt[k], first.pts[3 + k] = tb.m_pt[k];
    std::weak_ptr<GeoTreeEx::CKrOctaTreeEx> oldA = Access::TreeA(c), oldB = Access::TreeB(c);

    CCollision copy;
    copy = c;  // shares the trees, copies the results
    EXPECT_EQ(Access::TreeA(copy), Access::TreeA(c));
    ExpectState(copy, first);

    // Farther apart: nothing closer, the first distance and pair stay; new trees.
    EXPECT_FALSE(c.CollisionCheck(a, farB));
    ExpectState(c, first);
    EXPECT_NE(Access::TreeA(c), Access::TreeA(copy));
    EXPECT_FALSE(oldA.expired());  // the copy still holds them
    copy = CCollision();
    EXPECT_TRUE(oldA.expired());
    EXPECT_TRUE(oldB.expired());

    // Contact sets the flag for good; later checks apart or failing keep it.
    EXPECT_TRUE(c.CollisionCheck(a, touching));
    EXPECT_FALSE(c.CollisionCheck(a, farB));
    EXPECT_TRUE(c.IsColl());
    EXPECT_EQ(c.DistClose(), 0.0);
    std::weak_ptr<GeoTreeEx::CKrOctaTreeEx> cur = Access::TreeA(c);
    EXPECT_FALSE(c.CollisionCheck(CGeDataTriMesh(), a));  // also releases the trees it replaces
    EXPECT_TRUE(cur.expired());
    EXPECT_TRUE(c.IsColl());
}

TEST(Collision, ContactToleranceTouchingBoxesAndTies)
{
    auto tri = [](CGeDataTriMesh& m, const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c) {
        const int base = m.GetPointCount();
        m.AddPoint(a.x, a.y, a.z), m.AddPoint(b.x, b.y, b.z), m.AddPoint(c.x, c.y, c.z);
        m.AddTri(base, base + 1, base + 2);
    };
    // Two tiny parallel triangles that do not meet count as in contact when
    // their centroids are within 1e-6 (the band is closed), not farther.
    for (double gap : {5e-7, 1e-6, 5e-4}) {
        SCOPED_TRACE(gap);
        CGeDataTriMesh a, b;
        tri(a, CKrPoint3d(0, 0, 0), CKrPoint3d(1e-4, 0, 0), CKrPoint3d(0, 1e-4, 0));
        tri(b, CKrPoint3d(0, 0, gap), CKrPoint3d(1e-4, 0, gap), CKrPoint3d(0, 1e-4, gap));
        CCollision c;
        ASSERT_TRUE(c.CollisionCheck(a, b));
        EXPECT_EQ(c.IsColl(), gap <= 1e-6);
        EXPECT_NEAR(c.DistClose(), gap, 1e-12);
    }

    // Boxes that only touch still have their triangles measured: a decoy
    // measured first holds a distance (0.5) shorter than the centroid
    // distance of the pair that shares a corner (about 1.49), so only the
    // box test brings that pair in.
    const CKrPoint3d p0(0, 0, 0), p1(1, 0, 0), p2(0, 1, 0);
    CGeDataTriMesh one;
    tri(one, p0, p1, p2);
    for (bool decoyFirst : {true, false}) {
        CGeDataTriMesh other;
        auto decoy = [&] { tri(other, CKrPoint3d(0, 0, 0.5), CKrPoint3d(1, 0, 0.5), CKrPoint3d(0, 1, 0.5)); };
        auto corner = [&] { tri(other, p1, CKrPoint3d(2, 0, 1), CKrPoint3d(2, 1, 1)); };
        if (decoyFirst) decoy(), corner();
        else corner(), decoy();
        // Pairs are measured in the order of the triangle records' addresses.
        const bool decoyMeasuredFirst = std::less<const void*>()(other.GetTri(0), other.GetTri(1)) == decoyFirst;
        if (!decoyMeasuredFirst) continue;
        CCollision c;
        EXPECT_TRUE(Access::PairLoop(c, one, other, AllTris(one), AllTris(other)));
        EXPECT_TRUE(c.IsColl());
        EXPECT_EQ(c.DistClose(), 0.0);
    }

    // Two pairs at exactly the same distance: the first measured is kept.
    CGeDataTriMesh mirrored;
    tri(mirrored, CKrPoint3d(0, 0, 5), CKrPoint3d(1, 0, 5), CKrPoint3d(0, 1, 5));
    tri(mirrored, CKrPoint3d(0, 0, -5), CKrPoint3d(1, 0, -5), CKrPoint3d(0, 1, -5));
    CCollision c;
    ASSERT_TRUE(Access::PairLoop(c, one, mirrored, AllTris(one), AllTris(mirrored)));
    EXPECT_EQ(c.DistClose(), 5.0);
    CKrTri3d ta, tb;
    c.GetClosePair(ta, tb);
    const bool firstIsUpper = std::less<const void*>()(mirrored.GetTri(0), mirrored.GetTri(1));
    EXPECT_EQ(tb.m_pt[0].z, firstIsUpper ? 5.0 : -5.0);
}
