// Sectioning triangle pairs, cutting whole meshes along their intersection
// and sorting one mesh's triangles against the solid of another.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "KrTesGeometry/boolean/KrMeshBoolean.h"
#include "boolean/BooleanCases.h"
#include "support/KrTestMeshes.h"

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
using testmesh::Solid;

// ---- sections of two triangles ---------------------------------------------------

TEST(KrMeshBooleanSection, CrossingTouchingAndCoplanarPairs)
{
    using P = CKrPoint3d;
    auto add = [](CKrMeshData& m, const P& a, const P& b, const P& c) {
        return m.AddTri(m.InsertVertex(a), m.InsertVertex(b), m.InsertVertex(c));
    };
    CKrMeshData ma, mb;
    const _sTri* a = add(ma, {0, 0, 0}, {10, 0, 0}, {0, 10, 0});
    struct Case {
        const char* what;
        P b[3];
        int code;
        std::vector<std::array<P, 2>> pieces;
    };
    const std::vector<std::array<P, 2>> overlap = {{P{8, 2, 0}, P{2, 8, 0}}, {P{2, 2, 0}, P{8, 2, 0}}, {P{2, 8, 0}, P{2, 2, 0}}};
    const Case cases[] = {
        {"crossing a's inside", {{1, 1, -5}, {4, 4, 5}, {4, 4, -5}}, 1, {{P{2.5, 2.5, 0}, P{4, 4, 0}}}},
        {"running past a's edge", {{-2, -2, -5}, {8, 8, 5}, {8, 8, -5}}, 1, {{P{3, 3, 0}, P{5, 5, 0}}}},
        {"touching along a's edge", {{2, 0, 0}, {20, 0, 0}, {2, 0, 10}}, 1, {{P{2, 0, 0}, P{10, 0, 0}}}},
        {"touching at one point", {{5, 5, 0}, {6, 6, 5}, {6, 5, 5}}, 0, {}},
        {"a corner 1e-7 above", {{2, 2, 1e-7}, {3, 2, 5}, {2, 3, 5}}, 0, {}},
        {"apart, the planes crossing", {{20, 20, -1}, {21, 20, 1}, {20, 21, 1}}, 0, {}},
        // Coplanar and overlapping: the pieces of each one's edges on the
        // other, also 1e-7 away and facing the other way.
        {"coplanar overlap", {{2, 2, 0}, {12, 2, 0}, {2, 12, 0}}, 2, overlap},
        {"coplanar 1e-7 away, reversed", {{2, 2, 1e-7}, {2, 12, 1e-7}, {12, 2, 1e-7}}, 2, overlap},
        // A large triangle tilted by 5e-8: a lies within tolerance of its
        // plane, though its far corners are well off a's.
        {"nearly coplanar, large", {{-1000, -1000, -5e-5}, {1000, -1000, 5e-5}, {0, 1000, 0}}, 2,
         {{P{0, 0, 0}, P{10, 0, 0}}, {P{10, 0, 0}, P{0, 10, 0}}, {P{0, 10, 0}, P{0, 0, 0}}}},
        {"coplanar apart", {{11, 11, 0}, {20, 11, 0}, {11, 20, 0}}, 0, {}},
        {"coplanar, one shared corner", {{10, 0, 0}, {20, 0, 0}, {10, -10, 0}}, 0, {}},
        {"degenerate", {{1, 1, -1}, {2, 2, 0}, {3, 3, 1}}, -1, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<std::array<CKrPoint3d, 2>> out;
        EXPECT_EQ(CKrMeshBooleanTestAccess::Section(a, add(mb, c.b[0], c.b[1], c.b[2]), out), c.code);
        ASSERT_EQ(out.size(), c.pieces.size());
        for (const auto& w : c.pieces) {
            int found = 0;
            for (const auto& g : out)
                found += (g[0].Dist2(w[0]) < 1e-12 && g[1].Dist2(w[1]) < 1e-12) ||
                         (g[0].Dist2(w[1]) < 1e-12 && g[1].Dist2(w[0]) < 1e-12);
            EXPECT_EQ(found, 1) << w[0].x << "," << w[0].y << " - " << w[1].x << "," << w[1].y;
        }
    }
}

// ---- cutting whole meshes -------------------------------------------------------

// The length of the flagged edges (the seam); degree counts their ends.
double FlaggedLength(const CKrMeshData& m, std::map<const _sVertex*, int>& degree)
{
    double len = 0.0;
    for (const _sEdge* e : m.m_setEdge) {
        if (!e->bSign) continue;
        len += e->pVer[0]->pt.Distance(e->pVer[1]->pt);
        ++degree[e->pVer[0]];
        ++degree[e->pVer[1]];
    }
    return len;
}

// Cuts A and B along their intersection: both stay closed, oriented, free of
// self-intersections and of the same volume, and the seam is closed loops of
// the same length in both, listed once as sorted, lexicographically ordered
// segments. Returns the seam's length and its vertices in A.
double CutAlongSeam(CKrMeshData& a, CKrMeshData& b, std::size_t& seamVertsA)
{
    const double va = testmesh::Volume(a), vb = testmesh::Volume(b);
    std::vector<CKrSeg3d> segs;
    EXPECT_TRUE(CKrMeshBoolean::IntersectMesh(a, b, segs));
    std::map<const _sVertex*, int> degA, degB;
    const double len = FlaggedLength(a, degA);
    EXPECT_NEAR(FlaggedLength(b, degB), len, 1e-9 * len);
    for (const auto* deg : {&degA, &degB})
        for (const auto& d : *deg) EXPECT_EQ(d.second, 2);
    seamVertsA = degA.size();
    double segLen = 0.0;
    for (std::size_t i = 0; i < segs.size(); ++i) {
        segLen += segs[i].m_pt[0].Distance(segs[i].m_pt[1]);
        EXPECT_LE(CKrPoint3d::CompPt(segs[i].m_pt[0], segs[i].m_pt[1]), 0);
        EXPECT_LE(CKrPoint3d::CompPt(segs[i > 0 ? i - 1 : 0].m_pt[0], segs[i].m_pt[0]), 0);
    }
    EXPECT_NEAR(segLen, len, 1e-9 * len);
    for (auto [m, v] : {std::make_pair(&a, va), std::make_pair(&b, vb)}) {
        testmesh::Pts pts;
        testmesh::Ids ids;
        m->OutputData(pts, ids);
        EXPECT_TRUE(CheckClosedSolid(ids).IsSolid());
        EXPECT_EQ(testmesh::SelfIntersections(pts, ids), 0);
        EXPECT_TRUE(m->IsMeshOk());
        EXPECT_NEAR(testmesh::Volume(pts, ids), v, 1e-9 * v);
    }
    return len;
}

TEST(KrMeshBooleanCut, SeamsOfCubesBarsAndSpheres)
{
    // Overlapping cubes meet along six stretches of length 5; a thin bar
    // piercing the top of a cube inside one of its triangles makes a loop
    // touching no edge of the cube (its vertices: the bar's corners and where
    // its face diagonals cross the top).
    std::size_t verts = 0;
    CKrMeshData a, b, c, bar;
    testmesh::Load(a, testmesh::Box(0, 0, 0, 10, 10, 10));
    testmesh::Load(b, testmesh::Box(5, 5, 5, 15, 15, 15));
    EXPECT_NEAR(CutAlongSeam(a, b, verts), 30.0, 1e-9);
    testmesh::Load(c, testmesh::Box(0, 0, 0, 10, 10, 10));
    testmesh::Load(bar, testmesh::Box(6, 1, 8, 7, 2, 12));
    EXPECT_NEAR(CutAlongSeam(c, bar, verts), 4.0, 1e-9);
    EXPECT_EQ(verts, 8u);

    // Meshes that do not meet are left as they are, without segments; a mesh
    // cannot be cut by itself.
    std::vector<CKrSeg3d> segs;
    CKrMeshData apart;
    testmesh::Load(apart, testmesh::Box(20, 0, 0, 30, 10, 10));
    ASSERT_TRUE(CKrMeshBoolean::IntersectMesh(bar, apart, segs));
    EXPECT_TRUE(segs.empty());
    EXPECT_EQ(apart.TriNum(), 12);
    EXPECT_FALSE(CKrMeshBoolean::IntersectMesh(apart, apart, segs));

    // Two spheres: the seam is a closed curve on both, and a second cut
    // changes nothing. (Mine-sized: where two points of the cut fall within
    // the merge tolerance of each other, the merged vertex moves the surface
    // by up to that tolerance, which on a small solid shows in the ninth
    // digit of the volume.)
    const Solid sa = testmesh::Sphere({0, 0, 0}, 1000.0, 3);
    CKrMeshData ma, mb, again;
    testmesh::Load(ma, sa);
    testmesh::Load(mb, testmesh::Sphere({600, 250, 150}, 800.0, 3));
    const double len = CutAlongSeam(ma, mb, verts);
    EXPECT_GT(len, 4000.0);
    const long nb = mb.TriNum();
    const std::size_t nv = mb.m_setVer.size();
    testmesh::Load(again, sa);
    EXPECT_NEAR(CutAlongSeam(again, mb, verts), len, 1e-9 * len);
    EXPECT_EQ(mb.TriNum(), nb);
    EXPECT_EQ(mb.m_setVer.size(), nv);
    EXPECT_EQ(again.TriNum(), ma.TriNum());

    // A fan whose base has two vertices 2^-6 apart (beyond the merge
    // tolerance), and a wall at x = 5 standing on the base exactly halfway
    // between them: the seam's end snaps to one of the two (it is within the
    // tolerance of both) instead of splitting the base with a new vertex.
    const double d = 1.0 / 128.0;
    CKrMeshData fan, wall;
    fan.InputData(testmesh::Pts{{0, 0, 0}, {5 - d, 0, 0}, {5 + d, 0, 0}, {10, 0, 0}, {5, 10, 0}},
                  testmesh::Ids{{0, 1, 4}, {1, 2, 4}, {2, 3, 4}}, true);
    wall.InputData(testmesh::Pts{{5, -5, -5}, {5, -5, 5}, {5, 5, 0}}, testmesh::Ids{{0, 1, 2}}, true);
    segs.clear();
    ASSERT_TRUE(CKrMeshBoolean::IntersectMesh(fan, wall, segs));
    ASSERT_EQ(segs.size(), 1u);
    EXPECT_TRUE(CKrPoint3d::CompPt(segs[0].m_pt[0], CKrPoint3d(5 - d, 0, 0)) == 0 ||
                CKrPoint3d::CompPt(segs[0].m_pt[0], CKrPoint3d(5 + d, 0, 0)) == 0);
    EXPECT_EQ(CKrPoint3d::CompPt(segs[0].m_pt[1], CKrPoint3d(5, 5, 0)), 0);
    EXPECT_EQ(fan.m_setVer.size(), 6u);  // only the wall's corner is new
}

// ---- sorting the triangles of one mesh against another -------------------------

double Area(const std::vector<_sTri*>& tris)
{
    double a = 0.0;
    for (const _sTri* t : tris) {
        const CKrPoint3d u = t->pVer[1]->pt - t->pVer[0]->pt, w = t->pVer[2]->pt - t->pVer[0]->pt;
        const double x = u.y * w.z - u.z * w.y, y = u.z * w.x - u.x * w.z, z = u.x * w.y - u.y * w.x;
        a += 0.5 * std::sqrt(x * x + y * y + z * z);
    }
    return a;
}

struct Sorted {
    std::vector<CKrSeg3d> segs;
    std::vector<_sTri*> out, in, same, opp, fifth;
    CKrTri3d seed;
    bool ok = false;

    void Run(CKrMeshData& reference, CKrMeshData& target)
    {
        ok = CKrMeshBoolean::ClassifyMesh_New(reference, target, segs, out, in, same, opp, fifth, seed);
    }
    // Every triangle of the target in exactly one list.
    void ExpectPartition(const CKrMeshData& target) const
    {
        std::multiset<const _sTri*> all;
        for (const auto* l : {&out, &in, &same, &opp, &fifth}) all.insert(l->begin(), l->end());
        EXPECT_EQ(all.size(), target.m_setTri.size());
        for (const _sTri* t : target.m_setTri) EXPECT_EQ(all.count(t), 1u);
    }
};

TEST(KrMeshBooleanClassify, OverlapCoplanarApartAndFailures)
{
    // The areas of the target's triangles outside the reference, inside,
    // on it facing the same way and the other way; the seam's length.
    struct Case {
        const char* what;
        Solid ref, target;
        double area[4], seam;
    } const cases[] = {
        {"a corner reaching in", testmesh::Box(5, 5, 5, 15, 15, 15), testmesh::Box(0, 0, 0, 10, 10, 10), {525, 75, 0, 0}, 30},
        {"the same box", testmesh::Box(0, 0, 0, 10, 10, 10), testmesh::Box(0, 0, 0, 10, 10, 10), {0, 0, 600, 0}, -1},
        {"standing on part of the top", testmesh::Box(0, 0, 0, 10, 10, 10), testmesh::Box(5, 5, 10, 15, 15, 20),
         {575, 0, 0, 25}, -1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CKrMeshData ref, target;
        testmesh::Load(ref, c.ref);
        testmesh::Load(target, c.target);
        Sorted s;
        s.Run(ref, target);
        EXPECT_TRUE(s.ok);
        s.ExpectPartition(target);
        const std::vector<_sTri*>* lists[4] = {&s.out, &s.in, &s.same, &s.opp};
        for (int k = 0; k < 4; ++k) EXPECT_NEAR(Area(*lists[k]), c.area[k], 1e-9) << k;
        EXPECT_TRUE(s.fifth.empty());
        if (c.seam < 0) continue;
        double len = 0.0;
        for (const CKrSeg3d& g : s.segs) len += g.m_pt[0].Distance(g.m_pt[1]);
        EXPECT_NEAR(len, c.seam, 1e-9);
    }

    // A turned box standing on a small one, a corner of its foot just past
    // the small one's top. Its foot meets the top face to face: pieces
    // clearly inside the contact stay opposite, whatever their neighbours
    // across the contact's outline are sorted into.
    CKrMeshData top, foot;
    testmesh::Load(top, testmesh::Box(3, 1, 0, 4, 2, 1));
    testmesh::Load(foot, testmesh::Rotated(testmesh::Box(0, 0, 1, 3, 3, 2), {2, 2, 2}, 0, 0, 1, 0.66));
    Sorted s;
    s.Run(top, foot);
    EXPECT_TRUE(s.ok);
    s.ExpectPartition(foot);
    int inContact = 0;
    for (const _sTri* t : foot.m_setTri) {
        const CKrPoint3d c = (t->pVer[0]->pt + t->pVer[1]->pt + t->pVer[2]->pt) * (1.0 / 3.0);
        if (c.z != 1.0 || c.x < 3.05 || c.x > 3.95 || c.y < 1.05 || c.y > 1.95) continue;
        ++inContact;
        EXPECT_EQ(std::count(s.opp.begin(), s.opp.end(), t), 1) << c.x << "," << c.y;
    }
    EXPECT_GE(inContact, 2);

    CKrMeshData a, b, empty;
    testmesh::Load(a, testmesh::Box(0, 0, 0, 10, 10, 10));
    testmesh::Load(b, testmesh::Box(5, 5, 5, 15, 15, 15));
    // Against nothing, everything is outside.
    s = Sorted();
    s.Run(empty, a);
    EXPECT_TRUE(s.ok);
    EXPECT_EQ(s.out.size(), 12u);
    // A mesh against itself cannot be sorted; the lists are emptied.
    s.Run(a, a);
    EXPECT_FALSE(s.ok);
    EXPECT_TRUE(s.out.empty() && s.in.empty() && s.segs.empty());
    // A degenerate triangle has no side of its own: the tolerant cut puts it
    // in the fifth list and reports that it could not classify everything;
    // the exact cut sorts it by where its corners lie (here, outside).
    _sTri* flat = b.AddTri(b.InsertVertex({30, 0, 0}), b.InsertVertex({31, 0, 0}), b.InsertVertex({32, 0, 0}));
    ASSERT_NE(flat, nullptr);
    {
        const booltest::EngineScope tolerant(CKrMeshBoolean::CutEngine::kTolerant);
        s.Run(a, b);
        EXPECT_FALSE(s.ok);
        EXPECT_TRUE(s.fifth.size() == 1 && s.fifth[0] == flat) << s.fifth.size();
        s.ExpectPartition(b);
    }
    s.Run(a, b);
    EXPECT_TRUE(s.ok);
    EXPECT_TRUE(s.fifth.empty());
    EXPECT_EQ(std::count(s.out.begin(), s.out.end(), flat), 1);
    s.ExpectPartition(b);
}

}  // namespace
