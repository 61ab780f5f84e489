#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "KrTesGeometry/geom/KrExactPredicates.h"

using KrTesGeo::InCircleDetExact;
using KrTesGeo::InCircleExact;
using KrTesGeo::Orient2dExact;
using KrTesGeo::Orient3dExact;

namespace {

int Sign(double v) { return v > 0 ? 1 : (v < 0 ? -1 : 0); }

}  // namespace

TEST(ExactPredicates, SignConventionsAndSymmetries)
{
    EXPECT_EQ(Orient2dExact(CKrPoint3d(0, 0, 5), CKrPoint3d(1, 0, -7), CKrPoint3d(0, 1, 2)), 1);  // z ignored

    const CKrPoint3d o(0, 0, 0), x(1, 0, 0), y(0, 1, 0);
    EXPECT_EQ(Orient3dExact(o, x, y, CKrPoint3d(0.2, 0.3, 1)), 1);  // along the normal x ^ y
    EXPECT_EQ(Orient3dExact(x, o, y, CKrPoint3d(0.2, 0.3, 1)), -1);  // swapped winding

    const CKrPoint3d a(0, 0, 0), b(2, 0, 0), c(0, 2, 0);  // circle centre (1,1), radius sqrt 2
    EXPECT_EQ(InCircleExact(a, b, c, CKrPoint3d(1, 1, 0)), 1);
    EXPECT_EQ(InCircleExact(a, c, b, CKrPoint3d(1, 1, 0)), 1);  // either winding
    EXPECT_EQ(InCircleExact(a, b, c, CKrPoint3d(3, 3, 0)), -1);
    EXPECT_EQ(InCircleDetExact(a, c, b, CKrPoint3d(1, 1, 0)), -1);  // raw sign follows the winding
    EXPECT_EQ(InCircleExact(a, b, CKrPoint3d(4, 0, 0), CKrPoint3d(1, 1, 0)), 0);  // collinear: no circle

    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(Orient2dExact(nan, 0, 1, 0, 0, 1), 0);
    EXPECT_EQ(Orient3dExact(o, x, y, CKrPoint3d(0, 0, std::numeric_limits<double>::infinity())), 0);
}

// A point a few units in the last place away from a degenerate position
// (a0 on the line, plane or circle) moves by an exactly known offset, so the
// exact sign follows from that offset alone, while the plain double
// evaluation answers wrongly for many of them. The exact predicates must give
// the analytic sign every time, and under permutations of their arguments.
TEST(ExactPredicates, ExactWhereDoublesFail)
{
    const double u = std::ldexp(1.0, -53);
    // a = (0.5, 0.5) + u (i, j) against the line y = x through (12, 12), (24, 24).
    for (int i = 0; i < 64; ++i)
        for (int j = 0; j < 64; ++j) {
            const double ax = 0.5 + i * u, ay = 0.5 + j * u;
            const int ref = Sign(j - i);
            ASSERT_EQ(Orient2dExact(ax, ay, 12, 12, 24, 24), ref) << i << ' ' << j;
            ASSERT_EQ(Orient2dExact(12, 12, 24, 24, ax, ay), ref);   // cyclic
            ASSERT_EQ(Orient2dExact(24, 24, 12, 12, ax, ay), -ref);  // swapped
        }

    // a = (0.5, 0.5, 0.5) + u (i, j, k) against the plane through b, c, d:
    // (d - a) . ((b - a) x (c - a)) = -(a - a0) . ((c - b) x (d - b)).
    const CKrPoint3d b(12, 12, 12), c(24, 24, 24), d(1.5, 3.25, 7.75);
    const CKrPoint3d e = c - b, f = d - b;
    const CKrPoint3d n(e.y * f.z - e.z * f.y, e.z * f.x - e.x * f.z, e.x * f.y - e.y * f.x);  // exact here
    // n.x + n.y + n.z == 0: a0 lies in the plane.
    for (int i = 0; i < 16; ++i)
        for (int j = 0; j < 16; ++j)
            for (int k = 0; k < 16; ++k) {
                const CKrPoint3d a(0.5 + i * u, 0.5 + j * u, 0.5 + k * u);
                const int ref = -Sign(n.x * i + n.y * j + n.z * k);
                ASSERT_EQ(Orient3dExact(a, b, c, d), ref) << i << ' ' << j << ' ' << k;
                ASSERT_EQ(Orient3dExact(b, c, a, d), ref);   // even permutation
                ASSERT_EQ(Orient3dExact(b, a, c, d), -ref);  // odd permutation
                ASSERT_EQ(Orient3dExact(d, b, c, a), -ref);  // d and a exchanged
            }

    // g, h, m and (0.5, 0.5) lie on the circle of centre (12.5, 0.5), radius
    // 12: a = (0.5, 0.5) + u (i, j) is inside for i > 0, since
    // |a - centre|^2 - 144 = u (-24 i + u (i^2 + j^2)).
    const CKrPoint3d g(24.5, 0.5, 0), h(12.5, 12.5, 0), m(12.5, -11.5, 0);
    for (int i = 0; i < 48; ++i)
        for (int j = 0; j < 48; ++j) {
            const CKrPoint3d a(0.5 + i * u, 0.5 + j * u, 0);
            const int ref = i > 0 ? 1 : (j > 0 ? -1 : 0);
            ASSERT_EQ(InCircleDetExact(g, h, m, a), ref) << i << ' ' << j;
            ASSERT_EQ(InCircleDetExact(a, g, h, m), -ref);  // a four-cycle is odd
            ASSERT_EQ(InCircleDetExact(g, a, h, m), ref);
        }
}
