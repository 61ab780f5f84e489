#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "support/KrTestMeshes.h"
#include "KrTesGeometry/boolean/KrMeshTrans.h"

using namespace TesTriMesh;
using KrTesGeo::CGeoVector;
using Lists = std::vector<_sTri*>[5];  // region1, region2, hit3, hit4, hit0

namespace TesTriMesh {

// Test hook: reaches the private building blocks of CKrMeshTrans.
class CKrMeshTransTestAccess {
public:
    static int Section(const _sTri* t, const CKrPoint3d& p, const CGeoVector& n, CKrPoint3d& a, CKrPoint3d& b,
                       std::vector<_sEdgeConVer*>& conv, int& edge)
    {
        return CKrMeshTrans::IntersectTriAndPlane3D(t, p, n, a, b, conv, edge, 1e-6);
    }
    static void Sign(const CKrMeshTrans& m, const std::vector<CKrPoint3d>& poly) { m.SignTrisInPolygon(poly); }
    static bool Fill(CKrMeshTrans& m, const CKrPoint3d& p, std::vector<_sTri*>& out)
    {
        return m.GetOneSideTrisByOnePt(p, out);
    }
    static void Sort(CKrMeshTrans& m, CKrMeshData& other, Lists& l, CKrTri3d& seed)
    {
        for (auto& x : l) x.clear();
        EXPECT_TRUE(m.SortTrisByEdge(other, l[0], l[1], l[2], l[3], l[4], seed));
    }
};

}  // namespace TesTriMesh

using Access = TesTriMesh::CKrMeshTransTestAccess;

namespace {

CKrPoint3d Centroid(const _sTri* t) { return (t->pVer[0]->pt + t->pVer[1]->pt + t->pVer[2]->pt) * (1.0 / 3.0); }

// Flags every edge of the mesh whose two ends satisfy on(p).
template <class F>
void FlagEdges(CKrMeshData& m, F on)
{
    for (_sTri* t : m.m_setTri)
        for (_sEdge* e : t->pEdge) e->bSign = on(e->pVer[0]->pt) && on(e->pVer[1]->pt);
}

}  // namespace

TEST(MeshTransSection, PlanesThroughNoneOneTwoAndThreeCorners)
{
    CKrMeshData mesh;
    mesh.InputData(testmesh::Pts{{0, 0, 0}, {10, 0, 0}, {0, 10, 0}}, testmesh::Ids{{0, 1, 2}}, true);
    const _sTri* t = *mesh.m_setTri.begin();
    const CKrPoint3d P0 = t->pVer[0]->pt, P1 = t->pVer[1]->pt, P2 = t->pVer[2]->pt;
    ASSERT_EQ(P1.x, 10.0);
    std::vector<_sEdgeConVer*> conv;
    CKrPoint3d a, b;
    int edge = -7;
    // The result, pt1, pt2 and the records as (edge slot, vertex position).
    auto check = [&](int got, int code, const CKrPoint3d& w1, const CKrPoint3d& w2,
                     std::vector<std::pair<int, CKrPoint3d>> want) {
        EXPECT_EQ(got, code);
        if (code == 2) {
            EXPECT_LT(a.Distance(w1) + b.Distance(w2), 1e-12);
        }
        ASSERT_EQ(conv.size(), want.size());
        std::set<_sVertex*> own;
        for (std::size_t k = 0; k < want.size(); ++k) {
            EXPECT_EQ(conv[k]->edge, t->pEdge[want[k].first]) << k;
            ASSERT_EQ(conv[k]->vertices.size(), 1u);
            EXPECT_LT(conv[k]->vertices[0]->pt.Distance(want[k].second), 1e-12) << k;
            own.insert(conv[k]->vertices[0]);
        }
        EXPECT_EQ(own.size(), conv.size());  // a new vertex in every record
        for (_sEdgeConVer* r : conv) {
            delete r->vertices[0];
            delete r;
        }
        conv.clear();
    };
    const CKrPoint3d O(0, 0, 0);
    // No corner: pt1 from the lower pair corner towards the lone one.
    check(Access::Section(t, {3, 0, 0}, {1, 0, 0}, a, b, conv, edge), 2, {3, 0, 0}, {3, 7, 0},
          {{0, {3, 0, 0}}, {1, {3, 7, 0}}});
    check(Access::Section(t, {0, 4, 0}, {0, -2, 0}, a, b, conv, edge), 2, {0, 4, 0}, {6, 4, 0},
          {{2, {0, 4, 0}}, {1, {6, 4, 0}}});
    check(Access::Section(t, {0, 0, 5}, {0, 0, 1}, a, b, conv, edge), 0, O, O, {});
    check(Access::Section(t, {3, 3, 0}, {0, 0, -1}, a, b, conv, edge), 1, O, O, {});  // coplanar
    // One corner touching (within eps), then one corner and a crossing.
    check(Access::Section(t, {10 + 5e-7, 0, 0}, {1, 0, 0}, a, b, conv, edge), 2, P1, P1, {{0, P1}, {1, P1}});
    check(Access::Section(t, O, {1, -1, 0}, a, b, conv, edge), 2, P0, {5, 5, 0}, {{0, P0}, {2, P0}, {1, {5, 5, 0}}});
    EXPECT_EQ(edge, -7);  // only an edge in the plane writes edgeIndex
    // Two corners: the joining edge's index, lower corner first, four records.
    check(Access::Section(t, O, {0, 1, 0}, a, b, conv, edge), 2, P0, P1, {{0, P0}, {2, P0}, {0, P1}, {1, P1}});
    EXPECT_EQ(edge, 0);
    check(Access::Section(t, P1, {1, 1, 0}, a, b, conv, edge), 2, P1, P2, {{0, P1}, {1, P1}, {1, P2}, {2, P2}});
    EXPECT_EQ(edge, 1);
    check(Access::Section(t, O, {-1, 0, 0}, a, b, conv, edge), 2, P0, P2, {{0, P0}, {2, P0}, {1, P2}, {2, P2}});
    EXPECT_EQ(edge, 2);

    // The records of one edge merge under CompEdgeConVer.
    _sEdgeConVer r0(t->pEdge[0], nullptr), r1(t->pEdge[0], nullptr), r2(t->pEdge[2], nullptr);
    EXPECT_EQ((std::set<_sEdgeConVer*, CompEdgeConVer>{&r0, &r1, &r2}.size()), 2u);
}

