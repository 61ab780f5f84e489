#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>

#include "KrTesGeometry/math/CGeDataTriMesh.h"

TEST(CGeDataTriMesh, FillReadBackCopyAndValidate)
{
    CGeDataTriMesh m;
    for (int i = 0; i < 3; ++i) EXPECT_EQ(m.AddPoint(i % 2, i / 2, i + 1), i);
    EXPECT_EQ(m.AddTri(0, 1, 2), 0);
    EXPECT_TRUE(m.IsValid());
    // Reads in range only.
    double x, y, z;
    EXPECT_TRUE(m.GetPoint(2, x, y, z) && x == 0.0 && y == 1.0 && z == 3.0);
    EXPECT_FALSE(m.GetPoint(3, x, y, z) || m.GetPoint(-1, x, y, z));
    int32_t a, b, c;
    EXPECT_TRUE(m.GetTri(0, a, b, c) && a == 0 && b == 1 && c == 2 && !m.GetTri(1, a, b, c));

    // The index triple is laid out as three consecutive int32 values.
    static_assert(sizeof(CGeDataTriIndex) == 3 * sizeof(int32_t), "index triple layout");
    static_assert(offsetof(CGeDataPoint3D, z) == 2 * sizeof(double), "point layout");

    CGeDataTriMesh copy(m);  // deep copy: independent records
    copy.m_arrPts.m_pData[0]->x = 42.0;
    EXPECT_EQ(m.GetPoint(0)->x, 0.0);

    // An index one past the last point, or negative, is invalid.
    m.AddTri(0, 1, 3);
    EXPECT_FALSE(m.IsValid());
    m.Clear();
    m.AddPoint(0, 0, 0);
    m.AddTri(-1, 0, 0);
    EXPECT_FALSE(m.IsValid());
    m.Clear();
    EXPECT_TRUE(m.GetPointCount() == 0 && m.GetTriCount() == 0 && m.IsValid());
}
