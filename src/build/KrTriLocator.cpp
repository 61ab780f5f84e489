#include "build/KrTriLocator.h"

#include <algorithm>
#include <cmath>

#include "mesh/KrMeshData.h"

namespace TesTriMesh {

CKrTriLocator::CKrTriLocator(double minX, double minY, double maxX, double maxY, std::size_t nPoints)
    : m_dMinX(minX), m_dMinY(minY)
{
    // About two points per cell; the grid keeps the extent's aspect ratio.
    const double w = std::max(maxX - minX, 0.0), h = std::max(maxY - minY, 0.0);
    const double cells = std::max(1.0, std::min(static_cast<double>(nPoints) / 2.0, 16.0e6));
    double nx = 1.0, ny = 1.0;
    if (w > 0.0 && h > 0.0) {
        nx = std::sqrt(cells * w / h);
        ny = cells / std::max(nx, 1.0);
    } else if (w > 0.0) {
        nx = cells;
    } else if (h > 0.0) {
        ny = cells;
    }
    m_nX = std::max(1L, std::min(static_cast<long>(nx), 1L << 22));
    m_nY = std::max(1L, std::min(static_cast<long>(ny), 1L << 22));
    m_dCellW = w > 0.0 ? w / static_cast<double>(m_nX) : 1.0;
    m_dCellH = h > 0.0 ? h / static_cast<double>(m_nY) : 1.0;
    m_cells.assign(static_cast<std::size_t>(m_nX) * static_cast<std::size_t>(m_nY), nullptr);
}

bool CKrTriLocator::CellOf(double x, double y, long& ix, long& iy) const
{
    const double fx = (x - m_dMinX) / m_dCellW, fy = (y - m_dMinY) / m_dCellH;
    if (!std::isfinite(fx) || !std::isfinite(fy)) return false;
    ix = static_cast<long>(std::clamp(fx, 0.0, static_cast<double>(m_nX - 1)));
    iy = static_cast<long>(std::clamp(fy, 0.0, static_cast<double>(m_nY - 1)));
    return true;
}

_sTri* CKrTriLocator::TriOf(const _sVertex* v)
{
    if (!v || v->setTri.empty()) return nullptr;
    return *v->setTri.begin();
}

void CKrTriLocator::Note(_sVertex* v)
{
    if (!v) return;
    m_pLast = v;
    long ix, iy;
    if (CellOf(v->pt.x, v->pt.y, ix, iy)) m_cells[static_cast<std::size_t>(iy * m_nX + ix)] = v;
}

_sTri* CKrTriLocator::Start(double x, double y) const
{
    long ix, iy;
    if (CellOf(x, y, ix, iy)) {
        // The cell itself, then rings around it.
        for (long r = 0; r <= 2; ++r) {
            for (long jy = iy - r; jy <= iy + r; ++jy) {
                if (jy < 0 || jy >= m_nY) continue;
                for (long jx = ix - r; jx <= ix + r; ++jx) {
                    if (jx < 0 || jx >= m_nX) continue;
                    if (r > 0 && jx != ix - r && jx != ix + r && jy != iy - r && jy != iy + r) continue;
                    if (_sTri* t = TriOf(m_cells[static_cast<std::size_t>(jy * m_nX + jx)])) return t;
                }
            }
        }
    }
    return TriOf(m_pLast);
}

}  // namespace TesTriMesh
