#ifndef KRTES_KRTRANSREFERENT_H
#define KRTES_KRTRANSREFERENT_H

#include <vector>

#include "KrTesGeometry/geom/GeoVector.h"
#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/KrTesExport.h"

// A local frame lying in a plane: maps world points to 2D coordinates in the
// plane (local x along U, local y along V, the distance from the plane
// dropped) and back. A frame whose normal has zero length is unset and every
// transformation on it fails.
class KRTES_API CKrTransReferent {
public:
    CKrTransReferent() {}

    // Frame from a plane normal and an origin; U and V are chosen by the DXF
    // arbitrary-axis rule (see CalReferent).
    bool SetData(const KrTesGeo::CGeoVector& normal, const CKrPoint3d& origin);
    // Frame from two perpendicular in-plane axes and an origin. Refused when
    // both axes have zero length or their raw dot product is not zero within
    // 1e-6. One zero-length axis is accepted and leaves an unusable frame.
    bool SetData(const KrTesGeo::CGeoVector& u, const KrTesGeo::CGeoVector& v, const CKrPoint3d& origin);
    // Derives U and V from the stored normal and normalises all three.
    // U = (nz, 0, -nx) when |nx| and |ny| are both below 1/64, else
    // U = (-ny, nx, 0); V = normal x U. False for a zero normal.
    bool CalReferent();

    bool GetCoordSys(CKrPoint3d& origin, KrTesGeo::CGeoVector& u, KrTesGeo::CGeoVector& v,
                     KrTesGeo::CGeoVector& normal) const;

    bool Trans3DTo2D(CKrPoint3d& out, const CKrPoint3d& in) const;
    bool Trans2DTo3D(CKrPoint3d& out, const CKrPoint3d& in) const;
    bool Trans3DTo2D(std::vector<CKrPoint3d>& out, const std::vector<CKrPoint3d>& in) const;
    bool Trans2DTo3D(std::vector<CKrPoint3d>& out, const std::vector<CKrPoint3d>& in) const;

private:
    bool IsUnset() const;

    KrTesGeo::CGeoVector m_vNormal;
    KrTesGeo::CGeoVector m_vAxisU;
    KrTesGeo::CGeoVector m_vAxisV;
    CKrPoint3d m_ptOrigin;
};

#endif
