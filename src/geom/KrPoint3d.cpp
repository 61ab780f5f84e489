#include "KrTesGeometry/geom/KrPoint3d.h"

#include <cmath>

#include "KrTesGeometry/geom/GeoVector.h"
#include "KrTesGeometry/math/CGeDataPoint3D.h"

using KrTesGeo::CGeoVector;

CKrPoint3d& CKrPoint3d::operator=(const CKrPoint3d& p)
{
    if (this != &p) {
        x = p.x;
        y = p.y;
        z = p.z;
    }
    return *this;
}

CKrPoint3d& CKrPoint3d::operator=(const CGeDataPoint3D& p)
{
    x = p.x;
    y = p.y;
    z = p.z;
    return *this;
}

void CKrPoint3d::Set(float fx, float fy, float fz)
{
    x = fx;
    y = fy;
    z = fz;
}

void CKrPoint3d::Set(double dx, double dy, double dz)
{
    x = dx;
    y = dy;
    z = dz;
}

void CKrPoint3d::Get(float& fx, float& fy, float& fz) const
{
    fx = static_cast<float>(x);
    fy = static_cast<float>(y);
    fz = static_cast<float>(z);
}

void CKrPoint3d::Get(double& dx, double& dy, double& dz) const
{
    dx = x;
    dy = y;
    dz = z;
}

CKrPoint3d CKrPoint3d::operator+(const CKrPoint3d& p) const { return CKrPoint3d(x + p.x, y + p.y, z + p.z); }

CKrPoint3d CKrPoint3d::operator+=(const CKrPoint3d& p)
{
    x += p.x;
    y += p.y;
    z += p.z;
    return *this;
}

CKrPoint3d CKrPoint3d::operator-(const CKrPoint3d& p) const { return CKrPoint3d(x - p.x, y - p.y, z - p.z); }

CKrPoint3d CKrPoint3d::operator-=(const CKrPoint3d& p)
{
    x -= p.x;
    y -= p.y;
    z -= p.z;
    return *this;
}

CKrPoint3d CKrPoint3d::operator*(const double& s) const { return CKrPoint3d(x * s, y * s, z * s); }

CKrPoint3d CKrPoint3d::operator*=(const double& s)
{
    x *= s;
    y *= s;
    z *= s;
    return *this;
}

namespace {
// The tiny-divisor replacement is deliberately positive: dividing by a tiny
// negative number gives a large value of the wrong sign, which callers expect.
inline double GuardDivisor(double s) { return std::fabs(s) < 1e-6 ? CKrPoint3d::kDivisionGuard : s; }
}  // namespace

CKrPoint3d CKrPoint3d::operator/(const double& s) const
{
    const double d = GuardDivisor(s);
    return CKrPoint3d(x / d, y / d, z / d);
}

CKrPoint3d CKrPoint3d::operator/=(const double& s)
{
    const double d = GuardDivisor(s);
    x /= d;
    y /= d;
    z /= d;
    return *this;
}

CKrPoint3d CKrPoint3d::operator-() const { return CKrPoint3d(-x, -y, -z); }

double CKrPoint3d::Dist2(const CKrPoint3d& p) const
{
    const double dx = x - p.x, dy = y - p.y, dz = z - p.z;
    return dx * dx + dy * dy + dz * dz;
}

double CKrPoint3d::Dist2d2(const CKrPoint3d& p) const
{
    const double dx = x - p.x, dy = y - p.y;
    return dx * dx + dy * dy;
}

double CKrPoint3d::Distance(const CKrPoint3d& p) const { return std::sqrt(Dist2(p)); }

double CKrPoint3d::Distance2d(const CKrPoint3d& p) const { return std::sqrt(Dist2d2(p)); }

int CKrPoint3d::operator==(const CKrPoint3d& p) const
{
    // Written as "not less than" so that a NaN difference fails the test.
    if (!(std::fabs(x - p.x) < 1e-6)) return 0;
    if (!(std::fabs(y - p.y) < 1e-6)) return 0;
    if (!(std::fabs(z - p.z) < 1e-6)) return 0;
    return 1;
}

int CKrPoint3d::operator!=(const CKrPoint3d& p) const { return (*this == p) ? 0 : 1; }

bool CKrPoint3d::IsEqualTo(const CKrPoint3d& p) const { return Dist2(p) < 1e-20; }

int CKrPoint3d::CompPt(const CKrPoint3d& a, const CKrPoint3d& b)
{
    if (a.x < b.x) return -1;
    if (a.x > b.x) return 1;
    if (a.y < b.y) return -1;
    if (a.y > b.y) return 1;
    if (a.z < b.z) return -1;
    if (a.z > b.z) return 1;
    return 0;
}

int CKrPoint3d::IsPtInCircle(double px, double py, double cx, double cy, double r)
{
    const double d = std::sqrt((px - cx) * (px - cx) + (py - cy) * (py - cy)) - r;
    return d <= 1e-6 ? 1 : 0;
}

int CKrPoint3d::IsPtIn3PCircle(double px, double py, double x1, double y1, double x2, double y2,
                               double x3, double y3)
{
    const double det = x1 * y2 + x2 * y3 + x3 * y1 - y1 * x2 - y2 * x3 - x1 * y3;
    if (det == 0.0) return -1;

    const double ax = x1 - px, ay = y1 - py;
    const double bx = x2 - px, by = y2 - py;
    const double cx = x3 - px, cy = y3 - py;
    const double a2 = ax * ax + ay * ay;
    const double b2 = bx * bx + by * by;
    const double c2 = cx * cx + cy * cy;
    const double D = (ax * by - ay * bx) * c2 + (cy * bx - cx * by) * a2 + (cx * ay - cy * ax) * b2;
    if (D == 0.0) return 0;

    const int s = D > 0.0 ? 1 : -1;
    return det > 0.0 ? s : -s;
}

int CKrPoint3d::IsConllinear(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c)
{
    const CGeoVector u(b - a);
    const CGeoVector v(c - a);
    if (u.Length() < 1e-6 || v.Length() < 1e-6) return 1;
    if ((u ^ v).Length() < 1e-6) return 1;
    return 0;
}

int CKrPoint3d::Get_3P_Circle(double x1, double y1, double x2, double y2, double x3, double y3,
                              double& r, double& cx, double& cy)
{
    if (IsConllinear(CKrPoint3d(x1, y1, 0.0), CKrPoint3d(x2, y2, 0.0), CKrPoint3d(x3, y3, 0.0)))
        return 0;

    const double d = std::sqrt((x2 - x1) * (x2 - x1) + (y2 - y1) * (y2 - y1));
    const double nx = -(y2 - y1) / d;
    const double ny = (x2 - x1) / d;
    const double wx = x3 - x1, wy = y3 - y1;
    const double t = (wx * (x3 - x2) + wy * (y3 - y2)) / (2.0 * (wx * nx + wy * ny));
    cx = (x1 + x2) * 0.5 + t * nx;
    cy = (y1 + y2) * 0.5 + t * ny;
    r = std::sqrt((x1 - cx) * (x1 - cx) + (y1 - cy) * (y1 - cy));
    return 1;
}
