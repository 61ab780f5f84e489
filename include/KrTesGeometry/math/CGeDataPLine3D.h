#ifndef KRTES_CGEDATAPLINE3D_H
#define KRTES_CGEDATAPLINE3D_H

#include "KrTesGeometry/math/CGeDataPoint3D.h"
#include "KrTesGeometry/math/CGeDataPtrArray.h"

// Interchange polyline: its points (owned) and a closed flag. A closed
// polyline does not repeat its first point at the end.
class CGeDataPLine3D {
public:
    CGeDataPtrArray<CGeDataPoint3D> m_arrPts;
    bool m_bClosed = false;

    int32_t GetPointCount() const { return m_arrPts.GetSize(); }
    const CGeDataPoint3D* GetPoint(int32_t i) const { return m_arrPts.GetAt(i); }
    int32_t AddPoint(double x, double y, double z) { return m_arrPts.Add(new CGeDataPoint3D(x, y, z)); }
    void SetClosed(bool closed) { m_bClosed = closed; }
    bool IsClosed() const { return m_bClosed; }
    void Clear() { m_arrPts.RemoveAll(); }
};

#endif
