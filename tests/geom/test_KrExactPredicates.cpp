#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "KrTesGeometry/geom/KrExactPredicates.h"

using KrTesGeo::InCircleDetExact;
using KrTesGeo::InCircleExact;
using KrTesGeo::Orient2dExact;
using KrTesGeo::Orient3dExact;

namespace {

// Exact integers as digits in base 2^24 (value = sum d[i] * 2^(24 i)), enough
// to evaluate the determinants exactly on coordinates that are integer
// multiples of a power of two: an independent reference for the expansion
// arithmetic. After Norm every digit is in [0, 2^24) except the last, which
// is 0 or -1 and so carries the sign.
struct Big {
    std::vector<int64_t> d;
};

Big Norm(Big a)
{
    int64_t carry = 0;
    for (int64_t& x : a.d) {
        x += carry;
        carry = x >> 24;  // floor division, also for negative x
        x &= 0xffffff;
    }
    for (; carry != 0 && carry != -1; carry >>= 24) a.d.push_back(carry & 0xffffff);
    a.d.push_back(carry);
    return a;
}
Big operator+(Big a, const Big& b)
{
    a.d.resize(std::max(a.d.size(), b.d.size()), 0);
    for (size_t i = 0; i < b.d.size(); ++i) a.d[i] += b.d[i];
    return Norm(a);
}
Big operator-(const Big& a, Big b)
{
    for (int64_t& x : b.d) x = -x;
    return b + a;
}
Big operator*(const Big& a, const Big& b)
{
    Big r{std::vector<int64_t>(a.d.size() + b.d.size(), 0)};
    for (size_t i = 0; i < a.d.size(); ++i)
        for (size_t j = 0; j < b.d.size(); ++j) r.d[i + j] += a.d[i] * b.d[j];
    return Norm(r);
}
int Sign(const Big& a)
{
    if (a.d.back() < 0) return -1;
    return std::any_of(a.d.begin(), a.d.end(), [](int64_t x) { return x != 0; }) ? 1 : 0;
}

// x * 2^shift as an exact integer (the tests only use coordinates for which
// this is exact and fits).
Big Scaled(double x, int shift)
{
    const double s = std::ldexp(x, shift);
    EXPECT_EQ(s, std::trunc(s));
    EXPECT_LT(std::fabs(s), 9.2e18);
    return Norm(Big{{static_cast<int64_t>(s)}});
}

int RefOrient2d(double ax, double ay, double bx, double by, double cx, double cy, int sh)
{
    const Big ux = Scaled(bx, sh) - Scaled(ax, sh), uy = Scaled(by, sh) - Scaled(ay, sh);
    const Big vx = Scaled(cx, sh) - Scaled(ax, sh), vy = Scaled(cy, sh) - Scaled(ay, sh);
    return Sign(ux * vy - uy * vx);
}

int RefOrient3d(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c, const CKrPoint3d& d, int sh)
{
    const Big ax = Scaled(a.x, sh), ay = Scaled(a.y, sh), az = Scaled(a.z, sh);
    const Big ux = Scaled(b.x, sh) - ax, uy = Scaled(b.y, sh) - ay, uz = Scaled(b.z, sh) - az;
    const Big vx = Scaled(c.x, sh) - ax, vy = Scaled(c.y, sh) - ay, vz = Scaled(c.z, sh) - az;
    const Big wx = Scaled(d.x, sh) - ax, wy = Scaled(d.y, sh) - ay, wz = Scaled(d.z, sh) - az;
    return Sign(wx * (uy * vz - uz * vy) + wy * (uz * vx - ux * vz) + wz * (ux * vy - uy * vx));
}

// Raw lifted in-circle determinant, positive inside a counter-clockwise circle.
int RefInCircleDet(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c, const CKrPoint3d& d, int sh)
{
    const Big dx = Scaled(d.x, sh), dy = Scaled(d.y, sh);
    const Big ax = Scaled(a.x, sh) - dx, ay = Scaled(a.y, sh) - dy;
    const Big bx = Scaled(b.x, sh) - dx, by = Scaled(b.y, sh) - dy;
    const Big cx = Scaled(c.x, sh) - dx, cy = Scaled(c.y, sh) - dy;
    const Big al = ax * ax + ay * ay, bl = bx * bx + by * by, cl = cx * cx + cy * cy;
    return Sign(al * (bx * cy - by * cx) + bl * (cx * ay - cy * ax) + cl * (ax * by - ay * bx));
}

int NaiveSign(double v) { return v > 0 ? 1 : (v < 0 ? -1 : 0); }

}  // namespace

