#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <random>
#include <set>
#include <vector>

#include "edit/EditTestUtil.h"
#include "edit/KrMeshQuery.h"
#include "geom/KrSpaceMath.h"

using namespace TesTriMesh;
using KrTesGeo::CGeoVector;
using Q = CKrMeshQuery;

namespace TesTriMesh {

// Test hook: reaches the protected and private members of CKrMeshQuery.
class CKrMeshQueryTestAccess {
public:
    static void FindTriByPos(const CKrMeshQuery& q, const CKrPoint3d& p, std::vector<_sTri*>& out, bool use3D)
    {
        q.FindTriByPos(p, out, use3D);
    }
    static bool FindTriIncludePt(const CKrMeshQuery& q, const CKrPoint3d& p, std::vector<_sTri*>& out)
    {
        return q.FindTriIncludePt(p, out);
    }
    static bool GetVersInMapPolygon(const CKrMeshQuery& q, const std::vector<CKrPoint3d>& poly,
                                    std::vector<_sVertex*>& out)
    {
        return q.GetVersInMapPolygon(poly, out);
    }
    static bool LinkPtrSegs(const CKrMeshQuery& q, const std::vector<_sSeg*>& segs, std::vector<CKrPolyLine>& out)
    {
        return q.LinkPtrSegs(segs, out);
    }
};

}  // namespace TesTriMesh

using Access = TesTriMesh::CKrMeshQueryTestAccess;

namespace {

void Load(CKrMeshData& mesh, const edittest::Pts& pts, const edittest::Ids& ids) { mesh.InputData(pts, ids, true); }

// The highest z over (x, y) of any triangle whose plan projection holds the
// point, by plain barycentric coordinates over every triangle.
bool BruteMapPoint(const CKrMeshData& mesh, double x, double y, double& z)
{
    bool found = false;
    for (const _sTri* t : mesh.m_setTri) {
        const CKrPoint3d &a = t->pVer[0]->pt, &b = t->pVer[1]->pt, &c = t->pVer[2]->pt;
        const double det = (b.x - a.x) * (c.y - a.y) - (c.x - a.x) * (b.y - a.y);
        if (std::fabs(det) < 1e-12) continue;
        const double u = ((x - a.x) * (c.y - a.y) - (c.x - a.x) * (y - a.y)) / det;
        const double v = ((b.x - a.x) * (y - a.y) - (x - a.x) * (b.y - a.y)) / det;
        if (u < -1e-9 || v < -1e-9 || u + v > 1 + 1e-9) continue;
        const double h = a.z + u * (b.z - a.z) + v * (c.z - a.z);
        if (!found || h > z) z = h;
        found = true;
    }
    return found;
}

double LongestEdge(const CKrMeshData& mesh)
{
    double m = 0.0;
    for (const _sTri* t : mesh.m_setTri)
        for (int k = 0; k < 3; ++k) m = std::max(m, t->pVer[k]->pt.Distance2d(t->pVer[(k + 1) % 3]->pt));
    return m;
}

}  // namespace

