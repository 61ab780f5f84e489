// Sectioning triangle pairs, cutting whole meshes along their intersection
// and sorting one mesh's triangles against the solid of another.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "boolean/KrBooleanCut.h"
#include "KrTesGeometry/boolean/KrMeshBoolean.h"
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
    const _sTri* a = ma.Add({0, 0, 0}, {10, 0, 0}, {0, 10, 0});
    using P = CKrPoint3d;
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
        EXPECT_EQ(CKrMeshBooleanTestAccess::Section(a, mb.Add(c.b[0], c.b[1], c.b[2]), out), c.code);
        ASSERT_EQ(out.size(), c.pieces.size());
        for (const auto& w : c.pieces) {
            int found = 0;
            for (const auto& g : out) found += SamePiece(g, w[0], w[1]);
            EXPECT_EQ(found, 1) << w[0].x << "," << w[0].y << " - " << w[1].x << "," << w[1].y;
        }
    }
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

// Closed, consistently oriented, without self-intersections, the volume kept.
void ExpectClosedWithVolume(CKrMeshData& m, double volume)
{
    const testmesh::SolidReport r = testmesh::Inspect(m);
    EXPECT_EQ(r.closed, "");
    EXPECT_EQ(r.selfHits, 0);
    EXPECT_NEAR(r.volume, volume, 1e-9 * std::fabs(volume));
    EXPECT_TRUE(m.IsMeshOk());
}

TEST(KrMeshBooleanCut, OverlappingCubesAreCutAlongOneClosedSeam)
{
    CKrMeshData a, b;
    testmesh::Load(a, testmesh::Box(0, 0, 0, 10, 10, 10));
    testmesh::Load(b, testmesh::Box(5, 5, 5, 15, 15, 15));
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

    // Meshes that do not meet are left as they are, without segments.
    CKrMeshData fresh, c;
    testmesh::Load(fresh, testmesh::Box(0, 0, 0, 10, 10, 10));
    testmesh::Load(c, testmesh::Box(20, 0, 0, 30, 10, 10));
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
    testmesh::Load(a, testmesh::Box(0, 0, 0, 10, 10, 10));
    testmesh::Load(b, testmesh::Box(6, 1, 8, 7, 2, 12));
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
    const Solid sa = testmesh::Sphere({0, 0, 0}, 1000.0, 3);
    const Solid sb = testmesh::Sphere({600, 250, 150}, 800.0, 3);
    CKrMeshData ma, mb;
    testmesh::Load(ma, sa);
    testmesh::Load(mb, sb);
    ASSERT_TRUE(CKrMeshBoolean::IntersectMesh(ma, mb, segs));
    std::map<const _sVertex*, int> dA, dB;
    const double lenA = FlaggedLength(ma, &dA), lenB = FlaggedLength(mb, &dB);
    EXPECT_GT(lenA, 4000.0);
    EXPECT_NEAR(lenA, lenB, 1e-6);
    for (const auto& d : dA) EXPECT_EQ(d.second, 2);
    for (const auto& d : dB) EXPECT_EQ(d.second, 2);
    ExpectClosedWithVolume(ma, testmesh::Volume(sa));
    ExpectClosedWithVolume(mb, testmesh::Volume(sb));
    const long nb = mb.TriNum();
    const std::size_t nv = mb.m_setVer.size();
    CKrMeshData again;
    testmesh::Load(again, sa);
    ASSERT_TRUE(CKrMeshBoolean::IntersectMesh(again, mb, segs));
    EXPECT_EQ(mb.TriNum(), nb);
    EXPECT_EQ(mb.m_setVer.size(), nv);
    EXPECT_EQ(again.TriNum(), ma.TriNum());
    EXPECT_NEAR(FlaggedLength(mb), lenB, 1e-9);
}

