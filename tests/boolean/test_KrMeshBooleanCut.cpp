// Sectioning triangle pairs, re-triangulating cut triangles and cutting
// whole meshes along their intersection.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>

#include "boolean/KrBooleanCut.h"
#include "boolean/KrMeshBoolean.h"
#include "test_KrMeshBooleanUtil.h"

namespace TesTriMesh {
class CKrMeshBooleanTestAccess {
public:
    static int Section(const _sTri* a, const _sTri* b, std::vector<std::array<CKrPoint3d, 2>>& out)
    {
        return CKrMeshBoolean::IntersectTriAndTri3D(a, b, out);
    }
};
}  // namespace TesTriMesh

namespace {

using namespace TesTriMesh;
using booltest::Solid;

// ---- the planar triangulation of a cut triangle ------------------------------

double Area2(const std::vector<CKrPoint3d>& p, const std::array<int, 3>& t)
{
    const CKrPoint3d &a = p[t[0]], &b = p[t[1]], &c = p[t[2]];
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

bool HasEdge(const CKrCutTriangulator& cdt, int i, int j)
{
    for (const auto& t : cdt.Triangles())
        for (int k = 0; k < 3; ++k)
            if ((t[k] == i && t[(k + 1) % 3] == j) || (t[k] == j && t[(k + 1) % 3] == i)) return true;
    return false;
}

// The result tiles the triangle with counter-clockwise pieces, uses every
// point, and holds every segment as flagged edges.
void ExpectTiling(const CKrCutTriangulator& cdt, const std::vector<CKrPoint3d>& pts)
{
    double sum = 0.0;
    std::set<int> used;
    for (const auto& t : cdt.Triangles()) {
        const double a = Area2(pts, t);
        EXPECT_GT(a, 0.0);
        sum += a;
        used.insert(t.begin(), t.end());
    }
    EXPECT_NEAR(sum, Area2(pts, {0, 1, 2}), 1e-9 * Area2(pts, {0, 1, 2}));
    EXPECT_EQ(used.size(), pts.size());
}

TEST(KrCutTriangulator, SegmentsBecomeFlaggedEdges)
{
    // Points on all three edges, a cut across, and a closed loop inside that
    // touches nothing else.
    const std::vector<CKrPoint3d> pts = {{0, 0, 0},   {10, 0, 0},  {0, 10, 0}, {5, 0, 0},
                                         {5, 5, 0},   {0, 5, 0},   {2, 1, 0},  {3, 1, 0},
                                         {2.5, 1.8, 0}};
    CKrCutTriangulator cdt(pts);
    const std::vector<int> boundary = {0, 3, 1, 4, 2, 5};
    const std::vector<bool> flags = {false, true, false, false, false, false};
    ASSERT_TRUE(cdt.Run(boundary, flags, {{3, 5}, {6, 7}, {7, 8}, {8, 6}}));
    ExpectTiling(cdt, pts);
    for (auto [i, j] : std::vector<std::pair<int, int>>{{3, 5}, {6, 7}, {7, 8}, {8, 6}, {3, 1}}) {
        EXPECT_TRUE(HasEdge(cdt, i, j)) << i << "-" << j;
        EXPECT_TRUE(cdt.IsFlagged(i, j)) << i << "-" << j;
    }
    EXPECT_FALSE(cdt.IsFlagged(0, 3));  // a plain boundary piece
    EXPECT_FALSE(cdt.IsFlagged(1, 4));
    // The loop is a hole in nothing: its inside is triangulated too.
    int insideLoop = 0;
    for (const auto& t : cdt.Triangles()) insideLoop += std::set<int>(t.begin(), t.end()) == std::set<int>{6, 7, 8};
    EXPECT_EQ(insideLoop, 1);

    // A segment running exactly through another point is split there, and
    // both halves are flagged.
    const std::vector<CKrPoint3d> q = {{0, 0, 0}, {10, 0, 0}, {0, 10, 0}, {6, 0, 0}, {0, 6, 0}, {3, 3, 0}};
    CKrCutTriangulator through(q);
    ASSERT_TRUE(through.Run({0, 3, 1, 2, 4}, {}, {{3, 4}}));
    ExpectTiling(through, q);
    EXPECT_TRUE(HasEdge(through, 3, 5) && through.IsFlagged(3, 5));
    EXPECT_TRUE(HasEdge(through, 5, 4) && through.IsFlagged(5, 4));
    EXPECT_FALSE(HasEdge(through, 3, 4));

    // Two segments crossing each other cannot both be edges.
    const std::vector<CKrPoint3d> x = {{0, 0, 0}, {10, 0, 0}, {0, 10, 0}, {1, 1, 0}, {4, 4, 0}, {1, 4, 0}, {4, 1, 0}};
    CKrCutTriangulator crossing(x);
    EXPECT_FALSE(crossing.Run({0, 1, 2}, {}, {{3, 4}, {5, 6}}));
    EXPECT_TRUE(crossing.Triangles().empty());

    // Fewer than three points or a clockwise triangle give nothing.
    CKrCutTriangulator cw({{0, 0, 0}, {0, 10, 0}, {10, 0, 0}});
    EXPECT_FALSE(cw.Run({0, 1, 2}, {}, {}));
}

TEST(KrCutTriangulator, PointsARoundingErrorOffTheEdges)
{
    // A skew triangle with many points interpolated along its edges (so they
    // lie a rounding error off them), interior points and a chain of
    // segments between them.
    std::mt19937_64 rng(42);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    const CKrPoint3d c[3] = {{0.1, 0.3, 0}, {1234.567, 17.1, 0}, {300.3, 987.65, 0}};
    std::vector<CKrPoint3d> pts(c, c + 3);
    std::vector<int> boundary;
    for (int k = 0; k < 3; ++k) {
        boundary.push_back(k);
        std::vector<double> ts;
        for (int i = 0; i < 25; ++i) ts.push_back(u(rng));
        std::sort(ts.begin(), ts.end());
        for (double t : ts) {
            boundary.push_back(static_cast<int>(pts.size()));
            pts.push_back(c[k] + (c[(k + 1) % 3] - c[k]) * t);
        }
    }
    std::vector<std::pair<int, int>> segs;
    for (int i = 0; i < 200; ++i) {
        double a = u(rng), b = u(rng);
        if (a + b > 1.0) a = 1.0 - a, b = 1.0 - b;
        pts.push_back(c[0] + (c[1] - c[0]) * a + (c[2] - c[0]) * b);
    }
    // A chain through the interior points near the centre, in x order (so
    // it cannot cross itself), and a cut across the corner at c[1], clear of
    // the chain.
    const CKrPoint3d centre = (c[0] + c[1] + c[2]) * (1.0 / 3.0);
    std::vector<int> chain;
    for (int i = 3 + 75; i < static_cast<int>(pts.size()); ++i)
        if (pts[i].Distance(centre) < 150.0) chain.push_back(i);
    ASSERT_GE(chain.size(), 3u);
    std::sort(chain.begin(), chain.end(), [&](int a, int b) { return pts[a].x < pts[b].x; });
    for (std::size_t i = 0; i + 1 < chain.size(); ++i) segs.emplace_back(chain[i], chain[i + 1]);
    segs.emplace_back(boundary[24], boundary[28]);

    CKrCutTriangulator cdt(pts);
    ASSERT_TRUE(cdt.Run(boundary, {}, segs));
    ExpectTiling(cdt, pts);
    for (const auto& s : segs) EXPECT_TRUE(cdt.IsFlagged(s.first, s.second) || !HasEdge(cdt, s.first, s.second));
    // Every boundary piece is an edge of the result: the triangle's
    // neighbours see exactly these pieces.
    for (std::size_t k = 0; k < boundary.size(); ++k)
        EXPECT_TRUE(HasEdge(cdt, boundary[k], boundary[(k + 1) % boundary.size()])) << k;
}

// ---- sections of two triangles ---------------------------------------------------

struct PairMesh {
    CKrMeshData mesh;
    _sTri* Add(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c)
    {
        return mesh.AddTri(mesh.InsertVertex(a), mesh.InsertVertex(b), mesh.InsertVertex(c));
    }
};

bool SamePiece(const std::array<CKrPoint3d, 2>& s, const CKrPoint3d& p, const CKrPoint3d& q)
{
    return (s[0].Dist2(p) < 1e-12 && s[1].Dist2(q) < 1e-12) || (s[0].Dist2(q) < 1e-12 && s[1].Dist2(p) < 1e-12);
}

TEST(KrMeshBooleanSection, CrossingTouchingAndCoplanarPairs)
{
    PairMesh ma, mb;
    _sTri* a = ma.Add({0, 0, 0}, {10, 0, 0}, {0, 10, 0});
    std::vector<std::array<CKrPoint3d, 2>> out;

    // b crosses a's inside.
    _sTri* b = mb.Add({1, 1, -5}, {4, 4, 5}, {4, 4, -5});
    EXPECT_EQ(CKrMeshBooleanTestAccess::Section(a, b, out), 1);
    ASSERT_EQ(out.size(), 1u);
    EXPECT_TRUE(SamePiece(out[0], {2.5, 2.5, 0}, {4, 4, 0}));

    // b's section runs past a's edge: the piece ends on the edge.
    out.clear();
    b = mb.Add({-2, -2, -5}, {8, 8, 5}, {8, 8, -5});
    EXPECT_EQ(CKrMeshBooleanTestAccess::Section(a, b, out), 1);
    ASSERT_EQ(out.size(), 1u);
    EXPECT_TRUE(SamePiece(out[0], {3, 3, 0}, {5, 5, 0}));

    // Touching along a's edge: the piece is the shared stretch.
    out.clear();
    b = mb.Add({2, 0, 0}, {20, 0, 0}, {2, 0, 10});
    EXPECT_EQ(CKrMeshBooleanTestAccess::Section(a, b, out), 1);
    ASSERT_EQ(out.size(), 1u);
    EXPECT_TRUE(SamePiece(out[0], {2, 0, 0}, {10, 0, 0}));

    // Touching at one point only, or a corner lying 1e-7 above a: nothing.
    out.clear();
    b = mb.Add({5, 5, 0}, {6, 6, 5}, {6, 5, 5});
    EXPECT_EQ(CKrMeshBooleanTestAccess::Section(a, b, out), 0);
    b = mb.Add({2, 2, 1e-7}, {3, 2, 5}, {2, 3, 5});
    EXPECT_EQ(CKrMeshBooleanTestAccess::Section(a, b, out), 0);
    // Apart, though the planes cross.
    b = mb.Add({20, 20, -1}, {21, 20, 1}, {20, 21, 1});
    EXPECT_EQ(CKrMeshBooleanTestAccess::Section(a, b, out), 0);
    EXPECT_TRUE(out.empty());

    // Coplanar and overlapping: the pieces of each one's edges on the other.
    b = mb.Add({2, 2, 0}, {12, 2, 0}, {2, 12, 0});
    EXPECT_EQ(CKrMeshBooleanTestAccess::Section(a, b, out), 2);
    ASSERT_EQ(out.size(), 3u);
    const CKrPoint3d want[3][2] = {{{8, 2, 0}, {2, 8, 0}}, {{2, 2, 0}, {8, 2, 0}}, {{2, 8, 0}, {2, 2, 0}}};
    for (const auto& w : want) {
        int found = 0;
        for (const auto& s : out) found += SamePiece(s, w[0], w[1]);
        EXPECT_EQ(found, 1) << w[0].x << "," << w[0].y << " - " << w[1].x << "," << w[1].y;
    }
    // A plane 1e-7 away counts as the same plane; one facing the other way
    // too. Coplanar but apart gives nothing.
    out.clear();
    b = mb.Add({2, 2, 1e-7}, {2, 12, 1e-7}, {12, 2, 1e-7});
    EXPECT_EQ(CKrMeshBooleanTestAccess::Section(a, b, out), 2);
    EXPECT_EQ(out.size(), 3u);
    out.clear();
    b = mb.Add({11, 11, 0}, {20, 11, 0}, {11, 20, 0});
    EXPECT_EQ(CKrMeshBooleanTestAccess::Section(a, b, out), 0);
    // Sharing only a corner in one plane: no piece of positive length.
    b = mb.Add({10, 0, 0}, {20, 0, 0}, {10, -10, 0});
    EXPECT_EQ(CKrMeshBooleanTestAccess::Section(a, b, out), 0);
    EXPECT_TRUE(out.empty());

    // A degenerate triangle has no plane.
    b = mb.Add({1, 1, -1}, {2, 2, 0}, {3, 3, 1});
    EXPECT_EQ(CKrMeshBooleanTestAccess::Section(a, b, out), -1);
}

// ---- cutting whole meshes -------------------------------------------------------

double FlaggedLength(const CKrMeshData& m, std::map<const _sVertex*, int>* degree = nullptr)
{
    double len = 0.0;
    for (const _sEdge* e : m.m_setEdge) {
        if (!e->bSign) continue;
        len += e->pVer[0]->pt.Distance(e->pVer[1]->pt);
        if (degree) {
            ++(*degree)[e->pVer[0]];
            ++(*degree)[e->pVer[1]];
        }
    }
    return len;
}

void ExpectClosedWithVolume(CKrMeshData& m, double volume)
{
    booltest::Pts pts;
    booltest::Ids ids;
    m.OutputData(pts, ids);
    EXPECT_EQ(booltest::ClosedOriented(ids), "");
    EXPECT_NEAR(booltest::Volume(pts, ids), volume, 1e-9 * std::fabs(volume));
    EXPECT_TRUE(m.IsMeshOk());
}

TEST(KrMeshBooleanCut, OverlappingCubesAreCutAlongOneClosedSeam)
{
    CKrMeshData a, b;
    booltest::Load(a, booltest::Box(0, 0, 0, 10, 10, 10));
    booltest::Load(b, booltest::Box(5, 5, 5, 15, 15, 15));
    std::vector<CKrSeg3d> segs;
    ASSERT_TRUE(CKrMeshBoolean::IntersectMesh(a, b, segs));
    // The surfaces meet along six stretches of length 5.
    std::map<const _sVertex*, int> degA, degB;
    EXPECT_NEAR(FlaggedLength(a, &degA), 30.0, 1e-9);
    EXPECT_NEAR(FlaggedLength(b, &degB), 30.0, 1e-9);
    for (const auto& d : degA) EXPECT_EQ(d.second, 2);
    for (const auto& d : degB) EXPECT_EQ(d.second, 2);
    double segLen = 0.0;
    for (const CKrSeg3d& s : segs) {
        segLen += s.m_pt[0].Distance(s.m_pt[1]);
        EXPECT_LE(CKrPoint3d::CompPt(s.m_pt[0], s.m_pt[1]), 0);
    }
    EXPECT_NEAR(segLen, 30.0, 1e-9);
    for (std::size_t i = 1; i < segs.size(); ++i)
        EXPECT_LE(CKrPoint3d::CompPt(segs[i - 1].m_pt[0], segs[i].m_pt[0]), 0);
    ExpectClosedWithVolume(a, 1000.0);
    ExpectClosedWithVolume(b, 1000.0);
    ASSERT_NE(a.m_pOctTree, nullptr);
    ASSERT_NE(b.m_pOctTree, nullptr);

    // Cutting B again along the same lines (against a fresh A) finds every
    // vertex and edge in place.
    const auto keys = [](CKrMeshData& m) {
        std::multiset<std::array<double, 9>> k;
        for (const _sTri* t : m.m_setTri)
            k.insert({t->pVer[0]->pt.x, t->pVer[0]->pt.y, t->pVer[0]->pt.z, t->pVer[1]->pt.x, t->pVer[1]->pt.y,
                      t->pVer[1]->pt.z, t->pVer[2]->pt.x, t->pVer[2]->pt.y, t->pVer[2]->pt.z});
        return k;
    };
    const auto before = keys(b);
    const std::size_t nv = b.m_setVer.size();
    CKrMeshData fresh;
    booltest::Load(fresh, booltest::Box(0, 0, 0, 10, 10, 10));
    ASSERT_TRUE(CKrMeshBoolean::IntersectMesh(fresh, b, segs));
    EXPECT_EQ(keys(b), before);
    EXPECT_EQ(b.m_setVer.size(), nv);
    EXPECT_NEAR(FlaggedLength(b), 30.0, 1e-9);
    EXPECT_EQ(keys(fresh), keys(a));

    // Meshes that do not meet are left as they are, without segments.
    CKrMeshData c;
    booltest::Load(c, booltest::Box(20, 0, 0, 30, 10, 10));
    ASSERT_TRUE(CKrMeshBoolean::IntersectMesh(fresh, c, segs));
    EXPECT_TRUE(segs.empty());
    EXPECT_EQ(c.TriNum(), 12);
    EXPECT_FALSE(CKrMeshBoolean::IntersectMesh(c, c, segs));
}

TEST(KrMeshBooleanCut, SeamInsideOneTriangleAndCurvedSeams)
{
    // A thin bar piercing the top of a cube inside one of its triangles:
    // the seam is a loop touching no edge of the cube.
    CKrMeshData a, b;
    booltest::Load(a, booltest::Box(0, 0, 0, 10, 10, 10));
    booltest::Load(b, booltest::Box(6, 1, 8, 7, 2, 12));
    std::vector<CKrSeg3d> segs;
    ASSERT_TRUE(CKrMeshBoolean::IntersectMesh(a, b, segs));
    std::map<const _sVertex*, int> deg;
    EXPECT_NEAR(FlaggedLength(a, &deg), 4.0, 1e-9);
    EXPECT_EQ(deg.size(), 8u);  // the corners and where the bar's face diagonals cross
    ExpectClosedWithVolume(a, 1000.0);
    ExpectClosedWithVolume(b, 4.0);

    // Two spheres: the seam is a closed curve on both, the volumes keep,
    // and a second cut changes nothing. (Mine-sized: where two points of
    // the cut fall within the merge tolerance of each other, the merged
    // vertex moves the surface by up to that tolerance, which on a small
    // solid shows in the ninth digit of the volume.)
    const Solid sa = booltest::Sphere({0, 0, 0}, 1000.0, 3);
    const Solid sb = booltest::Sphere({600, 250, 150}, 800.0, 3);
    CKrMeshData ma, mb;
    booltest::Load(ma, sa);
    booltest::Load(mb, sb);
    ASSERT_TRUE(CKrMeshBoolean::IntersectMesh(ma, mb, segs));
    std::map<const _sVertex*, int> dA, dB;
    const double lenA = FlaggedLength(ma, &dA), lenB = FlaggedLength(mb, &dB);
    EXPECT_GT(lenA, 4000.0);
    EXPECT_NEAR(lenA, lenB, 1e-6);
    for (const auto& d : dA) EXPECT_EQ(d.second, 2);
    for (const auto& d : dB) EXPECT_EQ(d.second, 2);
    ExpectClosedWithVolume(ma, booltest::Volume(sa));
    ExpectClosedWithVolume(mb, booltest::Volume(sb));
    const long nb = mb.TriNum();
    const std::size_t nv = mb.m_setVer.size();
    CKrMeshData again;
    booltest::Load(again, sa);
    ASSERT_TRUE(CKrMeshBoolean::IntersectMesh(again, mb, segs));
    EXPECT_EQ(mb.TriNum(), nb);
    EXPECT_EQ(mb.m_setVer.size(), nv);
    EXPECT_EQ(again.TriNum(), ma.TriNum());
    EXPECT_NEAR(FlaggedLength(mb), lenB, 1e-9);
}

}  // namespace