TEST(MeshQueryMapPoint, PlaneAndParaboloidTinsMatchTheSurface)
{
    std::mt19937_64 rng(7);
    std::uniform_real_distribution<double> u(0.0, 100.0);

    // A plane is reproduced exactly by linear interpolation. The TIN need
    // not reach every corner of the square (thin hull triangles may be
    // missing), so every query is checked against a brute-force search:
    // found exactly where some triangle lies under the point.
    auto plane = [](double x, double y) { return 0.3 * x - 0.2 * y + 5.0; };
    CKrMeshData flat;
    ASSERT_TRUE(edittest::RandomTin(flat, 2000, 100.0, plane, 1));
    Q qf(flat);
    int found = 0;
    for (int i = 0; i < 1000; ++i) {
        const double x = u(rng), y = u(rng);
        double z = -1e9, ref = 0.0;
        const bool on = BruteMapPoint(flat, x, y, ref);
        ASSERT_EQ(qf.GetMapPoint(x, y, z), on) << x << " " << y;
        if (!on) {
            EXPECT_EQ(z, -1e9);
            continue;
        }
        ++found;
        EXPECT_NEAR(z, plane(x, y), 1e-9);
    }
    EXPECT_GT(found, 950);
    // Every vertex, and every edge midpoint, is on the surface.
    for (const _sTri* t : flat.m_setTri) {
        for (int k = 0; k < 3; ++k) {
            const CKrPoint3d& a = t->pVer[k]->pt;
            const CKrPoint3d m = (a + t->pVer[(k + 1) % 3]->pt) * 0.5;
            double z = 0.0;
            ASSERT_TRUE(qf.GetMapPoint(a.x, a.y, z));
            EXPECT_NEAR(z, a.z, 1e-9);
            ASSERT_TRUE(qf.GetMapPoint(m.x, m.y, z));
            EXPECT_NEAR(z, m.z, 1e-9);
        }
    }

    // A convex paraboloid: the interpolant lies above the surface by at most
    // c h^2 (h the longest edge), and agrees with a brute-force search.
    const double c = 0.01;
    auto bowl = [c](double x, double y) { return c * ((x - 50) * (x - 50) + (y - 50) * (y - 50)); };
    CKrMeshData para;
    ASSERT_TRUE(edittest::RandomTin(para, 3000, 100.0, bowl, 2));
    const double h = LongestEdge(para);
    Q qp(para);
    double worst = 0.0;
    for (int i = 0; i < 500; ++i) {
        const double x = u(rng), y = u(rng);
        double z = 0.0, ref = 0.0;
        if (!BruteMapPoint(para, x, y, ref)) {
            EXPECT_FALSE(qp.GetMapPoint(x, y, z));
            continue;
        }
        ASSERT_TRUE(qp.GetMapPoint(x, y, z));
        EXPECT_NEAR(z, ref, 1e-9);
        EXPECT_GE(z - bowl(x, y), -1e-9);
        EXPECT_LE(z - bowl(x, y), c * h * h);
        worst = std::max(worst, z - bowl(x, y));
    }
    EXPECT_GT(worst, 0.0);  // the query interpolates; it does not evaluate the bowl
}

TEST(MeshQueryMapPoint, TopSheetWinsAndOffSurfaceFails)
{
    // A strip folded back over itself along x = 10: the lower sheet runs from
    // x = 0 to 10 at z = 0, the upper one back to x = 2 at z = 1 + 0.1 x.
    edittest::Pts pts = {{0, 0, 0}, {10, 0, 0}, {10, 5, 0}, {0, 5, 0}, {2, 0, 1.2}, {2, 5, 1.2}, {10, 0, 2}, {10, 5, 2}};
    // The fold edge joins the sheets; the upper sheet ends at x = 10 on
    // vertices above the lower ones.
    edittest::Ids ids = {{0, 1, 2}, {0, 2, 3}, {1, 6, 7}, {1, 7, 2}, {6, 4, 5}, {6, 5, 7}};
    CKrMeshData mesh;
    Load(mesh, pts, ids);
    ASSERT_EQ(mesh.TriNum(), 6);
    Q q(mesh);
    double z = -7.0;
    ASSERT_TRUE(q.GetMapPoint(6.0, 2.5, z));
    EXPECT_NEAR(z, 1.0 + 0.1 * 6.0, 1e-9);  // the upper sheet, not 0
    ASSERT_TRUE(q.GetMapPoint(1.0, 2.5, z));
    EXPECT_NEAR(z, 0.0, 1e-9);  // only the lower sheet reaches x = 1
    // On the vertical fold face the top of the face counts.
    ASSERT_TRUE(q.GetMapPoint(10.0, 2.5, z));
    EXPECT_NEAR(z, 2.0, 1e-9);

    // Three stacked sheets, imported in every order: the top one answers
    // whichever comes first in the search.
    int order[3] = {0, 1, 2};
    do {
        edittest::Pts sp;
        edittest::Ids si;
        for (int k : order) {
            const int b = static_cast<int>(sp.size());
            const double h = 3.0 * k + 0.1;
            sp.insert(sp.end(), {{0, 0, h}, {4, 0, h + 0.4}, {0, 4, h}});
            si.emplace_back(b, b + 1, b + 2);
        }
        CKrMeshData stack;
        Load(stack, sp, si);
        Q qs(stack);
        ASSERT_TRUE(qs.GetMapPoint(1.0, 1.0, z));
        EXPECT_NEAR(z, 6.2, 1e-9) << order[0] << order[1] << order[2];
    } while (std::next_permutation(order, order + 3));

    // Off the surface: z is left alone.
    z = -7.0;
    EXPECT_FALSE(q.GetMapPoint(5.0, 5.001, z));
    EXPECT_FALSE(q.GetMapPoint(-0.001, 1.0, z));
    EXPECT_FALSE(q.GetMapPoint(500.0, 500.0, z));
    EXPECT_EQ(z, -7.0);
    // Within the 1e-6 tolerance of the border it is still on.
    EXPECT_TRUE(q.GetMapPoint(-5e-7, 1.0, z));
    EXPECT_NEAR(z, 0.0, 1e-9);

    // A hole in a grid is off the surface; the empty mesh has nothing.
    edittest::Grid(4, 4, [](double x, double) { return x; }, pts, ids, [](int i, int j) { return i == 1 && j == 2; });
    CKrMeshData holed;
    Load(holed, pts, ids);
    Q qh(holed);
    EXPECT_FALSE(qh.GetMapPoint(1.5, 2.5, z));
    EXPECT_TRUE(qh.GetMapPoint(2.0, 2.5, z));  // the hole's side
    EXPECT_NEAR(z, 2.0, 1e-9);
    CKrMeshData empty;
    Q qe(empty);
    EXPECT_FALSE(qe.GetMapPoint(0.0, 0.0, z));
}