TEST(ExactPredicates, SignConventionsAndSymmetries)
{
    EXPECT_EQ(Orient2dExact(0, 0, 1, 0, 0, 1), 1);   // counter-clockwise
    EXPECT_EQ(Orient2dExact(0, 0, 0, 1, 1, 0), -1);  // clockwise
    EXPECT_EQ(Orient2dExact(0, 0, 1, 1, 3, 3), 0);   // collinear
    EXPECT_EQ(Orient2dExact(CKrPoint3d(0, 0, 5), CKrPoint3d(1, 0, -7), CKrPoint3d(0, 1, 2)), 1);  // z ignored

    const CKrPoint3d o(0, 0, 0), x(1, 0, 0), y(0, 1, 0);
    EXPECT_EQ(Orient3dExact(o, x, y, CKrPoint3d(0.2, 0.3, 1)), 1);  // along the normal x ^ y
    EXPECT_EQ(Orient3dExact(o, x, y, CKrPoint3d(0.2, 0.3, -1)), -1);
    EXPECT_EQ(Orient3dExact(o, x, y, CKrPoint3d(5, -9, 0)), 0);
    EXPECT_EQ(Orient3dExact(x, o, y, CKrPoint3d(0.2, 0.3, 1)), -1);  // swapped winding

    const CKrPoint3d a(0, 0, 0), b(2, 0, 0), c(0, 2, 0);  // circle centre (1,1), radius sqrt 2
    EXPECT_EQ(InCircleExact(a, b, c, CKrPoint3d(1, 1, 0)), 1);
    EXPECT_EQ(InCircleExact(a, c, b, CKrPoint3d(1, 1, 0)), 1);  // either winding
    EXPECT_EQ(InCircleExact(a, b, c, CKrPoint3d(2, 2, 0)), 0);  // on the circle
    EXPECT_EQ(InCircleExact(a, b, c, CKrPoint3d(3, 3, 0)), -1);
    EXPECT_EQ(InCircleDetExact(a, c, b, CKrPoint3d(1, 1, 0)), -1);  // raw sign follows the winding
    EXPECT_EQ(InCircleExact(a, b, CKrPoint3d(4, 0, 0), CKrPoint3d(1, 1, 0)), 0);  // collinear: no circle

    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(Orient2dExact(nan, 0, 1, 0, 0, 1), 0);
    EXPECT_EQ(Orient3dExact(o, x, y, CKrPoint3d(0, 0, inf)), 0);
}

