#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <random>

#include "KrTesGeometry/geom/KrSpaceMath.h"

using SM = CKrSpaceMath;
using Tri = std::array<CKrPoint3d, 3>;

namespace {

int TriTri(const Tri& a, const Tri& b) { return SM::Test_Intersect_Tri_And_Tri_3D(a[0], a[1], a[2], b[0], b[1], b[2]); }

// Independent reference for integer coordinates: the separating axis theorem
// with exact 64-bit arithmetic. Two closed triangles are disjoint exactly when
// their projections onto one of the candidate axes (both normals, the cross
// products of an edge of each, and the in-plane edge normals) do not overlap.
struct IVec {
    int64_t x, y, z;
};
IVec Sub(const IVec& a, const IVec& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
IVec Cross(const IVec& a, const IVec& b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
int64_t Dot(const IVec& a, const IVec& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
bool IsZero(const IVec& a) { return a.x == 0 && a.y == 0 && a.z == 0; }

int RefTriTri(const IVec A[3], const IVec B[3])
{
    const IVec nA = Cross(Sub(A[1], A[0]), Sub(A[2], A[0]));
    const IVec nB = Cross(Sub(B[1], B[0]), Sub(B[2], B[0]));
    if (IsZero(nA) || IsZero(nB)) return -1;
    bool coplanar = true;
    for (int i = 0; i < 3; ++i) coplanar = coplanar && Dot(nA, Sub(B[i], A[0])) == 0;

    IVec axes[17];
    int n = 0;
    axes[n++] = nA;
    axes[n++] = nB;
    for (int i = 0; i < 3; ++i) {
        const IVec ea = Sub(A[(i + 1) % 3], A[i]);
        const IVec eb = Sub(B[(i + 1) % 3], B[i]);
        axes[n++] = Cross(nA, ea);
        axes[n++] = Cross(nB, eb);
        for (int j = 0; j < 3; ++j) axes[n++] = Cross(ea, Sub(B[(j + 1) % 3], B[j]));
    }
    for (int k = 0; k < n; ++k) {
        if (IsZero(axes[k])) continue;
        int64_t loA = INT64_MAX, hiA = INT64_MIN, loB = INT64_MAX, hiB = INT64_MIN;
        for (int i = 0; i < 3; ++i) {
            const int64_t pa = Dot(axes[k], A[i]), pb = Dot(axes[k], B[i]);
            loA = std::min(loA, pa);
            hiA = std::max(hiA, pa);
            loB = std::min(loB, pb);
            hiB = std::max(hiB, pb);
        }
        if (hiA < loB || hiB < loA) return coplanar ? 1 : 0;
    }
    return 2;
}

CKrPoint3d ToPoint(const IVec& v, double scale, const CKrPoint3d& offset)
{
    return CKrPoint3d(offset.x + v.x * scale, offset.y + v.y * scale, offset.z + v.z * scale);
}

// Every corner order of each triangle and both argument orders must give
// the same answer.
::testing::AssertionResult InvariantUnderPermutation(const Tri& a, const Tri& b, int expected)
{
    static const int perm[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}, {0, 2, 1}, {2, 1, 0}, {1, 0, 2}};
    for (const auto& pa : perm) {
        for (const auto& pb : perm) {
            const Tri ta = {a[pa[0]], a[pa[1]], a[pa[2]]};
            const Tri tb = {b[pb[0]], b[pb[1]], b[pb[2]]};
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
    const Tri a = {CKrPoint3d(0, 0, 0), CKrPoint3d(2, 0, 0), CKrPoint3d(0, 2, 0)};
    CKrPoint3d p, q;
    bool coplanar = true;
    const auto seg = [&](const Tri& b) {
        return SM::Test_Intersect_Tri_And_Tri_3D(a[0], a[1], a[2], b[0], b[1], b[2], p, q, coplanar);
    };
    const auto endsAre = [&](const CKrPoint3d& u, const CKrPoint3d& v) {
        return (p.Distance(u) < 1e-12 && q.Distance(v) < 1e-12) || (p.Distance(v) < 1e-12 && q.Distance(u) < 1e-12);
    };

    // Shared corner only.
    const Tri sharedVertex = {CKrPoint3d(0, 0, 0), CKrPoint3d(-1, 0, 1), CKrPoint3d(0, -1, 1)};
    EXPECT_EQ(TriTri(a, sharedVertex), 2);
    ASSERT_EQ(seg(sharedVertex), 2);
    EXPECT_FALSE(coplanar);
    EXPECT_TRUE(endsAre(CKrPoint3d(0, 0, 0), CKrPoint3d(0, 0, 0)));
    // Shared edge, folded up.
    const Tri sharedEdge = {CKrPoint3d(2, 0, 0), CKrPoint3d(0, 0, 0), CKrPoint3d(1, 0, 3)};
    ASSERT_EQ(seg(sharedEdge), 2);
    EXPECT_TRUE(endsAre(CKrPoint3d(0, 0, 0), CKrPoint3d(2, 0, 0)));
    // A corner resting on the face interior.
    const Tri onFace = {CKrPoint3d(0.5, 0.25, 0), CKrPoint3d(0, 0, 1), CKrPoint3d(3, 1, 2)};
    ASSERT_EQ(seg(onFace), 2);
    EXPECT_TRUE(endsAre(CKrPoint3d(0.5, 0.25, 0), CKrPoint3d(0.5, 0.25, 0)));
    const Tri aboveFace = {CKrPoint3d(0.5, 0.25, 1e-300), CKrPoint3d(0, 0, 1), CKrPoint3d(3, 1, 2)};
    EXPECT_EQ(TriTri(a, aboveFace), 0);  // no tolerance: a hair above is apart
    // Skew edges crossing at one point: (1,1,0) on the hypotenuse.
    const Tri edgeOnEdge = {CKrPoint3d(1, 1, -1), CKrPoint3d(1, 1, 1), CKrPoint3d(3, 3, 0)};
    ASSERT_EQ(seg(edgeOnEdge), 2);
    EXPECT_TRUE(endsAre(CKrPoint3d(1, 1, 0), CKrPoint3d(1, 1, 0)));
    // Proper crossing: the common segment x = 0.5, y in [0, 1.5].
    const Tri crossing = {CKrPoint3d(0.5, -1, -1), CKrPoint3d(0.5, 3, -1), CKrPoint3d(0.5, 0.5, 2)};
    ASSERT_EQ(seg(crossing), 2);
    EXPECT_TRUE(endsAre(CKrPoint3d(0.5, 0, 0), CKrPoint3d(0.5, 1.5, 0)));
    // An edge lying in the other's plane, partly across it.
    const Tri edgeInPlane = {CKrPoint3d(-1, 0.5, 0), CKrPoint3d(3, 0.5, 0), CKrPoint3d(1, 0.5, 4)};
    ASSERT_EQ(seg(edgeInPlane), 2);
    EXPECT_FALSE(coplanar);
    EXPECT_TRUE(endsAre(CKrPoint3d(0, 0.5, 0), CKrPoint3d(1.5, 0.5, 0)));
    // Apart, not coplanar: a parallel plane and a tilted miss.
    p = q = CKrPoint3d(7, 7, 7);
    EXPECT_EQ(seg({CKrPoint3d(0, 0, 1), CKrPoint3d(2, 0, 1), CKrPoint3d(0, 2, 1)}), 0);
    EXPECT_EQ(TriTri(a, {CKrPoint3d(1.1, 1.1, -1), CKrPoint3d(1.1, 1.1, 1), CKrPoint3d(3, 3, 0)}), 0);
    EXPECT_TRUE(endsAre(CKrPoint3d(7, 7, 7), CKrPoint3d(7, 7, 7)));  // untouched

    // Coplanar: overlapping, nested, touching at a corner or along
    // an edge, and apart.
    EXPECT_EQ(seg({CKrPoint3d(0.5, 0.5, 0), CKrPoint3d(2.5, 0.5, 0), CKrPoint3d(0.5, 2.5, 0)}), 2);
    EXPECT_TRUE(coplanar);
    EXPECT_EQ(TriTri(a, {CKrPoint3d(0.2, 0.2, 0), CKrPoint3d(0.5, 0.2, 0), CKrPoint3d(0.2, 0.5, 0)}), 2);
    EXPECT_EQ(TriTri(a, {CKrPoint3d(2, 0, 0), CKrPoint3d(3, 0, 0), CKrPoint3d(3, 1, 0)}), 2);
    EXPECT_EQ(TriTri(a, {CKrPoint3d(1, 1, 0), CKrPoint3d(3, 3, 0), CKrPoint3d(2, 0, 0)}), 2);
    EXPECT_EQ(TriTri(a, {CKrPoint3d(1, -1, 0), CKrPoint3d(2, -1, 0), CKrPoint3d(1.5, -1e-300, 0)}), 1);
    coplanar = false;
    EXPECT_EQ(seg({CKrPoint3d(3, 3, 0), CKrPoint3d(4, 3, 0), CKrPoint3d(3, 4, 0)}), 1);
    EXPECT_TRUE(coplanar);

    // Degenerate: collinear corners, or two equal corners, on either side.
    const Tri line = {CKrPoint3d(0, 0, 0), CKrPoint3d(1, 1, 1), CKrPoint3d(3, 3, 3)};
    const Tri point = {CKrPoint3d(1, 1, 0), CKrPoint3d(1, 1, 0), CKrPoint3d(2, 0, 5)};
    EXPECT_EQ(TriTri(a, line), -1);
    EXPECT_EQ(TriTri(line, a), -1);
    EXPECT_EQ(TriTri(point, a), -1);
    // A sliver that only looks degenerate in floating point is a triangle.
    EXPECT_EQ(TriTri({CKrPoint3d(0, 0, 0), CKrPoint3d(1, 1, 0), CKrPoint3d(1e20, 1e20 + 16384.0, 0)}, a), 2);
}

// Random pairs on a tiny grid, so that shared corners, corners on
// edges and faces, and coplanar pairs are common: the exact decision must
// match the separating-axis reference and must not depend on corner order or
// argument order. A third of the pairs lie in the plane z = 1 and a third in
// the slanted plane z = x + y - 2, so that coplanar pairs, touching or apart,
// are just as common. Shifted far from the origin and scaled by a power of two,
// the geometry and hence the answer stay the same.
TEST(KrSpaceMathTriTri, RandomGridPairsMatchTheSeparatingAxisReference)
{
    std::mt19937 rng(20240531);
    std::uniform_int_distribution<int> g(0, 2), h(0, 4);
    int count[4] = {0, 0, 0, 0};
    const CKrPoint3d far(1048576.0, -524288.0, 3e5);
    for (int iter = 0; iter < 3000; ++iter) {
        IVec A[3], B[3];
        for (IVec* t : {A, B}) {
            for (int i = 0; i < 3; ++i) {
                const int kind = iter % 3;
                t[i] = kind == 0 ? IVec{g(rng), g(rng), g(rng)} : IVec{h(rng), h(rng), 1};
                if (kind == 2) t[i].z = t[i].x + t[i].y - 2;
            }
        }
        const int ref = RefTriTri(A, B);
        const Tri a = {ToPoint(A[0], 1, {}), ToPoint(A[1], 1, {}), ToPoint(A[2], 1, {})};
        const Tri b = {ToPoint(B[0], 1, {}), ToPoint(B[1], 1, {}), ToPoint(B[2], 1, {})};
        ASSERT_EQ(TriTri(a, b), ref) << "iteration " << iter;
        ++count[ref + 1];
        if (iter % 10 == 0) {
            ASSERT_TRUE(InvariantUnderPermutation(a, b, ref)) << "iteration " << iter;
        }
        const Tri fa = {ToPoint(A[0], 0.125, far), ToPoint(A[1], 0.125, far), ToPoint(A[2], 0.125, far)};
        const Tri fb = {ToPoint(B[0], 0.125, far), ToPoint(B[1], 0.125, far), ToPoint(B[2], 0.125, far)};
        ASSERT_EQ(TriTri(fa, fb), ref) << "shifted, iteration " << iter;

        // The common segment of non-coplanar meeting triangles lies on both.
        CKrPoint3d p, q;
        bool coplanar = false;
        if (SM::Test_Intersect_Tri_And_Tri_3D(a[0], a[1], a[2], b[0], b[1], b[2], p, q, coplanar) == 2 && !coplanar) {
            for (const CKrPoint3d& e : {p, q, (p + q) * 0.5}) {
                ASSERT_TRUE(OnTriangle(e, a)) << "iteration " << iter;
                ASSERT_TRUE(OnTriangle(e, b)) << "iteration " << iter;
            }
        }
    }
    // Every kind of answer occurs often enough to mean something.
    for (int k = 0; k < 4; ++k) EXPECT_GT(count[k], 100) << "result " << k - 1;
}

// Corners placed on the other triangle's edges and faces by floating-point
// arithmetic land a hair off them: whatever the exact answer is, it must not
// depend on how the triangles are listed.
TEST(KrSpaceMathTriTri, NearTouchingPairsAreDecidedConsistently)
{
    std::mt19937 rng(99);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    std::uniform_real_distribution<double> w(0.0, 1.0);
    int meet = 0, apart = 0;
    for (int iter = 0; iter < 200; ++iter) {
        const Tri a = {CKrPoint3d(u(rng), u(rng), u(rng)), CKrPoint3d(u(rng), u(rng), u(rng)),
                       CKrPoint3d(u(rng), u(rng), u(rng))};
        // A corner of b on a's face or on one of its edges, b's other corners
        // on one side of a's plane or across it.
        double s = w(rng), t = w(rng);
        if (s + t > 1) {
            s = 1 - s;
            t = 1 - t;
        }
        if (iter % 3 == 0) t = 0;  // on the edge a0-a1
        const CKrPoint3d touch = a[0] + (a[1] - a[0]) * s + (a[2] - a[0]) * t;
        const KrTesGeo::CGeoVector n = KrTesGeo::CGeoVector(a[1] - a[0]) ^ KrTesGeo::CGeoVector(a[2] - a[0]);
        const double side = iter % 2 ? 1.0 : -1.0;
        const Tri b = {touch, touch + n * side + CKrPoint3d(u(rng), u(rng), u(rng)) * 0.1,
                       touch + n * (iter % 4 < 2 ? side : -side) * 0.5 + CKrPoint3d(u(rng), u(rng), 0)};
        const int r = TriTri(a, b);
        ASSERT_TRUE(r == 0 || r == 2) << r;
        (r == 2 ? meet : apart)++;
        ASSERT_TRUE(InvariantUnderPermutation(a, b, r)) << "iteration " << iter;
    }
    EXPECT_GT(meet, 0);
}
