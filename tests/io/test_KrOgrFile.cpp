// Vector layers through OGR: polylines written and read back in four
// formats, layers ogr2ogr made, and the errors of unusable layers.
#ifdef KRTES_HAVE_GDAL
#include <gtest/gtest.h>

#include <random>

#include "IoTestFiles.h"
#include "KrTesGeometry/io/KrOgrFile.h"
#include "KrTesGeometry/io/KrSurveyFiles.h"

using Lines = std::vector<std::vector<CKrPoint3d>>;

TEST(KrOgrFile, PolylinesRoundTripInEveryFormat)
{
    // Open and closed 3D lines with full-precision coordinates: binary
    // formats give every bit back, text formats (DXF, GeoJSON) every value
    // to their printed precision.
    std::mt19937_64 rng(9);
    std::uniform_real_distribution<double> u(0, 1000);
    Lines lines;
    for (int l = 0; l < 5; ++l) {
        std::vector<CKrPoint3d> pl;
        for (int k = 0; k < 3 + l; ++k) pl.emplace_back(500000 + u(rng), 6000000 + u(rng), u(rng) / 10);
        if (l % 2) pl.push_back(pl.front());
        lines.push_back(pl);
    }
    iotest::Files files;
    std::string err;
    krtes::SKrVectorOptions withCrs;
    withCrs.crs = "EPSG:32633";
    for (const char* name : {"out.gpkg", "out.shp", "out.dxf", "out.geojson"}) {
        const std::string path = files.Path(name);
        ASSERT_TRUE(krtes::WriteVectorLines(path, lines, err, withCrs)) << err;
        Lines back;
        ASSERT_TRUE(krtes::ReadVectorLines(path, back, 2, err)) << err;
        ASSERT_EQ(back.size(), lines.size()) << name;
        const bool binary = krtes::Extension(path) == ".gpkg" || krtes::Extension(path) == ".shp";
        for (std::size_t l = 0; l < lines.size(); ++l) {
            ASSERT_EQ(back[l].size(), lines[l].size()) << name;
            for (std::size_t k = 0; k < lines[l].size(); ++k) {
                const CKrPoint3d &a = back[l][k], &b = lines[l][k];
                if (binary)
                    EXPECT_TRUE(iotest::Same(a, b)) << name;
                else
                    EXPECT_TRUE(std::fabs(a.x - b.x) < 1e-6 && std::fabs(a.y - b.y) < 1e-6 && std::fabs(a.z - b.z) < 1e-9)
                        << name << " " << a.x - b.x << " " << a.y - b.y;
            }
        }
        EXPECT_FALSE(iotest::Exists(path + ".part.d")) << name;
    }
    // A second write replaces the file; the same lines give the same bytes.
    const std::string first = iotest::Read(files.Path("out.gpkg"));
    ASSERT_TRUE(krtes::WriteVectorLines(files.Path("out.gpkg"), lines, err, withCrs)) << err;
    EXPECT_EQ(iotest::Read(files.Path("out.gpkg")), first);
    // Unknown format, a folder that does not exist: an error, nothing written.
    EXPECT_TRUE(iotest::Refused(krtes::WriteVectorLines(files.Path("out.xyz"), lines, err), err, "unknown vector format '.xyz'"));
    EXPECT_FALSE(krtes::WriteVectorLines(files.Path("none/out.gpkg"), lines, err));
}

TEST(KrOgrFile, ReadsLayersOgr2ogrMade)
{
    std::string err;
    // The same two lines as a GeoPackage and as DXF.
    for (const char* name : {"lines_gdal.gpkg", "lines_gdal.dxf"}) {
        Lines l;
        ASSERT_TRUE(krtes::ReadSurveyLines(iotest::Foreign(name), l, 2, err)) << err;
        ASSERT_EQ(l.size(), 2u) << name;
        ASSERT_EQ(l[0].size(), 3u);
        EXPECT_TRUE(iotest::Same(l[0][0], CKrPoint3d(500000.125, 6000000.25, 101.5))) << name;
        EXPECT_TRUE(iotest::Same(l[0][2], CKrPoint3d(500020, 6000001, 99.125))) << name;
        ASSERT_EQ(l[1].size(), 4u);
        EXPECT_TRUE(iotest::Same(l[1][3], l[1][0])) << name;
    }
    // 2D contours with their elevation in an attribute; a multi-line gives
    // one line per part.
    krtes::SKrVectorOptions o;
    o.zField = "ELEV";
    Lines c;
    ASSERT_TRUE(krtes::ReadVectorLines(iotest::Foreign("contours_gdal.geojson"), c, 2, err, o)) << err;
    ASSERT_EQ(c.size(), 3u);
    EXPECT_TRUE(iotest::Same(c[0][2], CKrPoint3d(10, 10, 50)));
    EXPECT_TRUE(iotest::Same(c[2][1], CKrPoint3d(50, 5, 55.5)));
    // Without the attribute they are plan lines: fine to drape, not for a TIN.
    EXPECT_TRUE(iotest::Refused(krtes::ReadVectorLines(iotest::Foreign("contours_gdal.geojson"), c, 2, err), err,
            "feature 0: its geometry has no elevations (2D)"));
    ASSERT_TRUE(krtes::ReadSurveyLines(iotest::Foreign("contours_gdal.geojson"), c, 2, err, false)) << err;
    EXPECT_EQ(c[1][0].z, 0.0);
    // Points, by layer name; other layers and attributes that are not there.
    std::vector<CKrPoint3d> pts;
    o = krtes::SKrVectorOptions();
    o.layer = "spots";
    ASSERT_TRUE(krtes::ReadVectorPoints(iotest::Foreign("points_gdal.gpkg"), pts, err, o)) << err;
    ASSERT_EQ(pts.size(), 3u);
    EXPECT_TRUE(iotest::Same(pts[2], CKrPoint3d(7.125, 8, -9)));
    o.layer = "nothing";
    EXPECT_TRUE(iotest::Refused(krtes::ReadVectorPoints(iotest::Foreign("points_gdal.gpkg"), pts, err, o), err, "no layer named 'nothing'"));
    o = krtes::SKrVectorOptions();
    o.zField = "height";
    EXPECT_TRUE(iotest::Refused(krtes::ReadVectorLines(iotest::Foreign("lines_gdal.gpkg"), c, 2, err, o), err,
            "layer 'breaklines' has no attribute 'height'"));
    EXPECT_TRUE(iotest::Refused(krtes::ReadVectorPoints(iotest::Foreign("lines_gdal.gpkg"), pts, err), err, "no point features"));
    iotest::Files files;
    const std::string junk = files.Write("junk.gpkg", "not a database");
    EXPECT_TRUE(iotest::Refused(krtes::ReadVectorLines(junk, c, 2, err), err, junk + ": cannot open as a vector layer"));
}
#endif
