#include "KrTesGeometry/geom/GeoVector.h"

#include <cmath>

#include "KrTesGeometry/math/TESCommFunc.h"

using TESCommFunc::TesCompDouble;

namespace KrTesGeo {

CGeoVector& CGeoVector::operator=(const CGeoVector& v)
{
    x = v.x;
    y = v.y;
    z = v.z;
    return *this;
}

double CGeoVector::operator*(const CGeoVector& v) const { return x * v.x + y * v.y + z * v.z; }

CGeoVector CGeoVector::operator^(const CGeoVector& v) const
{
    return CGeoVector(y * v.z - z * v.y, z * v.x - x * v.z, x * v.y - y * v.x);
}

int CGeoVector::operator==(const CGeoVector& v) const
{
    if (TesCompDouble(x - v.x, 0.0, 1e-6) != 0) return 0;
    if (TesCompDouble(y - v.y, 0.0, 1e-6) != 0) return 0;
    if (TesCompDouble(z - v.z, 0.0, 1e-6) != 0) return 0;
    return 1;
}

int CGeoVector::operator!=(const CGeoVector& v) const { return (*this == v) ? 0 : 1; }

double CGeoVector::Length2() const { return x * x + y * y + z * z; }

double CGeoVector::Length() const { return std::sqrt(Length2()); }

void CGeoVector::Normalize()
{
    const double len = Length();
    if (len < 1e-6) return;
    const double inv = 1.0 / len;
    x *= inv;
    y *= inv;
    z *= inv;
}

bool CGeoVector::Round(CGeoVector& out, const CGeoVector& axis, double angle) const
{
    if (TesCompDouble(x, 0.0, 1e-6) == 0 && TesCompDouble(y, 0.0, 1e-6) == 0 &&
        TesCompDouble(z, 0.0, 1e-6) == 0)
        return false;
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    const CGeoVector& v = *this;
    const CGeoVector kxv = axis ^ v;
    const double kv = axis * v;
    out = CGeoVector(v * c + kxv * s + axis * (kv * (1.0 - c)));
    return true;
}

}  // namespace KrTesGeo
