// The exact triangle pair decision under the contact queries, where solids
// meet at a shared corner (every plane-side sign there is zero).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <vector>

#include "KrTesGeometry/collision/KrMeshContact.h"
#include "collision/KrContactBvh.h"
#include "support/KrTestMeshes.h"

using TesTriMesh::CKrContactPair;
using TesTriMesh::CKrMeshContact;
using testmesh::Solid;

TEST(KrContactBvh, TrianglesMeetAtASharedCornerOnlyWhenItIsShared)
{
    const double a[9] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    // b leans away above a's plane from the corner at the origin.
    double b[9] = {0, 0, 0, 0, -1, 1, -1, 0, 1};
    EXPECT_TRUE(TesTriMesh::detail::TrianglesMeet(a, b));
    EXPECT_TRUE(TesTriMesh::detail::TrianglesMeet(b, a));
    // One ulp above: apart, however close (no tolerance in the decision).
    b[2] = std::nextafter(0.0, 1.0);
    EXPECT_FALSE(TesTriMesh::detail::TrianglesMeet(a, b));
    // A collinear triangle meets nothing, even at a shared corner.
    const double line[9] = {0, 0, 0, 1, 1, 1, 2, 2, 2};
    EXPECT_FALSE(TesTriMesh::detail::TrianglesMeet(a, line));
}

// Sphere B is sphere A mirrored in the plane through A's rightmost corner P,
// then turned about the x-parallel line through P (P stays exactly where it
// is): the two touch at P alone, so the meeting pairs are exactly A's fan
// around P times B's. Every query must see it, the yes-or-no one (which stops
// at the first pair met) as well as the one that reports the smallest pair.
TEST(KrContactBvh, SpheresSharingOneVertex)
{
    const Solid a = testmesh::Sphere(CKrPoint3d(0.3, -0.2, 0.1), 2.0, 3);
    std::size_t iP = 0;
    for (std::size_t i = 1; i < a.pts.size(); ++i)
        if (a.pts[i].x > a.pts[iP].x) iP = i;
    const CKrPoint3d P = a.pts[iP];
    CKrMeshContact ma;
    ASSERT_TRUE(ma.Build(a.pts, a.ids));
    std::set<int> fanA, fanB;
    for (std::size_t t = 0; t < a.ids.size(); ++t)
        for (int k = 0; k < 3; ++k)
            if (static_cast<std::size_t>(a.ids[t].nID[k]) == iP) fanA.insert(static_cast<int>(t));
    fanB = fanA;  // B keeps A's numbering
    for (int turn = 0; turn < 24; ++turn) {
        const double ang = 0.2618 * turn + 0.1, c = std::cos(ang), s = std::sin(ang);
        for (const double gap : {0.0, 1e-9}) {
            Solid b = a;
            for (CKrPoint3d& q : b.pts) {
                const double x = 2.0 * P.x - q.x, y = q.y - P.y, z = q.z - P.z;
                q = CKrPoint3d(x + gap, P.y + (c * y - s * z), P.z + (s * y + c * z));
            }
            for (auto& t : b.ids) std::swap(t.nID[1], t.nID[2]);
            CKrMeshContact mb;
            ASSERT_TRUE(mb.Build(b.pts, b.ids));
            SCOPED_TRACE("turn " + std::to_string(turn) + " gap " + std::to_string(gap));
            const bool touch = gap == 0.0;
            EXPECT_EQ(ma.Intersects(mb), touch);
            CKrContactPair first;
            EXPECT_EQ(ma.Intersects(mb, &first), touch);
            std::vector<CKrContactPair> pairs;
            ma.ContactPairs(mb, TesTriMesh::KrRigidTransform::Identity(), pairs);
            EXPECT_EQ(pairs.size(), touch ? fanA.size() * fanB.size() : 0u);
            for (const CKrContactPair& p : pairs) EXPECT_TRUE(fanA.count(p.triA) && fanB.count(p.triB));
            if (touch) {
                EXPECT_EQ(first.triA, *fanA.begin());
                EXPECT_EQ(first.triB, *fanB.begin());
            }
            const TesTriMesh::CKrMeshDistance d = ma.Distance(mb);
            EXPECT_EQ(d.contact, touch);
            EXPECT_NEAR(d.distance, gap, 1e-15);
        }
    }
}