TEST(MeshQueryRay, FirstHitOnClosedSphereFromOutsideAndInside)
{
    const double r = 50.0;
    edittest::Pts pts;
    edittest::Ids ids;
    edittest::Sphere(r, 12, pts, ids);
    CKrMeshData mesh;
    Load(mesh, pts, ids);
    ASSERT_EQ(mesh.TriNum(), 8 * 12 * 12);
    Q q(mesh);

    // The nearest of all triangle hits, by brute force.
    auto brute = [&](const CKrPoint3d& o, const CGeoVector& d, CKrPoint3d& best) {
        double bd = DBL_MAX;
        for (const _sTri* t : mesh.m_setTri) {
            CKrPoint3d p;
            if (CKrSpaceMath::Test_Intersect_Ray_And_Triangle_3D(o, d, t->pVer[0]->pt, t->pVer[1]->pt,
                                                                 t->pVer[2]->pt, p) == 1 &&
                o.Distance(p) < bd) {
                bd = o.Distance(p);
                best = p;
            }
        }
        return bd < DBL_MAX;
    };
    struct Ray {
        CKrPoint3d o;
        CGeoVector d;
    };
    const Ray rays[] = {
        {{3, 7, -300}, {0, 0, 1}},       // from below: the lower cap, not the upper
        {{200, 10, -5}, {-1, 0.01, 0}},  // from the side
        {{0, 0, 0}, {1, 1, 1}},          // from the centre
        {{10, -20, 5}, {0.2, 1, -0.5}},  // from inside, off centre
        {{0, 0, -300}, {0, 0, 1}},       // straight at a vertex of the mesh
    };
    for (const Ray& ray : rays) {
        CKrPoint3d hit(9, 9, 9), ref;
        ASSERT_TRUE(q.IntersectRay(hit, ray.o, ray.d)) << ray.o.x;
        ASSERT_TRUE(brute(ray.o, ray.d, ref));
        EXPECT_LT(hit.Distance(ref), 1e-9);
        const double rho = std::sqrt(hit.x * hit.x + hit.y * hit.y + hit.z * hit.z);
        EXPECT_LE(rho, r + 1e-9);
        EXPECT_GT(rho, 0.95 * r);  // on the tessellated sphere
        // The hit lies ahead on the ray.
        const CGeoVector along = hit - ray.o;
        EXPECT_GT(along * ray.d, 0.0);
        EXPECT_LT((along ^ ray.d).Length() / ray.d.Length(), 1e-6);
    }
    CKrPoint3d hit(9, 9, 9);
    EXPECT_FALSE(q.IntersectRay(hit, CKrPoint3d(0, 0, -300), CGeoVector(0, 0, -1)));  // pointing away
    EXPECT_FALSE(q.IntersectRay(hit, CKrPoint3d(60, 0, -300), CGeoVector(0, 0, 1)));  // passing beside
    EXPECT_FALSE(q.IntersectRay(hit, CKrPoint3d(0, 0, 0), CGeoVector(0, 0, 0)));      // no direction
    EXPECT_EQ(hit.x, 9.0);
    CKrMeshData empty;
    Q qe(empty);
    EXPECT_FALSE(qe.IntersectRay(hit, CKrPoint3d(0, 0, 0), CGeoVector(1, 0, 0)));
}

