#include "tin/KrDelaunayKernel.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <utility>

#include "tin/KrDelaunayCore.h"
#include "KrTesGeometry/mesh/KrMeshRecords.h"

namespace TesTriMesh {

namespace {
constexpr uint32_t kNoVertex = 0xFFFFFFFFu;
}

CKrDelaunayKernel::CKrDelaunayKernel(std::vector<_sVertex*> vers, uint32_t a, uint32_t b, uint32_t c, double ox,
                                     double oy)
    : m_vers(std::move(vers)), m_ox(ox), m_oy(oy), m_last(a)
{
    const std::size_t n = m_vers.size();
    m_xy.resize(2 * n);
    double minX = DBL_MAX, minY = DBL_MAX, maxX = -DBL_MAX, maxY = -DBL_MAX;
    for (std::size_t i = 0; i < n; ++i) {
        const double x = m_vers[i]->pt.x, y = m_vers[i]->pt.y;
        m_xy[2 * i] = x;
        m_xy[2 * i + 1] = y;
        if (i == a || i == b || i == c) continue;
        minX = std::min(minX, x);
        minY = std::min(minY, y);
        maxX = std::max(maxX, x);
        maxY = std::max(maxY, y);
    }
    m_verTri.assign(n, kNone);
    m_rimAt.assign(n, 0);
    // A triangulation of n points has about 2n triangles.
    m_faces.reserve(2 * n + 16);
    m_faces.push_back(Face{{a, b, c}, {kNone, kNone, kNone}, DelaunayCore::kUnmarked});
    m_verTri[a] = m_verTri[b] = m_verTri[c] = 0;

    // About two points per cell; the grid keeps the data's aspect ratio.
    if (minX > maxX) minX = maxX = minY = maxY = 0.0;
    const double w = maxX - minX, h = maxY - minY;
    const double cells = std::max(1.0, std::min(static_cast<double>(n) / 2.0, 16.0e6));
    double nx = 1.0, ny = 1.0;
    if (w > 0.0 && h > 0.0) {
        nx = std::sqrt(cells * w / h);
        ny = cells / std::max(nx, 1.0);
    } else if (w > 0.0) {
        nx = cells;
    } else if (h > 0.0) {
        ny = cells;
    }
    m_nx = static_cast<std::size_t>(std::clamp(nx, 1.0, 4194304.0));
    m_ny = static_cast<std::size_t>(std::clamp(ny, 1.0, 4194304.0));
    m_gx = minX;
    m_gy = minY;
    m_cw = w > 0.0 ? w / static_cast<double>(m_nx) : 1.0;
    m_ch = h > 0.0 ? h / static_cast<double>(m_ny) : 1.0;
    m_grid.assign(m_nx * m_ny, kNoVertex);
}

bool CKrDelaunayKernel::CellOf(double x, double y, std::size_t& cell) const
{
    const double fx = (x - m_gx) / m_cw, fy = (y - m_gy) / m_ch;
    if (!std::isfinite(fx) || !std::isfinite(fy)) return false;
    const std::size_t ix = static_cast<std::size_t>(std::clamp(fx, 0.0, static_cast<double>(m_nx - 1)));
    const std::size_t iy = static_cast<std::size_t>(std::clamp(fy, 0.0, static_cast<double>(m_ny - 1)));
    cell = iy * m_nx + ix;
    return true;
}

void CKrDelaunayKernel::Remember(uint32_t i)
{
    m_last = i;
    std::size_t cell;
    if (CellOf(m_xy[2 * i], m_xy[2 * i + 1], cell)) m_grid[cell] = i;
}

CKrDelaunayKernel::Tri CKrDelaunayKernel::Locate(double x, double y) const
{
    // A live triangle on a remembered vertex near (x, y): the cell itself,
    // then two rings around it, then the last vertex inserted.
    auto triOf = [this](uint32_t v) -> Tri {
        if (v == kNoVertex) return kNone;
        const Tri t = m_verTri[v];
        if (t == kNone) return kNone;
        const Face& f = m_faces[t];
        if (f.mark == kDead || (f.v[0] != v && f.v[1] != v && f.v[2] != v)) return kNone;
        return t;
    };
    Tri start = kNone;
    std::size_t cell;
    if (CellOf(x, y, cell)) {
        const long ix = static_cast<long>(cell % m_nx), iy = static_cast<long>(cell / m_nx);
        const long nx = static_cast<long>(m_nx), ny = static_cast<long>(m_ny);
        for (long r = 0; r <= 2 && start == kNone; ++r) {
            for (long jy = iy - r; jy <= iy + r && start == kNone; ++jy) {
                if (jy < 0 || jy >= ny) continue;
                for (long jx = ix - r; jx <= ix + r; ++jx) {
                    if (jx < 0 || jx >= nx) continue;
                    if (r > 0 && jx != ix - r && jx != ix + r && jy != iy - r && jy != iy + r) continue;
                    start = triOf(m_grid[static_cast<std::size_t>(jy * nx + jx)]);
                    if (start != kNone) break;
                }
            }
        }
    }
    if (start == kNone) start = triOf(m_last);
    if (start == kNone) start = Scan([](Tri) { return true; });
    return DelaunayCore::Walk(*this, start, x, y);
}

CKrDelaunayKernel::Tri CKrDelaunayKernel::NewSlot()
{
    if (!m_free.empty()) {
        const Tri t = m_free.back();
        m_free.pop_back();
        return t;
    }
    m_faces.push_back(Face{});
    return static_cast<Tri>(m_faces.size() - 1);
}

void CKrDelaunayKernel::ReleaseWorkspace()
{
    std::vector<double>().swap(m_xy);
    std::vector<Tri>().swap(m_free);
    std::vector<Tri>().swap(m_verTri);
    std::vector<uint32_t>().swap(m_rimAt);
    std::vector<uint32_t>().swap(m_grid);
    std::vector<Tri>().swap(m_cavity);
    std::vector<Tri>().swap(m_stack);
    std::vector<RimEdge>().swap(m_rim);
}

bool CKrDelaunayKernel::Insert(uint32_t p)
{
    const double px = m_xy[2 * p], py = m_xy[2 * p + 1];
    const Tri start = Locate(px, py);
    if (start == kNone) return false;

    std::vector<Tri>& cavity = m_cavity;
    cavity.clear();
    DelaunayCore::CollectCavity(*this, px, py, m_ox, m_oy, start, cavity, m_stack);
    DelaunayCore::RepairCavity(*this, px, py, start, cavity);
    if (cavity.empty()) return false;

    // The boundary of the cavity: every directed edge whose triangle across
    // is not in the cavity, in cavity order, with the outside triangle and
    // its edge that faces the cavity.
    for (Tri t : cavity) Mark(t) = DelaunayCore::kInCavity;
    std::vector<RimEdge>& rim = m_rim;
    rim.clear();
    for (Tri t : cavity) {
        const Face& f = m_faces[t];
        for (int k = 0; k < 3; ++k) {
            const Tri o = f.n[k];
            if (o != kNone && m_faces[o].mark == DelaunayCore::kInCavity) continue;
            int oe = -1;
            if (o != kNone) oe = m_faces[o].n[0] == t ? 0 : (m_faces[o].n[1] == t ? 1 : 2);
            rim.push_back(RimEdge{f.v[k], f.v[k == 2 ? 0 : k + 1], o, oe});
        }
    }

    // The new triangles fan around p: the one on rim edge (a, b) meets the
    // one on the rim edge starting at b across b-p. The rim must be one
    // closed loop for that (after the repair p sees every rim edge, so it
    // is); should it not be, the point is left out rather than the
    // triangulation broken.
    for (std::size_t i = 0; i < rim.size(); ++i) m_rimAt[rim[i].a] = static_cast<uint32_t>(i);
    bool loop = !rim.empty();
    for (std::size_t i = 0; loop && i < rim.size(); ++i) {
        const uint32_t j = m_rimAt[rim[i].b];
        loop = j < rim.size() && rim[j].a == rim[i].b && m_rimAt[rim[i].a] == i;
    }
    if (!loop) {
        for (Tri t : cavity) Mark(t) = DelaunayCore::kUnmarked;
        return false;
    }

    // Cavity slots are reused for the new triangles, more are taken as needed
    // and any left over are freed.
    const std::size_t nRim = rim.size();
    std::vector<Tri>& slots = m_stack;
    slots.clear();
    for (std::size_t i = 0; i < nRim; ++i) slots.push_back(i < cavity.size() ? cavity[i] : NewSlot());
    for (std::size_t i = nRim; i < cavity.size(); ++i) {
        m_faces[cavity[i]].mark = kDead;
        m_free.push_back(cavity[i]);
    }
    for (std::size_t i = 0; i < nRim; ++i) {
        const RimEdge& e = rim[i];
        const Tri t = slots[i];
        Face& f = m_faces[t];
        f.v[0] = e.a;
        f.v[1] = e.b;
        f.v[2] = p;
        f.n[0] = e.out;
        f.n[1] = slots[m_rimAt[e.b]];
        f.mark = DelaunayCore::kUnmarked;
        m_faces[f.n[1]].n[2] = t;
        if (e.out != kNone) m_faces[e.out].n[e.outEdge] = t;
        m_verTri[e.a] = t;
    }
    m_verTri[p] = slots[0];
    Remember(p);
    return true;
}

}  // namespace TesTriMesh
