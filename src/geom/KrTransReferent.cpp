#include "KrTesGeometry/geom/KrTransReferent.h"

#include <cmath>

#include "KrTesGeometry/math/TESCommFunc.h"

using KrTesGeo::CGeoVector;
using TESCommFunc::TesCompDouble;

bool CKrTransReferent::SetData(const CGeoVector& normal, const CKrPoint3d& origin)
{
    m_vNormal = normal;
    m_ptOrigin = origin;
    return CalReferent();
}

bool CKrTransReferent::SetData(const CGeoVector& u, const CGeoVector& v, const CKrPoint3d& origin)
{
    // Only two zero axes are refused; a single zero axis passes the
    // perpendicularity test and yields a zero normal, i.e. an unset frame.
    if (TesCompDouble(u.Length(), 0.0, 1e-6) == 0 && TesCompDouble(v.Length(), 0.0, 1e-6) == 0)
        return false;
    if (TesCompDouble(u * v, 0.0, 1e-6) != 0) return false;
    m_ptOrigin = origin;
    m_vAxisU = u;
    m_vAxisV = v;
    m_vNormal = m_vAxisU ^ m_vAxisV;
    m_vNormal.Normalize();
    m_vAxisU.Normalize();
    m_vAxisV.Normalize();
    return true;
}

bool CKrTransReferent::CalReferent()
{
    if (TesCompDouble(m_vNormal.x, 0.0, 1e-6) == 0 && TesCompDouble(m_vNormal.y, 0.0, 1e-6) == 0 &&
        TesCompDouble(m_vNormal.z, 0.0, 1e-6) == 0)
        return false;
    const double kArbitraryAxis = 0.015625;  // 1/64, as in the DXF format
    if (std::fabs(m_vNormal.x) < kArbitraryAxis && std::fabs(m_vNormal.y) < kArbitraryAxis)
        m_vAxisU = CGeoVector(m_vNormal.z, 0.0, -m_vNormal.x);  // world y x normal
    else
        m_vAxisU = CGeoVector(-m_vNormal.y, m_vNormal.x, 0.0);  // world z x normal
    m_vAxisV = m_vNormal ^ m_vAxisU;
    m_vNormal.Normalize();
    m_vAxisU.Normalize();
    m_vAxisV.Normalize();
    return true;
}

bool CKrTransReferent::GetCoordSys(CKrPoint3d& origin, CGeoVector& u, CGeoVector& v, CGeoVector& normal) const
{
    origin = m_ptOrigin;
    u = m_vAxisU;
    v = m_vAxisV;
    normal = m_vNormal;
    return true;
}

bool CKrTransReferent::IsUnset() const { return TesCompDouble(m_vNormal.Length(), 0.0, 1e-6) == 0; }

bool CKrTransReferent::Trans3DTo2D(CKrPoint3d& out, const CKrPoint3d& in) const
{
    if (IsUnset()) return false;
    const CGeoVector d(in - m_ptOrigin);
    out = CKrPoint3d(d * m_vAxisU, d * m_vAxisV, 0.0);
    return true;
}

bool CKrTransReferent::Trans2DTo3D(CKrPoint3d& out, const CKrPoint3d& in) const
{
    if (IsUnset()) return false;
    out = m_ptOrigin + m_vAxisU * in.x + m_vAxisV * in.y;
    return true;
}

bool CKrTransReferent::Trans3DTo2D(std::vector<CKrPoint3d>& out, const std::vector<CKrPoint3d>& in) const
{
    if (IsUnset()) return false;
    std::vector<CKrPoint3d> res(in.size());
    for (size_t i = 0; i < in.size(); ++i) Trans3DTo2D(res[i], in[i]);
    out.swap(res);
    return true;
}

bool CKrTransReferent::Trans2DTo3D(std::vector<CKrPoint3d>& out, const std::vector<CKrPoint3d>& in) const
{
    if (IsUnset()) return false;
    std::vector<CKrPoint3d> res(in.size());
    for (size_t i = 0; i < in.size(); ++i) Trans2DTo3D(res[i], in[i]);
    out.swap(res);
    return true;
}
