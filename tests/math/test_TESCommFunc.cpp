#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>

#include "KrTesGeometry/math/CGeDataPLine3D.h"
#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "KrTesGeometry/math/TESCommFunc.h"

using TESCommFunc::CompDouble2;
using TESCommFunc::TesCompDouble;

TEST(TolerantCompare, ResultsAreExactlyMinusOneZeroOneWithAClosedBandAndNaNIsNeverEqual)
{
    for (auto f : {TesCompDouble, CompDouble2}) {
        EXPECT_EQ(f(1.0, 1.0, 1e-6), 0);
        EXPECT_EQ(f(0.0, 1e-6, 1e-6), 0);  // exactly eps apart: inside the closed band
        EXPECT_EQ(f(1e-6, 0.0, 1e-6), 0);
        EXPECT_EQ(f(0.0, 1.1e-6, 1e-6), -1);
        EXPECT_EQ(f(1.1e-6, 0.0, 1e-6), 1);
        EXPECT_EQ(f(-5.0, 7.0, 1e-6), -1);
        EXPECT_EQ(f(1e300, -1e300, 1e-6), 1);
        EXPECT_EQ(f(3.0, 3.4, 0.5), 0);  // the tolerance argument is honoured
        EXPECT_EQ(f(3.0, 3.6, 0.5), -1);
        EXPECT_EQ(f(0.0, 0.0, 0.0), 0);  // zero tolerance still finds equality
        EXPECT_EQ(f(0.0, 1e-300, 0.0), -1);
    }
    // NaN is never equal.
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_NE(TesCompDouble(nan, 0.0, 1e-6), 0);
    EXPECT_NE(TesCompDouble(0.0, nan, 1e-6), 0);
    EXPECT_NE(CompDouble2(nan, nan, 1.0), 0);
}

TEST(InterchangeArray, GrowthRuleAndOwnership)
{
    CGeDataPtrArray<CGeDataPoint3D> a;
    a.SetSize(10);  // from capacity 0: step 0, new capacity = n
    EXPECT_EQ(a.m_nMaxSize, 10);
    EXPECT_EQ(a.m_nSize, 10);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(a.GetAt(i), nullptr);
    a.SetSize(11);  // step = capacity: 10 + 10
    EXPECT_EQ(a.m_nMaxSize, 20);
    a.SetSize(15);  // fits: no growth
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

    // RemoveAll frees elements and keeps the capacity; shrinking frees the tail.
    CGeDataPtrArray<CGeDataPoint3D> o;
    for (int i = 0; i < 5; ++i) o.Add(new CGeDataPoint3D(i, 0, 0));
    const int cap = o.m_nMaxSize;
    o.SetSize(2);
    EXPECT_EQ(o.GetSize(), 2);
    EXPECT_EQ(o.GetAt(1)->x, 1.0);
    EXPECT_EQ(o.GetAt(2), nullptr);
    o.RemoveAll();
    EXPECT_EQ(o.GetSize(), 0);
    EXPECT_EQ(o.m_nMaxSize, cap);
}

TEST(InterchangeMesh, FillReadBackCopyAndValidate)
{
    CGeDataTriMesh m;
    EXPECT_EQ(m.AddPoint(0, 0, 1), 0);
    EXPECT_EQ(m.AddPoint(1, 0, 2), 1);
    EXPECT_EQ(m.AddPoint(0, 1, 3), 2);
    EXPECT_EQ(m.AddTri(0, 1, 2), 0);
    EXPECT_TRUE(m.IsValid());

    double x, y, z;
    ASSERT_TRUE(m.GetPoint(1, x, y, z));
    EXPECT_EQ(x, 1.0);
    EXPECT_EQ(z, 2.0);
    EXPECT_FALSE(m.GetPoint(3, x, y, z));
    EXPECT_FALSE(m.GetPoint(-1, x, y, z));
    int32_t a, b, c;
    ASSERT_TRUE(m.GetTri(0, a, b, c));
    EXPECT_EQ(a + b * 10 + c * 100, 210);
    EXPECT_FALSE(m.GetTri(1, a, b, c));

    // The index triple is laid out as three consecutive int32 values.
    static_assert(sizeof(CGeDataTriIndex) == 3 * sizeof(int32_t), "index triple layout");
    static_assert(offsetof(CGeDataPoint3D, z) == 2 * sizeof(double), "point layout");

    CGeDataTriMesh copy(m);  // deep copy: independent records
    copy.m_arrPts.m_pData[0]->x = 42.0;
    EXPECT_EQ(m.GetPoint(0)->x, 0.0);

    m.AddTri(0, 1, 3);  // index out of range
    EXPECT_FALSE(m.IsValid());
    m.AddTri(-1, 1, 2);
    EXPECT_FALSE(m.IsValid());
    m.Clear();
    EXPECT_EQ(m.GetPointCount(), 0);
    EXPECT_EQ(m.GetTriCount(), 0);
    EXPECT_TRUE(m.IsValid());

    CGeDataPLine3D pl;
    pl.AddPoint(1, 2, 3);
    pl.AddPoint(4, 5, 6);
    pl.SetClosed(true);
    EXPECT_EQ(pl.GetPointCount(), 2);
    EXPECT_TRUE(pl.IsClosed());
    EXPECT_EQ(pl.GetPoint(1)->y, 5.0);
}
