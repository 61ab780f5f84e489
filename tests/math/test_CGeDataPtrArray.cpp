#include <gtest/gtest.h>

#include "KrTesGeometry/math/CGeDataPoint3D.h"
#include "KrTesGeometry/math/CGeDataPtrArray.h"

TEST(CGeDataPtrArray, GrowthRuleAndOwnership)
{
    CGeDataPtrArray<CGeDataPoint3D> a;
    a.SetSize(10);  // from capacity 0: step 0, new capacity = n
    EXPECT_EQ(a.m_nMaxSize, 10);
    EXPECT_EQ(a.GetAt(9), nullptr);
    a.SetSize(11);  // step = capacity: 10 + 10
    EXPECT_EQ(a.m_nMaxSize, 20);
    a.SetSize(100);  // step 20 < 100 - 20: capacity becomes n
    EXPECT_EQ(a.m_nMaxSize, 100);

    CGeDataPtrArray<CGeDataPoint3D> g;
    g.m_nGrowBy = 64;  // the growth step wins when larger than the capacity
    g.SetSize(1);
    EXPECT_EQ(g.m_nMaxSize, 64);

    CGeDataPtrArray<CGeDataPoint3D> big;
    big.SetSize(16384);  // capacity * 4 >= 65536 from now on: step is 16384
    big.SetSize(16385);
    EXPECT_EQ(big.m_nMaxSize, 32768);
    big.SetSize(40000);
    EXPECT_EQ(big.m_nMaxSize, 49152);

    // Shrinking frees the tail; RemoveAll frees elements and keeps the capacity.
    CGeDataPtrArray<CGeDataPoint3D> o;
    for (int i = 0; i < 5; ++i) o.Add(new CGeDataPoint3D(i, 0, 0));
    const int cap = o.m_nMaxSize;
    o.SetSize(2);
    EXPECT_EQ(o.GetAt(1)->x, 1.0);
    EXPECT_EQ(o.GetAt(2), nullptr);
    o.RemoveAll();
    EXPECT_EQ(o.GetSize(), 0);
    EXPECT_EQ(o.m_nMaxSize, cap);
}
