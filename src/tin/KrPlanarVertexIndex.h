#ifndef KRTES_KRPLANARVERTEXINDEX_H
#define KRTES_KRPLANARVERTEXINDEX_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace TesTriMesh {

struct _sVertex;

// The triangulator's vertex index: finds the vertex that a new point
// duplicates in plan, i.e. whose x and y both agree with the point's within
// the tolerance (TESCommFunc::CompDouble2 == 0 on each axis).
//
// A hash over square cells eight tolerances wide: a duplicate lies in the
// point's cell or in a neighbour whose side is within the tolerance, so most
// look-ups probe one cell and none more than four, whatever the number of
// vertices. The index owns nothing but its
// table; it reads the vertices' coordinates when asked, so after the vertices
// move (the triangulator's shift to a local origin) it must be rebuilt.
class CKrPlanarVertexIndex {
public:
    CKrPlanarVertexIndex() = default;

    // Sets the tolerance; the vertices are re-filed when it changes.
    void EnsureTolerance(double tol);
    // The vertex within the tolerance of (x, y) on both axes, or null. When
    // several qualify, the first in a fixed probe order is returned.
    _sVertex* Find(double x, double y) const;
    // Files v under its current coordinates (the caller has checked Find).
    void Insert(_sVertex* v);
    // Re-files every vertex under its current coordinates.
    void Rebuild();
    // Forgets every vertex and frees the table.
    void Clear();
    std::size_t Size() const { return m_nCount; }

private:
    // The cell is kept folded to 32 bits per axis: enough to tell cells apart
    // nearly always, and a match is confirmed on the coordinates anyway.
    struct Entry {
        uint32_t kx;
        uint32_t ky;
        _sVertex* v;  // null: empty slot
    };
    void CellOf(double x, double y, double tol, int64_t& kx, int64_t& ky) const;
    // Both halves count: cell numbers are small, but without a tolerance the
    // key is a coordinate's bit pattern, whose low half is zero for round values.
    static uint32_t Fold(int64_t k)
    {
        const uint64_t u = static_cast<uint64_t>(k);
        return static_cast<uint32_t>(u ^ (u >> 32));
    }
    void Place(const Entry& e);
    void Grow();
    // The library's cell hash of the folded cell.
    static std::size_t Hash(uint32_t kx, uint32_t ky);

    std::vector<Entry> m_table;
    std::size_t m_nCount = 0;
    double m_dCellTol = 0.0;  // tolerance the cells were computed with
};

}  // namespace TesTriMesh

#endif
