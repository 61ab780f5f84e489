#include "query/KrPlanTriGrid.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "KrTesGeometry/mesh/KrMeshData.h"

namespace TesTriMesh {

namespace {
// The plan box of t's corners (no margin); false when a corner coordinate is
// not finite.
bool PlanBox(const _sTri* t, double b[4])
{
    b[0] = b[1] = DBL_MAX;
    b[2] = b[3] = -DBL_MAX;
    bool finite = true;
    for (const _sVertex* v : t->pVer) {
        finite = finite && std::isfinite(v->pt.x) && std::isfinite(v->pt.y);
        b[0] = std::min(b[0], v->pt.x);
        b[1] = std::min(b[1], v->pt.y);
        b[2] = std::max(b[2], v->pt.x);
        b[3] = std::max(b[3], v->pt.y);
    }
    return finite;
}

// f(t) for every triangle of the mesh, in set order. The corners of a large
// mesh are scattered in memory: those of a triangle a few places ahead start
// loading while f works on this one.
template <class F>
void EachTri(const CKrMeshData& mesh, F&& f)
{
    auto ahead = mesh.m_setTri.begin();
    for (int k = 0; k < 8 && ahead != mesh.m_setTri.end(); ++k) ++ahead;
    for (const _sTri* t : mesh.m_setTri) {
        if (ahead != mesh.m_setTri.end()) {
            for (const _sVertex* v : (*ahead)->pVer) detail::KrOrderedSetDetail::Prefetch(v);
            ++ahead;
        }
        f(t);
    }
}

// A box edge in steps from a cell corner, rounded outwards by a whole step
// (down for a lower edge, up for an upper one) and clamped to 16 bits.
int16_t Steps(double d, bool upper)
{
    const double s = upper ? std::ceil(d) + 1.0 : std::floor(d) - 1.0;
    return static_cast<int16_t>(std::clamp(s, -32768.0, 32767.0));
}
}  // namespace

CKrPlanTriGrid::CKrPlanTriGrid(const CKrMeshData& mesh, double margin)
{
    const std::size_t n = static_cast<std::size_t>(mesh.TriNum());
    if (n == 0) return;
    double lo[2] = {DBL_MAX, DBL_MAX}, hi[2] = {-DBL_MAX, -DBL_MAX};
    EachTri(mesh, [&](const _sTri* t) {
        double b[4];
        PlanBox(t, b);
        lo[0] = std::min(lo[0], b[0] - margin);
        lo[1] = std::min(lo[1], b[1] - margin);
        hi[0] = std::max(hi[0], b[2] + margin);
        hi[1] = std::max(hi[1], b[3] + margin);
    });
    const double w = hi[0] - lo[0], h = hi[1] - lo[1];
    if (!(w >= 0.0) || !(h >= 0.0) || !std::isfinite(w) || !std::isfinite(h)) return;
    // Scanning a cell's entries is cheap (their boxes sit in the entries), a
    // triangle filed in many cells costs memory: a few triangles a cell.
    const double cells = std::max(1.0, std::min(static_cast<double>(n) / 6.0, 8.0e6));
    double nx = w > 0.0 && h > 0.0 ? std::sqrt(cells * w / h) : 1.0;
    nx = std::clamp(nx, 1.0, cells);
    const double ny = std::clamp(cells / nx, 1.0, cells);
    m_nX = static_cast<std::size_t>(nx);
    m_nY = static_cast<std::size_t>(ny);
    m_dMinX = lo[0];
    m_dMinY = lo[1];
    m_dCellW = w > 0.0 ? w / static_cast<double>(m_nX) : 1.0;
    m_dCellH = h > 0.0 ? h / static_cast<double>(m_nY) : 1.0;
    const double sx = kSteps / m_dCellW, sy = kSteps / m_dCellH;

    auto ix = [&](double x) {
        return static_cast<std::size_t>(std::clamp((x - m_dMinX) / m_dCellW, 0.0, static_cast<double>(m_nX - 1)));
    };
    auto iy = [&](double y) {
        return static_cast<std::size_t>(std::clamp((y - m_dMinY) / m_dCellH, 0.0, static_cast<double>(m_nY - 1)));
    };
    // Every triangle in each cell its widened box covers, with that box in
    // the cell's steps. The stored box is wider than the query's own test
    // needs by the margin again, by rounding allowances for the coordinates'
    // magnitude and by the outward step: it never drops a triangle the
    // query's exact tests would keep.
    m_cells.Build(m_nX * m_nY, [&](auto&& visit) {
        EachTri(mesh, [&](const _sTri* t) {
            double b[4];
            const bool finite = PlanBox(t, b);
            const std::size_t i0 = ix(b[0] - margin), j0 = iy(b[1] - margin);
            const std::size_t i1 = ix(b[2] + margin), j1 = iy(b[3] + margin);
            const double slackX = 2.0 * margin + 16.0 * DBL_EPSILON * (std::fabs(b[0]) + std::fabs(b[2]) + std::fabs(m_dMinX) + w);
            const double slackY = 2.0 * margin + 16.0 * DBL_EPSILON * (std::fabs(b[1]) + std::fabs(b[3]) + std::fabs(m_dMinY) + h);
            for (std::size_t j = j0; j <= j1; ++j) {
                const double cy = CellY(j);
                for (std::size_t i = i0; i <= i1; ++i) {
                    Entry e{{INT16_MIN, INT16_MIN}, {INT16_MAX, INT16_MAX}, t};
                    if (finite) {
                        const double cx = CellX(i);
                        e.lo[0] = Steps((b[0] - slackX - cx) * sx, false);
                        e.lo[1] = Steps((b[1] - slackY - cy) * sy, false);
                        e.hi[0] = Steps((b[2] + slackX - cx) * sx, true);
                        e.hi[1] = Steps((b[3] + slackY - cy) * sy, true);
                    }
                    visit(j * m_nX + i, e);
                }
            }
        });
    });
}

bool CKrPlanTriGrid::Cell(double x, double y, std::size_t& i, std::size_t& j) const
{
    if (m_nX == 0) return false;
    const double fx = (x - m_dMinX) / m_dCellW, fy = (y - m_dMinY) / m_dCellH;
    if (!(fx >= 0.0 && fy >= 0.0 && fx <= static_cast<double>(m_nX) && fy <= static_cast<double>(m_nY)))
        return false;  // outside every triangle's widened box (or NaN)
    i = std::min(static_cast<std::size_t>(fx), m_nX - 1);
    j = std::min(static_cast<std::size_t>(fy), m_nY - 1);
    return true;
}

const CKrPlanTriGrid::Entry* CKrPlanTriGrid::Begin(double x, double y, std::size_t& count, double& qx,
                                                   double& qy) const
{
    std::size_t i = 0, j = 0;
    if (!Cell(x, y, i, j)) {
        count = 0;
        return nullptr;
    }
    qx = (x - CellX(i)) * (kSteps / m_dCellW);
    qy = (y - CellY(j)) * (kSteps / m_dCellH);
    return m_cells.Bucket(j * m_nX + i, count);
}

}  // namespace TesTriMesh
