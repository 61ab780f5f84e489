#include "KrTesGeometry/tin/KrFit.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "KrTesGeometry/tin/KrDelaunay.h"
#include "KrTesGeometry/query/KrMeshQuery.h"
#include "KrTesGeometry/geom/KrTri3d.h"
#include "KrTesGeometry/math/TESCommFunc.h"
#include "geom/KrBox.h"

namespace TesTriMesh {

namespace {

// The difference surface merges vertices and triangulates with this
// tolerance, and the fallback line drops data closer than it in plan.
constexpr double kDiffTol = 0.01;

using KrTesGeo::detail::IsFinite;

// The difference at p's plan position: reference height minus p's height.
bool ToDiff(const CKrMeshQuery& ref, const CKrPoint3d& p, CKrPoint3d& diff)
{
    double z = 0.0;
    if (!ref.GetMapPoint(p.x, p.y, z)) return false;
    diff = CKrPoint3d(p.x, p.y, z - p.z);
    return true;
}

}  // namespace

CKrFit::CKrFit(const CKrMeshData& ref)
    : m_pRefMesh(&ref), m_diffMesh(kDiffTol), m_bReady(false), m_bDirty(true), m_nFitType(0)
{
}

CKrFit::~CKrFit() = default;

void CKrFit::SetLSD(const std::vector<CKrPoint3d>& pts, bool isDiff)
{
    std::vector<CKrPoint3d>& dst = isDiff ? m_vecPtGaoCha : m_vecPtGaoCheng;
    dst.insert(dst.end(), pts.begin(), pts.end());
}

void CKrFit::SetYSX(const std::vector<CKrPolyLine>& lines, bool isDiff)
{
    std::vector<CKrPolyLine>& dst = isDiff ? m_vecPlGaoCha : m_vecPlGaoCheng;
    dst.insert(dst.end(), lines.begin(), lines.end());
}

void CKrFit::SetBJX(const std::vector<CKrPoint3d>& pts, bool isDiff)
{
    (isDiff ? m_vecBjGaoCha : m_vecBjGaoCheng) = pts;
}

bool CKrFit::CheckData() const
{
    switch (m_nFitType) {
    case 1:
        return m_vecPtGaoCheng.empty() && m_vecPtGaoCha.empty() && m_vecBjGaoCheng.empty() && m_vecBjGaoCha.empty();
    case 2:
        if (m_vecPtGaoCheng.size() != 1 && m_vecPtGaoCha.size() != 1) return false;
        return m_vecPlGaoCheng.empty() && m_vecPlGaoCha.empty();
    default:
        return m_nFitType >= 0;
    }
}

bool CKrFit::TraGaoChengToGaoCha()
{
    // Rebuilt from scratch, so that a retry after a failed model does not
    // pile up copies.
    m_vecDiffPts.clear();
    m_vecDiffLines.clear();
    m_vecDiffBj.clear();
    const CKrMeshQuery ref(*m_pRefMesh);
    CKrPoint3d d;

    if (m_vecPtGaoCha.empty()) {
        for (const CKrPoint3d& p : m_vecPtGaoCheng)
            if (ToDiff(ref, p, d)) m_vecDiffPts.push_back(d);
    } else {
        m_vecDiffPts = m_vecPtGaoCha;
    }

    if (m_vecPlGaoCha.empty()) {
        for (const CKrPolyLine& line : m_vecPlGaoCheng) {
            CKrPolyLine mapped;
            for (const CKrPoint3d& p : line.GetVerts())
                if (ToDiff(ref, p, d)) mapped.AddVertex(d);
            if (mapped.NumVerts() > 3) mapped.SetClosed(line.IsClosed());
            m_vecDiffLines.push_back(mapped);
        }
    } else {
        m_vecDiffLines = m_vecPlGaoCha;
    }

    if (m_vecBjGaoCha.empty()) {
        for (const CKrPoint3d& p : m_vecBjGaoCheng) {
            if (!ToDiff(ref, p, d)) {  // a boundary is used whole or not at all
                m_vecDiffBj.clear();
                break;
            }
            m_vecDiffBj.push_back(d);
        }
    } else {
        m_vecDiffBj = m_vecBjGaoCha;
    }
    return true;
}

bool CKrFit::CalcFitPara()
{
    if (!TraGaoChengToGaoCha()) return false;
    m_bReady = false;
    m_plFit.Clear();
    m_plFit.SetClosed(false);

    switch (m_nFitType) {
    case 0: {
        m_diffMesh.ClearAllData();
        {
            CKrDelaunay tin(m_diffMesh, kDiffTol);
            for (const CKrPoint3d& p : m_vecDiffPts) tin.AddVertex(p);
            for (const CKrPolyLine& line : m_vecDiffLines) tin.AddSegYS(line.GetVerts(), line.IsClosed(), false);
            m_bReady = tin.Delaunay();
        }
        if (!m_bReady) {
            m_diffMesh.ClearAllData();
            return BuildFallbackLine();
        }
        CKrMeshQuery diff(m_diffMesh);
        return diff.GetOutline(m_plFit);
    }
    case 1:
        return m_plFit.BuildPLine(m_vecDiffLines);
    case 2: {
        if (m_vecDiffPts.empty()) return false;  // the one point lies off the reference surface
        const CKrPoint3d& c = m_vecDiffPts.front();
        const std::size_t n = m_vecDiffBj.size();
        std::vector<CKrTri3d> fan;
        fan.reserve(n);
        for (std::size_t i = 0; i < n; ++i) fan.emplace_back(c, m_vecDiffBj[i], m_vecDiffBj[(i + 1) % n]);
        m_diffMesh.InputData(fan, true);
        m_bReady = m_diffMesh.TriNum() > 0;
        return m_bReady;
    }
    default:
        return false;
    }
}

bool CKrFit::BuildFallbackLine()
{
    std::vector<CKrPoint3d> data;
    for (const CKrPoint3d& p : m_vecDiffPts)
        if (IsFinite(p)) data.push_back(p);
    for (const CKrPolyLine& line : m_vecDiffLines)
        for (const CKrPoint3d& p : line.GetVerts())
            if (IsFinite(p)) data.push_back(p);
    if (data.empty()) return false;

    // Main plan direction: the major axis of the positions' spread (any
    // direction for a single position).
    double mx = 0.0, my = 0.0;
    for (const CKrPoint3d& p : data) mx += p.x, my += p.y;
    mx /= static_cast<double>(data.size());
    my /= static_cast<double>(data.size());
    double sxx = 0.0, syy = 0.0, sxy = 0.0;
    for (const CKrPoint3d& p : data) {
        const double dx = p.x - mx, dy = p.y - my;
        sxx += dx * dx, syy += dy * dy, sxy += dx * dy;
    }
    const double angle = 0.5 * std::atan2(2.0 * sxy, sxx - syy);
    const double ux = std::cos(angle), uy = std::sin(angle);

    std::vector<std::size_t> order(data.size());
    std::iota(order.begin(), order.end(), std::size_t(0));
    auto along = [&](std::size_t i) { return (data[i].x - mx) * ux + (data[i].y - my) * uy; };
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return along(a) < along(b); });

    // As in the triangulation, data within the tolerance of the one kept
    // before them on both axes are the same position: the first one stays.
    std::vector<CKrPoint3d> chain;
    for (std::size_t i : order) {
        const CKrPoint3d& p = data[i];
        if (!chain.empty() && std::fabs(p.x - chain.back().x) <= kDiffTol && std::fabs(p.y - chain.back().y) <= kDiffTol)
            continue;
        chain.push_back(p);
    }
    // A single position: a segment of zero length, which gives its
    // difference everywhere.
    if (chain.size() == 1) chain.push_back(chain.front());
    m_plFit.Clear();
    for (const CKrPoint3d& p : chain) m_plFit.AddVertex(p);
    m_plFit.SetClosed(false);
    return true;
}

