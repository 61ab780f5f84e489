// The krtes grid command: a surface sampled to a GeoTIFF DEM, read back with GDAL.
#ifdef KRTES_HAVE_GDAL
#include "tools/KrtesToolTest.h"

using namespace krtes_test;

TEST(KrtesGrid, PlaneWithAHoleToADem)
{
    // Sampled at 0.5 over an extent a cell wider than the plane: each cell
    // holds the plane's height at its centre, NoData off the plane and in the
    // hole [4, 6]^2; the coordinate system is the one asked for.
    const std::string surface = HoledPlaneFile(), dem = Temp("dem.tif");
    CliRun r = Krtes("grid " + surface + " --cell 0.5 --extent -1 -1 11 11 --crs EPSG:32633 -o " + dem);
    ASSERT_EQ(r.code, 0) << r.out;
    krtes::SKrDemGrid g;
    std::string crs, err;
    ASSERT_TRUE(krtes::ReadGeoTiffDem(dem, g, crs, err)) << err;
    EXPECT_NE(crs.find("UTM zone 33N"), std::string::npos);
    ASSERT_EQ(g.cols, 24);
    ASSERT_EQ(g.rows, 24);
    for (int32_t row = 0; row < g.rows; ++row)
        for (int32_t c = 0; c < g.cols; ++c) {
            const double x = g.CentreX(c), y = g.CentreY(row);
            const bool in = x > 0 && x < 10 && y > 0 && y < 10 && !(x > 4 && x < 6 && y > 4 && y < 6);
            ASSERT_EQ(g.At(c, row) != g.noData, in) << x << " " << y;
            if (in) { EXPECT_NEAR(g.At(c, row), Plane(x, y), 1e-4); }
        }
    // Without --extent: the surface's extent in whole cells.
    ASSERT_EQ(Krtes("grid " + surface + " --cell 0.3 -o " + dem).code, 0);
    ASSERT_TRUE(krtes::ReadGeoTiffDem(dem, g, crs, err)) << err;
    EXPECT_EQ(g.cols, 34);  // 0 .. 10.2
    EXPECT_EQ(g.xmin, 0.0);
    EXPECT_NEAR(g.ymax, 10.2, 1e-12);
}
#endif
