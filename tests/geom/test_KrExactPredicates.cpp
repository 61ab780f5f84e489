#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "geom/KrExactPredicates.h"

using KrTesGeo::InCircleDetExact;
using KrTesGeo::InCircleExact;
using KrTesGeo::Orient2dExact;
using KrTesGeo::Orient3dExact;

namespace {

// A small signed big integer (magnitude in 32-bit limbs), enough to evaluate
// the determinants exactly on coordinates that are integer multiples of a
// power of two: an independent reference for the expansion arithmetic.
struct Big {
    bool neg = false;
    std::vector<uint32_t> mag;  // least significant limb first, no leading zeros

    Big() = default;
    explicit Big(int64_t v)
    {
        neg = v < 0;
        uint64_t m = neg ? 0 - static_cast<uint64_t>(v) : static_cast<uint64_t>(v);
        while (m) {
            mag.push_back(static_cast<uint32_t>(m));
            m >>= 32;
        }
    }
    int Sign() const { return mag.empty() ? 0 : (neg ? -1 : 1); }

    static int CmpMag(const Big& a, const Big& b)
    {
        if (a.mag.size() != b.mag.size()) return a.mag.size() < b.mag.size() ? -1 : 1;
        for (size_t i = a.mag.size(); i-- > 0;)
            if (a.mag[i] != b.mag[i]) return a.mag[i] < b.mag[i] ? -1 : 1;
        return 0;
    }
    static Big AddMag(const Big& a, const Big& b)
    {
        Big r;
        uint64_t carry = 0;
        for (size_t i = 0; i < std::max(a.mag.size(), b.mag.size()) || carry; ++i) {
            uint64_t s = carry;
            if (i < a.mag.size()) s += a.mag[i];
            if (i < b.mag.size()) s += b.mag[i];
            r.mag.push_back(static_cast<uint32_t>(s));
            carry = s >> 32;
        }
        return r;
    }
    static Big SubMag(const Big& a, const Big& b)  // |a| >= |b|
    {
        Big r;
        int64_t borrow = 0;
        for (size_t i = 0; i < a.mag.size(); ++i) {
            int64_t s = static_cast<int64_t>(a.mag[i]) - borrow - (i < b.mag.size() ? b.mag[i] : 0);
            borrow = s < 0;
            if (s < 0) s += (int64_t(1) << 32);
            r.mag.push_back(static_cast<uint32_t>(s));
        }
        while (!r.mag.empty() && r.mag.back() == 0) r.mag.pop_back();
        return r;
    }
    friend Big operator+(const Big& a, const Big& b)
    {
        if (a.neg == b.neg) {
            Big r = AddMag(a, b);
            r.neg = a.neg && !r.mag.empty();
            return r;
        }
        if (CmpMag(a, b) >= 0) {
            Big r = SubMag(a, b);
            r.neg = a.neg && !r.mag.empty();
            return r;
        }
        Big r = SubMag(b, a);
        r.neg = b.neg && !r.mag.empty();
        return r;
    }
    friend Big operator-(const Big& a, const Big& b)
    {
        Big nb = b;
        nb.neg = !b.neg && !b.mag.empty();
        return a + nb;
    }
    friend Big operator*(const Big& a, const Big& b)
    {
        Big r;
        if (a.mag.empty() || b.mag.empty()) return r;
        std::vector<uint64_t> acc(a.mag.size() + b.mag.size() + 1, 0);
        for (size_t i = 0; i < a.mag.size(); ++i) {
            uint64_t carry = 0;
            for (size_t j = 0; j < b.mag.size(); ++j) {
                const uint64_t cur = acc[i + j] + static_cast<uint64_t>(a.mag[i]) * b.mag[j] + carry;
                acc[i + j] = cur & 0xffffffffu;
                carry = cur >> 32;
            }
            size_t k = i + b.mag.size();
            while (carry) {
                const uint64_t cur = acc[k] + carry;
                acc[k++] = cur & 0xffffffffu;
                carry = cur >> 32;
            }
        }
        for (uint64_t v : acc) r.mag.push_back(static_cast<uint32_t>(v));
        while (!r.mag.empty() && r.mag.back() == 0) r.mag.pop_back();
        r.neg = (a.neg != b.neg) && !r.mag.empty();
        return r;
    }
};

// x * 2^shift as an exact integer (the tests only use coordinates for which
// this is exact and fits).
Big Scaled(double x, int shift)
{
    const double s = std::ldexp(x, shift);
    EXPECT_EQ(s, std::trunc(s));
    EXPECT_LT(std::fabs(s), 9.2e18);
    return Big(static_cast<int64_t>(s));
}

int RefOrient2d(double ax, double ay, double bx, double by, double cx, double cy, int sh)
{
    const Big ux = Scaled(bx, sh) - Scaled(ax, sh), uy = Scaled(by, sh) - Scaled(ay, sh);
    const Big vx = Scaled(cx, sh) - Scaled(ax, sh), vy = Scaled(cy, sh) - Scaled(ay, sh);
    return (ux * vy - uy * vx).Sign();
}

int RefOrient3d(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c, const CKrPoint3d& d, int sh)
{
    const Big ax = Scaled(a.x, sh), ay = Scaled(a.y, sh), az = Scaled(a.z, sh);
    const Big ux = Scaled(b.x, sh) - ax, uy = Scaled(b.y, sh) - ay, uz = Scaled(b.z, sh) - az;
    const Big vx = Scaled(c.x, sh) - ax, vy = Scaled(c.y, sh) - ay, vz = Scaled(c.z, sh) - az;
    const Big wx = Scaled(d.x, sh) - ax, wy = Scaled(d.y, sh) - ay, wz = Scaled(d.z, sh) - az;
    return (wx * (uy * vz - uz * vy) + wy * (uz * vx - ux * vz) + wz * (ux * vy - uy * vx)).Sign();
}

// Raw lifted in-circle determinant, positive inside a counter-clockwise circle.
int RefInCircleDet(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c, const CKrPoint3d& d, int sh)
{
    const Big dx = Scaled(d.x, sh), dy = Scaled(d.y, sh);
    const Big ax = Scaled(a.x, sh) - dx, ay = Scaled(a.y, sh) - dy;
    const Big bx = Scaled(b.x, sh) - dx, by = Scaled(b.y, sh) - dy;
    const Big cx = Scaled(c.x, sh) - dx, cy = Scaled(c.y, sh) - dy;
    const Big al = ax * ax + ay * ay, bl = bx * bx + by * by, cl = cx * cx + cy * cy;
    return (al * (bx * cy - by * cx) + bl * (cx * ay - cy * ax) + cl * (ax * by - ay * bx)).Sign();
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

// Near-collinear points a ~ (0.5, 0.5), b = (12, 12), c = (24, 24): the plain
// double evaluation answers wrongly for many of them; the exact one must agree
// with big-integer arithmetic every time.
TEST(ExactPredicates, Orient2dIsExactWhereDoublesFail)
{
    const double u = std::ldexp(1.0, -53);
    int naiveWrong = 0, zeros = 0;
    for (int i = 0; i < 64; ++i) {
        for (int j = 0; j < 64; ++j) {
            const double ax = 0.5 + i * u, ay = 0.5 + j * u;
            const int ref = RefOrient2d(ax, ay, 12, 12, 24, 24, 53);
            ASSERT_EQ(Orient2dExact(ax, ay, 12, 12, 24, 24), ref) << i << ' ' << j;
            ASSERT_EQ(Orient2dExact(12, 12, 24, 24, ax, ay), ref);  // cyclic
            ASSERT_EQ(Orient2dExact(24, 24, 12, 12, ax, ay), -ref);  // swapped
            const double naive = (12 - ax) * (24 - ay) - (12 - ay) * (24 - ax);
            naiveWrong += NaiveSign(naive) != ref;
            zeros += ref == 0;
        }
    }
    EXPECT_GT(naiveWrong, 100);  // the inputs really are beyond plain doubles
    EXPECT_EQ(zeros, 64);        // exactly the diagonal i == j is collinear
}

TEST(ExactPredicates, Orient3dIsExactWhereDoublesFail)
{
    const double u = std::ldexp(1.0, -53);
    const CKrPoint3d b(12, 12, 12), c(24, 24, 24), d(1.5, 3.25, 7.75);
    int naiveWrong = 0, zeros = 0;
    for (int i = 0; i < 16; ++i) {
        for (int j = 0; j < 16; ++j) {
            for (int k = 0; k < 16; ++k) {
                const CKrPoint3d a(0.5 + i * u, 0.5 + j * u, 0.5 + k * u);
                const int ref = RefOrient3d(a, b, c, d, 53);
                ASSERT_EQ(Orient3dExact(a, b, c, d), ref) << i << ' ' << j << ' ' << k;
                ASSERT_EQ(Orient3dExact(b, c, a, d), ref);   // even permutation
                ASSERT_EQ(Orient3dExact(b, a, c, d), -ref);  // odd permutation
                ASSERT_EQ(Orient3dExact(d, b, c, a), -ref);  // d and a exchanged
                const CKrPoint3d ua(b.x - a.x, b.y - a.y, b.z - a.z), va(c.x - a.x, c.y - a.y, c.z - a.z);
                const CKrPoint3d wa(d.x - a.x, d.y - a.y, d.z - a.z);
                const double naive = wa.x * (ua.y * va.z - ua.z * va.y) + wa.y * (ua.z * va.x - ua.x * va.z) +
                                     wa.z * (ua.x * va.y - ua.y * va.x);
                naiveWrong += NaiveSign(naive) != ref;
                zeros += ref == 0;
            }
        }
    }
    EXPECT_GT(naiveWrong, 100);
    EXPECT_GT(zeros, 0);
}

TEST(ExactPredicates, InCircleIsExactWhereDoublesFail)
{
    // b, c, d and (0.5, 0.5) lie on the circle of centre (12.5, 0.5), radius
    // 12; a wanders around (0.5, 0.5) in steps of one unit in the last place.
    const double u = std::ldexp(1.0, -53);
    const CKrPoint3d b(24.5, 0.5, 0), c(12.5, 12.5, 0), d(12.5, -11.5, 0);
    int naiveWrong = 0;
    for (int i = 0; i < 48; ++i) {
        for (int j = 0; j < 48; ++j) {
            const CKrPoint3d a(0.5 + i * u, 0.5 + j * u, 0);
            const int ref = RefInCircleDet(a, b, c, d, 53);
            ASSERT_EQ(InCircleDetExact(a, b, c, d), ref) << i << ' ' << j;
            ASSERT_EQ(InCircleDetExact(b, c, a, d), ref);
            ASSERT_EQ(InCircleDetExact(b, a, c, d), -ref);
            const double adx = a.x - d.x, ady = a.y - d.y, bdx = b.x - d.x, bdy = b.y - d.y;
            const double cdx = c.x - d.x, cdy = c.y - d.y;
            const double naive = (adx * adx + ady * ady) * (bdx * cdy - bdy * cdx) +
                                 (bdx * bdx + bdy * bdy) * (cdx * ady - cdy * adx) +
                                 (cdx * cdx + cdy * cdy) * (adx * bdy - ady * bdx);
            naiveWrong += NaiveSign(naive) != ref;
        }
    }
    EXPECT_GT(naiveWrong, 50);

    // Lattice points of a large circle are exactly cocircular: x^2 + y^2 = 5^8: many lattice points, products far beyond 2^53.
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
        EXPECT_NE(InCircleExact(p, q, r, off), 0);
        EXPECT_EQ(InCircleExact(p, q, r, off), RefInCircleDet(p, q, r, off, 0) * Orient2dExact(p, q, r));
    }
}
