#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <random>
#include <utility>
#include <vector>

#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/tin/KrDelaunay.h"

using namespace TesTriMesh;

namespace {

constexpr double kTol = 0.01;

// One vertex by the triangulator's rule: x and y both agree within the
// tolerance (the differences as the library forms them).
bool SameInPlan(const CKrPoint3d& a, const CKrPoint3d& b)
{
    return std::fabs(a.x - b.x) <= kTol && std::fabs(a.y - b.y) <= kTol;
}

// Points ordered by x. A search looks at those within two tolerances in x,
// so a point within the tolerance is found whatever the rounding.
using ByX = std::multimap<double, CKrPoint3d>;

bool AnySameInPlan(const ByX& m, const CKrPoint3d& p)
{
    for (auto it = m.lower_bound(p.x - 2.0 * kTol); it != m.end() && it->first <= p.x + 2.0 * kTol; ++it)
        if (SameInPlan(p, it->second)) return true;
    return false;
}

// A lidar strip 200 m x 50 m at 5 points per square metre, corner at (ox, oy):
// scattered returns, ten long collinear scan lines at 0.2 m spacing and one
// at 0.004 m (a chain of points each within the tolerance of the next); 30 %
// of all of them again, moved by less than the tolerance (in the square, or
// exactly one tolerance along an axis), with another height; and
// when the strip covers the origin, a few pairs straddling zero. Shuffled.
std::vector<CKrPoint3d> LidarStrip(double ox, double oy, unsigned seed)
{
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    std::vector<CKrPoint3d> pts;
    for (int i = 0; i < 200 * 50 * 5; ++i) pts.emplace_back(ox + 200.0 * u(rng), oy + 50.0 * u(rng), 100.0 * u(rng));
    for (int l = 0; l < 10; ++l)
        for (int k = 0; k < 1000; ++k) pts.emplace_back(ox + 0.2 * k, oy + 2.25 + 5.0 * l, 50.0 + l);
    for (int k = 0; k < 2000; ++k) pts.emplace_back(ox + 10.0 + 0.004 * k, oy + 47.5, 70.0);
    const std::size_t base = pts.size();
    for (std::size_t i = 0; i < base; ++i) {
        if (u(rng) >= 0.3) continue;
        CKrPoint3d q = pts[i];
        q.z += 1.0;
        const double kind = u(rng);
        if (kind < 0.9) {
            q.x += kTol * (2.0 * u(rng) - 1.0);
            q.y += kTol * (2.0 * u(rng) - 1.0);
        } else {
            (kind < 0.95 ? q.x : q.y) += kind < 0.925 || kind >= 0.975 ? kTol : -kTol;
        }
        pts.push_back(q);
    }
    for (int k = 0; k < 5 && ox < 0.0 && oy < 0.0; ++k) {
        pts.emplace_back(-1e-20, oy + 1.0 + k, 1.0);
        pts.emplace_back(kTol, oy + 1.0 + k, 2.0);
        pts.emplace_back(ox + 1.0 + k, -1e-20, 1.0);
        pts.emplace_back(ox + 1.0 + k, kTol, 2.0);
    }
    std::shuffle(pts.begin(), pts.end(), rng);
    return pts;
}

std::vector<std::array<double, 3>> Sorted(const std::vector<CKrPoint3d>& pts)
{
    std::vector<std::array<double, 3>> out;
    for (const CKrPoint3d& p : pts) out.push_back({p.x, p.y, p.z});
    std::sort(out.begin(), out.end());
    return out;
}

}  // namespace

TEST(KrPlanarVertexIndex, LidarStripKeepsOneVertexPerNearDuplicateGroup)
{
    // Across the origin (negative cells, the cell boundary at zero) and in
    // projected survey coordinates.
    const std::pair<double, double> origins[] = {{-100.0, -25.0}, {500000.0, 4000000.0}};
    for (const auto& o : origins) {
        const std::vector<CKrPoint3d> pts = LidarStrip(o.first, o.second, 11u);

        // Independent count: in input order, a point becomes a vertex unless
        // one already kept is the same in plan. Which kept vertex a point
        // joins may vary, but whether it joins one does not, so the kept set
        // (coordinates and heights of the first comers) is well defined.
        ByX kept;
        std::vector<CKrPoint3d> expect;
        for (const CKrPoint3d& p : pts) {
            if (AnySameInPlan(kept, p)) continue;
            kept.emplace(p.x, p);
            expect.push_back(p);
        }
        ASSERT_LT(expect.size(), pts.size() * 9 / 10);  // the strip does hold near-duplicates

        CKrMeshData mesh;
        CKrDelaunay tin(mesh, kTol);
        tin.SetFullHull(true);
        std::size_t farOff = 0;
        for (const CKrPoint3d& p : pts) {
            const _sVertex* v = tin.AddVertex(p);
            farOff += !v || !SameInPlan(v->pt, p);
        }
        EXPECT_EQ(farOff, 0u) << "points answered by a vertex beyond the tolerance";

        std::vector<CKrPoint3d> got;
        for (const _sVertex* v : mesh.m_setVer) got.push_back(v->pt);
        EXPECT_TRUE(Sorted(got) == Sorted(expect)) << "the kept vertices are not the first comers";

        // The triangulation keeps them all, and adds none.
        ASSERT_TRUE(tin.Delaunay());
        EXPECT_EQ(mesh.m_setVer.size(), expect.size());
    }
}
