#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

#include "tin/KrDelaunayCore.h"

using namespace TesTriMesh;

namespace {

// A few triangles given by hand: corners and the triangle across each edge.
struct HandTopo {
    using Tri = int;
    static constexpr int kNone = -1;

    std::vector<std::array<CKrPoint3d, 3>> corners;
    std::vector<std::array<int, 3>> across;
    std::vector<int32_t> marks;

    int Add(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c)
    {
        corners.push_back({a, b, c});
        across.push_back({kNone, kNone, kNone});
        marks.push_back(DelaunayCore::kUnmarked);
        return static_cast<int>(corners.size()) - 1;
    }
    // Makes edge k of s and edge j of t the same edge.
    void Join(int s, int k, int t, int j)
    {
        across[s][k] = t;
        across[t][j] = s;
    }

    int Across(int t, int k) const { return across[t][k]; }
    double X(int t, int k) const { return corners[t][k].x; }
    double Y(int t, int k) const { return corners[t][k].y; }
    int32_t& Mark(int t) { return marks[t]; }
    std::size_t Count() const { return corners.size(); }
    template <class F>
    int Scan(F ok) const
    {
        for (int t = 0; t < static_cast<int>(corners.size()); ++t)
            if (ok(t)) return t;
        return kNone;
    }
};

}  // namespace

TEST(DelaunayCore, RepairLeavesACavityThePointSeesWhole)
{
    // Around the point (0, 0): T0 holds it, T1 lies across T0's edge B-C and
    // T2 across T1's edge D-C, wrapping round C so that its edge F-C faces
    // away from the point. A cavity with T2 in it (as near-cocircular
    // rounding can produce) would give an inverted triangle on F-C; the
    // repair must drop T2 and keep T0 and T1, marks cleared.
    const CKrPoint3d a(-1, -1, 0), b(1, -1, 0), c(0, 1, 0), d(2, 2, 0), f(-1, 3, 0), g(0, -3, 0);
    HandTopo h;
    const int t0 = h.Add(a, b, c), t1 = h.Add(c, b, d), t2 = h.Add(c, d, f), t5 = h.Add(b, a, g);
    h.Join(t0, 1, t1, 0);  // B-C
    h.Join(t1, 2, t2, 0);  // D-C
    h.Join(t0, 0, t5, 0);  // A-B

    // The cavity search follows only triangles whose circumcircle holds the
    // point: T1's passes through it (on the circle counts), T2's and T5's
    // do not; the same with a local origin; marks cleared.
    std::vector<int> cavity, stack;
    for (const double o : {0.0, 1.0}) {
        cavity.clear();
        DelaunayCore::CollectCavity(h, 0.0, 0.0, o, -o, t0, cavity, stack);
        EXPECT_EQ(cavity, (std::vector<int>{t0, t1}));
        for (int32_t m : h.marks) EXPECT_EQ(m, DelaunayCore::kUnmarked);
    }
    // The walk reaches the triangle holding a point from anywhere (a point
    // on T2's outer edge D-F too), and none beyond the triangles.
    EXPECT_EQ(DelaunayCore::Walk(h, t2, 0.0, -2.0), t5);
    EXPECT_EQ(DelaunayCore::Walk(h, t5, 0.5, 2.5), t2);
    EXPECT_EQ(DelaunayCore::Walk(h, t0, 5.0, 5.0), HandTopo::kNone);

    cavity = {t0, t1, t2};
    DelaunayCore::RepairCavity(h, 0.0, 0.0, t0, cavity);
    EXPECT_EQ(cavity, (std::vector<int>{t0, t1}));
    for (int32_t m : h.marks) EXPECT_EQ(m, DelaunayCore::kUnmarked);

    // A point on the start triangle's edge A-B: the triangle on the other
    // side must go too, or the new fan would hold a flat triangle.
    cavity = {t0};
    DelaunayCore::RepairCavity(h, 0.25, -1.0, t0, cavity);
    EXPECT_EQ(cavity, (std::vector<int>{t0, t5}));

    // A cavity that does not contain its start (the start is put back) and
    // lists a triangle cut off from it (dropped).
    cavity = {t2};
    DelaunayCore::RepairCavity(h, 0.0, 0.0, t0, cavity);
    EXPECT_EQ(cavity, (std::vector<int>{t0}));
    for (int32_t m : h.marks) EXPECT_EQ(m, DelaunayCore::kUnmarked);
}
