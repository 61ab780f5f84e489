// GeoTIFF elevation grids: written and read back, a file gdal_translate
// made, and rasters that are not elevations.
#ifdef KRTES_HAVE_GDAL
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "IoTestFiles.h"
#include "KrTesGeometry/io/KrGeoTiffFile.h"
#include "KrTesGeometry/io/KrSurveyFiles.h"

TEST(KrGeoTiffFile, WrittenGridReadsBackWithItsPlaceAndCrs)
{
    // A tilted plane z = 0.5 x - 0.25 y + 1000 over two triangles, sampled and
    // written; read back, the same cells, the same values (float32 holds
    // them), the same position and coordinate system.
    const auto plane = [](double x, double y) { return 0.5 * (x - 600000) - 0.25 * (y - 5000000) + 1000; };
    iotest::Pts p;
    for (const double x : {600000, 600100})
        for (const double y : {5000000, 5000080}) p.emplace_back(x, y, plane(x, y));
    krtes::SKrDemGrid g, back;
    std::string crs, err;
    ASSERT_TRUE(krtes::MakeDemGrid(599990, 4999990, 600110, 5000090, 2.5, g, err)) << err;
    krtes::SampleSurface(p, {{0, 2, 3}, {0, 3, 1}}, g);
    iotest::Files files;
    const std::string path = files.Path("dem.tif"), again = files.Path("again.tif");
    ASSERT_TRUE(krtes::WriteGeoTiffDem(path, g, "EPSG:32633", err)) << err;
    ASSERT_TRUE(krtes::ReadGeoTiffDem(path, back, crs, err)) << err;
    EXPECT_NE(crs.find("UTM zone 33N"), std::string::npos) << crs;
    EXPECT_TRUE(back.cols == g.cols && back.rows == g.rows);
    EXPECT_TRUE(back.xmin == 599990 && back.ymax == 5000090 && back.cell == 2.5);
    EXPECT_TRUE(back.z == g.z && back.noData == g.noData);
    EXPECT_EQ(std::count(g.z.begin(), g.z.end(), g.noData), 48 * 40 - 40 * 32);
    EXPECT_EQ(back.At(4, 4), static_cast<float>(plane(g.CentreX(4), g.CentreY(4))));
    // The same grid written again gives the same bytes.
    ASSERT_TRUE(krtes::WriteGeoTiffDem(again, g, "EPSG:32633", err)) << err;
    EXPECT_EQ(iotest::Read(again), iotest::Read(path));
    // A write that cannot happen leaves nothing; nor does an unknown CRS.
    EXPECT_FALSE(krtes::WriteGeoTiffDem(files.Path("no/dir/dem.tif"), g, "", err));
    EXPECT_TRUE(iotest::Refused(krtes::WriteGeoTiffDem(files.Path("crs.tif"), g, "EPSG:bogus", err), err, "not a coordinate system"));
    EXPECT_FALSE(iotest::Exists(files.Path("crs.tif")));
}

TEST(KrGeoTiffFile, ReadsWhatGdalWroteAndRefusesImages)
{
    // dem_gdal.tif (gdal_translate from an ASCII grid): cell (c, r) holds
    // 100 + c + 10 r, the north-east cell NoData.
    krtes::SKrDemGrid g;
    std::string crs, how, err;
    ASSERT_TRUE(krtes::ReadGeoTiffDem(iotest::Foreign("dem_gdal.tif"), g, crs, err)) << err;
    EXPECT_NE(crs.find("32633"), std::string::npos);
    ASSERT_TRUE(g.cols == 6 && g.rows == 4);
    EXPECT_TRUE(g.xmin == 500000 && g.ymax == 6000040 && g.cell == 10);
    for (int32_t r = 0; r < 4; ++r)
        for (int32_t c = 0; c < 6; ++c)
            EXPECT_EQ(g.At(c, r), r == 0 && c == 5 ? g.noData : static_cast<float>(100 + c + 10 * r)) << c << r;
    iotest::Pts pts;
    iotest::Ids tris;
    krtes::DemPoints(g, pts);
    ASSERT_EQ(pts.size(), 23u);
    EXPECT_TRUE(iotest::Same(pts[0], CKrPoint3d(500005, 6000035, 100)));
    // As a surface: two triangles per square of four valued centres (14
    // squares), counter-clockwise, heights at the centres.
    ASSERT_TRUE(krtes::ReadSurvey(iotest::Foreign("dem_gdal.tif"), pts, tris, crs, how, err)) << err;
    ASSERT_EQ(tris.size(), 28u);
    for (const auto& t : tris) {
        const CKrPoint3d &a = pts[t[0]], &b = pts[t[1]], &c = pts[t[2]];
        EXPECT_GT((b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x), 0);
    }

    // Not elevations: a colour image, a missing file, a text file.
    iotest::Files files;
    const std::vector<std::pair<std::string, std::string>> bad{
        {iotest::Foreign("rgb_gdal.tif"), ": not a grid of elevations: 3 bands"},
        {files.Path("none.tif"), ": cannot open as a raster"},
        {files.Write("text.tif", "not a raster\n"), ": cannot open as a raster"},
    };
    for (const auto& b : bad) {
        EXPECT_TRUE(iotest::Refused(krtes::ReadGeoTiffDem(b.first, g, crs, err), err, b.first + b.second));
    }
}
#endif
