#include "KrTesGeometry/geom/KrTri3d.h"

CKrTri3d::CKrTri3d(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c)
{
    m_pt[0] = a;
    m_pt[1] = b;
    m_pt[2] = c;
}

CKrTri3d::CKrTri3d(const CKrTri3d& t) { *this = t; }

CKrTri3d& CKrTri3d::operator=(const CKrTri3d& t)
{
    if (this != &t) {
        for (int k = 0; k < 3; ++k) m_pt[k] = t.m_pt[k];
    }
    return *this;
}

CKrTri3d::~CKrTri3d() {}

void CKrTri3d::Invert()
{
    const CKrPoint3d p = m_pt[0];
    m_pt[0] = m_pt[1];
    m_pt[1] = p;
}