TEST(MeshTransFill, StopsAtBarrierEdgesSignedTrianglesAndTheBorder)
{
    auto f = [](double x, double y) { return 0.1 * x + 0.2 * y; };
    CKrMeshData mesh;
    testmesh::Load(mesh, testmesh::Grid(6, 6, 0, 0, 1, f));
    CKrMeshTrans trans(mesh);

    // A cut along x = 3: each side is filled alone, seed (under the point) first.
    FlagEdges(mesh, [](const CKrPoint3d& p) { return p.x == 3.0; });
    std::vector<_sTri*> left, right;
    ASSERT_TRUE(Access::Fill(trans, CKrPoint3d(1.3, 2.2, f(1.3, 2.2)), left));
    ASSERT_EQ(left.size(), 36u);
    EXPECT_EQ(std::set<_sTri*>(left.begin(), left.end()).size(), 36u);
    EXPECT_LT(Centroid(left[0]).Distance2d(CKrPoint3d(1.3, 2.2, 0)), 0.8);
    for (const _sTri* x : left) {
        EXPECT_LT(Centroid(x).x, 3.0);
        EXPECT_EQ(x->nSign[1], 1);  // visit marks stay set
    }
    ASSERT_TRUE(Access::Fill(trans, CKrPoint3d(4.6, 0.3, f(4.6, 0.3)), right));
    EXPECT_EQ(right.size(), 36u);

    // Signed triangles (a column at 2 < x < 3) stop the fill too.
    mesh.ResetSign();
    for (_sTri* x : mesh.m_setTri) x->nSign[0] = Centroid(x).x > 2.0 && Centroid(x).x < 3.0 ? 1 : 0;
    left.clear();
    ASSERT_TRUE(Access::Fill(trans, CKrPoint3d(0.2, 5.5, f(0.2, 5.5)), left));
    EXPECT_EQ(left.size(), 24u);
    for (const _sTri* x : left) EXPECT_LT(Centroid(x).x, 2.0);
    left.clear();
    EXPECT_FALSE(Access::Fill(trans, CKrPoint3d(50, 50, 0), left));
    EXPECT_TRUE(left.empty());

    // A region of 320,000 triangles: the fill needs no deep recursion.
    CKrMeshData big;
    testmesh::Load(big, testmesh::Grid(400, 400, 0, 0, 1, [](double, double) { return 0.0; }));
    CKrMeshTrans bigTrans(big);
    ASSERT_TRUE(Access::Fill(bigTrans, CKrPoint3d(0.3, 0.2, 0), left));
    EXPECT_EQ(left.size(), static_cast<std::size_t>(big.TriNum()));
}

