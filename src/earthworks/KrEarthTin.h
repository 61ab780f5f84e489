#ifndef KRTES_KREARTHTIN_H
#define KRTES_KREARTHTIN_H

// What the earthworks computations share: a surface checked and turned
// counter-clockwise in plan, a mesh exported in a reproducible order, a plan
// grid of triangle boxes, and fixed blocks of work spread over threads.

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"

namespace TesTriMesh {

class CKrMeshData;

namespace earth {

// A surface as the earthworks code reads it: the caller's points and the
// triangles of non-zero plan area, each counter-clockwise in plan, in input
// order; src[i] is the input number of tri[i].
struct CKrEarthTin {
    const CKrPoint3d* p = nullptr;
    std::vector<std::array<int32_t, 3>> tri;
    std::vector<int32_t> src;
};

// Checks the triples (every index names a point with finite coordinates) and
// builds the surface. False with a message naming the surface (`name`), the
// triangle and the point on bad input.
bool PrepareTin(const std::vector<CKrPoint3d>& pts, const std::vector<KrTesGeo::_sTri_ID>& tris, const char* name,
                CKrEarthTin& out, std::string& error);

// A mesh's vertices in its tolerant vertex order and its triangles in an
// order that depends on their vertices only (each triple turned to start at
// its lowest index, then sorted), so that the same surface gives the same
// arrays in every run whatever the triangles' addresses.
void MeshArrays(const CKrMeshData& mesh, std::vector<CKrPoint3d>& pts, std::vector<KrTesGeo::_sTri_ID>& tris);

// A uniform plan grid over a list of boxes (min x, min y, max x, max y):
// every box is registered in each cell it covers.
class CKrBoxGrid {
public:
    // cellsPerBox: about how many cells per box (the grid has about
    // count * cellsPerBox cells, at most 16 million).
    void Build(const std::vector<std::array<double, 4>>& boxes, double cellsPerBox);
    // Calls f(item) for every box registered in a cell the query box
    // touches; an item may come several times (once per shared cell).
    template <class F>
    void ForEachCandidate(const double b[4], F&& f) const
    {
        if (m_nX == 0) return;
        if (b[2] < m_dMinX || b[3] < m_dMinY || b[0] > m_dMaxX || b[1] > m_dMaxY) return;
        const std::size_t i0 = IX(b[0]), i1 = IX(b[2]), j0 = IY(b[1]), j1 = IY(b[3]);
        for (std::size_t j = j0; j <= j1; ++j)
            for (std::size_t i = i0; i <= i1; ++i) {
                const std::size_t c = j * m_nX + i;
                for (uint32_t k = m_start[c]; k < m_start[c + 1]; ++k) f(m_items[k]);
            }
    }
    bool Empty() const { return m_nX == 0; }

private:
    std::size_t IX(double x) const;
    std::size_t IY(double y) const;

    double m_dMinX = 0.0, m_dMinY = 0.0, m_dMaxX = 0.0, m_dMaxY = 0.0, m_dInvW = 1.0, m_dInvH = 1.0;
    std::size_t m_nX = 0, m_nY = 0;
    std::vector<uint32_t> m_start;  // cell c holds m_items[m_start[c] .. m_start[c + 1])
    std::vector<uint32_t> m_items;
};

// The plan box of a triangle of the surface.
std::array<double, 4> TriBox(const CKrEarthTin& s, std::size_t t);

// Runs work(block, begin, end) for the blocks [b * blockSize, ...) of
// [0, count) on up to `threads` threads (0: the hardware's count). Each block
// runs exactly once; the caller keeps one result per block and combines them
// in block order, so nothing depends on the thread count or timing.
void RunBlocks(std::size_t count, std::size_t blockSize, unsigned threads,
               const std::function<void(std::size_t, std::size_t, std::size_t)>& work);

}  // namespace earth
}  // namespace TesTriMesh

#endif
