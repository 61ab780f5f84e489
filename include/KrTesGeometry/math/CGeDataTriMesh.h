#ifndef KRTES_CGEDATATRIMESH_H
#define KRTES_CGEDATATRIMESH_H

#include <cstdint>

#include "KrTesGeometry/math/CGeDataPoint3D.h"
#include "KrTesGeometry/math/CGeDataPtrArray.h"

// Three 32-bit point indices of one triangle, in winding order. Laid out as a
// plain array of three int32 values.
struct CGeDataTriIndex {
    int32_t n[3];
    CGeDataTriIndex() : n{-1, -1, -1} {}
    CGeDataTriIndex(int32_t a, int32_t b, int32_t c) : n{a, b, c} {}
    int32_t& operator[](int k) { return n[k]; }
    const int32_t& operator[](int k) const { return n[k]; }
};

// Interchange triangle mesh: a point array and a triangle array of index
// triples, each a growable array of separately allocated records (layout:
// points data, capacity, count, growth step; then the same for triangles).
// The mesh owns every record it holds and frees them in its destructor.
class CGeDataTriMesh {
public:
    CGeDataPtrArray<CGeDataPoint3D> m_arrPts;
    CGeDataPtrArray<CGeDataTriIndex> m_arrTris;

    int32_t GetPointCount() const { return m_arrPts.GetSize(); }
    int32_t GetTriCount() const { return m_arrTris.GetSize(); }

    // Appends a point; returns its index.
    int32_t AddPoint(double x, double y, double z) { return m_arrPts.Add(new CGeDataPoint3D(x, y, z)); }
    // Appends a triangle of three point indices; returns its index. The
    // indices are not checked here: use IsValid() before handing the mesh on.
    int32_t AddTri(int32_t a, int32_t b, int32_t c) { return m_arrTris.Add(new CGeDataTriIndex(a, b, c)); }

    // Point i or null when out of range.
    const CGeDataPoint3D* GetPoint(int32_t i) const { return m_arrPts.GetAt(i); }
    // Triangle i or null when out of range.
    const CGeDataTriIndex* GetTri(int32_t i) const { return m_arrTris.GetAt(i); }

    // Reads point i into x, y, z; false when out of range.
    bool GetPoint(int32_t i, double& x, double& y, double& z) const
    {
        const CGeDataPoint3D* p = m_arrPts.GetAt(i);
        if (!p) return false;
        x = p->x;
        y = p->y;
        z = p->z;
        return true;
    }
    // Reads the indices of triangle i; false when out of range.
    bool GetTri(int32_t i, int32_t& a, int32_t& b, int32_t& c) const
    {
        const CGeDataTriIndex* t = m_arrTris.GetAt(i);
        if (!t) return false;
        a = t->n[0];
        b = t->n[1];
        c = t->n[2];
        return true;
    }

    // True when every record is present and every index names a point.
    bool IsValid() const
    {
        const int32_t np = GetPointCount();
        for (int32_t i = 0; i < np; ++i)
            if (!m_arrPts.m_pData[i]) return false;
        for (int32_t i = 0; i < GetTriCount(); ++i) {
            const CGeDataTriIndex* t = m_arrTris.m_pData[i];
            if (!t) return false;
            for (int k = 0; k < 3; ++k)
                if (t->n[k] < 0 || t->n[k] >= np) return false;
        }
        return true;
    }

    // Frees all points and triangles; capacities are kept.
    void Clear()
    {
        m_arrPts.RemoveAll();
        m_arrTris.RemoveAll();
    }
};

#endif
