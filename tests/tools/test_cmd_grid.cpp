// The krtes grid command, and the surveyor's path from a point table through
// LandXML to a GeoTIFF DEM.
#if defined(KRTES_HAVE_GDAL) && defined(KRTES_HAVE_PUGIXML)
#include "tools/KrtesToolTest.h"

using namespace krtes_test;

TEST(KrtesGrid, SurveyTableToLandXmlToDem)
{
    // A spreadsheet export (header, codes, CRLF) of points on a plane, made
    // into a LandXML TIN, sampled at 0.5: each cell holds the plane's height
    // at its centre, the cells outside the points' square are NoData.
    std::string csv = "Point,Easting,Northing,Elevation,Code\r\n";
    int id = 0;
    for (int j = 0; j <= 10; ++j)
        for (int i = 0; i <= 10; ++i)
            csv += std::to_string(++id) + "," + std::to_string(i) + "," + std::to_string(j) + "," +
                   std::to_string(Plane(i, j)) + ",GS\r\n";
    const std::string pts = Write("survey.csv", csv);
    const std::string xml = Temp("ground.xml");
    CliRun r = Krtes("tin " + pts + " -o " + xml);
    ASSERT_EQ(r.code, 0) << r.out;
    const std::string dem = Temp("dem.tif");
    r = Krtes("grid " + xml + " --cell 0.5 --extent -1 -1 11 11 --crs EPSG:32633 -o " + dem);
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
            const bool in = x > 0 && x < 10 && y > 0 && y < 10;
            ASSERT_EQ(g.At(c, row) != g.noData, in) << x << " " << y;
            if (in) { EXPECT_NEAR(g.At(c, row), Plane(x, y), 1e-4); }
        }
    // Without --extent: the surface's extent in whole cells.
    const std::string a = Temp("a.tif");
    ASSERT_EQ(Krtes("grid " + xml + " --cell 0.25 -o " + a).code, 0);
    ASSERT_TRUE(krtes::ReadGeoTiffDem(a, g, crs, err)) << err;
    EXPECT_EQ(g.cols, 40);
    EXPECT_EQ(g.xmin, 0.0);
}
#endif
