#include <gtest/gtest.h>

#include <vector>

#include "KrTesGeometry/math/CGeDataPoint3D.h"
#include "KrTesGeometry/math/CGeDataPtrArray.h"

TEST(CGeDataPtrArray, GrowthRuleAndOwnership)
{
    // Capacities after each SetSize: from 0 the step is 0 (capacity = n);
    // then step = capacity, unless n is further; the growth step wins when
    // larger; once capacity * 4 >= 65536 the step is 16384.
    const struct {
        int growBy;
        std::vector<int> sizes, caps;
    } runs[] = {{0, {10, 11, 100}, {10, 20, 100}}, {64, {1}, {64}}, {0, {16384, 16385, 40000}, {16384, 32768, 49152}}};
    for (const auto& r : runs) {
        CGeDataPtrArray<CGeDataPoint3D> a;
        a.m_nGrowBy = r.growBy;
        for (size_t i = 0; i < r.sizes.size(); ++i) {
            a.SetSize(r.sizes[i]);
            EXPECT_EQ(a.m_nMaxSize, r.caps[i]) << r.sizes[i];
            EXPECT_EQ(a.GetAt(r.sizes[i] - 1), nullptr);  // new slots are empty
        }
    }

    // Shrinking frees the tail; RemoveAll frees elements and keeps the capacity.
    CGeDataPtrArray<CGeDataPoint3D> o;
    for (int i = 0; i < 5; ++i) o.Add(new CGeDataPoint3D(i, 0, 0));
    const int cap = o.m_nMaxSize;
    o.SetSize(2);
    EXPECT_TRUE(o.GetAt(1)->x == 1.0 && o.GetAt(2) == nullptr);
    o.RemoveAll();
    EXPECT_TRUE(o.GetSize() == 0 && o.m_nMaxSize == cap);
}
