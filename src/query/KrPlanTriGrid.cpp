#include "query/KrPlanTriGrid.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "KrTesGeometry/mesh/KrMeshData.h"

namespace TesTriMesh {

namespace {
void PlanBox(const _sTri* t, double margin, double b[4])
{
    b[0] = b[1] = DBL_MAX;
    b[2] = b[3] = -DBL_MAX;
    for (const _sVertex* v : t->pVer) {
        b[0] = std::min(b[0], v->pt.x);
        b[1] = std::min(b[1], v->pt.y);
        b[2] = std::max(b[2], v->pt.x);
        b[3] = std::max(b[3], v->pt.y);
    }
    b[0] -= margin;
    b[1] -= margin;
    b[2] += margin;
    b[3] += margin;
}
}  // namespace

CKrPlanTriGrid::CKrPlanTriGrid(const CKrMeshData& mesh, double margin)
{
    const std::size_t n = static_cast<std::size_t>(mesh.TriNum());
    if (n == 0) return;
    double lo[2] = {DBL_MAX, DBL_MAX}, hi[2] = {-DBL_MAX, -DBL_MAX};
    for (const _sTri* t : mesh.m_setTri) {
        double b[4];
        PlanBox(t, margin, b);
        lo[0] = std::min(lo[0], b[0]);
        lo[1] = std::min(lo[1], b[1]);
        hi[0] = std::max(hi[0], b[2]);
        hi[1] = std::max(hi[1], b[3]);
    }
    const double w = hi[0] - lo[0], h = hi[1] - lo[1];
    if (!(w >= 0.0) || !(h >= 0.0) || !std::isfinite(w) || !std::isfinite(h)) return;
    const double cells = std::max(1.0, std::min(static_cast<double>(n) / 2.0, 8.0e6));
    double nx = w > 0.0 && h > 0.0 ? std::sqrt(cells * w / h) : 1.0;
    nx = std::clamp(nx, 1.0, cells);
    const double ny = std::clamp(cells / nx, 1.0, cells);
    m_nX = static_cast<std::size_t>(nx);
    m_nY = static_cast<std::size_t>(ny);
    m_dMinX = lo[0];
    m_dMinY = lo[1];
    m_dCellW = w > 0.0 ? w / static_cast<double>(m_nX) : 1.0;
    m_dCellH = h > 0.0 ? h / static_cast<double>(m_nY) : 1.0;

    // Two passes: count the entries of each cell, then fill them.
    auto range = [&](const double b[4], std::size_t r[4]) {
        auto ix = [&](double x) {
            return static_cast<std::size_t>(std::clamp((x - m_dMinX) / m_dCellW, 0.0, static_cast<double>(m_nX - 1)));
        };
        auto iy = [&](double y) {
            return static_cast<std::size_t>(std::clamp((y - m_dMinY) / m_dCellH, 0.0, static_cast<double>(m_nY - 1)));
        };
        r[0] = ix(b[0]);
        r[1] = iy(b[1]);
        r[2] = ix(b[2]);
        r[3] = iy(b[3]);
    };
    // Every triangle in each cell its widened box covers.
    m_cells.Build(m_nX * m_nY, [&](auto&& visit) {
        for (const _sTri* t : mesh.m_setTri) {
            double b[4];
            std::size_t r[4];
            PlanBox(t, margin, b);
            range(b, r);
            for (std::size_t j = r[1]; j <= r[3]; ++j)
                for (std::size_t i = r[0]; i <= r[2]; ++i) visit(j * m_nX + i, t);
        }
    });
}

bool CKrPlanTriGrid::Cell(double x, double y, std::size_t& c) const
{
    if (m_nX == 0) return false;
    const double fx = (x - m_dMinX) / m_dCellW, fy = (y - m_dMinY) / m_dCellH;
    if (!(fx >= 0.0 && fy >= 0.0 && fx <= static_cast<double>(m_nX) && fy <= static_cast<double>(m_nY)))
        return false;  // outside every triangle's widened box (or NaN)
    const std::size_t i = std::min(static_cast<std::size_t>(fx), m_nX - 1);
    const std::size_t j = std::min(static_cast<std::size_t>(fy), m_nY - 1);
    c = j * m_nX + i;
    return true;
}

const _sTri* const* CKrPlanTriGrid::Begin(double x, double y, std::size_t& count) const
{
    std::size_t c = 0;
    if (!Cell(x, y, c)) {
        count = 0;
        return nullptr;
    }
    return m_cells.Bucket(c, count);
}

}  // namespace TesTriMesh
