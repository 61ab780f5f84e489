#include "geom/KrSeg3d.h"

CKrSeg3d::CKrSeg3d(const CKrPoint3d& a, const CKrPoint3d& b)
{
    m_pt[0] = a;
    m_pt[1] = b;
}

CKrSeg3d::CKrSeg3d(const CKrSeg3d& s) { *this = s; }

CKrSeg3d& CKrSeg3d::operator=(const CKrSeg3d& s)
{
    if (this != &s) {
        m_pt[0] = s.m_pt[0];
        m_pt[1] = s.m_pt[1];
    }
    return *this;
}

CKrSeg3d::~CKrSeg3d() {}

bool CKrSeg3d::IsSameSeg(const CKrPoint3d& a1, const CKrPoint3d& a2, const CKrPoint3d& b1,
                         const CKrPoint3d& b2)
{
    return ((a1 == b1) && (a2 == b2)) || ((a2 == b1) && (a1 == b2));
}
