#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <vector>

#include "edit/EditTestUtil.h"
#include "edit/KrMeshTrans.h"

using namespace TesTriMesh;
using KrTesGeo::CGeoVector;

namespace TesTriMesh {

// Test hook: reaches the private building blocks of CKrMeshTrans.
class CKrMeshTransTestAccess {
public:
    static int Section(const _sTri* t, const CKrPoint3d& p, const CGeoVector& n, CKrPoint3d& a, CKrPoint3d& b,
                       std::vector<_sEdgeConVer*>& conv, int& edge, double eps = 1e-6)
    {
        return CKrMeshTrans::IntersectTriAndPlane3D(t, p, n, a, b, conv, edge, eps);
    }
    static bool IsEndOfSeg(CKrMeshTrans& m, const _sTri* t, const _sEdge* e, _sTri*& next)
    {
        return m.IsEndOfSeg(t, e, next);
    }
    static void SignTrisInPolygon(const CKrMeshTrans& m, const std::vector<CKrPoint3d>& poly)
    {
        m.SignTrisInPolygon(poly);
    }
    static bool GetOneSideTrisByOnePt(CKrMeshTrans& m, const CKrPoint3d& p, std::vector<_sTri*>& out)
    {
        return m.GetOneSideTrisByOnePt(p, out);
    }
    static bool SortTrisByEdge(CKrMeshTrans& m, CKrMeshData& other, std::vector<_sTri*> (&lists)[5], CKrTri3d& seed)
    {
        return m.SortTrisByEdge(other, lists[0], lists[1], lists[2], lists[3], lists[4], seed);
    }
};

}  // namespace TesTriMesh

using Access = TesTriMesh::CKrMeshTransTestAccess;

namespace {

void FreeRecords(std::vector<_sEdgeConVer*>& conv)
{
    for (_sEdgeConVer* r : conv) {
        for (_sVertex* v : r->vertices) delete v;
        delete r;
    }
    conv.clear();
}

CKrPoint3d Centroid(const _sTri* t) { return (t->pVer[0]->pt + t->pVer[1]->pt + t->pVer[2]->pt) * (1.0 / 3.0); }

// Flags every edge of the mesh whose two ends satisfy on(p).
template <class F>
void FlagEdges(CKrMeshData& m, F on)
{
    for (_sTri* t : m.m_setTri)
        for (_sEdge* e : t->pEdge)
            if (on(e->pVer[0]->pt) && on(e->pVer[1]->pt)) e->bSign = true;
}

}  // namespace