TEST(KrMeshBooleanCut, SeamEndSnapsToANearbyVertex)
{
    // A fan whose base has two vertices 2^-6 apart (beyond the merge
    // tolerance), and a wall at x = 5 standing on the base exactly halfway
    // between them: the seam's end snaps to one of the two (it is within the
    // tolerance of both) instead of splitting the base with a new vertex.
    const double d = 1.0 / 128.0;
    CKrMeshData fan, wall;
    fan.InputData(testmesh::Pts{{0, 0, 0}, {5 - d, 0, 0}, {5 + d, 0, 0}, {10, 0, 0}, {5, 10, 0}},
                  testmesh::Ids{{0, 1, 4}, {1, 2, 4}, {2, 3, 4}}, true);
    wall.InputData(testmesh::Pts{{5, -5, -5}, {5, -5, 5}, {5, 5, 0}}, testmesh::Ids{{0, 1, 2}}, true);
    std::vector<CKrSeg3d> segs;
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

TEST(KrMeshBooleanClassify, OverlapCoplanarAndApart)
{
    // The areas of the target's triangles outside the reference, inside,
    // on it facing the same way and the other way; the seam's length.
    struct Case {
        const char* what;
        Solid ref, target;
        double out, in, same, opp, seam;
    } const cases[] = {
        {"a corner reaching in", testmesh::Box(5, 5, 5, 15, 15, 15), testmesh::Box(0, 0, 0, 10, 10, 10), 525, 75, 0, 0, 30},
        {"the same box", testmesh::Box(0, 0, 0, 10, 10, 10), testmesh::Box(0, 0, 0, 10, 10, 10), 0, 0, 600, 0, -1},
        {"standing on part of the top", testmesh::Box(0, 0, 0, 10, 10, 10), testmesh::Box(5, 5, 10, 15, 15, 20), 575, 0, 0,
         25, -1},
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
        EXPECT_NEAR(Area(s.out), c.out, 1e-9);
        EXPECT_NEAR(Area(s.in), c.in, 1e-9);
        EXPECT_NEAR(Area(s.same), c.same, 1e-9);
        EXPECT_NEAR(Area(s.opp), c.opp, 1e-9);
        EXPECT_TRUE(s.fifth.empty());
        if (c.seam < 0) continue;
        double len = 0.0;
        for (const CKrSeg3d& g : s.segs) len += g.m_pt[0].Distance(g.m_pt[1]);
        EXPECT_NEAR(len, c.seam, 1e-9);
        // The last seed is a triangle of the target.
        int seeds = 0;
        for (const _sTri* t : target.m_setTri) {
            bool same = true;
            for (int k = 0; k < 3; ++k) same = same && t->pVer[k]->pt.Dist2(s.seed.m_pt[k]) == 0.0;
            seeds += same;
        }
        EXPECT_EQ(seeds, 1);
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
}

TEST(KrMeshBooleanClassify, CannotClassify)
{
    CKrMeshData a, b, empty;
    testmesh::Load(a, testmesh::Box(0, 0, 0, 10, 10, 10));
    testmesh::Load(b, testmesh::Box(5, 5, 5, 15, 15, 15));
    Sorted s;
    // Against nothing, everything is outside.
    s.Run(empty, a);
    EXPECT_TRUE(s.ok);
    EXPECT_EQ(s.out.size(), 12u);
    // A mesh against itself cannot be sorted; the lists are emptied.
    s.Run(a, a);
    EXPECT_FALSE(s.ok);
    EXPECT_TRUE(s.out.empty() && s.in.empty() && s.segs.empty());
    // A degenerate triangle has no side: it goes to the fifth list, and
    // the sort reports that it could not classify everything.
    _sTri* flat = b.AddTri(b.InsertVertex({30, 0, 0}), b.InsertVertex({31, 0, 0}), b.InsertVertex({32, 0, 0}));
    ASSERT_NE(flat, nullptr);
    s.Run(a, b);
    EXPECT_FALSE(s.ok);
    ASSERT_EQ(s.fifth.size(), 1u);
    EXPECT_EQ(s.fifth[0], flat);
    s.ExpectPartition(b);
}

}  // namespace
