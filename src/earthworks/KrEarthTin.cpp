#include "earthworks/KrEarthTin.h"

#include <algorithm>
#include <atomic>
#include <cfloat>
#include <cmath>
#include <thread>

#include "KrTesGeometry/geom/KrExactPredicates.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

namespace TesTriMesh {
namespace earth {

bool PrepareTin(const std::vector<CKrPoint3d>& pts, const std::vector<KrTesGeo::_sTri_ID>& tris, const char* name,
                CKrEarthTin& out, std::string& error)
{
    out.p = pts.data();
    out.tri.clear();
    out.src.clear();
    out.tri.reserve(tris.size());
    out.src.reserve(tris.size());
    const int64_t n = static_cast<int64_t>(pts.size());
    for (std::size_t i = 0; i < tris.size(); ++i) {
        std::array<int32_t, 3> t{tris[i][0], tris[i][1], tris[i][2]};
        for (int k = 0; k < 3; ++k) {
            if (t[k] < 0 || t[k] >= n) {
                error = std::string(name) + ": triangle " + std::to_string(i) + " names point " + std::to_string(t[k]) +
                        ", but there are " + std::to_string(n) + " points";
                return false;
            }
            const CKrPoint3d& q = pts[static_cast<std::size_t>(t[k])];
            if (!std::isfinite(q.x) || !std::isfinite(q.y) || !std::isfinite(q.z)) {
                error = std::string(name) + ": point " + std::to_string(t[k]) + " (corner of triangle " +
                        std::to_string(i) + ") has a coordinate that is not a finite number";
                return false;
            }
        }
        const int o = KrTesGeo::Orient2dExact(pts[t[0]], pts[t[1]], pts[t[2]]);
        if (o == 0) continue;  // no plan area: holds no volume, crosses no level in plan
        if (o < 0) std::swap(t[1], t[2]);
        out.tri.push_back(t);
        out.src.push_back(static_cast<int32_t>(i));
    }
    return true;
}

void MeshArrays(const CKrMeshData& mesh, std::vector<CKrPoint3d>& pts, std::vector<KrTesGeo::_sTri_ID>& tris)
{
    pts.clear();
    tris.clear();
    // The vertices in the set's (tolerant, address-free) order; their
    // numbers are found by address, which only looks them up.
    std::vector<std::pair<const _sVertex*, int32_t>> index;
    index.reserve(mesh.m_setVer.size());
    pts.reserve(mesh.m_setVer.size());
    for (const _sVertex* v : mesh.m_setVer) {
        index.emplace_back(v, static_cast<int32_t>(pts.size()));
        pts.push_back(v->pt);
    }
    std::sort(index.begin(), index.end());
    auto number = [&](const _sVertex* v) -> int32_t {
        auto it = std::lower_bound(index.begin(), index.end(), std::make_pair(v, INT32_MIN));
        return it != index.end() && it->first == v ? it->second : -1;
    };
    std::vector<std::array<int32_t, 3>> t;
    t.reserve(static_cast<std::size_t>(mesh.TriNum()));
    for (const _sTri* tri : mesh.m_setTri) {
        std::array<int32_t, 3> a{number(tri->pVer[0]), number(tri->pVer[1]), number(tri->pVer[2])};
        if (a[0] < 0 || a[1] < 0 || a[2] < 0) continue;  // a corner outside the vertex set: not a usable triangle
        // Rotate (keeping the winding) so the lowest index comes first.
        while (a[0] > a[1] || a[0] > a[2]) std::rotate(a.begin(), a.begin() + 1, a.end());
        t.push_back(a);
    }
    std::sort(t.begin(), t.end());
    tris.reserve(t.size());
    for (const auto& a : t) tris.emplace_back(a[0], a[1], a[2]);
}

std::array<double, 4> TriBox(const CKrEarthTin& s, std::size_t t)
{
    const CKrPoint3d& a = s.p[s.tri[t][0]];
    const CKrPoint3d& b = s.p[s.tri[t][1]];
    const CKrPoint3d& c = s.p[s.tri[t][2]];
    return {std::min({a.x, b.x, c.x}), std::min({a.y, b.y, c.y}), std::max({a.x, b.x, c.x}),
            std::max({a.y, b.y, c.y})};
}

void CKrBoxGrid::Build(const std::vector<std::array<double, 4>>& boxes, double cellsPerBox)
{
    m_nX = m_nY = 0;
    m_start.clear();
    m_items.clear();
    if (boxes.empty()) return;
    double lo[2] = {DBL_MAX, DBL_MAX}, hi[2] = {-DBL_MAX, -DBL_MAX};
    for (const auto& b : boxes) {
        lo[0] = std::min(lo[0], b[0]);
        lo[1] = std::min(lo[1], b[1]);
        hi[0] = std::max(hi[0], b[2]);
        hi[1] = std::max(hi[1], b[3]);
    }
    const double w = hi[0] - lo[0], h = hi[1] - lo[1];
    if (!std::isfinite(w) || !std::isfinite(h)) return;
    const double cells = std::clamp(static_cast<double>(boxes.size()) * cellsPerBox, 1.0, 16.0e6);
    double nx = w > 0.0 && h > 0.0 ? std::sqrt(cells * w / h) : (w > 0.0 ? cells : 1.0);
    nx = std::clamp(std::floor(nx), 1.0, cells);
    double ny = h > 0.0 ? std::clamp(std::floor(cells / nx), 1.0, cells) : 1.0;
    m_nX = static_cast<std::size_t>(nx);
    m_nY = static_cast<std::size_t>(ny);
    m_dMinX = lo[0];
    m_dMinY = lo[1];
    m_dMaxX = hi[0];
    m_dMaxY = hi[1];
    m_dInvW = w > 0.0 ? static_cast<double>(m_nX) / w : 0.0;
    m_dInvH = h > 0.0 ? static_cast<double>(m_nY) / h : 0.0;
    m_start.assign(m_nX * m_nY + 1, 0);
    for (const auto& b : boxes)
        for (std::size_t j = IY(b[1]), j1 = IY(b[3]); j <= j1; ++j)
            for (std::size_t i = IX(b[0]), i1 = IX(b[2]); i <= i1; ++i) ++m_start[j * m_nX + i + 1];
    for (std::size_t c = 0; c + 1 < m_start.size(); ++c) m_start[c + 1] += m_start[c];
    m_items.resize(m_start.back());
    std::vector<uint32_t> fill(m_start.begin(), m_start.end() - 1);
    for (std::size_t k = 0; k < boxes.size(); ++k) {
        const auto& b = boxes[k];
        for (std::size_t j = IY(b[1]), j1 = IY(b[3]); j <= j1; ++j)
            for (std::size_t i = IX(b[0]), i1 = IX(b[2]); i <= i1; ++i)
                m_items[fill[j * m_nX + i]++] = static_cast<uint32_t>(k);
    }
}

std::size_t CKrBoxGrid::IX(double x) const
{
    const double f = (x - m_dMinX) * m_dInvW;
    return f <= 0.0 ? 0 : std::min(static_cast<std::size_t>(f), m_nX - 1);
}

std::size_t CKrBoxGrid::IY(double y) const
{
    const double f = (y - m_dMinY) * m_dInvH;
    return f <= 0.0 ? 0 : std::min(static_cast<std::size_t>(f), m_nY - 1);
}

void RunBlocks(std::size_t count, std::size_t blockSize, unsigned threads,
               const std::function<void(std::size_t, std::size_t, std::size_t)>& work)
{
    const std::size_t blocks = (count + blockSize - 1) / blockSize;
    if (threads == 0) threads = std::max(1u, std::thread::hardware_concurrency());
    threads = static_cast<unsigned>(std::min<std::size_t>(threads, blocks));
    std::atomic<std::size_t> next{0};
    auto run = [&]() {
        for (std::size_t b; (b = next.fetch_add(1)) < blocks;)
            work(b, b * blockSize, std::min(count, (b + 1) * blockSize));
    };
    if (threads <= 1) {
        run();
        return;
    }
    std::vector<std::thread> pool;
    for (unsigned i = 1; i < threads; ++i) pool.emplace_back(run);
    run();
    for (auto& t : pool) t.join();
}

}  // namespace earth
}  // namespace TesTriMesh