TEST(MeshTransSection, PlanesThroughNoneOneTwoAndThreeCorners)
{
    CKrMeshData mesh;
    mesh.InputData(edittest::Pts{{0, 0, 0}, {10, 0, 0}, {0, 10, 0}}, edittest::Ids{{0, 1, 2}}, true);
    const _sTri* t = *mesh.m_setTri.begin();
    const CKrPoint3d P0 = t->pVer[0]->pt, P1 = t->pVer[1]->pt, P2 = t->pVer[2]->pt;
    ASSERT_EQ(P1.x, 10.0);
    std::vector<_sEdgeConVer*> conv;
    CKrPoint3d a(-1, -1, -1), b(-1, -1, -1);
    int edge = -7;

    // Each record: (edge slot, vertex position).
    auto check = [&](std::vector<std::pair<int, CKrPoint3d>> want) {
        ASSERT_EQ(conv.size(), want.size());
        for (std::size_t k = 0; k < want.size(); ++k) {
            EXPECT_EQ(conv[k]->edge, t->pEdge[want[k].first]) << k;
            ASSERT_EQ(conv[k]->vertices.size(), 1u);
            EXPECT_LT(conv[k]->vertices[0]->pt.Distance(want[k].second), 1e-12) << k;
        }
        // Every record has a vertex of its own.
        std::set<_sVertex*> vs;
        for (auto* r : conv) vs.insert(r->vertices[0]);
        EXPECT_EQ(vs.size(), conv.size());
        FreeRecords(conv);
    };

    // No corner in the plane: P1 alone beyond x = 3.
    EXPECT_EQ(Access::Section(t, CKrPoint3d(3, 0, 0), CGeoVector(1, 0, 0), a, b, conv, edge), 2);
    EXPECT_LT(a.Distance(CKrPoint3d(3, 0, 0)), 1e-12);  // from P0 (the lower pair corner)
    EXPECT_LT(b.Distance(CKrPoint3d(3, 7, 0)), 1e-12);  // from P2
    check({{0, CKrPoint3d(3, 0, 0)}, {1, CKrPoint3d(3, 7, 0)}});
    // The same with the normal reversed: sides swap, the section does not.
    EXPECT_EQ(Access::Section(t, CKrPoint3d(0, 4, 0), CGeoVector(0, -2, 0), a, b, conv, edge), 2);
    EXPECT_LT(a.Distance(CKrPoint3d(0, 4, 0)), 1e-12);  // P0 -> P2 crossing
    EXPECT_LT(b.Distance(CKrPoint3d(6, 4, 0)), 1e-12);  // P1 -> P2 crossing
    check({{2, CKrPoint3d(0, 4, 0)}, {1, CKrPoint3d(6, 4, 0)}});

    // Apart, and coplanar: no records.
    EXPECT_EQ(Access::Section(t, CKrPoint3d(0, 0, 5), CGeoVector(0, 0, 1), a, b, conv, edge), 0);
    EXPECT_EQ(Access::Section(t, CKrPoint3d(20, 0, 0), CGeoVector(1, 0, 0), a, b, conv, edge), 0);
    EXPECT_EQ(Access::Section(t, CKrPoint3d(3, 3, 0), CGeoVector(0, 0, -1), a, b, conv, edge), 1);
    EXPECT_TRUE(conv.empty());

    // One corner, the others on one side: touching, pt1 = pt2 = P1, one
    // record for each edge at P1 (a plane within eps of it still touches).
    EXPECT_EQ(Access::Section(t, CKrPoint3d(10 + 5e-7, 0, 0), CGeoVector(1, 0, 0), a, b, conv, edge), 2);
    EXPECT_EQ(a.x, 10.0);
    EXPECT_EQ(b.x, 10.0);
    check({{0, P1}, {1, P1}});
    // One corner, the others on opposite sides: P0 and the crossing on P1P2.
    EXPECT_EQ(Access::Section(t, CKrPoint3d(0, 0, 0), CGeoVector(1, -1, 0), a, b, conv, edge), 2);
    EXPECT_LT(a.Distance(P0), 1e-12);
    EXPECT_LT(b.Distance(CKrPoint3d(5, 5, 0)), 1e-12);
    check({{0, P0}, {2, P0}, {1, CKrPoint3d(5, 5, 0)}});
    EXPECT_EQ(edge, -7);  // only an edge in the plane writes edgeIndex

    // Two corners: the edge joining them, lower corner first, four records.
    EXPECT_EQ(Access::Section(t, CKrPoint3d(0, 0, 0), CGeoVector(0, 1, 0), a, b, conv, edge), 2);
    EXPECT_EQ(edge, 0);
    EXPECT_LT(a.Distance(P0) + b.Distance(P1), 1e-12);
    check({{0, P0}, {2, P0}, {0, P1}, {1, P1}});
    EXPECT_EQ(Access::Section(t, CKrPoint3d(10, 0, 0), CGeoVector(1, 1, 0), a, b, conv, edge), 2);
    EXPECT_EQ(edge, 1);
    EXPECT_LT(a.Distance(P1) + b.Distance(P2), 1e-12);
    check({{0, P1}, {1, P1}, {1, P2}, {2, P2}});
    EXPECT_EQ(Access::Section(t, CKrPoint3d(0, 3, 0), CGeoVector(-1, 0, 0), a, b, conv, edge), 2);
    EXPECT_EQ(edge, 2);
    EXPECT_LT(a.Distance(P0) + b.Distance(P2), 1e-12);
    check({{0, P0}, {2, P0}, {1, P2}, {2, P2}});

    // A tilted plane through no corner in 3D: the crossing points lie in it.
    EXPECT_EQ(Access::Section(t, CKrPoint3d(2, 2, 0), CGeoVector(1, 1, 1), a, b, conv, edge), 2);
    EXPECT_NEAR(a.x + a.y + a.z, 4.0, 1e-12);
    EXPECT_NEAR(b.x + b.y + b.z, 4.0, 1e-12);
    EXPECT_EQ(conv.size(), 2u);
    FreeRecords(conv);

    // Records of one edge are equivalent under CompEdgeConVer.
    Access::Section(t, CKrPoint3d(0, 0, 0), CGeoVector(0, 1, 0), a, b, conv, edge);
    std::set<_sEdgeConVer*, CompEdgeConVer> merged(conv.begin(), conv.end());
    EXPECT_EQ(merged.size(), 3u);
    FreeRecords(conv);
}

