#include "KrTesGeometry/geom/KrExactPredicates.h"

#include <cmath>
#include <initializer_list>

namespace KrTesGeo {

namespace {

// Unit roundoff of double arithmetic (half an ulp of 1).
constexpr double kEps = 1.1102230246251565e-16;  // 2^-53

// Error bounds of the plain evaluations below, relative to the permanent
// (the same expression with every product taken in absolute value). They are
// slightly larger than the tightest published bounds for these evaluation
// orders, which keeps them safe without a delicate derivation.
constexpr double kOrient2dBound = 4.0 * kEps;
constexpr double kOrient3dBound = 8.0 * kEps;
constexpr double kInCircleBound = 12.0 * kEps;

// a + b = s + e exactly, s the rounded sum (no condition on the operands).
inline void TwoSum(double a, double b, double& s, double& e)
{
    s = a + b;
    const double bv = s - a;
    const double av = s - bv;
    e = (a - av) + (b - bv);
}

// a * b = p + e exactly, p the rounded product (barring underflow).
inline void TwoProduct(double a, double b, double& p, double& e)
{
    p = a * b;
    e = std::fma(a, b, -p);
}

// An exact sum of doubles kept as a non-overlapping expansion: components in
// increasing magnitude, zeros removed, so the sign of the whole is the sign of
// the last component.
class ExactSum {
public:
    void Add(double b)
    {
        if (b == 0.0) return;
        double q = b;
        int k = 0;
        for (int i = 0; i < m_n; ++i) {
            double s, e;
            TwoSum(q, m_c[i], s, e);
            if (e != 0.0) m_c[k++] = e;
            q = s;
        }
        if (q != 0.0) m_c[k++] = q;
        m_n = k;
    }

