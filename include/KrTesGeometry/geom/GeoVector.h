#ifndef KRTES_GEOVECTOR_H
#define KRTES_GEOVECTOR_H

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/KrTesExport.h"

namespace KrTesGeo {

// A direction or displacement. It is a CKrPoint3d (every point operation is
// available) with vector algebra added: dot (*), cross (^), length,
// normalisation and rotation about an axis.
class KRTES_API CGeoVector : public CKrPoint3d {
public:
    using CKrPoint3d::operator*;
    using CKrPoint3d::operator==;
    using CKrPoint3d::operator!=;

    CGeoVector() : CKrPoint3d() {}
    CGeoVector(float fx, float fy, float fz) : CKrPoint3d(fx, fy, fz) {}
    CGeoVector(double dx, double dy, double dz) : CKrPoint3d(dx, dy, dz) {}
    template <class A, class B, class C,
              class = std::enable_if_t<std::is_arithmetic_v<A> && std::is_arithmetic_v<B> &&
                                       std::is_arithmetic_v<C>>>
    CGeoVector(A ax, B by, C cz) : CKrPoint3d(static_cast<double>(ax), static_cast<double>(by), static_cast<double>(cz))
    {
    }
    // The vector from the origin to the point.
    CGeoVector(const CKrPoint3d& p) : CKrPoint3d(p) {}  // NOLINT: implicit on purpose
    CGeoVector(const CGeoVector& v) : CKrPoint3d(v) {}
    CGeoVector& operator=(const CGeoVector& v);

    double operator*(const CGeoVector& v) const;      // dot product
    CGeoVector operator^(const CGeoVector& v) const;  // cross product this x v

    // 1 when every component difference compares equal to 0 within 1e-6
    // (through TesCompDouble, so the bound is closed), else 0.
    int operator==(const CGeoVector& v) const;
    int operator!=(const CGeoVector& v) const;

    double Length2() const;
    double Length() const;
    // Scales to unit length; a vector shorter than 1e-6 is left unchanged.
    void Normalize();
    // Rotation of this vector about the unit axis by angle radians
    // (counter-clockwise seen from the axis tip). False for a zero vector,
    // with out untouched.
    bool Round(CGeoVector& out, const CGeoVector& axis, double angle) const;
};

}  // namespace KrTesGeo

#endif