TEST(MeshTransFill, StopsAtBarriersSignedTrianglesAndTheBorder)
{
    edittest::Pts pts;
    edittest::Ids ids;
    edittest::Grid(6, 6, [](double x, double y) { return 0.1 * x + 0.2 * y; }, pts, ids);
    CKrMeshData mesh;
    mesh.InputData(pts, ids, true);
    CKrMeshTrans trans(mesh);
    auto zAt = [](double x, double y) { return 0.1 * x + 0.2 * y; };

    // IsEndOfSeg on its own.
    _sTri* t = *mesh.m_setTri.begin();
    _sTri* next = nullptr;
    int inner = -1;
    for (int k = 0; k < 3; ++k)
        if (t->pEdge[k]->pTri[0] && t->pEdge[k]->pTri[1]) inner = k;
    ASSERT_GE(inner, 0);
    EXPECT_FALSE(Access::IsEndOfSeg(trans, t, t->pEdge[inner], next));
    ASSERT_NE(next, nullptr);
    EXPECT_EQ(next, t->pEdge[inner]->CoEdgeTri(t));
    next->nSign[1] = 1;
    EXPECT_TRUE(Access::IsEndOfSeg(trans, t, t->pEdge[inner], next));
    next->nSign[1] = -1;
    next->nSign[0] = 1;
    EXPECT_TRUE(Access::IsEndOfSeg(trans, t, t->pEdge[inner], next));
    next->nSign[0] = 0;
    t->pEdge[inner]->bSign = true;
    EXPECT_TRUE(Access::IsEndOfSeg(trans, t, t->pEdge[inner], next));
    mesh.ResetSign();

    // A cut along x = 3: the fill from the left gets exactly the left half.
    FlagEdges(mesh, [](const CKrPoint3d& p) { return p.x == 3.0; });
    std::vector<_sTri*> out;
    ASSERT_TRUE(Access::GetOneSideTrisByOnePt(trans, CKrPoint3d(1.3, 2.2, zAt(1.3, 2.2)), out));
    EXPECT_EQ(out.size(), 36u);
    EXPECT_EQ(std::set<_sTri*>(out.begin(), out.end()).size(), out.size());
    for (const _sTri* x : out) {
        EXPECT_LT(Centroid(x).x, 3.0);
        EXPECT_EQ(x->nSign[1], 1);  // visit marks stay set
    }
    // The seed is the triangle under the point and comes first.
    const CKrPoint3d c0 = Centroid(out[0]);
    EXPECT_LT(std::abs(c0.x - 1.3) + std::abs(c0.y - 2.2), 1.0);
    // A second fill from the same side finds nothing new to visit but its seed.
    std::vector<_sTri*> again;
    ASSERT_TRUE(Access::GetOneSideTrisByOnePt(trans, CKrPoint3d(4.6, 0.3, zAt(4.6, 0.3)), again));
    EXPECT_EQ(again.size(), 36u);
    for (const _sTri* x : again) EXPECT_GT(Centroid(x).x, 3.0);

    // Signed triangles: a column at x in [2, 3] stops the fill as a barrier.
    mesh.ResetSign();
    for (_sTri* x : mesh.m_setTri)
        if (Centroid(x).x > 2.0 && Centroid(x).x < 3.0) x->nSign[0] = 1;
    out.clear();
    ASSERT_TRUE(Access::GetOneSideTrisByOnePt(trans, CKrPoint3d(0.2, 5.5, zAt(0.2, 5.5)), out));
    EXPECT_EQ(out.size(), 24u);
    for (const _sTri* x : out) EXPECT_LT(Centroid(x).x, 2.0);

    // Outside the mesh: false, out untouched.
    mesh.ResetSign();
    out.clear();
    EXPECT_FALSE(Access::GetOneSideTrisByOnePt(trans, CKrPoint3d(50, 50, 0), out));
    EXPECT_TRUE(out.empty());
}