    int Sign() const
    {
        if (m_n == 0) return 0;
        return m_c[m_n - 1] > 0.0 ? 1 : -1;
    }

private:
    // Enough for the largest predicate: 12 products of four two-part factors
    // with up to 8 doubles each.
    static constexpr int kMax = 12 * 16 * 8 + 1;
    double m_c[kMax];
    int m_n = 0;
};

// A coordinate difference held exactly as hi + lo.
struct Diff {
    double hi;
    double lo;
};

inline Diff ExactDiff(double a, double b)
{
    Diff d;
    TwoSum(a, -b, d.hi, d.lo);
    return d;
}

// Adds sign * (product of the k exact differences) to the sum: the product is
// expanded over the hi/lo parts of every factor, parts that are zero are
// skipped, and each product of doubles is kept exact by splitting it into
// two-double pieces.
void AddProduct(ExactSum& sum, double sign, std::initializer_list<Diff> factors)
{
    const int k = static_cast<int>(factors.size());
    const Diff* f = factors.begin();
    for (int mask = 0; mask < (1 << k); ++mask) {
        double part[8];
        int n = 1;
        part[0] = sign;
        bool zero = false;
        for (int i = 0; i < k && !zero; ++i) {
            const double v = (mask >> i) & 1 ? f[i].lo : f[i].hi;
            if (v == 0.0) {
                zero = true;
                break;
            }
            double next[8];
            int m = 0;
            for (int j = 0; j < n; ++j) {
                double p, e;
                TwoProduct(part[j], v, p, e);
                next[m++] = p;
                if (e != 0.0) next[m++] = e;
            }
            for (int j = 0; j < m; ++j) part[j] = next[j];
            n = m;
        }
        if (zero) continue;
        for (int j = 0; j < n; ++j) sum.Add(part[j]);
    }
}

bool AllFinite(std::initializer_list<double> values)
{
    for (double v : values)
        if (!std::isfinite(v)) return false;
    return true;
}

inline int SignOf(double v) { return v > 0.0 ? 1 : (v < 0.0 ? -1 : 0); }

}  // namespace

int Orient2dExact(double ax, double ay, double bx, double by, double cx, double cy)
{
    const double left = (bx - ax) * (cy - ay);
    const double right = (by - ay) * (cx - ax);
    const double det = left - right;
    const double bound = kOrient2dBound * (std::fabs(left) + std::fabs(right));
    if (det > bound || -det > bound) return SignOf(det);
    if (!AllFinite({ax, ay, bx, by, cx, cy})) return 0;

    const Diff ux = ExactDiff(bx, ax), uy = ExactDiff(by, ay);
    const Diff vx = ExactDiff(cx, ax), vy = ExactDiff(cy, ay);
    ExactSum sum;
    AddProduct(sum, 1.0, {ux, vy});
    AddProduct(sum, -1.0, {uy, vx});
    return sum.Sign();
}

int Orient2dExact(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c)
{
    return Orient2dExact(a.x, a.y, b.x, b.y, c.x, c.y);
}

int Orient3dExact(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c, const CKrPoint3d& d)
{
    // (d - a) . (u x v) with u = b - a, v = c - a.
    const double ux = b.x - a.x, uy = b.y - a.y, uz = b.z - a.z;
    const double vx = c.x - a.x, vy = c.y - a.y, vz = c.z - a.z;
    const double wx = d.x - a.x, wy = d.y - a.y, wz = d.z - a.z;
    const double p1 = uy * vz, p2 = uz * vy;
    const double p3 = uz * vx, p4 = ux * vz;
    const double p5 = ux * vy, p6 = uy * vx;
    const double det = wx * (p1 - p2) + wy * (p3 - p4) + wz * (p5 - p6);
    const double permanent = std::fabs(wx) * (std::fabs(p1) + std::fabs(p2)) +
                             std::fabs(wy) * (std::fabs(p3) + std::fabs(p4)) +
                             std::fabs(wz) * (std::fabs(p5) + std::fabs(p6));
    const double bound = kOrient3dBound * permanent;
    if (det > bound || -det > bound) return SignOf(det);
    if (!AllFinite({a.x, a.y, a.z, b.x, b.y, b.z, c.x, c.y, c.z, d.x, d.y, d.z})) return 0;

    const Diff eux = ExactDiff(b.x, a.x), euy = ExactDiff(b.y, a.y), euz = ExactDiff(b.z, a.z);
    const Diff evx = ExactDiff(c.x, a.x), evy = ExactDiff(c.y, a.y), evz = ExactDiff(c.z, a.z);
    const Diff ewx = ExactDiff(d.x, a.x), ewy = ExactDiff(d.y, a.y), ewz = ExactDiff(d.z, a.z);
    ExactSum sum;
    AddProduct(sum, 1.0, {ewx, euy, evz});
    AddProduct(sum, -1.0, {ewx, euz, evy});
    AddProduct(sum, 1.0, {ewy, euz, evx});
    AddProduct(sum, -1.0, {ewy, eux, evz});
    AddProduct(sum, 1.0, {ewz, eux, evy});
    AddProduct(sum, -1.0, {ewz, euy, evx});
    return sum.Sign();
}

int InCircleDetExact(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c, const CKrPoint3d& d)
{
    // Lifted determinant relative to d:
    //   |a-d|^2 (bd x cd) + |b-d|^2 (cd x ad) + |c-d|^2 (ad x bd).
    const double adx = a.x - d.x, ady = a.y - d.y;
    const double bdx = b.x - d.x, bdy = b.y - d.y;
    const double cdx = c.x - d.x, cdy = c.y - d.y;
    const double alift = adx * adx + ady * ady;
    const double blift = bdx * bdx + bdy * bdy;
    const double clift = cdx * cdx + cdy * cdy;
    const double q1 = bdx * cdy, q2 = bdy * cdx;
    const double q3 = cdx * ady, q4 = cdy * adx;
    const double q5 = adx * bdy, q6 = ady * bdx;
    const double det = alift * (q1 - q2) + blift * (q3 - q4) + clift * (q5 - q6);
    const double permanent = alift * (std::fabs(q1) + std::fabs(q2)) + blift * (std::fabs(q3) + std::fabs(q4)) +
                             clift * (std::fabs(q5) + std::fabs(q6));
    const double bound = kInCircleBound * permanent;
    if (det > bound || -det > bound) return SignOf(det);
    if (!AllFinite({a.x, a.y, b.x, b.y, c.x, c.y, d.x, d.y})) return 0;

    const Diff ex[3] = {ExactDiff(a.x, d.x), ExactDiff(b.x, d.x), ExactDiff(c.x, d.x)};
    const Diff ey[3] = {ExactDiff(a.y, d.y), ExactDiff(b.y, d.y), ExactDiff(c.y, d.y)};
    ExactSum sum;
    for (int i = 0; i < 3; ++i) {
        const int j = (i + 1) % 3, k = (i + 2) % 3;
        // |p_i - d|^2 * ((p_j - d) x (p_k - d)), the lift split into x^2 + y^2.
        for (const Diff& lift : {ex[i], ey[i]}) {
            AddProduct(sum, 1.0, {lift, lift, ex[j], ey[k]});
            AddProduct(sum, -1.0, {lift, lift, ey[j], ex[k]});
        }
    }
    return sum.Sign();
}

int InCircleExact(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c, const CKrPoint3d& d)
{
    const int turn = Orient2dExact(a, b, c);
    if (turn == 0) return 0;
    return turn * InCircleDetExact(a, b, c, d);
}

}  // namespace KrTesGeo
