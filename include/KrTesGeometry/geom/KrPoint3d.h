#ifndef KRTES_KRPOINT3D_H
#define KRTES_KRPOINT3D_H

#include <type_traits>

#include "KrTesGeometry/KrTesExport.h"

class CGeDataPoint3D;

// Library-wide absolute tolerance on coordinates, lengths and dot products.
constexpr double POINT_EPS = 1e-6;

// A point (or displacement) of three doubles; z is the elevation. Copied by
// value everywhere, owns nothing.
//
// Three equality notions coexist on purpose and must not be merged:
//  - operator==  : each axis within 1e-6 (a box test, strict bound);
//  - IsEqualTo   : squared distance below 1e-20, "the very same point";
//  - CompPt      : exact lexicographic order for sorted containers.
class KRTES_API CKrPoint3d {
public:
    double x;
    double y;
    double z;

    CKrPoint3d() : x(0.0), y(0.0), z(0.0) {}
    CKrPoint3d(float fx, float fy, float fz) : x(fx), y(fy), z(fz) {}
    CKrPoint3d(double dx, double dy, double dz) : x(dx), y(dy), z(dz) {}
    // Any other mix of arithmetic arguments (integer literals, say) would be
    // ambiguous between the float and double forms: widen each to double.
    template <class A, class B, class C,
              class = std::enable_if_t<std::is_arithmetic_v<A> && std::is_arithmetic_v<B> &&
                                       std::is_arithmetic_v<C>>>
    CKrPoint3d(A ax, B by, C cz)
        : x(static_cast<double>(ax)), y(static_cast<double>(by)), z(static_cast<double>(cz))
    {
    }
    CKrPoint3d(const CKrPoint3d& p) : x(0.0), y(0.0), z(0.0) { *this = p; }
    ~CKrPoint3d() {}

    CKrPoint3d& operator=(const CKrPoint3d& p);
    // Copies the three leading doubles of the interchange point.
    CKrPoint3d& operator=(const CGeDataPoint3D& p);

    void Set(float fx, float fy, float fz);
    void Set(double dx, double dy, double dz);
    void Get(float& fx, float& fy, float& fz) const;
    void Get(double& dx, double& dy, double& dz) const;

    // Component-wise arithmetic. Compound forms modify the point and return a
    // copy of the new value.
    CKrPoint3d operator+(const CKrPoint3d& p) const;
    CKrPoint3d operator+=(const CKrPoint3d& p);
    CKrPoint3d operator-(const CKrPoint3d& p) const;
    CKrPoint3d operator-=(const CKrPoint3d& p);
    CKrPoint3d operator*(const double& s) const;
    CKrPoint3d operator*=(const double& s);
    // Division is guarded: a divisor with |s| < 1e-6 is replaced by the
    // positive constant kDivisionGuard, whatever its sign.
    CKrPoint3d operator/(const double& s) const;
    CKrPoint3d operator/=(const double& s);
    CKrPoint3d operator-() const;

    // The divisor used in place of one smaller than 1e-6 in magnitude: one
    // unit in the last place below 1e-5 (bit pattern 0x3EE4F8B588E368F0).
    static constexpr double kDivisionGuard = 9.999999999999999e-6;

    double Dist2(const CKrPoint3d& p) const;       // squared 3D distance
    double Dist2d2(const CKrPoint3d& p) const;     // squared plan distance
    double Distance(const CKrPoint3d& p) const;    // 3D distance
    double Distance2d(const CKrPoint3d& p) const;  // plan distance

    // 1 when every axis differs by strictly less than 1e-6, else 0 (NaN: 0).
    int operator==(const CKrPoint3d& p) const;
    int operator!=(const CKrPoint3d& p) const;
    // True when the squared distance is strictly below 1e-20.
    bool IsEqualTo(const CKrPoint3d& p) const;
    // Exact lexicographic order on x, then y, then z: -1, 0 or 1.
    static int CompPt(const CKrPoint3d& a, const CKrPoint3d& b);

    // 1 when the plan point lies inside the circle, on it, or at most 1e-6
    // outside it; else 0.
    static int IsPtInCircle(double px, double py, double cx, double cy, double r);
    // In-circumcircle test without tolerance: 1 strictly inside, -1 strictly
    // outside, 0 on the circle, whichever way the triangle winds; -1 for
    // collinear corners. Plain double arithmetic compared with exactly zero
    // (not an exact predicate: see KrExactPredicates.h for those).
    static int IsPtIn3PCircle(double px, double py, double x1, double y1, double x2, double y2,
                              double x3, double y3);
    // 1 when b or c is within 1e-6 of a, or |(b-a) x (c-a)| < 1e-6 (an
    // absolute, scale-dependent bound); else 0.
    static int IsConllinear(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c);
    // Circle through three plan points: radius r and centre (cx, cy); returns 0
    // and leaves the outputs alone for collinear points, else 1.
    static int Get_3P_Circle(double x1, double y1, double x2, double y2, double x3, double y3,
                             double& r, double& cx, double& cy);
};

#endif
