#include "tin/KrPlanarVertexIndex.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "KrTesGeometry/math/TESCommFunc.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "geom/KrCellGrid.h"

namespace TesTriMesh {

namespace {
// Cells span several tolerances, so that a point needs a neighbouring cell
// only when it lies within the tolerance of that side.
constexpr double kCellsPerTol = 8.0;

int64_t BitsOf(double d)
{
    if (d == 0.0) d = 0.0;  // -0 and +0 are the same coordinate
    int64_t k;
    std::memcpy(&k, &d, sizeof k);
    return k;
}
}  // namespace

void CKrPlanarVertexIndex::CellOf(double x, double y, double tol, int64_t& kx, int64_t& ky) const
{
    if (tol > 0.0 && std::isfinite(tol)) {
        const double cell = tol * kCellsPerTol;
        kx = KrTesGeo::detail::CellCoord(x, cell);
        ky = KrTesGeo::detail::CellCoord(y, cell);
    } else {
        // Without a positive tolerance only exactly equal coordinates match.
        kx = BitsOf(x);
        ky = BitsOf(y);
    }
}

std::size_t CKrPlanarVertexIndex::Hash(uint32_t kx, uint32_t ky)
{
    return KrTesGeo::detail::HashCell<2>(std::array<uint64_t, 2>{kx, ky});
}

void CKrPlanarVertexIndex::EnsureTolerance(double tol)
{
    if (tol == m_dCellTol) return;
    m_dCellTol = tol;
    if (m_nCount) Rebuild();
}

_sVertex* CKrPlanarVertexIndex::Find(double x, double y) const
{
    if (m_nCount == 0) return nullptr;
    const double tol = m_dCellTol;
    int64_t kx, ky;
    CellOf(x, y, tol, kx, ky);
    // The neighbouring cells worth probing are those whose side lies within
    // tol of (x, y); without a positive tolerance only the point's own key.
    int x0 = 0, x1 = 0, y0 = 0, y1 = 0;
    if (tol > 0.0 && std::isfinite(tol)) {
        int64_t ax, ay, bx, by;
        CellOf(x - tol, y - tol, tol, ax, ay);
        CellOf(x + tol, y + tol, tol, bx, by);
        x0 = static_cast<int>(std::max<int64_t>(ax - kx, -1));
        y0 = static_cast<int>(std::max<int64_t>(ay - ky, -1));
        x1 = static_cast<int>(std::min<int64_t>(bx - kx, 1));
        y1 = static_cast<int>(std::min<int64_t>(by - ky, 1));
    }
    const std::size_t mask = m_table.size() - 1;
    for (int dx = x0; dx <= x1; ++dx) {
        for (int dy = y0; dy <= y1; ++dy) {
            const uint32_t cx = Fold(kx + dx), cy = Fold(ky + dy);
            for (std::size_t i = Hash(cx, cy) & mask;; i = (i + 1) & mask) {
                const Entry& e = m_table[i];
                if (!e.v) break;
                if (e.kx == cx && e.ky == cy && TESCommFunc::CompDouble2(e.v->pt.x, x, tol) == 0 &&
                    TESCommFunc::CompDouble2(e.v->pt.y, y, tol) == 0)
                    return e.v;
            }
        }
    }
    return nullptr;
}

void CKrPlanarVertexIndex::Place(const Entry& e)
{
    const std::size_t mask = m_table.size() - 1;
    std::size_t i = Hash(e.kx, e.ky) & mask;
    while (m_table[i].v) i = (i + 1) & mask;
    m_table[i] = e;
}

void CKrPlanarVertexIndex::Grow()
{
    std::vector<Entry> old;
    old.swap(m_table);
    m_table.assign(old.empty() ? 1024 : old.size() * 2, Entry{0, 0, nullptr});
    for (const Entry& e : old)
        if (e.v) Place(e);
}

void CKrPlanarVertexIndex::Insert(_sVertex* v)
{
    if (!v) return;
    if ((m_nCount + 1) * 2 > m_table.size()) Grow();
    int64_t kx, ky;
    CellOf(v->pt.x, v->pt.y, m_dCellTol, kx, ky);
    Place(Entry{Fold(kx), Fold(ky), v});
    ++m_nCount;
}

void CKrPlanarVertexIndex::Rebuild()
{
    std::vector<_sVertex*> all;
    all.reserve(m_nCount);
    for (const Entry& e : m_table)
        if (e.v) all.push_back(e.v);
    std::fill(m_table.begin(), m_table.end(), Entry{0, 0, nullptr});
    m_nCount = 0;
    for (_sVertex* v : all) Insert(v);
}

void CKrPlanarVertexIndex::Clear()
{
    std::vector<Entry>().swap(m_table);  // the memory goes too
    m_nCount = 0;
}

}  // namespace TesTriMesh
