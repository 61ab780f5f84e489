#ifndef KRTES_KRTRILOCATOR_H
#define KRTES_KRTRILOCATOR_H

#include <cstddef>
#include <vector>

namespace TesTriMesh {

struct _sVertex;
struct _sTri;

// A coarse grid over the triangulation's extent that remembers, per cell, the
// last vertex inserted there. A point-location walk that starts from a
// triangle of a nearby vertex is short even when the points arrive sorted by
// x (each new point is far in y from the previous one). Vertices are never
// removed while points are inserted, and a vertex always knows its current
// triangles, so a remembered vertex is always a valid start.
class CKrTriLocator {
public:
    CKrTriLocator(double minX, double minY, double maxX, double maxY, std::size_t nPoints);

    // Remembers v (already part of the triangulation) for its cell.
    void Note(_sVertex* v);
    // A live triangle near (x, y), or null when nothing has been noted.
    _sTri* Start(double x, double y) const;

private:
    bool CellOf(double x, double y, long& ix, long& iy) const;
    static _sTri* TriOf(const _sVertex* v);

    double m_dMinX, m_dMinY, m_dCellW, m_dCellH;
    long m_nX, m_nY;
    std::vector<_sVertex*> m_cells;
    _sVertex* m_pLast = nullptr;
};

}  // namespace TesTriMesh

#endif
