#ifndef KRTES_KREXACTARITH_H
#define KRTES_KREXACTARITH_H

// Two number types for exact signs of polynomial expressions in double
// coordinates (internal to the boolean).
//
// KrFilt carries a value and a rigorous bound on its distance from the
// exact value of the same expression: every operation adds its own rounding
// (half an ulp of its result) to the bounds propagated from its operands.
// Its sign is known when the value exceeds the bound.
//
// KrExpan holds the exact value as a non-overlapping expansion: a sum of
// doubles of increasing magnitude whose bits do not overlap, so that the
// sign of the whole is the sign of its largest component. Sums grow the
// expansion one double at a time; products sum the error-free products of
// all pairs of components. Both stay exact barring overflow and underflow
// (coordinates between 1e-50 and 1e50 are safe).
//
// Predicates are written once as templates over the number type, tried with
// KrFilt and repeated with KrExpan only when the filter cannot decide.

#include <cmath>
#include <vector>

namespace TesTriMesh {
namespace exact {

constexpr double kUnitRound = 1.1102230246251565e-16;  // 2^-53

struct KrFilt {
    double v = 0.0;
    double e = 0.0;
    KrFilt() = default;
    KrFilt(double x) : v(x), e(0.0) {}  // NOLINT: exact input
    KrFilt(double x, double err) : v(x), e(err) {}
    // -1, 0, 1 when certain; 2 when the filter cannot tell. The bound is
    // widened a little for the rounding of its own computation.
    int Sign() const
    {
        const double b = e * (1.0 + 1e-6) + 1e-300;
        if (v > b) return 1;
        if (v < -b) return -1;
        if (e == 0.0) return v > 0.0 ? 1 : (v < 0.0 ? -1 : 0);
        return 2;
    }
};

inline KrFilt operator+(const KrFilt& a, const KrFilt& b)
{
    const double s = a.v + b.v;
    return {s, a.e + b.e + std::fabs(s) * kUnitRound};
}
inline KrFilt operator-(const KrFilt& a, const KrFilt& b)
{
    const double s = a.v - b.v;
    return {s, a.e + b.e + std::fabs(s) * kUnitRound};
}
inline KrFilt operator-(const KrFilt& a) { return {-a.v, a.e}; }
inline KrFilt operator*(const KrFilt& a, const KrFilt& b)
{
    const double p = a.v * b.v;
    return {p, std::fabs(a.v) * b.e + std::fabs(b.v) * a.e + a.e * b.e + std::fabs(p) * kUnitRound};
}

class KrExpan {
public:
    KrExpan() = default;
    KrExpan(double x)  // NOLINT: exact input
    {
        if (x != 0.0) m_c.push_back(x);
    }
    // Adds one double exactly (grow-expansion with zero elimination).
    void Add(double b)
    {
        if (b == 0.0) return;
        double q = b;
        std::size_t k = 0;
        for (std::size_t i = 0; i < m_c.size(); ++i) {
            const double s = q + m_c[i];
            const double bv = s - q;
            const double av = s - bv;
            const double err = (q - av) + (m_c[i] - bv);
            if (err != 0.0) m_c[k++] = err;
            q = s;
        }
        m_c.resize(k);
        if (q != 0.0) m_c.push_back(q);
    }
    int Sign() const { return m_c.empty() ? 0 : (m_c.back() > 0.0 ? 1 : -1); }
    // An approximation of the value (the components summed from the small end).
    double Approx() const
    {
        double s = 0.0;
        for (double c : m_c) s += c;
        return s;
    }
    const std::vector<double>& Parts() const { return m_c; }

private:
    std::vector<double> m_c;
};

inline KrExpan operator+(const KrExpan& a, const KrExpan& b)
{
    const KrExpan& big = a.Parts().size() >= b.Parts().size() ? a : b;
    const KrExpan& small = &big == &a ? b : a;
    KrExpan r = big;
    for (double c : small.Parts()) r.Add(c);
    return r;
}
inline KrExpan operator-(const KrExpan& a)
{
    KrExpan r;
    for (double c : a.Parts()) r.Add(-c);
    return r;
}
inline KrExpan operator-(const KrExpan& a, const KrExpan& b) { return a + (-b); }
inline KrExpan operator*(const KrExpan& a, const KrExpan& b)
{
    KrExpan r;
    for (double x : a.Parts())
        for (double y : b.Parts()) {
            const double p = x * y;
            r.Add(std::fma(x, y, -p));
            r.Add(p);
        }
    return r;
}

inline int SignOf(const KrExpan& x) { return x.Sign(); }

}  // namespace exact
}  // namespace TesTriMesh

#endif