TEST(MeshTransSign, TrianglesWhoseCentroidIsInsideThePolygon)
{
    CKrMeshData mesh;
    testmesh::Load(mesh, testmesh::Grid(5, 5, 0, 0, 1, [](double x, double) { return x; }));
    CKrMeshTrans trans(mesh);
    Access::Sign(trans, {{1, 1, 0}, {3.5, 1, 0}, {3.5, 3, 0}, {1, 3, 0}});
    int marked = 0;
    for (const _sTri* t : mesh.m_setTri) {
        const CKrPoint3d c = Centroid(t);
        EXPECT_EQ(t->nSign[0], c.x > 1 && c.x < 3.5 && c.y > 1 && c.y < 3 ? 1 : 0) << c.x << " " << c.y;
        marked += t->nSign[0] == 1;
    }
    EXPECT_EQ(marked, 10);
    // Centroids (1 + 1/3, j + 2/3) lie on the edge x = 4/3: not marked.
    Access::Sign(trans, {{0, 0, 0}, {4.0 / 3.0, 0, 0}, {4.0 / 3.0, 5, 0}, {0, 5, 0}});
    for (const _sTri* t : mesh.m_setTri) EXPECT_EQ(t->nSign[0], Centroid(t).x < 1.3 ? 1 : 0);
    // Two points: every mark 0 (not -1).
    Access::Sign(trans, {{0, 0, 0}, {5, 5, 0}});
    for (const _sTri* t : mesh.m_setTri) EXPECT_EQ(t->nSign[0], 0);
}

TEST(MeshTransSort, RegionsAndTrianglesOnTheOtherSurface)
{
    // A 6 x 6 sheet at z = 0 facing up; a box [2, 4]^2 x [0, 2] whose bottom
    // (facing down) lies in the sheet.
    CKrMeshData sheet;
    testmesh::Load(sheet, testmesh::Grid(6, 6, 0, 0, 1, [](double, double) { return 0.0; }));
    CKrMeshData box;
    testmesh::Load(box, testmesh::Box(2, 2, 0, 4, 4, 2));
    auto under = [](const _sTri* t) {
        const CKrPoint3d c = Centroid(t);
        return c.x > 2 && c.x < 4 && c.y > 2 && c.y < 4;
    };
    CKrMeshTrans trans(sheet);
    Lists l;
    CKrTri3d seed;
    // Flagged triangles are sorted first: on the box, facing the other way.
    for (_sTri* t : sheet.m_setTri) t->bSign = under(t);
    Access::Sort(trans, box, l, seed);
    EXPECT_EQ(l[3].size(), 8u);
    for (const _sTri* t : l[3]) EXPECT_TRUE(under(t));
    EXPECT_EQ(l[0].size(), 64u);  // the rest: one region in front
    EXPECT_EQ(l[1].size() + l[2].size() + l[4].size(), 0u);
    EXPECT_EQ(seed.m_pt[1].Distance(l[0][0]->pVer[1]->pt), 0.0);  // the region's seed comes first
    sheet.ResetSign();
    sheet.Invert();  // now facing like the box bottom
    for (_sTri* t : sheet.m_setTri) t->bSign = under(t);
    Access::Sort(trans, box, l, seed);
    EXPECT_EQ(l[2].size(), 8u);
    // Unflagged, the triangles on the box are set apart only until the
    // first region is filled, which takes the rest of them in.
    sheet.ResetSign();
    std::size_t before = 0;
    for (_sTri* t : sheet.m_setTri) t->bSign = false;
    for (const _sTri* t : sheet.m_setTri) {
        if (!under(t)) break;
        ++before;
    }
    ASSERT_LT(before, 8u);
    Access::Sort(trans, box, l, seed);
    EXPECT_EQ(l[2].size(), before);
    EXPECT_EQ(l[0].size() + l[1].size(), 72u - before);

    // Lifted into the box with the cut lines flagged: the inner piece is
    // behind the box, the outer in front.
    CKrMeshData lifted;
    testmesh::Load(lifted, testmesh::Grid(6, 6, 0, 0, 1, [](double, double) { return 1.0; }));
    FlagEdges(lifted, [](const CKrPoint3d& p) {
        return ((p.x == 2 || p.x == 4) && p.y >= 2 && p.y <= 4) || ((p.y == 2 || p.y == 4) && p.x >= 2 && p.x <= 4);
    });
    CKrMeshTrans trans2(lifted);
    Access::Sort(trans2, box, l, seed);
    EXPECT_EQ(l[0].size(), 64u);
    ASSERT_EQ(l[1].size(), 8u);
    for (const _sTri* t : l[1]) EXPECT_TRUE(under(t));
    // Without flags a connected mesh is one region, sent whole by its seed.
    lifted.ResetSign();
    Access::Sort(trans2, box, l, seed);
    EXPECT_TRUE((l[0].size() == 72u && l[1].empty()) || (l[1].size() == 72u && l[0].empty()));
}