// Points a few units in the last place away from degenerate positions: the
// plain double evaluation answers wrongly for many of them (counted for the
// orientation in the plane; the other two sweeps were chosen the same way);
// the exact predicates must agree with big-integer arithmetic every time, and
// under permutations of their arguments.
TEST(ExactPredicates, ExactWhereDoublesFail)
{
    const double u = std::ldexp(1.0, -53);
    // a ~ (0.5, 0.5) near the line through (12, 12) and (24, 24).
    int naiveWrong = 0, zeros = 0;
    for (int i = 0; i < 64; ++i) {
        for (int j = 0; j < 64; ++j) {
            const double ax = 0.5 + i * u, ay = 0.5 + j * u;
            const int ref = RefOrient2d(ax, ay, 12, 12, 24, 24, 53);
            ASSERT_EQ(Orient2dExact(ax, ay, 12, 12, 24, 24), ref) << i << ' ' << j;
            ASSERT_EQ(Orient2dExact(12, 12, 24, 24, ax, ay), ref);   // cyclic
            ASSERT_EQ(Orient2dExact(24, 24, 12, 12, ax, ay), -ref);  // swapped
            const double naive = (12 - ax) * (24 - ay) - (12 - ay) * (24 - ax);
            naiveWrong += NaiveSign(naive) != ref;
            zeros += ref == 0;
        }
    }
    EXPECT_GT(naiveWrong, 100);  // the inputs really are beyond plain doubles
    EXPECT_EQ(zeros, 64);        // exactly the diagonal i == j is collinear

    // a ~ (0.5, 0.5, 0.5) near the plane through b, c and d.
    const CKrPoint3d b(12, 12, 12), c(24, 24, 24), d(1.5, 3.25, 7.75);
    zeros = 0;
    for (int i = 0; i < 16; ++i) {
        for (int j = 0; j < 16; ++j) {
            for (int k = 0; k < 16; ++k) {
                const CKrPoint3d a(0.5 + i * u, 0.5 + j * u, 0.5 + k * u);
                const int ref = RefOrient3d(a, b, c, d, 53);
                ASSERT_EQ(Orient3dExact(a, b, c, d), ref) << i << ' ' << j << ' ' << k;
                ASSERT_EQ(Orient3dExact(b, c, a, d), ref);   // even permutation
                ASSERT_EQ(Orient3dExact(b, a, c, d), -ref);  // odd permutation
                ASSERT_EQ(Orient3dExact(d, b, c, a), -ref);  // d and a exchanged
                zeros += ref == 0;
            }
        }
    }
    EXPECT_GT(zeros, 0);

    // e, f, g and (0.5, 0.5) lie on the circle of centre (12.5, 0.5), radius
    // 12; a wanders around (0.5, 0.5).
    const CKrPoint3d e(24.5, 0.5, 0), f(12.5, 12.5, 0), g(12.5, -11.5, 0);
    for (int i = 0; i < 48; ++i) {
        for (int j = 0; j < 48; ++j) {
            const CKrPoint3d a(0.5 + i * u, 0.5 + j * u, 0);
            const int ref = RefInCircleDet(a, e, f, g, 53);
            ASSERT_EQ(InCircleDetExact(a, e, f, g), ref) << i << ' ' << j;
            ASSERT_EQ(InCircleDetExact(e, f, a, g), ref);
            ASSERT_EQ(InCircleDetExact(e, a, f, g), -ref);
        }
    }

    // Lattice points of x^2 + y^2 = 5^16, shifted by 2^30, are exactly
    // cocircular, with products far beyond 2^53.
    const int64_t R = 390625;
    std::vector<CKrPoint3d> onCircle;
    for (int64_t x = -R; x <= R && onCircle.size() < 24; ++x) {
        const int64_t y2 = R * R - x * x;
        const int64_t y = static_cast<int64_t>(std::llround(std::sqrt(static_cast<double>(y2))));
        if (y * y == y2) onCircle.emplace_back(double(x + (int64_t(1) << 30)), double(y + (int64_t(1) << 30)), 0.0);
    }
    ASSERT_GE(onCircle.size(), 8u);
    for (size_t i = 0; i + 3 < onCircle.size(); ++i) {
        const CKrPoint3d &p = onCircle[i], &q = onCircle[i + 1], &r = onCircle[i + 2], &s = onCircle[i + 3];
        EXPECT_EQ(InCircleExact(p, q, r, s), 0);
        const CKrPoint3d off(s.x + 1, s.y, 0);  // one unit off the circle
        EXPECT_EQ(InCircleExact(p, q, r, off), RefInCircleDet(p, q, r, off, 0) * Orient2dExact(p, q, r));
    }
}