bool CKrFit::MapCalcPt(CKrPoint3d& p) const
{
    if (!m_bReady) return false;
    double zRef = 0.0, zDiff = 0.0;
    if (!CKrMeshQuery(*m_pRefMesh).GetMapPoint(p.x, p.y, zRef)) return false;
    if (!CKrMeshQuery(m_diffMesh).GetMapPoint(p.x, p.y, zDiff)) return false;
    p.z = zRef - zDiff;
    return true;
}

bool CKrFit::PlFitCalcPt(CKrPoint3d& p) const
{
    double zRef = 0.0;
    if (!CKrMeshQuery(*m_pRefMesh).GetMapPoint(p.x, p.y, zRef)) return false;
    CKrPoint3d near;
    int i = -1, j = -1;
    if (!m_plFit.GetNearPt2D(p, near, i, j)) return false;
    p.z = zRef - near.z;
    return true;
}

bool CKrFit::FitPt(CKrPoint3d& p)
{
    if (m_bDirty) {
        if (!CheckData() || !CalcFitPara()) return false;
        m_bDirty = false;
    }
    switch (m_nFitType) {
    case 0:
        return MapCalcPt(p) || PlFitCalcPt(p);
    case 1:
        return PlFitCalcPt(p);
    case 2:
        return MapCalcPt(p);
    default:
        return false;
    }
}

}  // namespace TesTriMesh
