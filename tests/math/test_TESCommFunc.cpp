#include <gtest/gtest.h>

#include <limits>

#include "KrTesGeometry/math/TESCommFunc.h"

using TESCommFunc::CompDouble2;
using TESCommFunc::TesCompDouble;

TEST(TESCommFunc, ResultsAreExactlyMinusOneZeroOneWithAClosedBandAndNaNIsNeverEqual)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (auto f : {TesCompDouble, CompDouble2}) {
        EXPECT_EQ(f(0.0, 1e-6, 1e-6), 0);  // exactly eps apart: inside the closed band
        EXPECT_EQ(f(1e-6, 0.0, 1e-6), 0);
        EXPECT_EQ(f(0.0, 1.1e-6, 1e-6), -1);
        EXPECT_EQ(f(1.1e-6, 0.0, 1e-6), 1);
        EXPECT_EQ(f(1e300, -1e300, 1e-6), 1);
        EXPECT_EQ(f(3.0, 3.4, 0.5), 0);  // the tolerance argument is honoured
        EXPECT_EQ(f(3.0, 3.6, 0.5), -1);
        EXPECT_NE(f(nan, 0.0, 1e-6), 0);
        EXPECT_NE(f(0.0, nan, 1e-6), 0);
    }
}
