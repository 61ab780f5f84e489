#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>

#include "KrTesGeometry/math/CGeDataTriMesh.h"

TEST(CGeDataTriMesh, FillReadBackCopyAndValidate)
{
    CGeDataTriMesh m;
    EXPECT_EQ(m.AddPoint(0, 0, 1), 0);
    EXPECT_EQ(m.AddPoint(1, 0, 2), 1);
    EXPECT_EQ(m.AddPoint(0, 1, 3), 2);
    EXPECT_EQ(m.AddTri(0, 1, 2), 0);
    EXPECT_TRUE(m.IsValid());

    double x, y, z;
    ASSERT_TRUE(m.GetPoint(1, x, y, z));
    EXPECT_TRUE(x == 1.0 && y == 0.0 && z == 2.0);
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
    m.Clear();
    m.AddPoint(0, 0, 0);
    m.AddTri(-1, 0, 0);
    EXPECT_FALSE(m.IsValid());
    m.Clear();
    EXPECT_EQ(m.GetPointCount(), 0);
    EXPECT_EQ(m.GetTriCount(), 0);
    EXPECT_TRUE(m.IsValid());
}
