#include <gtest/gtest.h>

#include <limits>

#include "KrTesGeometry/math/TESCommFunc.h"

TEST(TESCommFunc, ResultsAreExactlyMinusOneZeroOneWithAClosedBandAndNaNIsNeverEqual)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    // a, b, eps and the answer; 2 stands for "anything but 0" (NaN is never equal).
    const struct {
        double a, b, eps;
        int want;
    } cases[] = {{0.0, 1e-6, 1e-6, 0},  {1e-6, 0.0, 1e-6, 0}, {0.0, 1.1e-6, 1e-6, -1}, {1.1e-6, 0.0, 1e-6, 1},
                 {1e300, -1e300, 1e-6, 1}, {3.0, 3.4, 0.5, 0},  {3.0, 3.6, 0.5, -1},     {nan, 0.0, 1e-6, 2},
                 {0.0, nan, 1e-6, 2}};
    for (auto f : {TESCommFunc::TesCompDouble, TESCommFunc::CompDouble2})
        for (const auto& c : cases) {
            const int got = f(c.a, c.b, c.eps);
            EXPECT_TRUE(c.want == 2 ? got != 0 : got == c.want) << c.a << " " << c.b << " " << c.eps << ": " << got;
        }
}
