#ifndef KRTES_KRTRI3D_H
#define KRTES_KRTRI3D_H

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/KrTesExport.h"

// A free triangle: three corners in winding order.
class KRTES_API CKrTri3d {
public:
    CKrPoint3d m_pt[3];

    CKrTri3d() {}
    CKrTri3d(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c);
    CKrTri3d(const CKrTri3d& t);
    CKrTri3d& operator=(const CKrTri3d& t);
    virtual ~CKrTri3d();

    // Swaps corners 0 and 1, reversing the winding (and so the facing).
    void Invert();
};

#endif