TEST(MeshTransFill, LargeRegionNeedsNoDeepRecursion)
{
    // 400 x 400 squares: a region of 320,000 triangles in one fill. A
    // recursive fill of this depth would exhaust the stack.
    edittest::Pts pts;
    edittest::Ids ids;
    edittest::Grid(400, 400, [](double, double) { return 0.0; }, pts, ids);
    CKrMeshData mesh;
    mesh.InputData(pts, ids, true);
    CKrMeshTrans trans(mesh);
    std::vector<_sTri*> out;
    ASSERT_TRUE(Access::GetOneSideTrisByOnePt(trans, CKrPoint3d(0.3, 0.2, 0), out));
    EXPECT_EQ(out.size(), static_cast<std::size_t>(mesh.TriNum()));
}

TEST(MeshTransSign, TrianglesWhoseCentroidIsInsideThePolygon)
{
    edittest::Pts pts;
    edittest::Ids ids;
    edittest::Grid(5, 5, [](double x, double) { return x; }, pts, ids);
    CKrMeshData mesh;
    mesh.InputData(pts, ids, true);
    CKrMeshTrans trans(mesh);
    // Triangle centroids sit at (i + 2/3, j + 1/3) and (i + 1/3, j + 2/3).
    const std::vector<CKrPoint3d> poly = {{1, 1, 0}, {3.5, 1, 0}, {3.5, 3, 0}, {1, 3, 0}};
    Access::SignTrisInPolygon(trans, poly);
    int marked = 0;
    for (const _sTri* t : mesh.m_setTri) {
        const CKrPoint3d c = Centroid(t);
        const bool inside = c.x > 1 && c.x < 3.5 && c.y > 1 && c.y < 3;
        EXPECT_EQ(t->nSign[0], inside ? 1 : 0) << c.x << " " << c.y;
        marked += t->nSign[0] == 1;
    }
    EXPECT_EQ(marked, 2 * 2 * 2 + 2 * 1);  // two full columns of squares, half of the third

    // A centroid exactly on the boundary is not marked: the edge x = 4/3
    // passes through the centroids (1 + 1/3, j + 2/3).
    Access::SignTrisInPolygon(trans, {{0, 0, 0}, {4.0 / 3.0, 0, 0}, {4.0 / 3.0, 5, 0}, {0, 5, 0}});
    for (const _sTri* t : mesh.m_setTri) {
        const CKrPoint3d c = Centroid(t);
        EXPECT_EQ(t->nSign[0], c.x < 1.3 ? 1 : 0) << c.x << " " << c.y;
    }
    // Fewer than three points: every mark 0 (not -1), nothing selected.
    Access::SignTrisInPolygon(trans, {{0, 0, 0}, {5, 5, 0}});
    for (const _sTri* t : mesh.m_setTri) EXPECT_EQ(t->nSign[0], 0);
}

