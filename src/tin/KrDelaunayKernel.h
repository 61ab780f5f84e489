#ifndef KRTES_KRDELAUNAYKERNEL_H
#define KRTES_KRDELAUNAYKERNEL_H

// The bulk insertion run of the triangulator. Inserting a million points
// through the mesh's own records means tens of millions of pointer-linked
// edits (every cavity deleted and re-created through the corners' triangle
// sets and the edge set) on vertex records scattered in memory. This kernel
// takes the same decisions (DelaunayCore) on compact arrays - vertices
// numbered in insertion order, triangles with their corners and neighbours by
// index, cavity slots reused in place - and the triangulator writes the
// finished triangles into the mesh once.
//
// Vertices and triangles are numbered with 32 bits: four billion triangles
// would need far more memory than their mesh records could ever get.
//
// Internal header: not installed.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace TesTriMesh {

struct _sVertex;

class CKrDelaunayKernel {
public:
    using Tri = uint32_t;
    static constexpr Tri kNone = 0xFFFFFFFFu;

    struct Face {
        uint32_t v[3];  // corners, counter-clockwise
        Tri n[3];       // n[k]: the triangle across corner k to corner k+1, or kNone
        int32_t mark;   // scratch mark; kDead for a free slot
    };
    static constexpr int32_t kDead = 0x4B52DEAD;

    // vers: the vertices in insertion order; a, b, c: indexes (into vers) of
    // the first triangle's corners, counter-clockwise, which must enclose
    // every point to be inserted. (ox, oy): the local origin of the
    // in-circle determinants.
    CKrDelaunayKernel(std::vector<_sVertex*> vers, uint32_t a, uint32_t b, uint32_t c, double ox, double oy);

    // Inserts vertex i (an index into the vertices); false when it could not
    // be placed (outside every triangle, or a cavity that cannot be
    // re-triangulated), in which case nothing changed.
    bool Insert(uint32_t i);

    // Frees everything but the vertices and the triangles, once the last
    // point is in: the mesh records built from them reuse the memory.
    void ReleaseWorkspace();

    std::size_t VertexCount() const { return m_vers.size(); }
    _sVertex* Vertex(uint32_t i) const { return m_vers[i]; }
    const std::vector<Face>& Faces() const { return m_faces; }  // slots; skip those marked kDead

    // ---- the topology adapter of DelaunayCore ---------------------------------
    Tri Across(Tri t, int k) const { return m_faces[t].n[k]; }
    double X(Tri t, int k) const { return m_xy[2 * m_faces[t].v[k]]; }
    double Y(Tri t, int k) const { return m_xy[2 * m_faces[t].v[k] + 1]; }
    int32_t& Mark(Tri t) { return m_faces[t].mark; }
    std::size_t Count() const { return m_faces.size() - m_free.size(); }
    template <class F>
    Tri Scan(F ok) const
    {
        for (Tri t = 0; t < m_faces.size(); ++t)
            if (m_faces[t].mark != kDead && ok(t)) return t;
        return kNone;
    }

private:
    struct RimEdge {
        uint32_t a, b;  // the edge, in its cavity triangle's direction
        Tri out;        // the triangle across it, outside the cavity, or kNone
        int outEdge;    // the edge of `out` that faces the cavity
    };

    Tri Locate(double x, double y) const;
    void Remember(uint32_t i);
    bool CellOf(double x, double y, std::size_t& cell) const;
    Tri NewSlot();

    std::vector<_sVertex*> m_vers;
    std::vector<double> m_xy;        // plan coordinates, x and y per vertex
    std::vector<Face> m_faces;
    std::vector<Tri> m_free;         // free slots
    std::vector<Tri> m_verTri;       // a triangle last created on each vertex
    std::vector<uint32_t> m_rimAt;   // scratch: rim entry starting at a vertex
    double m_ox, m_oy;

    // A coarse grid remembering, per cell, the last vertex inserted there: a
    // walk that starts next to the point is short even though the points
    // arrive sorted by x (each far in y from the one before).
    double m_gx, m_gy, m_cw, m_ch;
    std::size_t m_nx, m_ny;
    std::vector<uint32_t> m_grid;
    uint32_t m_last;

    std::vector<Tri> m_cavity, m_stack;
    std::vector<RimEdge> m_rim;
};

}  // namespace TesTriMesh

#endif
