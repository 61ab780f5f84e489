// GeoTIFF elevation grids: written and read back, a file gdal_translate
// made, and rasters that are not elevations.
#ifdef KRTES_HAVE_GDAL
#include <gtest/gtest.h>

#include <cmath>

#include "IoTestFiles.h"
#include "KrTesGeometry/io/KrGeoTiffFile.h"
#include "KrTesGeometry/io/KrSurveyFiles.h"

TEST(KrGeoTiffFile, WrittenGridReadsBackWithItsPlaceAndCrs)
{
    // A tilted plane z = 0.5 x - 0.25 y + 1000 over two triangles, sampled and
    // written; read back, the same cells, the same values (float32 holds
    // them), the same position and coordinate system.
    const std::vector<CKrPoint3d> pts{CKrPoint3d(600000, 5000000, 0), CKrPoint3d(600100, 5000000, 0),
                                      CKrPoint3d(600100, 5000080, 0), CKrPoint3d(600000, 5000080, 0)};
    std::vector<CKrPoint3d> p = pts;
    for (CKrPoint3d& q : p) q.z = 0.5 * (q.x - 600000) - 0.25 * (q.y - 5000000) + 1000;
    const iotest::Ids tris{{0, 1, 2}, {0, 2, 3}};
    krtes::SKrDemGrid g;
    std::string err;
    ASSERT_TRUE(krtes::MakeDemGrid(599990, 4999990, 600110, 5000090, 2.5, g, err)) << err;
    krtes::SampleSurface(p, tris, g);
    iotest::Files files;
    const std::string path = files.Path("dem.tif");
    ASSERT_TRUE(krtes::WriteGeoTiffDem(path, g, "EPSG:32633", err)) << err;

    krtes::SKrDemGrid back;
    std::string crs;
    ASSERT_TRUE(krtes::ReadGeoTiffDem(path, back, crs, err)) << err;
    EXPECT_NE(crs.find("UTM zone 33N"), std::string::npos) << crs;
    EXPECT_EQ(back.cols, g.cols);
    EXPECT_EQ(back.rows, g.rows);
    EXPECT_EQ(back.xmin, 599990);
    EXPECT_EQ(back.ymax, 5000090);
    EXPECT_EQ(back.cell, 2.5);
    std::size_t on = 0;
    for (int32_t r = 0; r < g.rows; ++r)
        for (int32_t c = 0; c < g.cols; ++c) {
            const double x = g.CentreX(c), y = g.CentreY(r);
            const bool inside = x >= 600000 && x <= 600100 && y >= 5000000 && y <= 5000080;
            ASSERT_EQ(back.At(c, r) != back.noData, inside) << c << " " << r;
            if (!inside) continue;
            ++on;
            EXPECT_EQ(back.At(c, r), static_cast<float>(0.5 * (x - 600000) - 0.25 * (y - 5000000) + 1000));
        }
    EXPECT_EQ(on, 40u * 32u);
    // The same grid written again gives the same bytes.
    const std::string again = files.Path("again.tif");
    ASSERT_TRUE(krtes::WriteGeoTiffDem(again, g, "EPSG:32633", err)) << err;
    EXPECT_EQ(iotest::Read(again), iotest::Read(path));
    // A write that cannot happen leaves nothing; nor does an unknown CRS.
    EXPECT_FALSE(krtes::WriteGeoTiffDem(files.Path("no/dir/dem.tif"), g, "", err));
    EXPECT_FALSE(krtes::WriteGeoTiffDem(files.Path("crs.tif"), g, "EPSG:bogus", err));
    EXPECT_NE(err.find("not a coordinate system"), std::string::npos) << err;
    EXPECT_FALSE(iotest::Exists(files.Path("crs.tif")));
}

TEST(KrGeoTiffFile, ReadsWhatGdalWroteAndRefusesImages)
{
    // dem_gdal.tif (gdal_translate from an ASCII grid): cell (c, r) holds
    // 100 + c + 10 r, the north-east cell NoData.
    krtes::SKrDemGrid g;
    std::string crs, err;
    ASSERT_TRUE(krtes::ReadGeoTiffDem(iotest::Foreign("dem_gdal.tif"), g, crs, err)) << err;
    EXPECT_NE(crs.find("32633"), std::string::npos);
    ASSERT_EQ(g.cols, 6);
    ASSERT_EQ(g.rows, 4);
    EXPECT_EQ(g.xmin, 500000);
    EXPECT_EQ(g.ymax, 6000040);
    EXPECT_EQ(g.cell, 10);
    for (int32_t r = 0; r < 4; ++r)
        for (int32_t c = 0; c < 6; ++c)
            EXPECT_EQ(g.At(c, r), r == 0 && c == 5 ? g.noData : static_cast<float>(100 + c + 10 * r)) << c << r;
    std::vector<CKrPoint3d> pts;
    iotest::Ids tris;
    krtes::DemPoints(g, pts);
    ASSERT_EQ(pts.size(), 23u);
    EXPECT_TRUE(iotest::Same(pts[0], CKrPoint3d(500005, 6000035, 100)));
    // As a surface: two triangles per square of four valued centres (14
    // squares), counter-clockwise, heights at the centres.
    std::string how;
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
        EXPECT_FALSE(krtes::ReadGeoTiffDem(b.first, g, crs, err));
        EXPECT_NE(err.find(b.first + b.second), std::string::npos) << err;
    }
}
#endif