TEST(MeshTransSort, RegionsAndTrianglesOnTheOtherSurface)
{
    // A flat 6 x 6 sheet at z = 0 and a box [2, 4]^2 x [0, 2] whose bottom
    // face lies in the sheet (facing down, the sheet faces up).
    edittest::Pts pts;
    edittest::Ids ids;
    edittest::Grid(6, 6, [](double, double) { return 0.0; }, pts, ids);
    CKrMeshData sheet;
    sheet.InputData(pts, ids, true);
    edittest::Box(CKrPoint3d(2, 2, 0), CKrPoint3d(4, 4, 2), pts, ids);
    CKrMeshData box;
    box.InputData(pts, ids, true);
    auto under = [](const _sTri* t) {
        const CKrPoint3d c = Centroid(t);
        return c.x > 2 && c.x < 4 && c.y > 2 && c.y < 4;
    };

    // The triangles under the box were touched by an intersection step:
    // sorted first, they lie on the box facing the other way.
    for (_sTri* t : sheet.m_setTri) t->bSign = under(t);
    CKrMeshTrans trans(sheet);
    std::vector<_sTri*> lists[5];
    CKrTri3d seed;
    ASSERT_TRUE(Access::SortTrisByEdge(trans, box, lists, seed));
    EXPECT_EQ(lists[3].size(), 8u);  // hit4
    for (const _sTri* t : lists[3]) EXPECT_TRUE(under(t));
    EXPECT_EQ(lists[0].size(), 64u);  // the rest: one region in front of the box
    EXPECT_TRUE(lists[1].empty());
    EXPECT_TRUE(lists[2].empty());
    EXPECT_TRUE(lists[4].empty());
    std::set<const _sTri*> seen(lists[0].begin(), lists[0].end());
    seen.insert(lists[3].begin(), lists[3].end());
    EXPECT_EQ(seen.size(), 72u);
    // The region's seed comes first and is the last seed reported.
    EXPECT_EQ(seed.m_pt[0].Distance(lists[0][0]->pVer[0]->pt), 0.0);

    // Inverted, the sheet faces the same way as the box bottom.
    sheet.ResetSign();
    sheet.Invert();
    for (_sTri* t : sheet.m_setTri) t->bSign = under(t);
    for (auto& l : lists) l.clear();
    Access::SortTrisByEdge(trans, box, lists, seed);
    EXPECT_EQ(lists[2].size(), 8u);  // hit3
    EXPECT_EQ(lists[0].size(), 64u);

    // Lifted into the box with the cut line flagged (no triangle flagged):
    // the inner piece is a region behind the box, the outer in front.
    edittest::Grid(6, 6, [](double, double) { return 1.0; }, pts, ids);
    CKrMeshData lifted;
    lifted.InputData(pts, ids, true);
    FlagEdges(lifted, [](const CKrPoint3d& p) {
        return ((p.x == 2 || p.x == 4) && p.y >= 2 && p.y <= 4) || ((p.y == 2 || p.y == 4) && p.x >= 2 && p.x <= 4);
    });
    CKrMeshTrans trans2(lifted);
    for (auto& l : lists) l.clear();
    Access::SortTrisByEdge(trans2, box, lists, seed);
    EXPECT_EQ(lists[0].size(), 64u);
    ASSERT_EQ(lists[1].size(), 8u);
    for (const _sTri* t : lists[1]) EXPECT_TRUE(under(t));

    // Without flagged edges a connected mesh is one region, sent whole by
    // its first triangle; a second component is a region of its own.
    lifted.ResetSign();
    for (auto& l : lists) l.clear();
    Access::SortTrisByEdge(trans2, box, lists, seed);
    EXPECT_EQ(lists[0].size() + lists[1].size(), 72u);
    EXPECT_TRUE(lists[0].empty() || lists[1].empty());
    CKrMeshData far;
    far.InputData(edittest::Pts{{0, 0, 1}, {1, 0, 1}, {0, 1, 1}, {3, 3, 1}, {3.5, 3, 1}, {3, 3.5, 1}},
                  edittest::Ids{{0, 1, 2}, {3, 4, 5}}, true);
    CKrMeshTrans trans3(far);
    for (auto& l : lists) l.clear();
    Access::SortTrisByEdge(trans3, box, lists, seed);
    EXPECT_EQ(lists[0].size(), 1u);
    EXPECT_EQ(lists[1].size(), 1u);
    EXPECT_LT(Centroid(lists[1][0]).x, 4.0);
    EXPECT_GT(Centroid(lists[1][0]).x, 3.0);
}
