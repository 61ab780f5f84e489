#ifndef KRTES_KRMESHRECORDS_H
#define KRTES_KRMESHRECORDS_H

#include <cstddef>
#include <cstdint>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/mesh/detail/KrMeshContainers.h"

// The pointer-linked records of a triangle mesh. A record's identity is its
// address; sets of records are ordered by pointer value.
//
// Vertices are ordinary heap objects (new/delete): algorithms create them and
// hand them to a mesh, which then owns them. Triangles and edges exist only
// inside a mesh, which allocates them from its own pools: they cannot be
// created with new or freed with delete (use CKrMeshData::AddTri / DelTri);
// a stack _sEdge may still serve as a lookup key.
namespace TesTriMesh {

struct _sTri;
struct _sEdge;

struct _sVertex {
    CKrPoint3d pt;  // first, so that a _sVertex* reads as a point
    int32_t nID;    // output index (set by the exports); -1 when unset
    // The triangles having this vertex as a corner, by pointer value. Seven
    // inline: the record then fills the same allocator block as with six, and
    // a fifth of the vertices of a Delaunay surface have exactly seven.
    detail::CKrSmallPtrSet<_sTri, 7> setTri;
    // The mesh's edges whose pVer[0] is this vertex, with their pVer[1]: the
    // lookup index of the mesh's edge set, which alone maintains it.
    detail::CKrEdgeIndex<_sEdge> edgeIdx;

    _sVertex() : pt(0.0, 0.0, 0.0), nID(-1) {}
    explicit _sVertex(const CKrPoint3d& p) : pt(p), nID(-1) {}
};

struct _sEdge {
    _sVertex* pVer[2];  // lower pointer value first, so (a, b) and (b, a) are the same edge
    _sTri* pTri[2];     // the triangles on the two sides; null for an empty slot
    bool bSign;         // working flag (a barrier for flood fills); false when unset

    _sEdge() : pVer{nullptr, nullptr}, pTri{nullptr, nullptr}, bSign(false) {}
    _sEdge(_sVertex* a, _sVertex* b) : pTri{nullptr, nullptr}, bSign(false)
    {
        const bool swap = detail::KrPtrValue(b) < detail::KrPtrValue(a);
        pVer[0] = swap ? b : a;
        pVer[1] = swap ? a : b;
    }

    // Puts t into the first empty slot; false when both are taken. Does not
    // look whether t is already there.
    bool AddEdgeTri(_sTri* t)
    {
        if (!pTri[0]) {
            pTri[0] = t;
            return true;
        }
        if (!pTri[1]) {
            pTri[1] = t;
            return true;
        }
        return false;
    }
    // Empties slot 0 if it holds t, otherwise slot 1 if it holds t.
    void DelEdgeTri(const _sTri* t)
    {
        if (pTri[0] == t)
            pTri[0] = nullptr;
        else if (pTri[1] == t)
            pTri[1] = nullptr;
    }
    bool IsEmpty() const { return !pTri[0] && !pTri[1]; }
    // The triangle across the edge from t; null when t is in neither slot or
    // the other slot is empty.
    _sTri* CoEdgeTri(const _sTri* t) const
    {
        if (pTri[0] == t) return pTri[1];
        if (pTri[1] == t) return pTri[0];
        return nullptr;
    }

    static void* operator new(size_t) = delete;
    static void* operator new[](size_t) = delete;
    static void operator delete(void*) = delete;
    static void operator delete[](void*) = delete;
};

struct _sTri {
    _sVertex* pVer[3];  // corners in winding order
    _sEdge* pEdge[3];   // pEdge[k] joins pVer[k] and pVer[(k+1) % 3] (until Invert)
    int32_t nSign[2];   // working marks: [0] selected/inside, [1] visited; -1 when unset
    bool bSign;         // working flag; false when unset

    _sTri() : pVer{nullptr, nullptr, nullptr}, pEdge{nullptr, nullptr, nullptr}, nSign{-1, -1}, bSign(false) {}

    // Swaps pVer[0] and pVer[1], reversing the facing. The edge pointers stay
    // where they are: afterwards pEdge[1] joins pVer[0]-pVer[2] and pEdge[2]
    // joins pVer[1]-pVer[2], so code walking an inverted triangle's edges must
    // find them by their vertices (CKrMeshData::FindEdgeByVer).
    void Invert()
    {
        _sVertex* v = pVer[0];
        pVer[0] = pVer[1];
        pVer[1] = v;
    }

    static void* operator new(size_t) = delete;
    static void* operator new[](size_t) = delete;
    static void operator delete(void*) = delete;
    static void operator delete[](void*) = delete;
};

// Two vertices, e.g. the ends of a border or constraint segment.
struct _sSeg {
    _sVertex* pVer[2];

    _sSeg() : pVer{nullptr, nullptr} {}
    _sSeg(_sVertex* a, _sVertex* b) : pVer{a, b} {}
    _sSeg(const _sSeg& o) : pVer{o.pVer[0], o.pVer[1]} {}
    _sSeg& operator=(const _sSeg& o)
    {
        if (this != &o) {
            pVer[0] = o.pVer[0];
            pVer[1] = o.pVer[1];
        }
        return *this;
    }
};

}  // namespace TesTriMesh

#endif
