#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
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

// Points filed in square cells one tolerance wide. Every search looks two
// cells each way, so a point within the tolerance is found whatever the
// rounding of the cell numbers.
class CPlanBuckets {
public:
    void Add(const CKrPoint3d& p) { m_cells[Key(p)].push_back(p); }
    template <class F>
    void ForNear(const CKrPoint3d& p, F f) const
    {
        const auto k = Key(p);
        for (int64_t i = k.first - 2; i <= k.first + 2; ++i) {
            for (int64_t j = k.second - 2; j <= k.second + 2; ++j) {
                const auto it = m_cells.find({i, j});
                if (it == m_cells.end()) continue;
                for (const CKrPoint3d& q : it->second) f(q);
            }
        }
    }
    bool AnySameInPlan(const CKrPoint3d& p) const
    {
        bool hit = false;
        ForNear(p, [&](const CKrPoint3d& q) { hit = hit || SameInPlan(p, q); });
        return hit;
    }

private:
    static std::pair<int64_t, int64_t> Key(const CKrPoint3d& p)
    {
        return {static_cast<int64_t>(std::floor(p.x / kTol)), static_cast<int64_t>(std::floor(p.y / kTol))};
    }
    std::map<std::pair<int64_t, int64_t>, std::vector<CKrPoint3d>> m_cells;
};

// A lidar strip 200 m x 50 m at 5 points per square metre, corner at (ox, oy):
// scattered returns, ten long collinear scan lines at 0.2 m spacing and one
// at 0.004 m (a chain of points each within the tolerance of the next); 30 %
// of all of them again, moved by less than the tolerance (in a disc, in the
// square, or exactly one tolerance along an axis), with another height; and
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
        if (kind < 0.45) {
            const double r = kTol * u(rng), a = 6.283185307179586 * u(rng);
            q.x += r * std::cos(a);
            q.y += r * std::sin(a);
        } else if (kind < 0.9) {
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
        CPlanBuckets kept;
        std::vector<CKrPoint3d> expect;
        for (const CKrPoint3d& p : pts) {
            if (kept.AnySameInPlan(p)) continue;
            kept.Add(p);
            expect.push_back(p);
        }
        ASSERT_LT(expect.size(), pts.size() * 9 / 10);  // the strip does hold near-duplicates

        CKrMeshData mesh;
        CKrDelaunay tin(mesh, kTol);
        tin.SetFullHull(true);
        std::size_t farOff = 0;
        for (const CKrPoint3d& p : pts) {
            const _sVertex* v = tin.AddVertex(p);
            if (!v || !SameInPlan(v->pt, p)) ++farOff;
        }
        EXPECT_EQ(farOff, 0u) << "points answered by a vertex beyond the tolerance";

        std::vector<CKrPoint3d> got;
        for (const _sVertex* v : mesh.m_setVer) got.push_back(v->pt);
        EXPECT_EQ(got.size(), expect.size());
        EXPECT_TRUE(Sorted(got) == Sorted(expect)) << "the kept vertices are not the first comers";

        ASSERT_TRUE(tin.Delaunay());
        // After the triangulation: no two vertices one in plan (so none
        // closer than the tolerance either), every input point represented.
        CPlanBuckets left;
        std::size_t pairs = 0, closer = 0;
        for (const _sVertex* v : mesh.m_setVer) {
            left.ForNear(v->pt, [&](const CKrPoint3d& q) {
                if (SameInPlan(v->pt, q)) ++pairs;
                const double dx = v->pt.x - q.x, dy = v->pt.y - q.y;
                if (dx * dx + dy * dy < kTol * kTol) ++closer;
            });
            left.Add(v->pt);
        }
        EXPECT_EQ(pairs, 0u);
        EXPECT_EQ(closer, 0u);
        EXPECT_EQ(mesh.m_setVer.size(), expect.size());
        std::size_t lost = 0;
        for (const CKrPoint3d& p : pts)
            if (!left.AnySameInPlan(p)) ++lost;
        EXPECT_EQ(lost, 0u) << "input points without a vertex within the tolerance";
    }
}
