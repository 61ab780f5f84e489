#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

#include "KrTesGeometry/geom/KrSpaceMath.h"
#include "support/GeomTestUtil.h"

using KrTesGeo::CGeoVector;
using SM = CKrSpaceMath;

namespace {

const CKrPoint3d kUntouched(9, 9, 9);

// Runs f on an output point holding kUntouched: the code it returns, and the
// point it wrote (or left as it was) within tol.
template <class F>
::testing::AssertionResult Gives(F f, int code, const CKrPoint3d& want, double tol = 1e-9)
{
    CKrPoint3d out = kUntouched;
    const int got = f(out);
    if (got == code && Near(out, want, tol)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "code " << got << ", want " << code << ": " << Near(out, want, tol).message();
}

}  // namespace

TEST(KrSpaceMathSegSeg, CrossingTouchingOverlappingAndApart)
{
    struct Case {
        const char* what;
        CKrPoint3d a1, a2, b1, b2;
        int code;
        CKrPoint3d p, q;  // expected when code > 0
    };
    const CKrPoint3d o(0, 0, 0), x1(1, 0, 0), x4(4, 0, 0);
    const Case cases[] = {
        {"proper crossing in 3D", o, {2, 2, 2}, {0, 2, 0}, {2, 0, 2}, 1, {1, 1, 1}, {1, 1, 1}},
        {"skew within the tolerance", o, {2, 2, 0}, {0, 2, 5e-7}, {2, 0, 5e-7}, 1, {1, 1, 2.5e-7}, {1, 1, 2.5e-7}},
        {"skew just beyond it", o, {2, 2, 0}, {0, 2, 2e-6}, {2, 0, 2e-6}, 0, {}, {}},
        {"T-junction", o, x4, x1, {1, 3, 0}, 2, x1, x1},
        {"collinear overlap, along a", x4, o, x1, {6, 0, 0}, 3, x4, x1},
        {"short one inside the long one", {2, 2, 2}, {3, 3, 3}, o, {9, 9, 9}, 3, {2, 2, 2}, {3, 3, 3}},
        {"collinear end to end", o, x1, {3, 0, 0}, x1, 2, x1, x1},
        {"collinear with a gap", o, x1, {1.1, 0, 0}, {3, 0, 0}, 0, {}, {}},
        {"point-like segment on the other", {0.5, 0, 0}, {0.5, 0, 0}, o, x1, 2, {0.5, 0, 0}, {0.5, 0, 0}},
        {"long, nearly parallel, crossing", o, {1000, 0, 0}, {0, -0.05, 0}, {1000, 0.05, 0}, 1, {500, 0, 0},
         {500, 0, 0}},
    };
    for (const Case& c : cases) {
        CKrPoint3d p = kUntouched, q = kUntouched;
        EXPECT_EQ(SM::Test_Intersect_Seg_And_Seg_3D(c.a1, c.a2, c.b1, c.b2, p, q), c.code) << c.what;
        // End points are written exactly; a crossing point is computed.
        const double tol = c.code == 1 ? 1e-9 : 0.0;
        EXPECT_TRUE(Near(p, c.code > 0 ? c.p : kUntouched, tol)) << c.what;
        EXPECT_TRUE(Near(q, c.code > 0 ? c.q : kUntouched, tol)) << c.what;
    }
}

TEST(KrSpaceMathSegLine, PlanCrossingOfASegmentAndALine)
{
    // The line is the x axis in plan, its z irrelevant, and infinite; z is
    // interpolated along the segment; an end on the line (within the
    // tolerance) is written as it is.
    const CKrPoint3d l1(0, 0, 100), l2(1, 0, -50);
    const auto sl = [&](const CKrPoint3d& s1, const CKrPoint3d& s2) {
        return [&, s1, s2](CKrPoint3d& p) { return SM::Test_Insertsect_Seg_And_Line_2D(s1, s2, l1, l2, p); };
    };
    EXPECT_TRUE(Gives(sl({3, 1, 0}, {4, 5, 0}), 0, kUntouched));
    EXPECT_TRUE(Gives(sl({3, 0, 0}, {9, 0, 4}), 2, kUntouched));  // along
    EXPECT_TRUE(Gives(sl({-50, -1, 0}, {-52, 1, 8}), 1, {-51, 0, 4}));
    EXPECT_TRUE(Gives(sl({4, 5, 0}, {3, 5e-7, 7}), 1, {3, 5e-7, 7}, 0.0));
    CKrPoint3d p;
    EXPECT_EQ(SM::Test_Insertsect_Seg_And_Line_2D({3, 1, 0}, {4, -1, 0}, l1, {0, 0, 5}, p), -1);  // no line
}

TEST(KrSpaceMathRayBox, ClosedBoxSlabTest)
{
    const CKrPoint3d lo(0, 0, 0), hi(1, 1, 1);
    auto hit = [&](double x, double y, double z, double dx, double dy, double dz) {
        return SM::Test_Intersect_Ray_And_BoxAABB(CKrPoint3d(x, y, z), CGeoVector(dx, dy, dz), lo, hi);
    };
    EXPECT_TRUE(hit(-1, 0.5, 0.5, 1, 0, 0));
    EXPECT_FALSE(hit(-1, 0.5, 0.5, -1, 0, 0));  // behind
    EXPECT_TRUE(hit(0.5, 0.5, 0.5, -1, 0, 0));  // from inside
    // Parallel to a slab, exactly on its face or just outside; grazing a corner.
    EXPECT_TRUE(hit(-1, 1, 0.5, 1, 0, 0));
    EXPECT_FALSE(hit(-1, 1.0000001, 0.5, 1, 0, 0));
    EXPECT_TRUE(hit(-1, -1, 2, 1, 1, -1));
    // Zero direction: the origin alone; a NaN direction never hits.
    EXPECT_TRUE(hit(1, 0, 0.3, 0, 0, 0));
    EXPECT_FALSE(hit(1, 0, 1.3, 0, 0, 0));
    EXPECT_FALSE(hit(0.5, 0.5, 0.5, std::numeric_limits<double>::quiet_NaN(), 0, 0));
    // A flat box (zero thickness), and an empty one.
    const CGeoVector down(0, 0, -1);
    EXPECT_TRUE(SM::Test_Intersect_Ray_And_BoxAABB(CKrPoint3d(0.5, 0.5, 5), down, lo, CKrPoint3d(1, 1, 0)));
    EXPECT_FALSE(SM::Test_Intersect_Ray_And_BoxAABB(CKrPoint3d(0.5, 0.5, 5), down, hi, lo));
}

TEST(KrSpaceMathLineTri, LinesRaysPlanesAndSegmentsAgainstTrianglesAndPlanes)
{
    // Lines through z = 10 + x - 2y: exact heights on edges and corners;
    // just outside within eps a hit on the boundary, beyond eps none; the
    // direction's sense does not matter, a zero direction is -1.
    const CKrPoint3d a(0, 0, 10), b(4, 0, 14), c(0, 4, 2);
    const auto lt = [&](double x, double y, double eps = 1e-6, CGeoVector dir = CGeoVector(0, 0, 1)) {
        return [=](CKrPoint3d& h) { return SM::Test_Intersect_Line_And_Triangle_3D({x, y, -100}, dir, a, b, c, h, eps); };
    };
    EXPECT_TRUE(Gives(lt(2, 0), 1, {2, 0, 12}, 0.0));  // mid-edge AB, exactly
    EXPECT_TRUE(Gives(lt(4, 0), 1, b, 0.0));           // corner B, exactly
    EXPECT_TRUE(Gives(lt(2, -5e-7), 1, {2, 0, 12}, 1e-6));
    EXPECT_TRUE(Gives(lt(2, -2e-6), 0, kUntouched));
    EXPECT_TRUE(Gives(lt(2, -2e-6, 1e-5), 1, {2, 0, 12}, 1e-5));
    EXPECT_TRUE(Gives(lt(1, 1, 1e-6, CGeoVector(0, 0, -3)), 1, {1, 1, 9}, 1e-12));
    EXPECT_TRUE(Gives(lt(1, 1, 1e-6, CGeoVector(0, 0, 0)), -1, kUntouched));
    // A vertical line inside a vertical triangle: parallel, no hit; a
    // degenerate triangle: -1; a slanted line through a tilted triangle.
    const CKrPoint3d o(0, 0, 0), x4(4, 0, 0), up(0, 0, 1);
    CKrPoint3d hit;
    EXPECT_EQ(SM::Test_Intersect_Line_And_Triangle_3D(x4 / 4, up, o, x4, CKrPoint3d(0, 0, 4), hit, 1e-6), 0);
    EXPECT_EQ(SM::Test_Intersect_Line_And_Triangle_3D(x4 / 4, up, o, x4, CKrPoint3d(8, 0, 0), hit, 1e-6), -1);
    ASSERT_EQ(SM::Test_Intersect_Line_And_Triangle_3D(o, {1, 1, 1}, {3, 0, 0}, {0, 3, 0}, {0, 0, 3}, hit, 1e-6), 1);
    EXPECT_TRUE(Near(hit, CKrPoint3d(1, 1, 1)));

    // Rays against the triangle z = 0: pointing away, nothing; an origin on
    // it within the tolerance is hit where it stands when leaving, at the
    // plane when heading into it; through a corner.
    const CKrPoint3d t1(4, 0, 0), t2(0, 4, 0);
    const auto rt = [&](CKrPoint3d from, CGeoVector dir) {
        return [=](CKrPoint3d& h) { return SM::Test_Intersect_Ray_And_Triangle_3D(from, dir, o, t1, t2, h); };
    };
    EXPECT_TRUE(Gives(rt({1, 1, 5}, {0, 0, 2}), 0, kUntouched));
    EXPECT_TRUE(Gives(rt({1, 1, 5e-7}, {0, 0, 1}), 1, {1, 1, 5e-7}, 0.0));
    EXPECT_TRUE(Gives(rt({1, 1, 5e-7}, {0, 0, -1}), 1, {1, 1, 0}, 1e-12));
    EXPECT_TRUE(Gives(rt({1, 1, 1e-5}, {0, 0, 1}), 0, kUntouched));
    EXPECT_TRUE(Gives(rt({-1, -1, 1}, {1, 1, -1}), 1, o));

    // Rays against the plane z = 2 (a normal of any length): behind,
    // parallel, in it, no normal; starting on it and leaving; a direction at
    // a cosine of exactly 1e-6 to the normal still runs along it.
    const auto rp = [&](double z, CGeoVector dir, CGeoVector n = CGeoVector(0, 0, 3)) {
        return [=](CKrPoint3d& h) { return SM::Test_Intersect_Ray_And_Plane_3D({1, 1, z}, dir, {0, 0, 2}, n, h); };
    };
    EXPECT_TRUE(Gives(rp(5, {1, 0, 1}), 0, kUntouched));
    EXPECT_TRUE(Gives(rp(5, {1, 0, 0}), 0, kUntouched));
    EXPECT_TRUE(Gives(rp(2, {0, 0, 0}), 2, kUntouched));
    EXPECT_TRUE(Gives(rp(5, {1, 0, -1}, {0, 0, 0}), 0, kUntouched));
    EXPECT_TRUE(Gives(rp(5, {1, 0, -1}), 1, {4, 1, 2}));
    EXPECT_TRUE(Gives(rp(2.0000005, {0, 0, 1}), 1, {1, 1, 2.0000005}, 0.0));
    EXPECT_TRUE(Gives(rp(2, {0.9999999999995001, 0, 1e-6}), 2, kUntouched));

    // Segments against the plane z = 1 (orientation and length of the normal
    // do not matter): in it, apart, no normal, crossing, an end on it.
    const auto sp = [&](CKrPoint3d from, CKrPoint3d to, CGeoVector n = CGeoVector(0, 0, -5)) {
        return [=](CKrPoint3d& h) { return SM::Test_Intersect_Seg_And_Plane_3D(from, to, {0, 0, 1}, n, h); };
    };
    EXPECT_TRUE(Gives(sp({3, 3, 1}, {4, 2, 1}), 2, kUntouched));
    EXPECT_TRUE(Gives(sp({3, 3, 2}, {4, 2, 1.5}), 0, kUntouched));
    EXPECT_TRUE(Gives(sp({3, 3, 2}, {4, 2, 0}, CGeoVector()), -1, kUntouched));
    EXPECT_TRUE(Gives(sp({4, 2, 4}, {0, 0, 0}), 1, {1, 0.5, 1}));
    EXPECT_TRUE(Gives(sp({3, 3, 1.0000005}, {4, 2, 4}), 1, {3, 3, 1.0000005}, 0.0));
}

TEST(KrSpaceMathMapSeg, PlanPieceOverATriangleLiftedOntoIt)
{
    const CKrPoint3d a(0, 0, 0), b(4, 0, 4), c(0, 4, 8);  // z = x + 2y
    CKrPoint3d s, e;
    auto ms = [&](double x1, double y1, double x2, double y2) {
        return SM::Test_Intersect_MapSeg_And_Tri_3D(a, b, c, CKrPoint3d(x1, y1, 99), CKrPoint3d(x2, y2, 99), s, e);
    };
    // Reversed direction, clockwise triangle: clipped at its edges, lifted,
    // the piece following p1 -> p2.
    ASSERT_TRUE(SM::Test_Intersect_MapSeg_And_Tri_3D(a, c, b, CKrPoint3d(5, 1, 0), CKrPoint3d(-1, 1, 0), s, e));
    EXPECT_TRUE(Near(s, CKrPoint3d(3, 1, 5)) && Near(e, CKrPoint3d(0, 1, 2)));
    // Fully inside: the segment itself, lifted.
    ASSERT_TRUE(ms(1, 1, 2, 1));
    EXPECT_TRUE(Near(s, CKrPoint3d(1, 1, 3)) && Near(e, CKrPoint3d(2, 1, 4)));
    // Along an edge: kept, with the edge's heights; through a corner only: s == e.
    ASSERT_TRUE(ms(-2, 0, 2, 0));
    EXPECT_TRUE(Near(s, a) && Near(e, CKrPoint3d(2, 0, 2)));
    ASSERT_TRUE(ms(3 + 2e-7, 2, 5 + 2e-7, -2));  // passing the corner just outside, within 1e-6
    EXPECT_TRUE(Near(s, b, 1e-6) && Near(e, s, 0.0));
    // A plan point (zero-length segment) inside.
    ASSERT_TRUE(ms(1, 2, 1, 2));
    EXPECT_TRUE(Near(s, CKrPoint3d(1, 2, 5)) && Near(e, s));
    // Apart; a triangle seen edge-on from above.
    EXPECT_FALSE(ms(3, 3, 5, 5));
    EXPECT_FALSE(SM::Test_Intersect_MapSeg_And_Tri_3D(a, CKrPoint3d(4, 0, 0), CKrPoint3d(2, 0, 9),
                                                      CKrPoint3d(1, -1, 0), CKrPoint3d(1, 1, 0), s, e));
}

// ---- triangle against triangle ----------------------------------------------

using Tri = std::array<CKrPoint3d, 3>;

namespace {

int TriTri(const Tri& a, const Tri& b) { return SM::Test_Intersect_Tri_And_Tri_3D(a[0], a[1], a[2], b[0], b[1], b[2]); }

// Independent reference for integer coordinates: the separating axis theorem
// with exact 64-bit arithmetic. Two closed triangles are disjoint exactly when
// their projections onto one of the candidate axes (both normals, the cross
// products of an edge of each, and the in-plane edge normals) do not overlap.
using IVec = std::array<int64_t, 3>;
IVec Sub(const IVec& a, const IVec& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
IVec Cross(const IVec& a, const IVec& b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
int64_t Dot(const IVec& a, const IVec& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

int RefTriTri(const IVec A[3], const IVec B[3])
{
    const IVec nA = Cross(Sub(A[1], A[0]), Sub(A[2], A[0])), nB = Cross(Sub(B[1], B[0]), Sub(B[2], B[0]));
    if (nA == IVec{} || nB == IVec{}) return -1;
    bool coplanar = true;
    for (int i = 0; i < 3; ++i) coplanar = coplanar && Dot(nA, Sub(B[i], A[0])) == 0;
    std::vector<IVec> axes{nA, nB};
    for (int i = 0; i < 3; ++i) {
        const IVec ea = Sub(A[(i + 1) % 3], A[i]), eb = Sub(B[(i + 1) % 3], B[i]);
        axes.push_back(Cross(nA, ea));
        axes.push_back(Cross(nB, eb));
        for (int j = 0; j < 3; ++j) axes.push_back(Cross(ea, Sub(B[(j + 1) % 3], B[j])));
    }
    for (const IVec& axis : axes) {
        if (axis == IVec{}) continue;
        int64_t loA = INT64_MAX, hiA = INT64_MIN, loB = INT64_MAX, hiB = INT64_MIN;
        for (int i = 0; i < 3; ++i) {
            loA = std::min(loA, Dot(axis, A[i]));
            hiA = std::max(hiA, Dot(axis, A[i]));
            loB = std::min(loB, Dot(axis, B[i]));
            hiB = std::max(hiB, Dot(axis, B[i]));
        }
        if (hiA < loB || hiB < loA) return coplanar ? 1 : 0;
    }
    return 2;
}

// Every corner order of each triangle and both argument orders must give
// the same answer.
::testing::AssertionResult InvariantUnderPermutation(const Tri& a, const Tri& b, int expected)
{
    static const int perm[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}, {0, 2, 1}, {2, 1, 0}, {1, 0, 2}};
    for (const auto& pa : perm) {
        for (const auto& pb : perm) {
            const Tri ta = {a[pa[0]], a[pa[1]], a[pa[2]]}, tb = {b[pb[0]], b[pb[1]], b[pb[2]]};
            if (TriTri(ta, tb) != expected || TriTri(tb, ta) != expected)
                return ::testing::AssertionFailure() << "answer changes under a permutation";
        }
    }
    return ::testing::AssertionSuccess();
}

::testing::AssertionResult OnTriangle(const CKrPoint3d& p, const Tri& t)
{
    const double d2 = SM::CalDistPtToTri(p, t[0], t[1], t[2]);
    if (d2 >= 0.0 && d2 <= 1e-18) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "(" << p.x << ", " << p.y << ", " << p.z << ") off by " << std::sqrt(d2);
}

}  // namespace

TEST(KrSpaceMathTriTri, TouchingCrossingCoplanarAndDegenerateCases)
{
    // The decision itself is checked against the reference below; here the
    // common segment, the coplanar flag and the cases a grid cannot reach.
    const Tri a = {CKrPoint3d(0, 0, 0), CKrPoint3d(2, 0, 0), CKrPoint3d(0, 2, 0)};
    CKrPoint3d p, q;
    bool coplanar = true;
    const auto seg = [&](const Tri& b) {
        return SM::Test_Intersect_Tri_And_Tri_3D(a[0], a[1], a[2], b[0], b[1], b[2], p, q, coplanar);
    };
    const auto endsAre = [&](const CKrPoint3d& u, const CKrPoint3d& v) {
        return (p.Distance(u) < 1e-12 && q.Distance(v) < 1e-12) || (p.Distance(v) < 1e-12 && q.Distance(u) < 1e-12);
    };
    // Shared edge, folded up; skew edges crossing at (1,1,0); a proper
    // crossing; an edge lying in the other's plane, partly across it.
    ASSERT_EQ(seg({CKrPoint3d(2, 0, 0), CKrPoint3d(0, 0, 0), CKrPoint3d(1, 0, 3)}), 2);
    EXPECT_TRUE(endsAre(CKrPoint3d(0, 0, 0), CKrPoint3d(2, 0, 0)));
    ASSERT_EQ(seg({CKrPoint3d(1, 1, -1), CKrPoint3d(1, 1, 1), CKrPoint3d(3, 3, 0)}), 2);
    EXPECT_TRUE(endsAre(CKrPoint3d(1, 1, 0), CKrPoint3d(1, 1, 0)));
    ASSERT_EQ(seg({CKrPoint3d(0.5, -1, -1), CKrPoint3d(0.5, 3, -1), CKrPoint3d(0.5, 0.5, 2)}), 2);
    EXPECT_TRUE(endsAre(CKrPoint3d(0.5, 0, 0), CKrPoint3d(0.5, 1.5, 0)));
    ASSERT_EQ(seg({CKrPoint3d(-1, 0.5, 0), CKrPoint3d(3, 0.5, 0), CKrPoint3d(1, 0.5, 4)}), 2);
    EXPECT_FALSE(coplanar);
    EXPECT_TRUE(endsAre(CKrPoint3d(0, 0.5, 0), CKrPoint3d(1.5, 0.5, 0)));
    // Apart: the ends untouched. Coplanar, meeting or apart.
    p = q = kUntouched;
    EXPECT_EQ(seg({CKrPoint3d(0, 0, 1), CKrPoint3d(2, 0, 1), CKrPoint3d(0, 2, 1)}), 0);
    EXPECT_TRUE(endsAre(kUntouched, kUntouched));
    EXPECT_EQ(seg({CKrPoint3d(0.5, 0.5, 0), CKrPoint3d(2.5, 0.5, 0), CKrPoint3d(0.5, 2.5, 0)}), 2);
    EXPECT_TRUE(coplanar);
    EXPECT_EQ(seg({CKrPoint3d(0.25, 0.25, 0), CKrPoint3d(0.5, 0.25, 0), CKrPoint3d(0.25, 0.5, 0)}), 2);  // inside, apart from the edges
    coplanar = false;
    EXPECT_EQ(seg({CKrPoint3d(3, 3, 0), CKrPoint3d(4, 3, 0), CKrPoint3d(3, 4, 0)}), 1);
    EXPECT_TRUE(coplanar);
    // No tolerance: a hair above the face, or beside an edge, is apart.
    EXPECT_EQ(TriTri(a, {CKrPoint3d(0.5, 0.25, 1e-300), CKrPoint3d(0, 0, 1), CKrPoint3d(3, 1, 2)}), 0);
    EXPECT_EQ(TriTri(a, {CKrPoint3d(1, -1, 0), CKrPoint3d(2, -1, 0), CKrPoint3d(1.5, -1e-300, 0)}), 1);
    // A sliver that only looks degenerate in floating point is a triangle.
    EXPECT_EQ(TriTri({CKrPoint3d(0, 0, 0), CKrPoint3d(1, 1, 0), CKrPoint3d(1e20, 1e20 + 16384.0, 0)}, a), 2);

    // The collision measure: a degenerate triangle is refused (the distance
    // untouched); meeting gives 0; apart, the centroid distance, not the gap.
    double d = -1.0;
    EXPECT_FALSE(SM::Test_Dist_Tri_And_Tri_3D(a[0], a[1], CKrPoint3d(6, 0, 0), a[0], a[1], a[2], d));
    EXPECT_EQ(d, -1.0);
    ASSERT_TRUE(SM::Test_Dist_Tri_And_Tri_3D(a[0], a[1], a[2], a[1], CKrPoint3d(6, 0, 0), CKrPoint3d(3, 3, 3), d));
    EXPECT_EQ(d, 0.0);
    ASSERT_TRUE(SM::Test_Dist_Tri_And_Tri_3D(a[0], a[1], a[2], {0, 0, 1}, {2, 0, 1}, {0, 2, 4}, d));
    EXPECT_DOUBLE_EQ(d, 2.0);
}

// Random pairs on a tiny grid, so that shared corners, corners on
// edges and faces, degenerate triangles and coplanar pairs are common: the
// exact decision must match the separating-axis reference and must not depend
// on corner order or argument order. A third of the pairs lie in the plane
// z = 1 and a third in the slanted plane z = x + y - 2. Shifted far from the
// origin and scaled by a power of two, the answer stays the same.
TEST(KrSpaceMathTriTri, RandomGridPairsMatchTheSeparatingAxisReference)
{
    std::mt19937 rng(20240531);
    std::uniform_int_distribution<int> g(0, 2), h(0, 4);
    const CKrPoint3d far(1048576.0, -524288.0, 3e5);
    for (int iter = 0; iter < 3000; ++iter) {
        IVec A[3], B[3];
        Tri a, b, fa, fb;
        for (IVec* t : {A, B})
            for (int i = 0; i < 3; ++i) {
                t[i] = iter % 3 == 0 ? IVec{g(rng), g(rng), g(rng)} : IVec{h(rng), h(rng), 1};
                if (iter % 3 == 2) t[i][2] = t[i][0] + t[i][1] - 2;
            }
        for (int i = 0; i < 3; ++i) {
            a[i] = CKrPoint3d(A[i][0], A[i][1], A[i][2]);
            b[i] = CKrPoint3d(B[i][0], B[i][1], B[i][2]);
            fa[i] = far + a[i] * 0.125;
            fb[i] = far + b[i] * 0.125;
        }
        const int ref = RefTriTri(A, B);
        ASSERT_EQ(TriTri(a, b), ref) << "iteration " << iter;
        ASSERT_EQ(TriTri(fa, fb), ref) << "shifted, iteration " << iter;
        ASSERT_TRUE(iter % 10 || InvariantUnderPermutation(a, b, ref)) << "iteration " << iter;

        // The common segment of non-coplanar meeting triangles lies on both.
        CKrPoint3d p, q;
        bool coplanar = false;
        const bool meet = SM::Test_Intersect_Tri_And_Tri_3D(a[0], a[1], a[2], b[0], b[1], b[2], p, q, coplanar) == 2;
        for (const CKrPoint3d& e : {p, q, (p + q) * 0.5})
            ASSERT_TRUE(!meet || coplanar || (OnTriangle(e, a) && OnTriangle(e, b))) << iter;
    }
}