TEST(MeshQueryHitTest, SidesOfClosedMeshes)
{
    const double r = 50.0;
    edittest::Pts pts;
    edittest::Ids ids;
    edittest::Sphere(r, 10, pts, ids);
    CKrMeshData sphere;
    Load(sphere, pts, ids);
    Q qs(sphere);
    const CGeoVector up(0, 0, 1);
    EXPECT_EQ(qs.HitTestPt(CKrPoint3d(0, 0, 0), up), Q::eHitBack);
    EXPECT_EQ(qs.HitTestPt(CKrPoint3d(20, -10, 30), up), Q::eHitBack);
    EXPECT_EQ(qs.HitTestPt(CKrPoint3d(0.97 * r, 0, 0), up), Q::eHitBack);
    EXPECT_EQ(qs.HitTestPt(CKrPoint3d(200, 0, 0), up), Q::eHitFront);
    EXPECT_EQ(qs.HitTestPt(CKrPoint3d(r + 0.5, 0, 0), up), Q::eHitFront);  // facing a vertex: a tie
    EXPECT_EQ(qs.HitTestPt(CKrPoint3d(30, 30, 30), up), Q::eHitFront);
    // On a vertex of the mesh: the direction decides.
    EXPECT_EQ(qs.HitTestPt(CKrPoint3d(r, 0, 0), CGeoVector(1, 0, 0)), Q::eHitOnFront);
    EXPECT_EQ(qs.HitTestPt(CKrPoint3d(r, 0, 0), CGeoVector(-1, 0, 0)), Q::eHitOnBack);
    // On a face: its own triangle.
    const _sTri* t = *sphere.m_setTri.begin();
    const CKrPoint3d a = t->pVer[0]->pt, b = t->pVer[1]->pt, c = t->pVer[2]->pt;
    const CKrPoint3d g = (a + b + c) * (1.0 / 3.0);
    const CGeoVector n = CGeoVector(b - a) ^ CGeoVector(c - a);
    EXPECT_EQ(qs.HitTestPt(g, n), Q::eHitOnFront);
    EXPECT_EQ(qs.HitTestPt(g, n * -1.0), Q::eHitOnBack);
    EXPECT_EQ(qs.HitTestPt(g, CGeoVector(b - a)), Q::eHitOnBack);  // along the surface
    EXPECT_EQ(qs.HitTestTri(a, b, c), Q::eHitOnFront);
    EXPECT_EQ(qs.HitTestTri(b, a, c), Q::eHitOnBack);
    EXPECT_EQ(qs.HitTestTri(CKrPoint3d(0, 0, 0), CKrPoint3d(1, 0, 0), CKrPoint3d(0, 1, 0)), Q::eHitBack);
    EXPECT_EQ(qs.HitTestTri(CKrPoint3d(99, 0, 0), CKrPoint3d(99, 1, 0), CKrPoint3d(99, 0, 1)), Q::eHitFront);
    EXPECT_EQ(qs.HitTestTri(CKrPoint3d(0, 0, 0), CKrPoint3d(1, 1, 1), CKrPoint3d(2, 2, 2)), Q::eHitNone);

    // A box: points facing its corners and edges are nearest to several
    // triangles at once; inside points near them too.
    edittest::Box(CKrPoint3d(0, 0, 0), CKrPoint3d(10, 10, 10), pts, ids);
    CKrMeshData box;
    Load(box, pts, ids);
    Q qb(box);
    for (const CKrPoint3d& p : {CKrPoint3d(11, 11, 11), CKrPoint3d(-1, -1, -1), CKrPoint3d(11, 11, 5),
                                CKrPoint3d(5, -2, 12), CKrPoint3d(10.5, 5, 5), CKrPoint3d(10 + 2e-6, 3, 3)})
        EXPECT_EQ(qb.HitTestPt(p, up), Q::eHitFront) << p.x << " " << p.y << " " << p.z;
    for (const CKrPoint3d& p : {CKrPoint3d(9, 9, 9), CKrPoint3d(1, 1, 1), CKrPoint3d(5, 5, 5), CKrPoint3d(9.5, 9.5, 5),
                                CKrPoint3d(10 - 2e-6, 3, 3)})
        EXPECT_EQ(qb.HitTestPt(p, up), Q::eHitBack) << p.x << " " << p.y << " " << p.z;
    // On the top face, on its edge and on a corner.
    EXPECT_EQ(qb.HitTestPt(CKrPoint3d(3, 4, 10), up), Q::eHitOnFront);
    EXPECT_EQ(qb.HitTestPt(CKrPoint3d(3, 4, 10 + 5e-7), up * -1.0), Q::eHitOnBack);
    const Q::eTriHitMesh corner = qb.HitTestPt(CKrPoint3d(10, 10, 10), CGeoVector(1, 1, 1));
    EXPECT_EQ(corner, Q::eHitOnFront);  // every face at the corner faces outwards

    // A needle: near its apex a point outside can lie behind the planes of
    // two of the three faces that meet there, all three being equally near
    // (at the apex). Only the tie resolution tells it is outside, whichever
    // face comes first.
    pts.clear();
    ids.clear();
    const double pi = 3.141592653589793;
    for (int k = 0; k < 3; ++k) pts.emplace_back(std::cos(2 * pi * k / 3), std::sin(2 * pi * k / 3), 0.0);
    pts.emplace_back(0.0, 0.0, 10.0);
    ids = {{0, 1, 3}, {1, 2, 3}, {2, 0, 3}, {0, 2, 1}};
    CKrMeshData needle;
    Load(needle, pts, ids);
    std::vector<CGeoVector> normals;
    for (const auto& t : ids) {
        CGeoVector n = CGeoVector(pts[t[1]] - pts[t[0]]) ^ CGeoVector(pts[t[2]] - pts[t[0]]);
        n.Normalize();
        normals.push_back(n);
    }
    Q qn(needle);
    for (int k = 0; k < 3; ++k) {
        CGeoVector d = normals[k] + (normals[(k + 1) % 3] + normals[(k + 2) % 3]) * 0.1;
        d.Normalize();
        const CKrPoint3d p = pts[3] + d * 0.5;
        ASSERT_LT(CGeoVector(p - pts[3]) * normals[(k + 1) % 3], -0.1);  // behind the other two planes
        EXPECT_EQ(qn.HitTestPt(p, up), Q::eHitFront) << k;
    }
    EXPECT_EQ(qn.HitTestPt(CKrPoint3d(0, 0, 9.5), up), Q::eHitBack);

    // An open square in z = 0: a point in its plane beyond a side is "back";
    // beyond a corner shared by both triangles nothing can decide.
    edittest::Grid(1, 1, [](double, double) { return 0.0; }, pts, ids);
    for (auto& p : pts) p = p * 10.0;
    CKrMeshData sq;
    Load(sq, pts, ids);
    Q qq(sq);
    EXPECT_EQ(qq.HitTestPt(CKrPoint3d(12, 5, 0), up), Q::eHitBack);
    EXPECT_EQ(qq.HitTestPt(CKrPoint3d(12, 12, 0), up), Q::eHitNone);
    EXPECT_EQ(qq.HitTestPt(CKrPoint3d(5, 2, 3), up), Q::eHitFront);
    EXPECT_EQ(qq.HitTestPt(CKrPoint3d(5, 2, -3), up), Q::eHitBack);

    CKrMeshData empty;
    Q qe(empty);
    EXPECT_EQ(qe.HitTestPt(CKrPoint3d(0, 0, 0), up), Q::eHitNone);
    EXPECT_EQ(qe.HitTestTri(CKrPoint3d(0, 0, 0), CKrPoint3d(1, 0, 0), CKrPoint3d(0, 1, 0)), Q::eHitNone);
}

TEST(MeshQueryOutline, LoopsOfMeshesWithHoles)
{
    // 6 x 6 grid; a one-square hole and a two-square hole.
    edittest::Pts pts;
    edittest::Ids ids;
    auto skip = [](int i, int j) { return (i == 1 && j == 1) || (j == 3 && (i == 3 || i == 4)); };
    edittest::Grid(6, 6, [](double x, double y) { return 0.5 * x + y; }, pts, ids, skip);
    CKrMeshData mesh;
    Load(mesh, pts, ids);
    Q q(mesh);
    std::vector<CKrPolyLine> loops;
    ASSERT_TRUE(q.GetOutline(loops));
    ASSERT_EQ(loops.size(), 3u);
    std::multiset<unsigned> sizes;
    for (const CKrPolyLine& l : loops) {
        EXPECT_TRUE(l.IsClosed());
        sizes.insert(l.NumVerts());
        const auto& v = l.GetVerts();
        EXPECT_FALSE(v.front() == v.back());  // the first vertex is not repeated
        std::set<std::pair<double, double>> distinct;
        for (std::size_t k = 0; k < v.size(); ++k) {
            const CKrPoint3d& p = v[k];
            const CKrPoint3d& nx = v[(k + 1) % v.size()];
            EXPECT_NEAR(p.Distance2d(nx), 1.0, 1e-12);  // consecutive border vertices
            EXPECT_NEAR(p.z, 0.5 * p.x + p.y, 1e-12);  // the mesh's own vertices
            distinct.insert({p.x, p.y});
        }
        EXPECT_EQ(distinct.size(), v.size());
    }
    EXPECT_EQ(sizes, (std::multiset<unsigned>{4, 6, 24}));
    CKrPolyLine outer;
    ASSERT_TRUE(q.GetOutline(outer));
    EXPECT_EQ(outer.NumVerts(), 24u);
    for (const CKrPoint3d& p : outer.GetVerts())
        EXPECT_TRUE(p.x == 0 || p.x == 6 || p.y == 0 || p.y == 6) << p.x << " " << p.y;

    // One isolated triangle has no outline; beside a sheet it is left out.
    CKrMeshData one;
    one.InputData(edittest::Pts{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, edittest::Ids{{0, 1, 2}}, true);
    Q q1(one);
    CKrPolyLine none;
    EXPECT_FALSE(q1.GetOutline(none));
    EXPECT_FALSE(q1.GetOutline(loops));
    edittest::Grid(2, 1, [](double, double) { return 0.0; }, pts, ids);
    pts.push_back({10, 10, 0});
    pts.push_back({11, 10, 0});
    pts.push_back({10, 11, 0});
    ids.emplace_back(6, 7, 8);
    CKrMeshData mixed;
    Load(mixed, pts, ids);
    Q qm(mixed);
    ASSERT_TRUE(qm.GetOutline(loops));
    ASSERT_EQ(loops.size(), 1u);
    EXPECT_EQ(loops[0].NumVerts(), 6u);
    CKrMeshData empty;
    Q qe(empty);
    EXPECT_FALSE(qe.GetOutline(loops));
}

TEST(MeshQueryOutline, LinkingByVertexIdentity)
{
    // Open chains, a chain that must grow at its head, and a closed square,
    // given out of order.
    _sVertex v[8];
    for (int i = 0; i < 8; ++i) v[i].pt = CKrPoint3d(i, i * i, 0);
    _sSeg s[] = {{&v[1], &v[2]}, {&v[3], &v[4]}, {&v[0], &v[1]}, {&v[5], &v[6]}, {&v[2], &v[3]},
                 {&v[7], &v[6]}, {&v[4], &v[1]}};
    std::vector<_sSeg*> segs;
    for (auto& x : s) segs.push_back(&x);
    CKrMeshData mesh;
    Q q(mesh);
    std::vector<CKrPolyLine> out;
    ASSERT_TRUE(Access::LinkPtrSegs(q, segs, out));
    ASSERT_EQ(out.size(), 2u);
    // From 1-2 the first segment after it that meets an end is 0-1 (grows the
    // head), then 2-3, 3-4 and 4-1 in turn at the tail: 0 1 2 3 4 1, open
    // because its ends differ even though it passes vertex 1 twice.
    const auto& a = out[0].GetVerts();
    ASSERT_EQ(a.size(), 6u);
    const double xs[] = {0, 1, 2, 3, 4, 1};
    for (int k = 0; k < 6; ++k) EXPECT_EQ(a[k].x, xs[k]);
    EXPECT_FALSE(out[0].IsClosed());
    // 5-6 then 7-6 joins at the tail (second vertex matches): 5 6 7.
    const auto& b = out[1].GetVerts();
    ASSERT_EQ(b.size(), 3u);
    EXPECT_EQ(b[0].x, 5);
    EXPECT_EQ(b[2].x, 7);
    EXPECT_FALSE(out[1].IsClosed());

    // A ring closes and drops its repeated vertex.
    _sSeg r[] = {{&v[0], &v[1]}, {&v[2], &v[0]}, {&v[1], &v[2]}};
    segs.clear();
    for (auto& x : r) segs.push_back(&x);
    ASSERT_TRUE(Access::LinkPtrSegs(q, segs, out));
    ASSERT_EQ(out.size(), 1u);
    EXPECT_TRUE(out[0].IsClosed());
    EXPECT_EQ(out[0].NumVerts(), 3u);
}

TEST(MeshQueryDrape, PolylinesFollowTheSurface)
{
    edittest::Pts pts;
    edittest::Ids ids;
    auto f = [](double x, double y) { return 0.05 * x * x - 0.1 * y; };
    edittest::Grid(8, 8, f, pts, ids, [](int i, int j) { return i == 4 && j >= 2 && j <= 5; });
    CKrMeshData mesh;
    Load(mesh, pts, ids);
    Q q(mesh);

    // Segment form: pieces over each triangle, on the surface, covering the
    // plan length of the line once.
    const std::vector<CKrPoint3d> line = {{0.5, 0.5, 0}, {3.5, 1.7, 0}};
    std::vector<CKrSeg3d> segs;
    ASSERT_TRUE(q.GetMapPolyline(line, false, segs));
    ASSERT_GT(segs.size(), 3u);
    double len = 0.0;
    for (const CKrSeg3d& s : segs) {
        len += s.m_pt[0].Distance2d(s.m_pt[1]);
        for (const CKrPoint3d& p : s.m_pt) {
            double z = 0.0;
            ASSERT_TRUE(q.GetMapPoint(p.x, p.y, z));
            EXPECT_NEAR(p.z, z, 1e-9);
        }
    }
    EXPECT_NEAR(len, line[0].Distance2d(line[1]), 1e-9);

    // Polyline form: one open chain from start to end.
    std::vector<CKrPolyLine> pl;
    ASSERT_TRUE(q.GetMapPolyline(line, false, pl));
    ASSERT_EQ(pl.size(), 1u);
    EXPECT_FALSE(pl[0].IsClosed());
    const auto& v = pl[0].GetVerts();
    EXPECT_NEAR(v.front().Distance2d(line[0]) + v.back().Distance2d(line[1]), 0.0, 1e-9);
    double z0 = 0.0;
    ASSERT_TRUE(q.GetMapPoint(0.5, 0.5, z0));
    EXPECT_NEAR(v.front().z, z0, 1e-9);
    EXPECT_NEAR(pl[0].GetLength2d(), line[0].Distance2d(line[1]), 1e-9);

    // Closed: the last point joins the first; one closed ring.
    const std::vector<CKrPoint3d> tri = {{0.5, 0.5, 0}, {2.5, 0.5, 0}, {1.5, 3.5, 0}};
    ASSERT_TRUE(q.GetMapPolyline(tri, true, pl));
    ASSERT_EQ(pl.size(), 1u);
    EXPECT_TRUE(pl[0].IsClosed());
    ASSERT_TRUE(q.GetMapPolyline(tri, false, pl));
    ASSERT_EQ(pl.size(), 1u);
    EXPECT_FALSE(pl[0].IsClosed());

    // Across the hole the drape breaks in two; off the surface it is cut.
    ASSERT_TRUE(q.GetMapPolyline({{1.5, 3.5, 0}, {7.5, 3.5, 0}}, false, pl));
    ASSERT_EQ(pl.size(), 2u);
    ASSERT_TRUE(q.GetMapPolyline({{-5, 1.5, 0}, {3, 1.5, 0}}, false, pl));
    ASSERT_EQ(pl.size(), 1u);
    EXPECT_NEAR(pl[0].GetLength2d(), 3.0, 1e-9);

    // One point, or a line entirely off the surface.
    EXPECT_FALSE(q.GetMapPolyline({{1, 1, 0}}, false, segs));
    EXPECT_FALSE(q.GetMapPolyline({{1, 1, 0}}, true, pl));
    EXPECT_FALSE(q.GetMapPolyline({{20, 20, 0}, {30, 20, 0}}, false, pl));
    EXPECT_TRUE(pl.empty());
    ASSERT_TRUE(q.GetMapPolyline({{20, 20, 0}, {30, 20, 0}}, false, segs));
    EXPECT_TRUE(segs.empty());
}

TEST(MeshQuerySearch, CandidatesTrianglesAtAPointAndVerticesInAPolygon)
{
    edittest::Pts pts;
    edittest::Ids ids;
    edittest::Grid(5, 5, [](double x, double y) { return x + y; }, pts, ids);
    CKrMeshData mesh;
    Load(mesh, pts, ids);
    Q q(mesh);

    std::vector<_sTri*> cand, in;
    Access::FindTriByPos(q, CKrPoint3d(2.3, 1.4, 999.0), cand, false);  // plan search: any height
    EXPECT_FALSE(cand.empty());
    Access::FindTriByPos(q, CKrPoint3d(2.3, 1.4, 999.0), cand, true);  // spatial search: far above
    EXPECT_TRUE(cand.empty());

    // Inside one triangle, on a diagonal, on an interior vertex (six
    // triangles meet there), off the mesh.
    ASSERT_TRUE(Access::FindTriIncludePt(q, CKrPoint3d(2.7, 1.2, 3.9), in));
    EXPECT_EQ(in.size(), 1u);
    in.clear();
    ASSERT_TRUE(Access::FindTriIncludePt(q, CKrPoint3d(2.5, 1.5, 4.0), in));
    EXPECT_EQ(in.size(), 2u);
    in.clear();
    ASSERT_TRUE(Access::FindTriIncludePt(q, CKrPoint3d(2, 2, 4), in));
    EXPECT_EQ(std::set<_sTri*>(in.begin(), in.end()).size(), 6u);
    const std::size_t had = in.size();
    EXPECT_TRUE(Access::FindTriIncludePt(q, CKrPoint3d(9, 9, 18), in));  // out is not cleared
    EXPECT_EQ(in.size(), had);
    in.clear();
    EXPECT_FALSE(Access::FindTriIncludePt(q, CKrPoint3d(9, 9, 18), in));

    // Vertices strictly inside a polygon; those on its boundary are not.
    std::vector<_sVertex*> vs;
    ASSERT_TRUE(Access::GetVersInMapPolygon(q, {{0.5, 0.5, 0}, {3, 0.5, 0}, {3, 3.5, 0}, {0.5, 3.5, 0}}, vs));
    std::set<std::pair<double, double>> got;
    for (const _sVertex* v : vs) got.insert({v->pt.x, v->pt.y});
    EXPECT_EQ(got.size(), vs.size());
    EXPECT_EQ(got, (std::set<std::pair<double, double>>{{1, 1}, {2, 1}, {1, 2}, {2, 2}, {1, 3}, {2, 3}}));
    EXPECT_TRUE(std::is_sorted(vs.begin(), vs.end(), std::less<_sVertex*>()));
    EXPECT_FALSE(Access::GetVersInMapPolygon(q, {{0, 0, 0}, {5, 5, 0}}, vs));
    EXPECT_FALSE(Access::GetVersInMapPolygon(q, {{1.2, 1.2, 0}, {1.8, 1.2, 0}, {1.5, 1.8, 0}}, vs));
}
